#include "Support/Together.h"

#include <KVBase/InfoDictionary.h>
#include <KVBase/KVAppVersionUtils.h>
#include <KVBase/KVPathUtils.h>
#include <KVBase/Runtime.h>
#include <KVBase/UEnvironment.h>
#include <KVBase/UPath.h>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

struct Process {};

/// What is kept for the life of the process from its first answer on, and what is never kept.
const SharedOperation<Process> kOperations[] = {
    {"RunningOnSystem",
     [](Process &, int) {
         EXPECT_TRUE(UEnvironment::RunningOnSystem(0x1000));
         EXPECT_FALSE(UEnvironment::RunningOnSystem(0x7fffffff));
     }},
    {"RunningOnSystemVersion", [](Process &, int) { EXPECT_TRUE(Runtime::runningOnSystemVersion(0x1000)); }},
    {"MediaFrameworkVersion",
     [](Process &, int) { EXPECT_EQ(UEnvironment::QuickTimeVersion(), Runtime::quickTimeVersion()); }},
    {"SystemVersion",
     [](Process &, int) { EXPECT_EQ(UEnvironment::SystemVersion(), Runtime::systemVersion()); }},
    {"NamedReleases",
     [](Process &, int) {
         EXPECT_TRUE(UEnvironment::RunningOnJaguarOrBetter());
         EXPECT_TRUE(Runtime::runningOnLeopardOrHigher());
     }},
    {"FirstStartOfAppVersion",
     [](Process &, int) {
         EXPECT_EQ(KVAppVersionUtils::firstStartOfAppVersion(), KVAppVersionUtils::firstStartOfAppVersion());
     }},
    {"FirstStartWithSystem",
     [](Process &, int) {
         EXPECT_EQ(KVAppVersionUtils::firstStartWithSystemVersion(),
                   KVAppVersionUtils::firstStartWithSystemVersion());
         EXPECT_EQ(KVAppVersionUtils::firstStartWithSystemBuild(),
                   KVAppVersionUtils::firstStartWithSystemBuild());
     }},
    {"FirstStartWithMediaFramework",
     [](Process &, int) { (void)KVAppVersionUtils::firstStartWithQuickTimeVersion(); }},
    {"RegisterAppVersion",
     [](Process &, int round) {
         if (round % 10 == 0)
             KVAppVersionUtils::registerAppVersion();
     }},
    {"InfoDictionary",
     [](Process &, int) {
         (void)InfoDictionary::versionString();
         EXPECT_EQ(InfoDictionary::bundleName(), InfoDictionary::bundleName());
     }},
    {"SizeTexts",
     [](Process &, int) {
         EXPECT_EQ(KVPathUtils::sizeStringFromBytes(0).isEmpty(), false);
         EXPECT_FALSE(UPath::GetSizeString(2048).isEmpty());
     }},
};

class SharedAnswersPairsThreads : public testing::TestWithParam<SharedOperation<Process>> {};

TEST_P(SharedAnswersPairsThreads, MayMeetEachOther)
{
    runAgainstEach(
        GetParam(), kOperations, 20, [] { return std::make_unique<Process>(); },
        [](Process &) { EXPECT_TRUE(UEnvironment::RunningOnSystem(0x1000)); });
}

INSTANTIATE_TEST_SUITE_P(Each, SharedAnswersPairsThreads, testing::ValuesIn(kOperations),
                         nameOfOperation<Process>);

} // namespace
} // namespace KVBase::Tests
