#include "Network/ContactCardSupport.h"
#include "Support/CapturedLog.h"
#include "Support/StubBundles.h"
#include "Support/StubSystemVersions.h"

#include <KVBase/InfoDictionary.h>
#include <KVBase/Platform/KVNil.h>

#include <QtCore/QFile>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

using Tests::company;

class KV_VCardContractTest : public Tests::ContactCardTest {
protected:
    /// 10.5.8 until a test says otherwise.
    Tests::StubSystemVersions versions;
    ScopedService<SystemVersions> versionsGuard{&versions};
};

TEST_F(KV_VCardContractTest, BeforeSnowLeopardOneMatchIsEnough)
{
    memory.records = {company("kelvo software gmbh", {"INFO@Kelvo.example"})};
    EXPECT_TRUE(card(company("Kelvo Software", {"info@kelvo.example"})).addToAddressBook());
    EXPECT_EQ(memory.records.size(), 1U);
    EXPECT_EQ(memory.saved, 0);
    EXPECT_TRUE(desktop.opened.isEmpty());
    EXPECT_FALSE(QFile::exists(cardPath()));
    versions.packed = 0x1060;
    versions.minorRelease = 6;
    EXPECT_TRUE(card(company("Kelvo Software", {"info@kelvo.example"})).addToAddressBook());
    EXPECT_EQ(desktop.opened, QStringList(cardPath()));
}

TEST_F(KV_VCardContractTest, BeforeSnowLeopardACompanyIsEnoughForACardWithoutAddresses)
{
    memory.records = {company("Kelvo", {"other@kelvo.example"})};
    EXPECT_TRUE(card(company("Kelvo Software", {})).addToAddressBook());
    EXPECT_TRUE(desktop.opened.isEmpty());
    EXPECT_TRUE(card(company("Kelvo Software", {"info@kelvo.example"})).addToAddressBook());
    EXPECT_EQ(desktop.opened, QStringList(cardPath()));
}

TEST_F(KV_VCardContractTest, BeforeSnowLeopardTheSecondSearchDecidesAlone)
{
    // The company lacks the address; who has it is no company.
    memory.records = {company("Kelvo", {}), company("Kelvo Mail", {"info@kelvo.example"}, 0)};
    EXPECT_TRUE(card(company("Kelvo Software", {"info@kelvo.example"})).addToAddressBook());
    EXPECT_TRUE(desktop.opened.isEmpty());
    // The organisation counts in the second search too, where there is a prefix.
    memory.records = {company("Kelvo", {}), company("Other", {"info@kelvo.example"})};
    EXPECT_TRUE(card(company("Kelvo Software", {"info@kelvo.example"})).addToAddressBook());
    EXPECT_EQ(desktop.opened, QStringList(cardPath()));
    EXPECT_TRUE(card(company("Kelvo Software", {"info@kelvo.example"}), QString()).addToAddressBook());
    EXPECT_EQ(desktop.opened.size(), 1);
    EXPECT_EQ(memory.records.size(), 2U);
}

TEST_F(KV_VCardContractTest, TheFileHoldsTheCardAsThePersonWritesIt)
{
    memory.records = {company("Kelvo", {})};
    const Ref<ABPerson> person = company("Kelvo Software", {"info@kelvo.example"});
    const Tests::CapturedLog log;
    EXPECT_TRUE(card(person).addToAddressBook());
    QFile file(cardPath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), person->vCardRepresentation());
    EXPECT_EQ(log.lines(), QStringList(QStringLiteral("ussing sharedAddressBook")));
}

TEST_F(KV_VCardContractTest, TheBookIsSavedWhateverAddingAnswers)
{
    memory.adds = false;
    EXPECT_TRUE(card(company("Kelvo Software", {"info@kelvo.example"})).addToAddressBook());
    EXPECT_EQ(memory.saved, 1);
    memory.saves = false;
    EXPECT_FALSE(card(company("Kelvo Software", {"info@kelvo.example"})).addToAddressBook());
    EXPECT_EQ(memory.saved, 2);
    EXPECT_TRUE(desktop.opened.isEmpty());
}

struct SearchRow {
    const char *what;
    const char *prefix; // null for none
    QStringList emails;
    std::vector<Ref<ABPerson>> records;
    int added;
    qsizetype opened;
};

