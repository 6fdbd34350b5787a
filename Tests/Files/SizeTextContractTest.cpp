#include <KVBase/KVPathUtils.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/UPath.h>

#include "Support/ChildProcess.h"
#include "Support/StubBundles.h"
#include "Support/StubSystemVersions.h"

#include <QtCore/QLocale>

#include <gtest/gtest.h>

#include <limits>

namespace KVBase
{
namespace
{

using namespace Tests;

struct SizeText {
    double bytes;
    QString current;
    QString older;
};

class KVSizeTexts : public testing::TestWithParam<SizeText> {};

TEST_P(KVSizeTexts, DifferBetweenTheTwoFunctions)
{
    EXPECT_EQ(KVPathUtils::sizeStringFromBytes(GetParam().bytes), GetParam().current);
    EXPECT_EQ(UPath::GetSizeString(GetParam().bytes), GetParam().older);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, KVSizeTexts,
    testing::Values(
        SizeText{0, "0 Bytes", "0 Bytes"}, SizeText{1, "1.0 Bytes", "1 Bytes"},
        SizeText{0.9, "0 Bytes", "0 Bytes"}, SizeText{-0.5, "0 Bytes", "0 Bytes"},
        SizeText{1.9, "1.0 Bytes", "1 Bytes"}, SizeText{512, "512.0 Bytes", "512 Bytes"},
        SizeText{1023, "1023.0 Bytes", "1023 Bytes"}, SizeText{1024, "1024.0 Bytes", "1024 Bytes"},
        SizeText{1025, "1.0 KB", "1 KB"}, SizeText{1536, "1.0 KB", "1 KB"}, SizeText{2047, "1.0 KB", "1 KB"},
        SizeText{2048, "2.0 KB", "2 KB"}, SizeText{3072, "3.0 KB", "3 KB"},
        SizeText{1048575, "1023.0 KB", "1023 KB"}, SizeText{1048576, "1024.0 KB", "1024 KB"},
        SizeText{1048577, "1.0 MB", "1.0 MB"}, SizeText{1572864, "1.5 MB", "1.5 MB"},
        SizeText{1310720, "1.2 MB", "1.2 MB"}, SizeText{1835008, "1.8 MB", "1.8 MB"},
        SizeText{2359296, "2.2 MB", "2.2 MB"}, SizeText{1073741824, "1024.0 MB", "1024.0 MB"},
        SizeText{1610612736, "1.5 GB", "1.5 GB"}, SizeText{1099511627776.0, "1024.0 GB", "1024.0 GB"},
        SizeText{1649267441664.0, "1.5 TB", "1.5 TB"},
        SizeText{1125899906842624.0 * 2, "2048.0 TB", "2048.0 TB"}, SizeText{-1, "-1.0 Bytes", "-1 Bytes"},
        SizeText{-1024, "-1024.0 Bytes", "-1024 Bytes"},
        SizeText{-1e12, "-2147483648.0 Bytes", "-2147483648 Bytes"},
        SizeText{std::numeric_limits<double>::quiet_NaN(), "-2147483648.0 Bytes", "-2147483648 Bytes"}));

TEST(KVSizeTextLocaleTest, SeparatorsFollowTheLocaleWhereTheFormatterIsUsed)
{
    runInChild([] {
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        EXPECT_EQ(KVPathUtils::sizeStringFromBytes(1572864), "1,5 MB");
        EXPECT_EQ(KVPathUtils::sizeStringFromBytes(3072), "3,0 KB");
        EXPECT_EQ(KVPathUtils::sizeStringFromBytes(1024), "1024,0 Bytes") << "no grouping";
        EXPECT_EQ(KVPathUtils::sizeStringFromBytes(0), "0 Bytes");
        EXPECT_EQ(UPath::GetSizeString(1572864), "1,5 MB");
        EXPECT_EQ(UPath::GetSizeString(1536), "1 KB");
        EXPECT_EQ(KVPathUtils::getFreeSpaceString(1500000000), "1.5 GB") << "plain %g";
    });
}

TEST(KVSizeTextLocaleTest, UnitsComeFromTheFrameworksTable)
{
    const BundleFolder folder({{"CFBundleIdentifier", "com.kelvo.KVBase"}});
    folder.addResource(
        "KVBase.strings",
        "\"BYTES_STRING\" = \" Octets\"; \"KB_STRING\" = \" Ko\"; \"MB_STRING\" = \" Mo\";"
        "\"NA_STRING\" = \"s.o.\"; \"%d Bytes\" = \"<%d octets>\"; \"%d KB\" = \"<%d|%d|%s|%@>\";"
        "\" MB\" = \" mo\"; \" GB\" = \" go\";");
    const StubApplication application({{"CFBundleIdentifier", "com.kelvo.sample"}}, folder.bundle());
    EXPECT_EQ(KVPathUtils::sizeStringFromBytes(512), "512.0 Octets");
    EXPECT_EQ(KVPathUtils::sizeStringFromBytes(3072), "3.0 Ko");
    EXPECT_EQ(KVPathUtils::sizeStringFromBytes(1572864), "1.5 Mo");
    EXPECT_EQ(KVPathUtils::sizeStringFromBytes(1610612736), "1.5 GB");
    EXPECT_EQ(UPath::GetSizeString(512), "<512 octets>");
    EXPECT_EQ(UPath::GetSizeString(3072), "<3|%d|%s|%@>") << "a format asks for no more than it is given";
    EXPECT_EQ(UPath::GetSizeString(1572864), "1.5 mo");
    EXPECT_EQ(UPath::GetSizeString(1610612736), "1.5 go");
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(-1), "s.o.");
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(1500), "1.5 Ko");
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(2000000), "2 Mo");
}

