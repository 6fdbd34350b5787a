#include "Platform/Services/SystemVersions.h"

#include "Platform/SystemRelease.h"

#include <gtest/gtest.h>

using namespace KVBase;

TEST(SystemReleaseTest, ReadsOsRelease)
{
    const struct {
        const char *what;
        const char *text;
        QString version;
        QString build;
        std::int32_t minorRelease;
        std::int32_t packed;
    } rows[] = {
        {"a whole number", "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n", "12", QString(), 12, 0x10c0},
        {"a point release", "VERSION_ID=\"22.04\"\n", "22.04", QString(), 22, 0x1164},
        {"no quotes", "VERSION_ID=39\nBUILD_ID=20240101\n", "39", "20240101", 39, 0x1270},
        {"single quotes", "VERSION_ID='9.3'", "9.3", QString(), 9, 0x1093},
        {"a low number counts as 6", "VERSION_ID=3.2", "3.2", QString(), 6, 0x1062},
        {"the third digit is at most 9", "VERSION_ID=15.12", "15.12", QString(), 15, 0x10f9},
        {"a rolling release", "NAME=Rolling\nBUILD_ID=rolling\n", QString(), QString(), 6, 0x1060},
        {"letters", "VERSION_ID=sid\n", "sid", QString(), 6, 0x1060},
        {"a date", "VERSION_ID=20240101\n", "20240101", QString(), 20240101, 323845712},
        {"more than a number holds", "VERSION_ID=99999999999999999999\n", "99999999999999999999", QString(),
         134217215, 2147479536},
        {"nothing", "", QString(), QString(), 6, 0x1060},
        {"noise", "====\n\xff\xfe\n=VERSION_ID=7", QString(), QString(), 6, 0x1060},
    };
    for (const auto &row : rows) {
        const SystemRelease release = SystemRelease::fromText(row.text);
        EXPECT_EQ(release.version, row.version) << row.what;
        EXPECT_EQ(release.version.isNull(), row.version.isNull()) << row.what;
        EXPECT_EQ(release.build, row.build) << row.what;
        EXPECT_EQ(release.minorRelease(), row.minorRelease) << row.what;
        EXPECT_EQ(release.packed(), row.packed) << row.what;
    }
}

TEST(SystemVersionsTest, ThisSystemAnswers)
{
    SystemVersions *const service = Service<SystemVersions>::current();
    std::int32_t answer = 0;
    EXPECT_EQ(service->gestalt(kGestaltSystemVersion, &answer), 0);
    EXPECT_GE(answer, 0x1060);
    EXPECT_EQ(service->gestalt(kGestaltSystemVersionMajor, &answer), 0);
    EXPECT_EQ(answer, 10);
    EXPECT_EQ(service->gestalt(kGestaltSystemVersionMinor, &answer), 0);
    EXPECT_GE(answer, 6);
    EXPECT_FALSE(service->productVersion().isEmpty());
    EXPECT_FALSE(service->productBuildVersion().isEmpty());
    EXPECT_EQ(service->foundationVersionNumber(), 1000.0);
    EXPECT_EQ(service->appKitVersionNumber(), 1000.0);
}

TEST(SystemVersionsTest, WhatIsNotKnownLeavesTheAnswerAlone)
{
    std::int32_t answer = 77;
    EXPECT_NE(Service<SystemVersions>::current()->gestalt(kGestaltQuickTimeVersion, &answer), 0);
    EXPECT_NE(Service<SystemVersions>::current()->gestalt(0x78787878, &answer), 0);
    EXPECT_EQ(answer, 77);
}
