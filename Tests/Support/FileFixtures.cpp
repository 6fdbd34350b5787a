#include "Support/FileFixtures.h"

#include "Support/TestPaths.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <atomic>
#include <unistd.h>

namespace KVBase::Tests
{

QString freshFolder()
{
    static std::atomic<int> number{0};
    const QString root = QFileInfo(scratchFolder()).canonicalFilePath();
    const QString path = root + QStringLiteral("/fresh%1").arg(++number);
    putFolder(path);
    return path;
}

void putFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qUtf8Printable(path));
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

QStringList namesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

void putFolder(const QString &path)
{
    if (!QDir().mkpath(path))
        qFatal("cannot make %s", qUtf8Printable(path));
}

void putLink(const QString &path, const QString &target)
{
    if (::symlink(QFile::encodeName(target).constData(), QFile::encodeName(path).constData()) != 0)
        qFatal("cannot link %s", qUtf8Printable(path));
}

} // namespace KVBase::Tests
