#include <KVBase/KVErrException.h>
#include <KVBase/KVException.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSException.h>

#include "Support/CapturedLog.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace KVBase
{
namespace
{

TEST(KVExceptionTest, HoldsNameAndMessage)
{
    const KVException exception("name", "message");
    EXPECT_EQ(exception.name(), "name");
    EXPECT_EQ(exception.message(), "message");
    EXPECT_STREQ(exception.what(), "message");
}

TEST(KVExceptionTest, LeavesNullFieldsNil)
{
    const KVException nothing(nullptr, nullptr);
    EXPECT_TRUE(isNil(nothing.name()));
    EXPECT_TRUE(isNil(nothing.message()));
    EXPECT_STREQ(nothing.what(), "");
    const KVException named("name", nullptr);
    EXPECT_TRUE(isNil(named.message()));
    EXPECT_STREQ(named.what(), "name");
}

TEST(KVExceptionTest, TellsEmptyFromNil)
{
    const KVException exception("", "");
    EXPECT_FALSE(isNil(exception.name()));
    EXPECT_FALSE(isNil(exception.message()));
    EXPECT_EQ(exception.message(), "");
}

TEST(KVExceptionTest, ReadsBrokenBytesAsReplacements)
{
    EXPECT_EQ(KVException("a\xff", "\xc3\xbc").name(), QStringLiteral("a\uFFFD"));
    EXPECT_EQ(KVException("a\xff", "\xc3\xbc").message(), QStringLiteral("ü"));
}

TEST(KVExceptionTest, IsNoNSException)
{
    EXPECT_FALSE((std::is_base_of_v<NSException, KVException>));
    EXPECT_TRUE(std::is_nothrow_copy_constructible_v<KVException>);
    EXPECT_TRUE(std::is_nothrow_copy_constructible_v<KVErrException>);
}

TEST(KVExceptionTest, AlwaysThrows)
{
    try {
        KVException::throwException("name", nullptr);
    } catch (const KVException &caught) {
        EXPECT_EQ(caught.name(), "name");
        EXPECT_TRUE(isNil(caught.message()));
    }
    EXPECT_THROW(KVException::throwException(nullptr, nullptr), KVException);
}

TEST(KVExceptionTest, LogsItselfOnOneLine)
{
    const Tests::CapturedLog log;
    KVException("Name", "The message").log();
    KVException("Name", nullptr).log();
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("KVException:  name='Name'  message='The message'"),
                                        QStringLiteral("KVException:  name='Name'  message='(null)'")}));
}

TEST(KVErrExceptionTest, HoldsCodeMessageAndItsOwnName)
{
    const KVErrException exception(-43, "message");
    EXPECT_EQ(exception.name(), "KVErrException");
    EXPECT_EQ(exception.message(), "message");
    EXPECT_EQ(exception.err(), -43);
    EXPECT_TRUE(isNil(KVErrException(1, nullptr).message()));
}

TEST(KVErrExceptionTest, ThrowsUnlessTheCodeIsZero)
{
    EXPECT_NO_THROW(KVErrException::throwErr(0, "message"));
    try {
        KVErrException::throwErr(-36, "message");
        FAIL() << "did not throw";
    } catch (const KVException &caught) {
        const auto *const coded = dynamic_cast<const KVErrException *>(&caught);
        ASSERT_NE(coded, nullptr);
        EXPECT_EQ(coded->err(), -36);
        EXPECT_EQ(coded->message(), "message");
    }
}

TEST(KVErrExceptionTest, LogsItselfOnOneLine)
{
    const Tests::CapturedLog log;
    KVErrException(-36, "The message").log();
    const KVErrException second(5, nullptr);
    static_cast<const KVException &>(second).log();
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("KVErrException:  err=-36  message='The message'"),
                                        QStringLiteral("KVErrException:  err=5  message='(null)'")}));
}

} // namespace
} // namespace KVBase
