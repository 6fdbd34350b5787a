#include "Diagnostics/LogSupport.h"
#include "Support/Together.h"

#include <KVBase/KVErrException.h>
#include <KVBase/KVLog.h>
#include <KVBase/UException.h>

#include <atomic>
#include <cstring>

namespace KVBase
{
namespace
{

using namespace Tests;

/// The path of the log under test, and of a second one.
struct Logs {
    QString path;
    QString other;
};

const SharedOperation<Logs> kLogOperations[] = {
    {"Log", [](Logs &, int round) { KVLog("line %d of %s", round, "several"); }},
    {"LogError", [](Logs &, int round) { KVLogError(round + 1, "context", "a/File.cpp", 12); }},
    {"SetDestination", [](Logs &, int round) { KVLogSetDestination(round % 3); }},
    {"Destination", [](Logs &, int) { EXPECT_TRUE(KVLogDestination() >= 0 && KVLogDestination() <= 2); }},
    {"SetDefaultDestination", [](Logs &, int) { KVLogSetDefaultDestination(); }},
    {"Path",
     [](Logs &logs, int) {
         const QString path = KVLogPath();
         EXPECT_TRUE(path.isNull() || path == logs.path || path == logs.other || path.endsWith(u"First.log"));
     }},
    {"SetDomainLevel", [](Logs &, int round) { KVLogSetDomainLevel(std::uint32_t(round % 128), round % 5); }},
    {"DomainLevel",
     [](Logs &, int round) {
         const std::int32_t level = KVLogDomainLevel(std::uint32_t(round % 128));
         EXPECT_TRUE(level >= 0 && level < 5);
     }},
    {"DomainLevelArray",
     [](Logs &, int round) {
         const std::int32_t level = sDomainLevel[round % 128].load();
         EXPECT_TRUE(level >= 0 && level < 5);
     }},
    {"Open", [](Logs &logs, int round) { (void)KVLogOpen(round % 2 ? logs.path : logs.other); }},
    {"Close", [](Logs &, int) { KVLogClose(); }},
};

class KVLogPairsThreads : public LogFixture, public testing::WithParamInterface<SharedOperation<Logs>> {};

TEST_P(KVLogPairsThreads, MayMeetEachOther)
{
    runAgainstEach(
        GetParam(), kLogOperations, 25,
        [this] {
            KVLogClose();
            KVLogSetDestination(1);
            console.clear();
            auto logs = std::make_unique<Logs>(Logs{file("App.log"), file("Other.log")});
            KVLogOpen(logs->path);
            return logs;
        },
        [](Logs &logs) {
            KVLogClose();
            KVLogSetDestination(1);
            EXPECT_TRUE(KVLogOpen(logs.path));
            KVLog("the last line");
            KVLogClose();
            EXPECT_TRUE(contents(logs.path).endsWith("\nthe last line\n"));
        });
}

INSTANTIATE_TEST_SUITE_P(Each, KVLogPairsThreads, testing::ValuesIn(kLogOperations), nameOfOperation<Logs>);

struct Nothing {};

const SharedOperation<Nothing> kExceptionOperations[] = {
    {"SetSectionName",
     [](Nothing &, int round) {
         UException::SetSectionName(round % 2 ? "first section" : "second section");
     }},
    {"ClearSectionName", [](Nothing &, int) { UException::SetSectionName(nullptr); }},
    {"SectionName",
     [](Nothing &, int) {
         const QString name = UException::GetSectionName();
         EXPECT_TRUE(name.isNull() || name == u"first section" || name == u"second section");
     }},
    {"SetDisplaysAlert", [](Nothing &, int) { UException::SetDisplaysAlert(0); }},
    {"DisplaysAlert", [](Nothing &, int) { EXPECT_EQ(UException::GetDisplaysAlert(), 0); }},
    {"Throw",
     [](Nothing &, int) { EXPECT_THROW(UException::Throw("name", "message", "File.cpp", 3), KVException); }},
    {"ThrowErr",
     [](Nothing &, int round) {
         try {
             UException::ThrowErr(round, "message", "File.cpp", 3);
             EXPECT_EQ(round, 0);
         } catch (const KVErrException &exception) {
             EXPECT_EQ(exception.err(), round);
         }
     }},
};

class UExceptionPairsThreads : public LogFixture,
                               public testing::WithParamInterface<SharedOperation<Nothing>> {};

TEST_P(UExceptionPairsThreads, MayMeetEachOther)
{
    UException::SetDisplaysAlert(0);
    runAgainstEach(
        GetParam(), kExceptionOperations, 40, [] { return std::make_unique<Nothing>(); },
        [](Nothing &) { UException::SetSectionName(nullptr); });
    EXPECT_TRUE(UException::GetSectionName().isNull());
}

INSTANTIATE_TEST_SUITE_P(Each, UExceptionPairsThreads, testing::ValuesIn(kExceptionOperations),
                         nameOfOperation<Nothing>);

} // namespace
} // namespace KVBase
