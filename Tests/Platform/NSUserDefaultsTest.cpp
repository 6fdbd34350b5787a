#include <KVBase/Platform/NSUserDefaults.h>

#include "Platform/DefaultsFile.h"
#include "Platform/ExecutablePath.h"
#include "Support/CapturedLog.h"
#include "Support/ChildProcess.h"
#include "Support/StubBundles.h"
#include "Support/ToolRunner.h"

#include <KVBase/Platform/KVNil.h>

#include <gtest/gtest.h>

#include <QtCore/QDateTime>
#include <QtCore/QProcess>
#include <QtCore/QUrl>

#include <limits>
#include <thread>

#include <sys/mount.h>
#include <sys/stat.h>

using namespace KVBase;
using namespace KVBase::Tests;

namespace
{

QString configFile(const QString &name)
{
    return scratchFolder() + QStringLiteral("/home/.config/") + name + QStringLiteral(".plist");
}

/// Without a bundle the settings are named after the program.
QString ownFile() { return configFile(QFileInfo(executablePath()).fileName()); }

QString helper() { return programFolder() + QStringLiteral("/DefaultsHelper"); }

QVariantMap contentOf(const QString &path)
{
    return NSPropertyListSerialization::dictionaryWithContentsOfFile(path).value_or(QVariantMap());
}

mode_t modeOf(const QString &path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

NSUserDefaults &defaults() { return NSUserDefaults::standardUserDefaults(); }

} // namespace

TEST(NSUserDefaultsTest, StoredValuesStandAboveRegisteredOnes)
{
    EXPECT_TRUE(isNil(defaults().objectForKey("layer")));
    defaults().registerDefaults({{"layer", 1}, {"other", "x"}});
    EXPECT_EQ(defaults().integerForKey("layer"), 1);
    defaults().setInteger(2, "layer");
    EXPECT_EQ(defaults().integerForKey("layer"), 2);
    defaults().registerDefaults({{"layer", 3}});
    EXPECT_EQ(defaults().integerForKey("layer"), 2);
    defaults().removeObjectForKey("layer");
    EXPECT_EQ(defaults().integerForKey("layer"), 3);
    EXPECT_EQ(defaults().stringForKey("other"), QStringLiteral("x"));
}

TEST(NSUserDefaultsTest, ValuesKeepTheirTypes)
{
    const QVariantMap values{{"text", "101"},
                             {"number", 101LL},
                             {"yes", true},
                             {"real", 1.5},
                             {"data", QByteArray("\0\1", 2)},
                             {"one", QVariantList{"only"}},
                             {"map", QVariantMap{{"k", 1LL}}},
                             {"date", QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5, 678), Qt::UTC)},
                             {"with/slash and \\ = ; [x]", "kept"}};
    for (auto entry = values.cbegin(); entry != values.cend(); ++entry)
        defaults().setObject(entry.value(), entry.key());
    ASSERT_TRUE(defaults().synchronize());
    const QVariantMap stored = contentOf(ownFile());
    for (auto entry = values.cbegin(); entry != values.cend(); ++entry) {
        EXPECT_EQ(defaults().objectForKey(entry.key()), entry.value());
        EXPECT_EQ(stored.value(entry.key()), entry.value()) << qPrintable(entry.key());
        EXPECT_EQ(stored.value(entry.key()).typeId(), entry.value().typeId()) << qPrintable(entry.key());
    }
    EXPECT_EQ(modeOf(ownFile()), mode_t{0600});
}

TEST(NSUserDefaultsTest, IntegersAreReadFromWhatThereIs)
{
    const struct {
        QVariant value;
        std::int64_t integer;
    } rows[] = {
        {7, 7},
        {-7LL, -7},
        {true, 1},
        {false, 0},
        {2.9, 2},
        {-2.9, -2},
        {1e300, std::numeric_limits<std::int64_t>::max()},
        {-1e300, std::numeric_limits<std::int64_t>::min()},
        {18446744073709551615ULL, std::numeric_limits<std::int64_t>::max()},
        {"42", 42},
        {" -3 apples", -3},
        {"apples", 0},
        {"", 0},
        {QVariantList{1}, 0},
        {QVariantMap{{"k", 1}}, 0},
        {QByteArray("5"), 0},
        {QDateTime::currentDateTimeUtc(), 0},
    };
    for (const auto &row : rows) {
        defaults().setObject(row.value, "integer");
        EXPECT_EQ(defaults().integerForKey("integer"), row.integer) << row.value.typeName();
    }
    EXPECT_EQ(defaults().integerForKey("never stored"), 0);
    EXPECT_EQ(defaults().integerForKey(QString()), 0);
}

