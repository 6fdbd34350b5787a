#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSError.h>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

TEST(NSErrorTest, IsNilWhenDefaultConstructed)
{
    const NSError error;
    EXPECT_TRUE(isNil(error));
    EXPECT_TRUE(error.domain().isNull());
    EXPECT_EQ(error.code(), 0);
    EXPECT_TRUE(error.localizedDescription().isNull());
    EXPECT_TRUE(error.localizedFailureReason().isNull());
    EXPECT_TRUE(error.description().isNull());
}

TEST(NSErrorTest, HandsOutWhatItWasGiven)
{
    const NSError error(QStringLiteral("domain"), -36,
                        {{NSLocalizedDescriptionKey, QStringLiteral("It broke.")},
                         {NSLocalizedFailureReasonErrorKey, QStringLiteral("Wear.")}});
    EXPECT_FALSE(isNil(error));
    EXPECT_EQ(error.domain(), QStringLiteral("domain"));
    EXPECT_EQ(error.code(), -36);
    EXPECT_EQ(error.localizedDescription(), QStringLiteral("It broke."));
    EXPECT_EQ(error.localizedFailureReason(), QStringLiteral("Wear."));
    EXPECT_EQ(error.description(), QStringLiteral("Error Domain=domain Code=-36 \"It broke.\""));
}

TEST(NSErrorTest, NamesDomainAndCodeWithoutADescription)
{
    const NSError error(QStringLiteral("domain"), 5, {});
    EXPECT_EQ(error.localizedDescription(),
              QStringLiteral("The operation could not be completed. (domain error 5.)"));
}

} // namespace
} // namespace KVBase
