#include <KVBase/MD5Extensions.h>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

TEST(MD5ExtensionsTest, DigestsTextAsLowerCaseDigits)
{
    EXPECT_EQ(MD5Extensions::md5(QStringLiteral("")), QStringLiteral("d41d8cd98f00b204e9800998ecf8427e"));
    EXPECT_EQ(MD5Extensions::md5(QStringLiteral("abc")), QStringLiteral("900150983cd24fb0d6963f7d28e17f72"));
    EXPECT_EQ(MD5Extensions::md5(QStringLiteral("message digest")),
              QStringLiteral("f96b697d7cb7938d525a2f31aaf161d0"));
    EXPECT_EQ(MD5Extensions::md5(QStringLiteral(u"\u00e9")),
              QStringLiteral("66ddcd97cfdeabb2f6fb8a999b4bc76f"));
}

TEST(MD5ExtensionsTest, AnswersNilForNil) { EXPECT_TRUE(MD5Extensions::md5(QString()).isNull()); }

TEST(MD5ExtensionsTest, DigestsAllBytesOfTextWithNul)
{
    const QString text = QStringLiteral("a") + QChar(0) + QStringLiteral("b");
    EXPECT_EQ(MD5Extensions::md5(text), QStringLiteral("70350f6027bce3713f6b76473084309b"));
    EXPECT_EQ(MD5Extensions::stringWithMD5OfData(QByteArray("a\0b", 3)),
              QStringLiteral("70350f6027bce3713f6b76473084309b"));
}

TEST(MD5ExtensionsTest, TakesTextWithoutUtf8AsEmpty)
{
    EXPECT_EQ(MD5Extensions::md5(QStringLiteral("a") + QChar(0xd800)),
              QStringLiteral("d41d8cd98f00b204e9800998ecf8427e"));
}

TEST(MD5ExtensionsTest, DigestsDataAndNeverAnswersNil)
{
    EXPECT_EQ(MD5Extensions::stringWithMD5OfData(QByteArray()),
              QStringLiteral("d41d8cd98f00b204e9800998ecf8427e"));
    EXPECT_EQ(MD5Extensions::stringWithMD5OfData(QByteArray(1, '\xff')),
              QStringLiteral("00594fd4f42ba43fc1ca0427a0576295"));
}

} // namespace
} // namespace KVBase
