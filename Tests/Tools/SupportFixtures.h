#pragma once

#include "Support/TestPaths.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

namespace KVBase::Tests
{

/// `kvbase collect` on a free port, until the end of the scope.
class Collector {
public:
    Collector()
    {
        process.start(programFolder() + QStringLiteral("/kvbase"),
                      {QStringLiteral("collect"), QStringLiteral("--folder"), folder.path()});
        QByteArray line;
        while (!line.endsWith('\n') && process.waitForReadyRead(60000))
            line += process.readLine();
        const QByteArray mark = "listening on ";
        EXPECT_TRUE(line.startsWith(mark)) << line.constData();
        url = QString::fromUtf8(line.mid(mark.size())).trimmed();
    }

    ~Collector()
    {
        process.terminate();
        process.waitForFinished(60000);
    }

    QString form(const QString &name) const { return folder.filePath(name); }

    /// The fields of the first form, empty when none is stored.
    QJsonObject fields() const
    {
        QFile file(form(QStringLiteral("form-0001.json")));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("fields")).toObject();
    }

    QString url;
    QProcess process;
    QTemporaryDir folder;
};

/// Writes a crash report of the application "Tool" into this test's Library folder; answers its path.
inline QString addCrashReport(const QByteArray &content)
{
    const QString folder = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Logs/CrashReporter");
    QDir().mkpath(folder);
    const QString path = folder + QStringLiteral("/Tool_1.crash");
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();
    return path;
}

/// Forgets the reports and settings of "Tool" that an earlier test left.
inline void forgetTool()
{
    QDir(qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Logs")).removeRecursively();
    QDir(qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/KVBase")).removeRecursively();
    QFile::remove(qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/Tool.plist"));
}

} // namespace KVBase::Tests
