#include "Support/Together.h"

#include <KVBase/CSRegex.h>
#include <KVBase/Email.h>
#include <KVBase/KVComparison.h>
#include <KVBase/MD5Extensions.h>
#include <KVBase/Platform/KVFormat.h>
#include <KVBase/Platform/NSException.h>
#include <KVBase/Ptr.h>
#include <KVBase/UUID.h>
#include <KVBase/VersionCheck.h>
#include <KVBase/Whirlpool_Hash.h>

#include <gtest/gtest.h>

namespace KVBase::Tests
{
namespace
{

/// An expression that all threads use, compiled once.
struct Expression {
    Ref<CSRegex> regex = CSRegex::regexWithPattern(QStringLiteral("b+"));
};

/// What keeps no state that a caller could see, and may yet share a locale, a collator or a table.
const SharedOperation<Expression> kOperations[] = {
    {"Match",
     [](Expression &shared, int) {
         EXPECT_TRUE(shared.regex->matchesString(QStringLiteral("abbc")));
         EXPECT_EQ(shared.regex->matchedSubstringOfString(QStringLiteral("abbc")), QStringLiteral("bb"));
     }},
    {"Compile",
     [](Expression &, int) {
         EXPECT_TRUE(CSRegex::matchedByPattern(QStringLiteral("x1"), QStringLiteral("^[a-z][0-9]$")));
     }},
    {"RefuseToCompile",
     [](Expression &, int) {
         EXPECT_THROW((void)CSRegex::regexWithPattern(QStringLiteral("(")), NSException);
     }},
    {"Split",
     [](Expression &, int) {
         EXPECT_EQ(CSRegex::componentsSeparatedByPattern(QStringLiteral("a,b"), QStringLiteral(",")).size(),
                   2);
     }},
    {"ValidateMail",
     [](Expression &, int) { EXPECT_TRUE(Email::isValidEmailAddress(QStringLiteral("a@b.de"))); }},
    {"RefuseMail",
     [](Expression &, int) {
         NSError error;
         EXPECT_FALSE(Email::isValidEmailAddressWithError(QStringLiteral("a@b.c"), &error));
         EXPECT_EQ(error.code(), 1305);
     }},
    {"CompareVersions",
     [](Expression &, int) {
         EXPECT_EQ(VersionCheck::compareVersion(QStringLiteral("1.2"), QStringLiteral("1.10")), -1);
     }},
    {"CompareNames",
     [](Expression &, int) {
         EXPECT_EQ(
             KVComparison::caseInsensitiveNumericCompare(QStringLiteral("File 2"), QStringLiteral("file 10")),
             -1);
     }},
    {"Digest",
     [](Expression &, int) {
         EXPECT_EQ(MD5Extensions::md5(QStringLiteral("abc")),
                   QStringLiteral("900150983cd24fb0d6963f7d28e17f72"));
         EXPECT_EQ(Whirlpool_Hash::whirlpoolHash(QStringLiteral("abc")).size(), 128);
     }},
    {"Identifier", [](Expression &, int) { EXPECT_NE(UUID::UUIDString(), UUID::UUIDString()); }},
    {"Pointer",
     [](Expression &shared, int) { EXPECT_EQ(Ptr::ptrValue(Ptr::stringWithPtr(&shared)), &shared); }},
    {"Format",
     [](Expression &, int round) {
         EXPECT_EQ(stringWithFormat("%d %g %s", round, 1.5, "x"),
                   QString::number(round) + QStringLiteral(" 1.5 x"));
     }},
};

class TextPairsThreads : public testing::TestWithParam<SharedOperation<Expression>> {};

TEST_P(TextPairsThreads, MayMeetEachOther)
{
    runAgainstEach(
        GetParam(), kOperations, 25, [] { return std::make_unique<Expression>(); },
        [](Expression &shared) { EXPECT_FALSE(shared.regex->matchesString(QStringLiteral("ac"))); });
}

INSTANTIATE_TEST_SUITE_P(Each, TextPairsThreads, testing::ValuesIn(kOperations), nameOfOperation<Expression>);

} // namespace
} // namespace KVBase::Tests