TEST(NSUserDefaultsTest, TextsAndArraysAreReadFromTheirKinds)
{
    defaults().setObject("text", "t");
    defaults().setObject(12, "n");
    defaults().setObject(true, "b");
    defaults().setObject(QVariantList{"a", 1LL}, "l");
    EXPECT_EQ(defaults().stringForKey("t"), QStringLiteral("text"));
    EXPECT_EQ(defaults().stringForKey("n"), QStringLiteral("12"));
    EXPECT_EQ(defaults().stringForKey("b"), QStringLiteral("1"));
    EXPECT_TRUE(defaults().stringForKey("l").isNull());
    EXPECT_TRUE(defaults().stringForKey("never stored").isNull());
    EXPECT_EQ(defaults().arrayForKey("l"), (QVariantList{"a", 1LL}));
    EXPECT_FALSE(defaults().arrayForKey("t").has_value());
    EXPECT_FALSE(defaults().arrayForKey("never stored").has_value());
}

TEST(NSUserDefaultsTest, NilRemovesAndWhatNoListHoldsChangesNothing)
{
    const CapturedLog log;
    defaults().setObject("value", "nilTest");
    defaults().setObject(QUrl(QStringLiteral("http://x")), "nilTest");
    EXPECT_EQ(defaults().stringForKey("nilTest"), QStringLiteral("value"));
    defaults().setObject(QVariantList{QVariant()}, "nilTest");
    EXPECT_EQ(defaults().stringForKey("nilTest"), QStringLiteral("value"));
    defaults().setObject(QVariant(), "nilTest");
    EXPECT_TRUE(isNil(defaults().objectForKey("nilTest")));
    defaults().setObject("value", "nilTest");
    defaults().setObject(QString(), "nilTest");
    EXPECT_TRUE(isNil(defaults().objectForKey("nilTest")));
    defaults().setObject("value", QString());
    defaults().removeObjectForKey(QString());
    EXPECT_TRUE(isNil(defaults().objectForKey(QString())));
}

TEST(NSUserDefaultsTest, WhatIsNotSynchronizedIsWrittenAtTheEnd)
{
    EXPECT_EQ(runProgram(helper(), {"set", "key", "value"}).exitCode, 0);
    EXPECT_EQ(runProgram(helper(), {"get", "key"}).text(), QStringLiteral("value"));
}

TEST(NSUserDefaultsTest, TheRunningLoopWritesSoonAfterAChange)
{
    const QString file = configFile("DefaultsHelper");
    QFile::remove(file);
    EXPECT_EQ(runProgram(helper(), {"loop", file}).exitCode, 0);
    EXPECT_EQ(contentOf(file).value("key"), QVariant("from the loop"));
}

TEST(NSUserDefaultsTest, AForkedChildWritesNothingForItsParent)
{
    const QString file = configFile("DefaultsHelper");
    QFile::remove(file);
    EXPECT_EQ(runProgram(helper(), {"fork"}).exitCode, 0);
    EXPECT_EQ(contentOf(file), QVariantMap());
}

TEST(NSUserDefaultsTest, TwoProcessesLoseNoKey)
{
    QFile::remove(configFile("DefaultsHelper"));
    QProcess first;
    QProcess second;
    first.start(helper(), {"write", "a", "60"});
    second.start(helper(), {"write", "b", "60"});
    ASSERT_TRUE(first.waitForFinished(120000));
    ASSERT_TRUE(second.waitForFinished(120000));
    EXPECT_EQ(first.exitCode(), 0);
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_EQ(contentOf(configFile("DefaultsHelper")).size(), 120);
}

