#pragma once

#include "Support/CapturedLog.h"

#include <KVBase/KVLog.h>

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

namespace KVBase
{

/// The rule that opens a session.
inline constexpr const char *kRule =
    "\n\n-------------------------------------------------------------------------\n";

/// A test with a folder of its own, the console captured, and no log file open before and after.
class LogFixture : public testing::Test {
protected:
    LogFixture()
    {
        KVLogClose();
        KVLogSetDestination(1);
        // The path of a log that could not be opened is forgotten when another one was.
        KVLogOpen(file("First.log"));
        KVLogClose();
        QFile::remove(file("First.log"));
    }
    ~LogFixture() override { KVLogClose(); }

    QString file(const char *name) const { return folder.filePath(QString::fromUtf8(name)); }

    static QByteArray contents(const QString &path)
    {
        QFile opened(path);
        return opened.open(QFile::ReadOnly) ? opened.readAll() : QByteArray();
    }

    static void create(const QString &path, const QByteArray &bytes)
    {
        QFile opened(path);
        ASSERT_TRUE(opened.open(QFile::WriteOnly));
        ASSERT_EQ(opened.write(bytes), bytes.size());
    }

    /// What a log file holds behind its last session header.
    static QByteArray linesBehindHeader(const QString &path)
    {
        const QByteArray all = contents(path);
        const qsizetype user = all.lastIndexOf("\nUser: ");
        const qsizetype end = all.indexOf("\n\n", user + 1);
        return user < 0 || end < 0 ? all : all.mid(end + 2);
    }

    QTemporaryDir folder;
    Tests::CapturedLog console;
};

} // namespace KVBase
