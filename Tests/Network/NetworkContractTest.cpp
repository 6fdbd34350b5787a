#include "Platform/Services/HTTPTransport.h"
#include "Platform/Services/Interfaces.h"
#include "Support/CapturedLog.h"

#include <KVBase/KVHTTPPost.h>
#include <KVBase/MacAddress.h>

#include <QtCore/QUrl>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

struct FieldRow {
    const char *what;
    QVariantMap fields;
    QByteArray expected;
};

TEST(KVHTTPPostContractTest, EncodesNamesAndDescriptions)
{
    const FieldRow rows[] = {
        {"a name with a blank and an umlaut", {{QStringLiteral("my kéy"), "v"}}, "my%20k%C3%A9y=v"},
        {"every ampersand of a value", {{"a", "&x&&y&"}}, "a=+x++y+"},
        {"a plus sign stays", {{"a", "1+1=2"}}, "a=1+1=2"},
        {"an empty name", {{"", "v"}, {"w", "x"}}, "=v&w=x"},
        {"empty values", {{"a", ""}, {"b", ""}, {"c", ""}}, "a=&b=&c="},
        {"a fraction", {{"a", 1.5}}, "a=1.5"},
        {"a whole double", {{"a", 5.0}}, "a=5"},
        {"a negative number", {{"a", -3}}, "a=-3"},
        {"a large number", {{"a", Q_INT64_C(1234567890123)}}, "a=1234567890123"},
        {"yes and no", {{"a", true}, {"b", false}}, "a=1&b=0"},
        {"an address",
         {{"a", QUrl(QStringLiteral("http://h.example/p?q=1&r=2"))}},
         "a=http://h.example/p?q=1+r=2"},
        {"marks stay", {{"a", QStringLiteral("tilde~ and 'quote'")}}, "a=tilde~%20and%20'quote'"},
    };
    for (const FieldRow &row : rows)
        EXPECT_EQ(KVHTTPPost::formDataForDictionary(row.fields), row.expected) << row.what;
}

class AnsweringTransport : public HTTPTransport {
public:
    std::optional<QByteArray> send(const HTTPRequest &, NSError *error) override
    {
        ++sent;
        *error = failure;
        return answer;
    }

    int sent = 0;
    NSError failure;
    std::optional<QByteArray> answer;
};

TEST(KVHTTPPostContractTest, LogsADescriptionAsTextAlsoWithoutAPlaceForTheError)
{
    AnsweringTransport transport;
    const ScopedService<HTTPTransport> scope(&transport);
    transport.failure = NSError(QStringLiteral("d"), 7,
                                {{QString(NSLocalizedDescriptionKey), QStringLiteral("100%@ of %s lost")}});
    transport.answer = QByteArray("rest");
    const Tests::CapturedLog log;
    EXPECT_EQ(KVHTTPPost::postFormData(QByteArray(""), QUrl(QStringLiteral("http://h.example/"))),
              QByteArray("rest"));
    EXPECT_EQ(log.lines(), QStringList(QStringLiteral("100%@ of %s lost")));
}

TEST(KVHTTPPostContractTest, ASubmissionWithoutAnAddressForgetsTheErrorAndSendsNothing)
{
    AnsweringTransport transport;
    const ScopedService<HTTPTransport> scope(&transport);
    transport.answer = QByteArray("never");
    KVHTTPPost post;
    EXPECT_FALSE(post.parameterDict().has_value());
    EXPECT_TRUE(post.getURL().isEmpty());
    EXPECT_TRUE(post.error().isNil());
    post.setError(NSError(QStringLiteral("d"), 7, {}));
    EXPECT_EQ(post.error().code(), 7);
    EXPECT_EQ(post.submitForm(), std::nullopt);
    EXPECT_TRUE(post.error().isNil());
    EXPECT_EQ(transport.sent, 0);
}

class ListedInterfaces : public Interfaces {
public:
    Matching matching(bool *dictionaryMade) override
    {
        *dictionaryMade = true;
        return Matching::PrimaryEthernet;
    }
    std::int32_t list(Matching, std::vector<Entry> *interfaces) override
    {
        *interfaces = entries;
        return listStatus;
    }
    Entry controller(const Entry &interface, std::int32_t *status) override
    {
        *status = parentStatus;
        return interface;
    }
    std::optional<QByteArray> address(const Entry &) override { return bytes; }

    std::vector<Entry> entries{QStringLiteral("one")};
    std::int32_t listStatus = 0;
    std::int32_t parentStatus = 0;
    QByteArray bytes;
};

TEST(MacAddressContractTest, WritesStatusesAsEightDigitsAndTextsWithALineBreak)
{
    ListedInterfaces interfaces;
    const ScopedService<Interfaces> scope(&interfaces);
    Tests::CapturedLog console;
    interfaces.listStatus = -536870206; // 0xe00002c2
    EXPECT_TRUE(MacAddress::primaryMacAddress().isNull());
    EXPECT_EQ(console.lines(),
              (QStringList{QStringLiteral("IOServiceGetMatchingServices returned 0xe00002c2\n"),
                           QStringLiteral("FindEthernetInterfaces returned 0xe00002c2\n")}));
    console.clear();
    interfaces.listStatus = 0;
    interfaces.parentStatus = -536870208; // 0xe00002c0
    EXPECT_TRUE(MacAddress::primaryMacAddress().isNull());
    EXPECT_EQ(console.lines(),
              (QStringList{QStringLiteral("IORegistryEntryGetParentEntry returned 0xe00002c0\n"),
                           QStringLiteral("GetMACAddress returned 0xe00002c0\n")}));
    console.clear();
    interfaces.entries.clear();
    EXPECT_TRUE(MacAddress::primaryMacAddress().isNull());
    EXPECT_EQ(console.lines(), QStringList(QStringLiteral("GetMACAddress returned 0x00000005\n")));
}

TEST(MacAddressContractTest, FillsAShortAddressWithZeros)
{
    ListedInterfaces interfaces;
    const ScopedService<Interfaces> scope(&interfaces);
    const Tests::CapturedLog console;
    interfaces.bytes = QByteArray::fromHex("FFAB01");
    EXPECT_EQ(MacAddress::primaryMacAddress(), QStringLiteral("ff:ab:01:00:00:00"));
    EXPECT_EQ(console.lines().last(),
              QStringLiteral("This system's built-in MAC address is ff:ab:01:00:00:00.\n"));
}

} // namespace
} // namespace KVBase