TEST(NSUserDefaultsTest, SynchronizeTakesInWhatOthersStored)
{
    runInChild([] {
        const QString file = ownFile();
        defaults().setObject("mine", "mine");
        defaults().setObject("mine", "both");
        ASSERT_TRUE(defaults().synchronize());
        defaults().setObject("again mine", "both");
        ASSERT_TRUE(NSPropertyListSerialization::writeToFile(
            QVariantMap{{"theirs", "theirs"}, {"both", "theirs"}, {"mine", "changed"}}, file));
        EXPECT_TRUE(isNil(defaults().objectForKey("theirs")));
        ASSERT_TRUE(defaults().synchronize());
        const QVariantMap stored = contentOf(file);
        EXPECT_EQ(stored.value("theirs"), QVariant("theirs"));
        EXPECT_EQ(stored.value("both"), QVariant("again mine"));
        EXPECT_EQ(stored.value("mine"), QVariant("changed"));
        EXPECT_EQ(defaults().stringForKey("theirs"), QStringLiteral("theirs"));
        EXPECT_EQ(defaults().stringForKey("mine"), QStringLiteral("changed"));
    });
}

TEST(NSUserDefaultsTest, AnApplicationsSettingsAreNamedAfterItsIdentifier)
{
    const BundleFolder folder({{"CFBundleIdentifier", "com.example.named"}});
    const QString program = folder.path() + QStringLiteral("/Contents/MacOS/DefaultsHelper");
    QDir().mkpath(QFileInfo(program).path());
    ASSERT_TRUE(QFile::copy(helper(), program));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LD_LIBRARY_PATH", pluginFolder());
    EXPECT_EQ(runProgram(program, {"set", "k", "value"}, {}, environment).exitCode, 0);
    EXPECT_EQ(contentOf(configFile("com.example.named")), (QVariantMap{{"k", "value"}}));
}

TEST(NSUserDefaultsTest, LanguagesAndLocaleAreAppliedAtTheStart)
{
    QFile::remove(configFile("DefaultsHelper"));
    EXPECT_EQ(runProgram(helper(), {"array", "AppleLanguages", "de-AT,fr"}).exitCode, 0);
    EXPECT_EQ(runProgram(helper(), {"languages"}).text(), QStringLiteral("de_AT:fr de_AT"));
    EXPECT_EQ(runProgram(helper(), {"set", "AppleLocale", "pt_BR"}).exitCode, 0);
    EXPECT_EQ(runProgram(helper(), {"languages"}).text(), QStringLiteral("de_AT:fr pt_BR"));
    QFile::remove(configFile("DefaultsHelper"));
}

TEST(DefaultsFileTest, ADamagedFileIsKeptAsideBeforeTheNextWrite)
{
    const QString path = scratchFolder() + QStringLiteral("/damaged.plist");
    const DefaultsFile file(path);
    for (const QString &aside : {path + QStringLiteral(".damaged"), path + QStringLiteral(".damaged-2")}) {
        writeFile(path, "this is damaged " + aside.toUtf8());
        EXPECT_EQ(file.read(), QVariantMap());
        EXPECT_EQ(readFile(path), "this is damaged " + aside.toUtf8());
        EXPECT_EQ(file.merge({{"k", 1LL}}, DefaultsFile::Folders::AsNeeded), (QVariantMap{{"k", 1LL}}));
        EXPECT_EQ(contentOf(path), (QVariantMap{{"k", 1LL}}));
        EXPECT_EQ(readFile(aside), "this is damaged " + aside.toUtf8());
    }
}

TEST(DefaultsFileTest, ATopLevelThatIsNoDictionaryIsDamage)
{
    const QString path = scratchFolder() + QStringLiteral("/array.plist");
    NSPropertyListSerialization::writeToFile(QVariantList{1}, path);
    EXPECT_EQ(DefaultsFile(path).merge({{"k", 1LL}}, DefaultsFile::Folders::AsNeeded),
              (QVariantMap{{"k", 1LL}}));
    EXPECT_TRUE(QFile::exists(path + QStringLiteral(".damaged")));
}

TEST(DefaultsFileTest, NothingIsWrittenWithoutAChange)
{
    const QString path = scratchFolder() + QStringLiteral("/untouched/file.plist");
    EXPECT_EQ(DefaultsFile(path).merge({}, DefaultsFile::Folders::AsNeeded), QVariantMap());
    EXPECT_FALSE(QFile::exists(scratchFolder() + QStringLiteral("/untouched")));
}

