#include "Platform/Services/Applications.h"
#include "Platform/Services/Processes.h"

#include "Support/FileFixtures.h"

#include <QtCore/QFile>
#include <QtCore/QMap>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace KVBase
{
namespace
{

using namespace Tests;

constexpr OSType kCode = 0x4b567431; // 'KVt1'

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

void putProgram(const QString &path)
{
    putFile(path, "#!/bin/sh\n");
    if (::chmod(QFile::encodeName(path).constData(), 0755) != 0)
        qFatal("chmod");
}

QByteArray infoPlist(const char *signature, const char *executable)
{
    return QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                      "<key>CFBundleSignature</key><string>") +
           signature + "</string><key>CFBundleExecutable</key><string>" + executable +
           "</string></dict></plist>\n";
}

/// Programs are not started but remembered; those that a test names cannot be started.
struct RecordedProcesses final : Processes {
    bool readOutput(const QList<QStringList> &, QByteArray *) override { return false; }
    bool launchDetached(const QStringList &arguments, const QMap<QString, QString> &) override
    {
        launched.append(arguments);
        return !missing.contains(arguments.first());
    }
    QList<QStringList> launched;
    QStringList missing;
};

/// Data folders of its own, the user's and the system's.
class ApplicationsTest : public testing::Test {
protected:
    void SetUp() override
    {
        qputenv("HOME", QFile::encodeName(folder + text("/home")));
        qputenv("XDG_DATA_HOME", QFile::encodeName(folder + text("/user")));
        qputenv("XDG_DATA_DIRS", QFile::encodeName(folder + text("/system")));
        putFolder(folder + text("/user/applications"));
        putFolder(folder + text("/system/applications"));
        putFolder(folder + text("/home/Applications"));
        putProgram(folder + text("/program"));
    }

    void TearDown() override
    {
        qputenv("HOME", home);
        qputenv("XDG_DATA_HOME", dataHome);
        qunsetenv("XDG_DATA_DIRS");
    }

    void putEntry(const char *path, const QByteArray &lines)
    {
        putFile(folder + text(path), "[Desktop Entry]\nType=Application\n" + lines);
    }

    QByteArray execLine() const { return "Exec=\"" + QFile::encodeName(folder) + "/program\" %f\n"; }

    static QString found(OSType code)
    {
        return Service<Applications>::current()->applicationForCreator(code);
    }

    const QByteArray home = qgetenv("HOME");
    const QByteArray dataHome = qgetenv("XDG_DATA_HOME");
    const QString folder = freshFolder();
};

TEST_F(ApplicationsTest, NobodyHasAnUnknownCode)
{
    EXPECT_TRUE(found(kCode).isNull());
    EXPECT_TRUE(found(0).isNull());
    EXPECT_TRUE(found(0xffffffff).isNull());
}

TEST_F(ApplicationsTest, FindsABundleByItsSignature)
{
    putFolder(folder + text("/home/Applications/Other.app/Contents"));
    putFile(folder + text("/home/Applications/Other.app/Contents/Info.plist"), infoPlist("KVt2", "Other"));
    putFolder(folder + text("/home/Applications/Mine.app/Contents"));
    putFile(folder + text("/home/Applications/Mine.app/Contents/Info.plist"), infoPlist("KVt1", "Mine"));
    putFolder(folder + text("/home/Applications/Broken.app"));
    putFile(folder + text("/home/Applications/Broken.app/Info.plist"), "no property list");
    EXPECT_EQ(found(kCode), folder + text("/home/Applications/Mine.app"));
}

TEST_F(ApplicationsTest, FindsABundleInADataFolder)
{
    putFolder(folder + text("/system/mine"));
    putFile(folder + text("/system/mine/Info.plist"), infoPlist("KVt1", "mine"));
    EXPECT_EQ(found(kCode), folder + text("/system/mine"));
}

TEST_F(ApplicationsTest, FindsAProgramByItsDesktopEntry)
{
    putEntry("/system/applications/x.desktop", execLine() + "X-CreatorCode=KVt1\n");
    EXPECT_EQ(found(kCode), folder + text("/program"));
    EXPECT_TRUE(found(kCode + 1).isNull());
}

TEST_F(ApplicationsTest, FindsAnEntryInASubFolder)
{
    putFolder(folder + text("/system/applications/maker"));
    putEntry("/system/applications/maker/x.desktop", execLine() + "X-CreatorCode=KVt1\n");
    EXPECT_EQ(found(kCode), folder + text("/program"));
}

TEST_F(ApplicationsTest, AUsersEntryHidesTheSystems)
{
    putEntry("/system/applications/x.desktop", execLine() + "X-CreatorCode=KVt1\n");
    putEntry("/user/applications/x.desktop", "Hidden=true\n");
    EXPECT_TRUE(found(kCode).isNull());
}

TEST_F(ApplicationsTest, AnEntryWithoutAProgramDoesNotCount)
{
    putEntry("/user/applications/a.desktop", "Exec=/none/such\nX-CreatorCode=KVt1\n");
    putEntry("/user/applications/b.desktop", "X-CreatorCode=KVt1\n");
    EXPECT_TRUE(found(kCode).isNull());
    putEntry("/user/applications/c.desktop", execLine() + "X-CreatorCode=KVt1\n");
    EXPECT_EQ(found(kCode), folder + text("/program"));
}

TEST_F(ApplicationsTest, OpensFilesWithTheDesktopsOpener)
{
    RecordedProcesses processes;
    const ScopedService<Processes> service(&processes);
    const QString file = folder + text("/-file with 'quotes'");
    putFile(file, "");
    EXPECT_TRUE(Service<Applications>::current()->openFile(file));
    ASSERT_EQ(processes.launched.size(), 1);
    EXPECT_EQ(processes.launched.first(), (QStringList{text("xdg-open"), file}));
    EXPECT_FALSE(Service<Applications>::current()->openFile(folder + text("/missing")));
    EXPECT_FALSE(Service<Applications>::current()->openFile(QString()));
    EXPECT_EQ(processes.launched.size(), 1);
}

TEST_F(ApplicationsTest, OpensNothingWithoutAnOpener)
{
    RecordedProcesses processes;
    processes.missing = {text("xdg-open"), text("gio")};
    const ScopedService<Processes> service(&processes);
    EXPECT_FALSE(Service<Applications>::current()->openFile(folder));
    EXPECT_EQ(processes.launched.size(), 2);
}

TEST_F(ApplicationsTest, StartsABundlesProgram)
{
    RecordedProcesses processes;
    const ScopedService<Processes> service(&processes);
    Applications &applications = *Service<Applications>::current();
    putFolder(folder + text("/A b.app/Contents/MacOS"));
    putFile(folder + text("/A b.app/Contents/Info.plist"), infoPlist("KVt1", "Real Name"));
    putProgram(folder + text("/A b.app/Contents/MacOS/Real Name"));
    EXPECT_TRUE(applications.openApplication(folder + text("/A b.app/")));
    putFolder(folder + text("/prefix/share/tool-1.2"));
    putFolder(folder + text("/prefix/bin"));
    putProgram(folder + text("/prefix/bin/tool-1.2"));
    EXPECT_TRUE(applications.openApplication(folder + text("/prefix/share/tool-1.2")));
    EXPECT_TRUE(applications.openApplication(folder + text("/program")));
    ASSERT_EQ(processes.launched.size(), 3);
    EXPECT_EQ(processes.launched.at(0), QStringList{folder + text("/A b.app/Contents/MacOS/Real Name")});
    EXPECT_EQ(processes.launched.at(1), QStringList{folder + text("/prefix/bin/tool-1.2")});
    EXPECT_EQ(processes.launched.at(2), QStringList{folder + text("/program")});
}

TEST_F(ApplicationsTest, StartsNothingThatIsNoProgram)
{
    RecordedProcesses processes;
    const ScopedService<Processes> service(&processes);
    Applications &applications = *Service<Applications>::current();
    putFile(folder + text("/plain"), "");
    putFolder(folder + text("/Empty.app"));
    EXPECT_FALSE(applications.openApplication(folder + text("/plain")));
    EXPECT_FALSE(applications.openApplication(folder + text("/Empty.app")));
    EXPECT_FALSE(applications.openApplication(folder + text("/missing")));
    EXPECT_FALSE(applications.openApplication(QString()));
    EXPECT_TRUE(processes.launched.isEmpty());
}

} // namespace
} // namespace KVBase
