#include <KVBase/Relaunch.h>

#include "Support/FileFixtures.h"

#include "Platform/Services/Applications.h"
#include "Platform/Services/RelaunchCommand.h"

#include <KVBase/Platform/NSApplication.h>
#include <KVBase/Platform/NSBundle.h>
#include <KVBase/Platform/NSUserDefaults.h>

#include <QtCore/QCoreApplication>
#include <QtGui/QAction>
#include <QtGui/QGuiApplication>

#include <gtest/gtest.h>

#include <unistd.h>

namespace KVBase
{
namespace
{

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

NSUserDefaults &defaults() { return NSUserDefaults::standardUserDefaults(); }

/// Remembers what is asked of it, and what stood on the disk at that moment.
struct RecordedApplications final : Applications {
    QString applicationForCreator(OSType) override { return {}; }
    bool openFile(const QString &) override { return false; }
    bool openApplication(const QString &) override { return false; }
    void relaunchAfterExit(const QString &path) override { relaunched.append(path); }
    QStringList relaunched;
};

class RefusingDelegate : public QObject {
    Q_OBJECT
public:
    Q_INVOKABLE bool applicationShouldTerminate()
    {
        ++asked;
        return false;
    }
    int asked = 0;
};

class RelaunchTest : public testing::Test {
protected:
    void TearDown() override
    {
        defaults().removeObjectForKey(text("AppleLanguages"));
        defaults().removeObjectForKey(text("AppleLocale"));
    }

    RecordedApplications applications;
    ScopedService<Applications> service{&applications};
    int argc = 1;
    char name[5] = "test";
    char *argv[2] = {name, nullptr};
    QGuiApplication application{argc, argv}; // menu items need one
};

TEST_F(RelaunchTest, OpensTheMainBundleAgain)
{
    Relaunch::relaunch();
    EXPECT_EQ(applications.relaunched, QStringList{NSBundle::mainBundle()->bundlePath()});
}

TEST_F(RelaunchTest, AMenuItemsTitleBecomesTheOneLanguage)
{
    QAction item(text("de"), nullptr);
    EXPECT_TRUE(Relaunch::relaunchUsingLocalization(&item));
    const auto languages = defaults().arrayForKey(text("AppleLanguages"));
    ASSERT_TRUE(languages.has_value());
    EXPECT_EQ(*languages, QVariantList{text("de")});
    EXPECT_EQ(applications.relaunched.size(), 1);
}

TEST_F(RelaunchTest, AMenuItemsTitleBecomesTheLocale)
{
    QAction item(text("de_AT"), nullptr);
    EXPECT_TRUE(Relaunch::relaunchUsingLocale(&item));
    EXPECT_EQ(defaults().objectForKey(text("AppleLocale")), QVariant(text("de_AT")));
    EXPECT_FALSE(defaults().arrayForKey(text("AppleLanguages")).has_value());
    EXPECT_EQ(applications.relaunched.size(), 1);
}

TEST_F(RelaunchTest, EveryKindOfMenuItemWill)
{
    class SpecialItem : public QAction {
    public:
        using QAction::QAction;
    };
    SpecialItem item(text("fr"), nullptr);
    EXPECT_TRUE(Relaunch::relaunchUsingLocalization(&item));
    EXPECT_EQ(*defaults().arrayForKey(text("AppleLanguages")), QVariantList{text("fr")});
}

TEST_F(RelaunchTest, MnemonicsDoNotBelongToTheTitle)
{
    struct Row {
        const char *title, *stored;
    };
    const Row rows[] = {{"&Deutsch", "Deutsch"},
                        {"Fran\u00e7&ais", "Fran\u00e7ais"},
                        {"Salt && Pepper", "Salt & Pepper"},
                        {"\u65e5\u672c\u8a9e(&J)", "\u65e5\u672c\u8a9e"},
                        {"English\tCtrl+E", "English"},
                        {"zh_Hans", "zh_Hans"},
                        {"Ends with &", "Ends with "}};
    for (const Row &row : rows) {
        QAction item(text(row.title), nullptr);
        EXPECT_TRUE(Relaunch::relaunchUsingLocale(&item));
        EXPECT_EQ(defaults().stringForKey(text("AppleLocale")), text(row.stored));
    }
}

TEST_F(RelaunchTest, AnyOtherSenderChangesNothing)
{
    QObject other;
    EXPECT_FALSE(Relaunch::relaunchUsingLocalization(&other));
    EXPECT_FALSE(Relaunch::relaunchUsingLocale(&other));
    EXPECT_FALSE(Relaunch::relaunchUsingLocalization(nullptr));
    EXPECT_FALSE(Relaunch::relaunchUsingLocale(nullptr));
    EXPECT_FALSE(defaults().arrayForKey(text("AppleLanguages")).has_value());
    EXPECT_TRUE(defaults().stringForKey(text("AppleLocale")).isNull());
    EXPECT_TRUE(applications.relaunched.isEmpty());
}

TEST_F(RelaunchTest, RemovingAPreferenceDoesNotRelaunch)
{
    defaults().setObject(QVariantList{text("de")}, text("AppleLanguages"));
    defaults().setObject(text("de_DE"), text("AppleLocale"));
    Relaunch::removeLocalizationPreference(nullptr);
    EXPECT_FALSE(defaults().arrayForKey(text("AppleLanguages")).has_value());
    EXPECT_EQ(defaults().stringForKey(text("AppleLocale")), text("de_DE"));
    QObject sender;
    Relaunch::removeLocalePreference(&sender);
    EXPECT_TRUE(defaults().stringForKey(text("AppleLocale")).isNull());
    EXPECT_TRUE(applications.relaunched.isEmpty());
}

TEST_F(RelaunchTest, ARefusingDelegateKeepsTheApplication)
{
    RefusingDelegate delegate;
    NSApplication::sharedApplication()->setDelegate(&delegate);
    Relaunch::relaunch();
    EXPECT_EQ(delegate.asked, 1);
    EXPECT_EQ(applications.relaunched.size(), 1);
    NSApplication::sharedApplication()->setDelegate(nullptr);
}

TEST(RelaunchCommandTest, KeepsTheWaitingRule)
{
    const QByteArray command = relaunchCommand();
    EXPECT_EQ(command.count('\n'), 6);
    EXPECT_TRUE(command.contains("i < 3000 &&"));
    EXPECT_TRUE(command.contains("\n    /bin/sleep .2;\n  done\n"));
    EXPECT_TRUE(command.endsWith("&>/dev/null &'"));
}

TEST(RelaunchCommandTest, KnowsWhenThisProcessStarted)
{
    bool number = false;
    EXPECT_GT(startTimeOfProcess(::getpid()).toLongLong(&number), 0);
    EXPECT_TRUE(number);
}

TEST(RelaunchCommandTest, RemembersTheEnvironmentAtTheStart)
{
    qputenv("PATH_SET_LATER_BY_TEST", "x");
    EXPECT_TRUE(initialEnvironmentValue("PATH_SET_LATER_BY_TEST").isEmpty());
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", "/changed");
    EXPECT_EQ(initialEnvironmentValue("PATH"), path);
    qputenv("PATH", path);
}

} // namespace
} // namespace KVBase

#include "RelaunchTest.moc"
