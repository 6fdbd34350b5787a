#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSUserDefaults.h>
#include <KVBase/Relaunch.h>

#include "Platform/Services/Applications.h"
#include "Support/ChildProcess.h"
#include "Support/StubBundles.h"

#include <QtCore/QTimer>
#include <QtGui/QAction>
#include <QtGui/QGuiApplication>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using namespace Tests;

NSUserDefaults &defaults() { return NSUserDefaults::standardUserDefaults(); }

/// Notes what was asked of it, and what could be seen at that moment.
struct StubApplications final : Applications {
    QStringList relaunched;
    QByteArray launchPath;
    QVariant languages;
    QVariant locale;
    bool quitting = false;
    bool quittingBefore = false;

    QString applicationForCreator(OSType) override { return {}; }
    bool openFile(const QString &) override { return false; }
    bool openApplication(const QString &) override { return false; }
    void relaunchAfterExit(const QString &path) override
    {
        relaunched << path;
        launchPath = qgetenv("LAUNCH_PATH");
        languages = defaults().objectForKey("AppleLanguages");
        locale = defaults().objectForKey("AppleLocale");
        quittingBefore = quitting;
    }
};

struct SpecialItem : QAction {
    using QAction::QAction;
};

/// Runs `work` inside a running application of its own; what it leaves in `applications` is told to `check`
/// together with whether the application quit by itself.
void inApplication(const std::function<void()> &work,
                   const std::function<void(const StubApplications &applications, bool quit)> &check)
{
    runInChild([&] {
        int count = 1;
        char name[] = "relaunched";
        char *arguments[] = {name, nullptr};
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("LAUNCH_PATH", "an earlier value");
        QGuiApplication application(count, arguments);
        StubApplications applications;
        const ScopedService<Applications> guard(&applications);
        const StubApplication bundle({{"CFBundleIdentifier", "com.kelvo.relaunching"}});
        defaults().removeObjectForKey("AppleLanguages");
        defaults().removeObjectForKey("AppleLocale");
        QObject::connect(&application, &QCoreApplication::aboutToQuit, [&] { applications.quitting = true; });
        bool quit = true;
        QTimer::singleShot(0, &application, [&] {
            work();
            QTimer::singleShot(300, &application, [&] {
                quit = false;
                QCoreApplication::exit(3);
            });
        });
        QGuiApplication::exec();
        EXPECT_TRUE(applications.relaunched.isEmpty() ||
                    applications.relaunched == QStringList{bundle.bundleFolder().path()});
        if (!applications.relaunched.isEmpty()) {
            EXPECT_EQ(applications.launchPath, bundle.bundleFolder().path().toUtf8());
        } else {
            EXPECT_EQ(qgetenv("LAUNCH_PATH"), "an earlier value");
        }
        EXPECT_FALSE(applications.quittingBefore) << "the command runs before the application ends";
        check(applications, quit);
    });
}

TEST(KVRelaunchTest, StartsTheCommandAndTerminates)
{
    inApplication([] { Relaunch::relaunch(); },
                  [](const StubApplications &applications, bool quit) {
                      EXPECT_EQ(applications.relaunched.size(), 1);
                      EXPECT_TRUE(quit);
                      EXPECT_TRUE(isNil(applications.languages));
                      EXPECT_TRUE(isNil(applications.locale));
                  });
}

TEST(KVRelaunchTest, ALanguageIsStoredAsAnArrayOfOne)
{
    inApplication(
        [] {
            QAction item("de");
            EXPECT_TRUE(Relaunch::relaunchUsingLocalization(&item));
        },
        [](const StubApplications &applications, bool quit) {
            EXPECT_EQ(applications.relaunched.size(), 1);
            EXPECT_TRUE(quit);
            EXPECT_EQ(applications.languages, QVariant(QVariantList{"de"}));
            EXPECT_TRUE(isNil(applications.locale));
            EXPECT_EQ(defaults().arrayForKey("AppleLanguages"), QVariantList{"de"});
        });
}

TEST(KVRelaunchTest, ARegionIsStoredAsAText)
{
    inApplication(
        [] {
            SpecialItem item("de_AT");
            EXPECT_TRUE(Relaunch::relaunchUsingLocale(&item)) << "a subclass is a menu item";
        },
        [](const StubApplications &applications, bool quit) {
            EXPECT_EQ(applications.relaunched.size(), 1);
            EXPECT_TRUE(quit);
            EXPECT_EQ(applications.locale, QVariant(QString("de_AT")));
            EXPECT_TRUE(isNil(applications.languages));
        });
}

TEST(KVRelaunchTest, AnotherSenderChangesNothing)
{
    inApplication(
        [] {
            defaults().setObject(QVariantList{"fr"}, "AppleLanguages");
            defaults().setObject("fr_FR", "AppleLocale");
            QObject sender;
            sender.setObjectName("de");
            EXPECT_FALSE(Relaunch::relaunchUsingLocalization(&sender));
            EXPECT_FALSE(Relaunch::relaunchUsingLocale(&sender));
            EXPECT_FALSE(Relaunch::relaunchUsingLocalization(nullptr));
            EXPECT_FALSE(Relaunch::relaunchUsingLocale(nullptr));
        },
        [](const StubApplications &applications, bool quit) {
            EXPECT_TRUE(applications.relaunched.isEmpty());
            EXPECT_FALSE(quit);
            EXPECT_EQ(defaults().objectForKey("AppleLanguages"), QVariant(QVariantList{"fr"}));
            EXPECT_EQ(defaults().objectForKey("AppleLocale"), QVariant(QString("fr_FR")));
        });
}

} // namespace
} // namespace KVBase
