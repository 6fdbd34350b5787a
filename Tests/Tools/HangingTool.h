#pragma once

#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>

#include <sys/types.h>

namespace KVBase::Tests
{

/// A program that never ends and waits for a tool, which it has started and which never ends either.
class HangingTool {
public:
    HangingTool()
    {
        QFile script(program());
        if (script.open(QIODevice::WriteOnly)) {
            script.write("#!/bin/sh\necho begun\nsleep 6000 &\necho $! > '" + toolFile().toUtf8() +
                         ".part'\nmv '" + toolFile().toUtf8() + ".part' '" + toolFile().toUtf8() +
                         "'\nwait\n");
        }
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    QString program() const { return folder.filePath(QStringLiteral("hang")); }

    bool hasBegun() const { return QFile::exists(toolFile()); }

    /// Waits until the tool has ended; false when it does not.
    bool hasEnded() const
    {
        const QDeadlineTimer deadline(30000);
        while (isRunning() && !deadline.hasExpired())
            QThread::msleep(5);
        return !isRunning();
    }

    bool isRunning() const
    {
        QFile file(toolFile());
        if (!file.open(QIODevice::ReadOnly))
            return false;
        QFile state(QStringLiteral("/proc/%1/stat").arg(file.readAll().trimmed().toInt()));
        return state.open(QIODevice::ReadOnly) && !state.readAll().contains(") Z ");
    }

private:
    QString toolFile() const { return folder.filePath(QStringLiteral("tool")); }

    QTemporaryDir folder;
};

} // namespace KVBase::Tests
