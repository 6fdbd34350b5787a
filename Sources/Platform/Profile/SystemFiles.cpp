#include "Platform/Profile/SystemFiles.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <unistd.h>

namespace KVBase::Profile
{

namespace
{

constexpr qsizetype kLargestFile = 1 << 20;

/// Splits "card10" into "card" and 10, so that it comes after "card9".
bool numberedLess(const QString &left, const QString &right)
{
    const auto split = [](const QString &name) {
        qsizetype digits = name.size();
        while (digits > 0 && name[digits - 1].isDigit())
            --digits;
        return std::pair(name.left(digits), name.mid(digits).toULongLong());
    };
    return split(left) < split(right);
}

} // namespace

SystemFiles::SystemFiles(const QString &rootFolder) : root(rootFolder) {}

QByteArray SystemFiles::bytes(const QString &path) const
{
    // The kernel's files have no size, so they are read until they end; a pipe in their place must not block.
    const int fd = open(QFile::encodeName(root + path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return {};
    QByteArray data;
    std::array<char, 16384> buffer;
    ssize_t count = 0;
    while (data.size() < kLargestFile && (count = read(fd, buffer.data(), buffer.size())) > 0)
        data.append(buffer.data(), count);
    close(fd);
    return data;
}

QString SystemFiles::text(const QString &path) const
{
    constexpr int kLongestText = 256;
    QString text = QString::fromUtf8(bytes(path));
    for (QChar &character : text) {
        if (!character.isPrint())
            character = u' ';
    }
    return text.simplified().left(kLongestText);
}

qulonglong SystemFiles::number(const QString &path) const { return text(path).toULongLong(nullptr, 0); }

QStringList SystemFiles::names(const QString &folder) const
{
    QStringList names = QDir(root + folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System);
    std::sort(names.begin(), names.end(), numberedLess);
    return names;
}

QString SystemFiles::linkName(const QString &path) const
{
    const QFileInfo information(root + path);
    return information.isSymLink() ? QFileInfo(information.symLinkTarget()).fileName() : QString();
}

QString SystemFiles::resolved(const QString &path) const
{
    return QFileInfo(root + path).canonicalFilePath();
}

bool SystemFiles::isFolder(const QString &path) const { return QFileInfo(root + path).isDir(); }

QString sizeText(double bytes)
{
    constexpr std::array units = {"bytes", "KB", "MB", "GB", "TB", "PB"};
    std::size_t unit = 0;
    while (bytes >= 1024 && unit + 1 < units.size()) {
        bytes /= 1024;
        ++unit;
    }
    const int decimals = unit >= 3 && bytes < 100 ? 1 : 0;
    return QString::number(bytes, 'f', decimals) + u' ' + QLatin1StringView(units[unit]);
}

QString identifierText(qulonglong number)
{
    return QStringLiteral("0x") + QString::number(number, 16).rightJustified(4, u'0');
}

} // namespace KVBase::Profile