TEST(DefaultsFileTest, FoldersAreMadeForTheFile)
{
    const QString path = scratchFolder() + QStringLiteral("/made/for/it/file.plist");
    EXPECT_FALSE(DefaultsFile(path).merge({{"k", 1LL}}, DefaultsFile::Folders::LastOnly).has_value());
    EXPECT_FALSE(QFile::exists(scratchFolder() + QStringLiteral("/made")));
    EXPECT_TRUE(DefaultsFile(path).merge({{"k", 1LL}}, DefaultsFile::Folders::AsNeeded).has_value());
    EXPECT_EQ(modeOf(path), mode_t{0600});
    EXPECT_EQ(modeOf(scratchFolder() + QStringLiteral("/made/for/it")), mode_t{0700});
}

TEST(DefaultsFileTest, AnythingButAFileIsLeftAlone)
{
    const QString folder = scratchFolder() + QStringLiteral("/folder.plist");
    QDir().mkpath(folder);
    EXPECT_FALSE(DefaultsFile(folder).read().has_value());
    EXPECT_FALSE(DefaultsFile(folder).merge({{"k", 1LL}}, DefaultsFile::Folders::AsNeeded).has_value());
    const QString fifo = scratchFolder() + QStringLiteral("/fifo.plist");
    ::mkfifo(QFile::encodeName(fifo).constData(), 0600);
    EXPECT_FALSE(DefaultsFile(fifo).merge({{"k", 1LL}}, DefaultsFile::Folders::AsNeeded).has_value());
}

namespace
{

/// A small file system of its own, where the user may mount one.
class SmallVolume {
public:
    SmallVolume() : path(scratchFolder() + QStringLiteral("/small"))
    {
        QDir().mkpath(path);
        mounted = ::mount("tmpfs", QFile::encodeName(path).constData(), "tmpfs", 0, "size=64k") == 0;
    }
    ~SmallVolume()
    {
        if (mounted)
            ::umount2(QFile::encodeName(path).constData(), MNT_DETACH);
    }

    void fill() const
    {
        QFile file(path + QStringLiteral("/filling"));
        file.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
        while (file.write(QByteArray(4096, 'x')) > 0) {
        }
    }

    void makeReadOnly() const
    {
        ::mount("tmpfs", QFile::encodeName(path).constData(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=64k");
    }

    const QString path;
    bool mounted = false;
};

} // namespace

TEST(DefaultsFileTest, AFullOrReadOnlyDiskLosesNothing)
{
    const SmallVolume volume;
    if (!volume.mounted)
        GTEST_SKIP() << "mounting needs privileges";
    const DefaultsFile file(volume.path + QStringLiteral("/file.plist"));
    ASSERT_TRUE(file.merge({{"old", 1LL}}, DefaultsFile::Folders::AsNeeded).has_value());
    volume.fill();
    EXPECT_FALSE(file.merge({{"new", QString(5000, u'n')}}, DefaultsFile::Folders::AsNeeded).has_value());
    EXPECT_EQ(file.read(), (QVariantMap{{"old", 1LL}}));
    EXPECT_EQ(QDir(volume.path).entryList(QDir::Files | QDir::Hidden),
              (QStringList{"file.plist", "file.plist.lock", "filling"}));
    QFile::remove(volume.path + QStringLiteral("/filling"));
    volume.makeReadOnly();
    EXPECT_FALSE(file.merge({{"new", 2LL}}, DefaultsFile::Folders::AsNeeded).has_value());
    EXPECT_EQ(file.read(), (QVariantMap{{"old", 1LL}}));
}

TEST(NSUserDefaultsThreads, AnyThreadMayReadAndWrite)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([number] {
            const QString key = QStringLiteral("thread%1").arg(number);
            for (int round = 1; round <= 200; ++round) {
                defaults().setInteger(round, key);
                EXPECT_EQ(defaults().integerForKey(key), round);
                defaults().registerDefaults({{"shared", round}});
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(defaults().integerForKey("thread3"), 200);
}