TEST(KVSizeTextLocaleTest, WithoutAFrameworkBundleTheDefaultsStay)
{
    const StubApplication application({{"CFBundleIdentifier", "com.kelvo.sample"}}, nullptr);
    EXPECT_EQ(KVPathUtils::sizeStringFromBytes(3072), "3.0 KB");
    EXPECT_EQ(UPath::GetSizeString(3072), "3 KB");
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(-1), "n/a");
}

struct FreeText {
    QVariant bytes;
    double foundation;
    QString text;
};

class KVFreeSpaceTexts : public testing::TestWithParam<FreeText> {};

TEST_P(KVFreeSpaceTexts, AreTruncatedToTwoDecimals)
{
    StubSystemVersions versions;
    versions.foundation = GetParam().foundation;
    const ScopedService<SystemVersions> guard(&versions);
    EXPECT_EQ(KVPathUtils::getFreeSpaceString(GetParam().bytes), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Spaces, KVFreeSpaceTexts,
    testing::Values(FreeText{-1024, 751.0, "n/a"}, FreeText{-1, 1000.0, "n/a"},
                    FreeText{-0.01, 1000.0, "n/a"}, FreeText{0, 1000.0, "0 Bytes"},
                    FreeText{QVariant(), 1000.0, "0 Bytes"}, FreeText{1, 1000.0, "1 Bytes"},
                    FreeText{999, 1000.0, "999 Bytes"}, FreeText{1000, 1000.0, "1000 Bytes"},
                    FreeText{1001, 1000.0, "1 KB"}, FreeText{1500, 1000.0, "1.5 KB"},
                    FreeText{1999, 1000.0, "1.99 KB"}, FreeText{999999, 1000.0, "999.99 KB"},
                    FreeText{1000000, 1000.0, "1000 KB"}, FreeText{980000000, 1000.0, "980 MB"},
                    FreeText{1500000000, 1000.0, "1.5 GB"}, FreeText{1500000000, 751.0, "1.5 GB"},
                    FreeText{1500000000, 750.99, "1.39 GB"}, FreeText{1024, 750.0, "1024 Bytes"},
                    FreeText{1025, 750.0, "1 KB"}, FreeText{1048575, 750.0, "1023.99 KB"},
                    FreeText{1500000000000LL, 1000.0, "1.5 TB"},
                    FreeText{1000000000000000LL, 1000.0, "1000 TB"},
                    FreeText{1125899906842624ULL, 750.0, "1024 TB"}));

TEST(KVFreeSpaceTextTest, ASixthStepRunsPastTheUnits)
{
    EXPECT_THROW(KVPathUtils::getFreeSpaceString(1500000000000000LL), NSException);
    try {
        KVPathUtils::getFreeSpaceString(std::numeric_limits<qulonglong>::max());
        ADD_FAILURE() << "nothing was raised";
    } catch (const NSException &exception) {
        EXPECT_EQ(exception.name(), "NSRangeException");
    }
}

} // namespace
} // namespace KVBase
