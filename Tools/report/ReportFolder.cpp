#include "report/ReportFolder.h"

#include "Platform/Services/FileManager.h"
#include "Platform/Services/Folders.h"

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>

namespace report
{

using namespace KVBase;

QString usualReportFolder(const QString &application)
{
    const QStringList libraries = Service<Folders>::current()->libraryFolders(NSUserDomainMask);
    const QString moment = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd-HHmmss-zzz"));
    QString name = application;
    return libraries.value(0) + QStringLiteral("/KVBase/Reports/") + name.replace(u'/', u'_') + u'_' + moment;
}

bool makeReportFolder(const QString &folder)
{
    constexpr std::uint32_t kPrivateFolderMode = 0700;
    return Service<FileManager>::current()->createDirectory(QFileInfo(folder).absoluteFilePath(), true,
                                                            kPrivateFolderMode);
}

QStringList writeReport(const QString &folder, const QMap<QString, QString> &texts)
{
    QStringList failed;
    for (auto text = texts.begin(); text != texts.end(); ++text) {
        const QString path = QFileInfo(folder + u'/' + text.key()).absoluteFilePath();
        if (!Service<FileManager>::current()->write(path, text.value().toUtf8(), {kPrivateFileMode, false}))
            failed.append(text.key());
    }
    return failed;
}

QString readableForm(const QVariantMap &fields)
{
    QString lines;
    QString blocks;
    for (auto field = fields.begin(); field != fields.end(); ++field) {
        const QString value = field.value().toString();
        if (value.contains(u'\n'))
            blocks += QStringLiteral("\n== %1\n%2\n").arg(field.key(), value.trimmed());
        else
            lines += QStringLiteral("%1: %2\n").arg(field.key(), value);
    }
    return lines + blocks;
}

} // namespace report
