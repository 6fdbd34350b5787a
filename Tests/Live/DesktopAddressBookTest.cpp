#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using namespace Tests;

const QString kProgram = programFolder() + QStringLiteral("/DesktopContactsProgram");

/// A user of the desktop with nothing in his folders.
class DesktopAddressBookTest : public testing::Test {
protected:
    DesktopAddressBookTest()
    {
        for (const char *variable :
             {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"})
            environment.insert(QString::fromUtf8(variable), home.path());
    }

    /// Under a message bus of its own, which ends with the program.
    ToolResult runInSession(const QStringList &arguments) const
    {
        return runProgram(QStringLiteral("dbus-run-session"),
                          QStringList{QStringLiteral("--"), kProgram} + arguments, {}, environment);
    }

    QStringList cardFiles() const
    {
        return QDir(home.path() + QStringLiteral("/contacts")).entryList(QDir::Files);
    }

    static bool hasService()
    {
        const QDir services(QStringLiteral("/usr/share/dbus-1/services"));
        return !QStandardPaths::findExecutable(QStringLiteral("dbus-run-session")).isEmpty() &&
               !services.entryList({QStringLiteral("org.gnome.evolution.dataserver.AddressBook*")})
                    .isEmpty() &&
               QFile::exists(programFolder() + QStringLiteral("/../lib/libKVBaseDesktopAddressBook.so"));
    }

    QTemporaryDir home{scratchFolder() + QStringLiteral("/desktop-XXXXXX")};
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
};

TEST_F(DesktopAddressBookTest, ContactsAreKeptByTheDesktopsService)
{
    if (!hasService())
        GTEST_SKIP() << "the desktop's address-book service is not installed";
    EXPECT_EQ(runInSession({QStringLiteral("find"), QStringLiteral("")}).out, QByteArray());
    EXPECT_EQ(
        runInSession({QStringLiteral("add"), QStringLiteral("Kelvo Größe; GmbH"), QStringLiteral("a@b.de")})
            .exitCode,
        0);
    EXPECT_EQ(
        runInSession({QStringLiteral("add"), QStringLiteral("Else"), QStringLiteral("c@d.de")}).exitCode, 0);
    EXPECT_EQ(QString::fromUtf8(runInSession({QStringLiteral("find"), QStringLiteral("kELVO")}).out),
              QStringLiteral("Kelvo Größe; GmbH <a@b.de>\n"));
    EXPECT_EQ(runInSession({QStringLiteral("find"), QStringLiteral("")}).lines().size(), 2);
    EXPECT_TRUE(cardFiles().isEmpty());
}

TEST_F(DesktopAddressBookTest, TheFolderTakesItsPlaceWhereThereIsNone)
{
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                       QStringLiteral("unix:path=/nowhere/at/all"));
    EXPECT_EQ(runProgram(kProgram, {QStringLiteral("add"), QStringLiteral("Kelvo"), QStringLiteral("a@b.de")},
                         {}, environment)
                  .exitCode,
              0);
    EXPECT_EQ(cardFiles().size(), 1);
    EXPECT_EQ(runProgram(kProgram, {QStringLiteral("find"), QStringLiteral("kelvo")}, {}, environment).out,
              QByteArray("Kelvo <a@b.de>\n"));
}

} // namespace
} // namespace KVBase
