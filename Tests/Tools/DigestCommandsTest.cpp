#include "Support/TestPaths.h"
#include "Support/ToolRunner.h"

#include <gtest/gtest.h>

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

namespace KVBase::Tests
{
namespace
{

const QString kMD5OfABC = QStringLiteral("900150983cd24fb0d6963f7d28e17f72");
const QString kWhirlpoolOfABC =
    QStringLiteral("4E2448A4C6F486BB16B6562C73B4020BF3043E3A731BCE721AE1B303D97E6D4C"
                   "7181EEBDB6C57E277D0E34957114CBD6C797FC9D95D8B582D225292076D4EEF5");
const QString kWhirlpoolOfA =
    QStringLiteral("8ACA2602792AEC6F11A67206531FB7D7F0DFF59413145E6973C45001D0087B42"
                   "D11BC645413AEFF63A42391A39145A591A92200D560195E53B478584FDAE231A");
const QString kWhirlpoolOfNothing =
    QStringLiteral("19FA61D75522A4669B44E39C1D2E1726C530232130D407F89AFEE0964997F7A7"
                   "3E83BE698B288FEBCF88E3E03C4F0757EA8964E59B63D93708B138CC42A66EB3");

ToolResult run(std::initializer_list<const char *> words, const QByteArray &input = {})
{
    QStringList arguments;
    for (const char *word : words)
        arguments.append(QString::fromUtf8(word));
    return runTool(arguments, input);
}

QString fileHolding(const QByteArray &contents)
{
    QFile file(scratchFolder() + QStringLiteral("/digested"));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_EQ(file.write(contents), contents.size());
    return file.fileName();
}

TEST(MD5CommandTest, DigestsTextsFilesAndStandardInput)
{
    EXPECT_EQ(run({"md5", "--text", "abc"}).text(), kMD5OfABC + QStringLiteral("  abc"));
    EXPECT_EQ(run({"md5"}, "abc").text(), kMD5OfABC + QStringLiteral("  -"));
    const QString path = fileHolding("abc");
    EXPECT_EQ(runTool({QStringLiteral("md5"), path}).text(), kMD5OfABC + QStringLiteral("  ") + path);
    EXPECT_EQ(run({"md5"}).text(), QStringLiteral("d41d8cd98f00b204e9800998ecf8427e  -"));
}

TEST(MD5CommandTest, PrintsJson)
{
    const QJsonValue json = run({"md5", "--json", "--text", "abc"}).json();
    EXPECT_EQ(json, QJsonValue(QJsonArray{QJsonObject{{"text", "abc"}, {"digest", kMD5OfABC}}}));
}

TEST(MD5CommandTest, GoesOnAfterAFileThatItCannotRead)
{
    const QString path = fileHolding("abc");
    const ToolResult result =
        runTool({QStringLiteral("md5"), QStringLiteral("/missing/file"), scratchFolder(), path});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.text(), kMD5OfABC + QStringLiteral("  ") + path);
    EXPECT_TRUE(result.err.contains("kvbase: /missing/file cannot be read"));
}

TEST(WhirlpoolCommandTest, DigestsTextsFilesAndStandardInput)
{
    EXPECT_EQ(run({"whirlpool", "--text", "abc"}).text(), kWhirlpoolOfABC + QStringLiteral("  abc"));
    EXPECT_EQ(run({"whirlpool"}, "abc").text(), kWhirlpoolOfABC + QStringLiteral("  -"));
    EXPECT_EQ(run({"whirlpool"}).text(), kWhirlpoolOfNothing + QStringLiteral("  -"));
    EXPECT_EQ(run({"whirlpool"}, QByteArray(1000000, 'a')).text(),
              QStringLiteral("0C99005BEB57EFF50A7CF005560DDF5D29057FD86B20BFD62DECA0F1CCEA4AF5"
                             "1FC15490EDDC47AF32BB2B66C34FF9AD8C6008AD677F77126953B226E4ED8B01  -"));
    const QString path = fileHolding("abc");
    EXPECT_EQ(runTool({QStringLiteral("whirlpool"), path}).text(),
              kWhirlpoolOfABC + QStringLiteral("  ") + path);
    EXPECT_EQ(runTool({QStringLiteral("whirlpool"), scratchFolder()}).exitCode, 2);
}

TEST(WhirlpoolCommandTest, DigestsAsTheStringMethodUnderItsFlag)
{
    EXPECT_EQ(run({"whirlpool", "--string-method", "--text", "abcdefgh"}).text(),
              kWhirlpoolOfA + QStringLiteral("  abcdefgh"));
    EXPECT_EQ(run({"whirlpool", "--string-method"}, "abcdefgh").text(),
              kWhirlpoolOfA + QStringLiteral("  -"));
    EXPECT_EQ(run({"whirlpool", "--string-method"}).text(), kWhirlpoolOfNothing + QStringLiteral("  -"));
}

} // namespace
} // namespace KVBase::Tests