TEST_F(KV_VCardContractTest, BeforeSnowLeopardTheSearchesDecideWithOneMatch)
{
    const QStringList own{QStringLiteral("info@kelvo.example")};
    const QStringList two{QStringLiteral("info@kelvo.example"), QStringLiteral("help@kelvo.example")};
    const SearchRow rows[] = {
        {"a longer name in another case", "Kelvo Software", own, {company("KELVO SOFTWARE GmbH", own)}, 0, 0},
        {"a shorter name", "Kelvo Software", own, {company("Kelvo Soft", own)}, 1, 0},
        {"part of an address", "Kelvo", {QStringLiteral("info@kelvo")}, {company("Kelvo", own)}, 0, 1},
        {"one address of two", "Kelvo", two, {company("Kelvo", own)}, 0, 1},
        {"both in the other order", "Kelvo", two, {company("Kelvo", {two[1], two[0]})}, 0, 0},
        {"both over two records", "Kelvo", two, {company("Kelvo", own), company("Kelvo", {two[1]})}, 0, 1},
        {"no company", "Kelvo", own, {company("Kelvo", own, 0)}, 1, 0},
        {"flags of other bits", "Kelvo", own, {company("Kelvo", own, 9)}, 1, 0},
        {"no prefix, no such address", nullptr, own, {company("Else", two.mid(1))}, 0, 1},
        {"no prefix, the address elsewhere", nullptr, own, {company("Else", own)}, 0, 0},
        {"no prefix, persons alone", nullptr, own, {company("Person", own, 0)}, 1, 0},
        {"no prefix, no address", nullptr, {}, {company("Else", {})}, 0, 0},
    };
    for (const SearchRow &row : rows) {
        memory.records = row.records;
        memory.added = 0;
        desktop.opened.clear();
        EXPECT_TRUE(
            card(company("Kelvo Software", row.emails), QString::fromUtf8(row.prefix)).addToAddressBook())
            << row.what;
        EXPECT_EQ(memory.added, row.added) << row.what;
        EXPECT_EQ(desktop.opened.size(), row.opened) << row.what;
    }
}

TEST_F(KV_VCardContractTest, AnyNumberOfAddressesIsAskedFor)
{
    QStringList emails;
    for (int i = 0; i < 10000; ++i)
        emails.append(QStringLiteral("a%1@kelvo.example").arg(i));
    memory.records = {company("Kelvo", emails)};
    EXPECT_TRUE(card(company("Kelvo", emails)).addToAddressBook());
    EXPECT_TRUE(desktop.opened.isEmpty());
    emails.append(QStringLiteral("one@more.example"));
    EXPECT_TRUE(card(company("Kelvo", emails)).addToAddressBook());
    EXPECT_EQ(desktop.opened.size(), 1);
}

TEST_F(KV_VCardContractTest, TheShippedCardsAreFoundAgain)
{
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(KV_VCard::kelvoVCard()->addToAddressBook());
        EXPECT_TRUE(KV_VCard::kagiVCard()->addToAddressBook());
        EXPECT_EQ(memory.added, 2);
    }
    EXPECT_TRUE(desktop.opened.isEmpty());
}

TEST_F(KV_VCardContractTest, TheCardsComeFromTheFrameworksBundle)
{
    const Tests::BundleFolder framework(
        {{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.kelvo.KVBase")}});
    framework.addResource(
        QStringLiteral("Kelvo_Software.vcf"),
        "BEGIN:VCARD\r\nVERSION:3.0\r\nORG:Other Makers\r\nUID:1234\r\nNOTE:old\r\nEND:VCARD\r\n");
    const Tests::StubApplication application({{QStringLiteral("CFBundleName"), QStringLiteral("Sampler")}},
                                             framework.bundle());
    const Ref<ABPerson> person = KV_VCard::kelvoVCard()->person();
    ASSERT_NE(person, nullptr);
    EXPECT_EQ(person->valueForProperty(QString(kABOrganizationProperty)),
              QVariant(QStringLiteral("Other Makers")));
    EXPECT_EQ(person->valueForProperty(QString(kABNoteProperty)).toString(),
              InfoDictionary::fullProductName());
    EXPECT_TRUE(isNil(person->valueForProperty(QString(kABUIDProperty))));
    // The other resource is missing there.
    EXPECT_EQ(KV_VCard::kagiVCard()->person(), nullptr);
    EXPECT_EQ(KV_VCard::kagiVCard()->searchPrefix(), QStringLiteral("Kagi"));
    EXPECT_FALSE(KV_VCard::kagiVCard()->addToAddressBook());
    EXPECT_EQ(memory.added, 0);
}

TEST_F(KV_VCardContractTest, ACardHoldsItsPerson)
{
    Ref<ABPerson> person = ABPerson::create();
    const std::weak_ptr<ABPerson> watched = person;
    auto holder = std::make_unique<KV_VCard>(person);
    person.reset();
    holder->setPerson(holder->person());
    EXPECT_FALSE(watched.expired());
    holder.reset();
    EXPECT_TRUE(watched.expired());
}

} // namespace
} // namespace KVBase
