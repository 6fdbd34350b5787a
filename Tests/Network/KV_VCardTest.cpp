#include "Network/ContactCardSupport.h"
#include "Support/CapturedLog.h"

#include <KVBase/InfoDictionary.h>
#include <KVBase/Platform/KVNil.h>
#include <KVBase/Platform/NSBundle.h>
#include <KVBase/Runtime.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace KVBase
{
namespace
{

using Tests::company;
using Tests::MemoryStore;

class KV_VCardTest : public Tests::ContactCardTest {};

const QString kPrefix = QStringLiteral("Kelvo");

TEST_F(KV_VCardTest, ANewCardIsEmpty)
{
    EXPECT_EQ(KV_VCard::vCard()->person(), nullptr);
    EXPECT_TRUE(KV_VCard::vCard()->searchPrefix().isNull());
    const Ref<ABPerson> person = ABPerson::create();
    KV_VCard filled(person);
    EXPECT_EQ(filled.person(), person);
    EXPECT_TRUE(filled.searchPrefix().isNull());
    filled.setSearchPrefix(QStringLiteral(""));
    EXPECT_FALSE(filled.searchPrefix().isNull());
    filled.setPerson(nullptr);
    EXPECT_EQ(filled.person(), nullptr);
}

TEST_F(KV_VCardTest, TheShippedCardsAreWhole)
{
    EXPECT_EQ(VCARD_KELVO, QLatin1String("Kelvo_Software"));
    EXPECT_EQ(VCARD_KAGI, QLatin1String("Kagi"));
    EXPECT_EQ(VCARD_EXTENSION, QLatin1String("vcf"));
    const Ref<KV_VCard> kelvo = KV_VCard::kelvoVCard();
    ASSERT_NE(kelvo->person(), nullptr);
    EXPECT_EQ(kelvo->searchPrefix(), QStringLiteral("Kelvo Software"));
    EXPECT_TRUE(kelvo->person()
                    ->valueForProperty(QString(kABOrganizationProperty))
                    .toString()
                    .startsWith(QStringLiteral("Kelvo Software")));
    EXPECT_EQ(kelvo->person()->valueForProperty(QString(kABPersonFlags)), QVariant(1));
    EXPECT_FALSE(kelvo->person()->valueForProperty(QString(kABEmailProperty)).toStringList().isEmpty());
    EXPECT_TRUE(isNil(kelvo->person()->valueForProperty(QString(kABUIDProperty))));
    EXPECT_EQ(kelvo->person()->valueForProperty(QString(kABNoteProperty)).toString(),
              InfoDictionary::fullProductName());

    const Ref<KV_VCard> kagi = KV_VCard::kagiVCard();
    ASSERT_NE(kagi->person(), nullptr);
    EXPECT_EQ(kagi->searchPrefix(), QStringLiteral("Kagi"));
    EXPECT_TRUE(kagi->person()
                    ->valueForProperty(QString(kABOrganizationProperty))
                    .toString()
                    .startsWith(QStringLiteral("Kagi")));
    EXPECT_EQ(kagi->person()->valueForProperty(QString(kABPersonFlags)), QVariant(1));
    EXPECT_TRUE(isNil(kagi->person()->valueForProperty(QString(kABUIDProperty))));
    EXPECT_TRUE(isNil(kagi->person()->valueForProperty(QString(kABNoteProperty))));
    EXPECT_NE(KV_VCard::kagiVCard(), kagi);
    EXPECT_TRUE(NSBundle::frameworkBundle()
                    ->dataForResource(QString(VCARD_KELVO), QString(VCARD_EXTENSION))
                    ->contains("UID:"));
}

class OwnCard : public KV_VCard {
public:
    int answer = 42;
};

TEST_F(KV_VCardTest, ADerivedClassMakesItsOwnCards)
{
    EXPECT_EQ(KV_VCard::vCard<OwnCard>()->answer, 42);
    EXPECT_EQ(KV_VCard::kelvoVCard<OwnCard>()->answer, 42);
    EXPECT_EQ(KV_VCard::kelvoVCard<OwnCard>()->searchPrefix(), QStringLiteral("Kelvo Software"));
    EXPECT_NE(KV_VCard::kagiVCard<OwnCard>()->person(), nullptr);
}

TEST_F(KV_VCardTest, IntoAnEmptyBookThePersonIsAddedAndSaved)
{
    const Ref<ABPerson> person = company("Kelvo Software", {"a@b.de"});
    const Tests::CapturedLog log;
    EXPECT_TRUE(card(person, kPrefix).addToAddressBook());
    EXPECT_EQ(log.lines(), QStringList(QStringLiteral("ussing sharedAddressBook")));
    EXPECT_EQ(memory.records, std::vector<Ref<ABPerson>>({person}));
    EXPECT_EQ(memory.saved, 1);
    EXPECT_TRUE(desktop.opened.isEmpty());
    EXPECT_FALSE(QFileInfo::exists(cardPath()));
}

TEST_F(KV_VCardTest, TheAnswerIsThatOfSaving)
{
    memory.saves = false;
    EXPECT_FALSE(card(company("Kelvo Software", {"a@b.de"}), kPrefix).addToAddressBook());
    EXPECT_EQ(memory.added, 1);
}

struct Row {
    const char *what;
    std::vector<std::pair<const char *, QStringList>> records;
    QStringList emails;
    QString prefix;
    int added;
    int opened;
};

TEST_F(KV_VCardTest, TheSearchesDecide)
{
    ASSERT_TRUE(Runtime::runningOnSnowLeopardOrHigher());
    const QStringList one{"a@b.de"};
    const Row rows[] = {
        {"no company of that prefix", {{"Other", one}}, one, kPrefix, 1, 0},
        {"a prefix in the middle is none", {{"The Kelvo", one}}, one, kPrefix, 1, 0},
        {"one match is not enough", {{"Kelvo", one}}, one, kPrefix, 0, 1},
        {"two are", {{"Kelvo", one}, {"KELVO Software", {"x@y.de", "A@B.de"}}}, one, kPrefix, 0, 0},
        {"two companies, one with the address", {{"Kelvo", one}, {"Kelvo", {"x@y.de"}}}, one, kPrefix, 0, 1},
        {"two companies without the address", {{"Kelvo", {"x@y.de"}}, {"Kelvo", {}}}, one, kPrefix, 0, 1},
        {"every address is needed", {{"Kelvo", one}, {"Kelvo", one}}, {"a@b.de", "c@d.de"}, kPrefix, 0, 1},
        {"every address is there",
         {{"Kelvo", {"c@d.de", "a@b.de"}}, {"Kelvo", {"a@b.de", "c@d.de"}}},
         {"a@b.de", "c@d.de"},
         kPrefix,
         0,
         0},
        {"without addresses two companies are enough", {{"Kelvo", one}, {"Kelvo", {}}}, {}, kPrefix, 0, 0},
        {"without addresses one is not", {{"Kelvo", one}}, {}, kPrefix, 0, 1},
        {"without a prefix any company counts", {{"Other", one}, {"Another", one}}, one, QString(), 0, 0},
        {"without a prefix and without companies", {}, one, QString(), 1, 0},
        {"the empty prefix is one that all have",
         {{"Other", one}, {"Another", one}},
         one,
         QStringLiteral(""),
         0,
         0},
    };
    for (const Row &row : rows) {
        memory = MemoryStore();
        desktop.opened.clear();
        for (const auto &[organization, emails] : row.records)
            memory.records.push_back(company(organization, emails));
        EXPECT_TRUE(card(company("Kelvo Software", row.emails), row.prefix).addToAddressBook()) << row.what;
        EXPECT_EQ(memory.added, row.added) << row.what;
        EXPECT_EQ(desktop.opened.size(), row.opened) << row.what;
    }
}

TEST_F(KV_VCardTest, OnlyTheCompanyFlagCountsInTheFirstSearchAndNotInTheSecond)
{
    memory.records = {company("Kelvo", {"a@b.de"}, 0), company("Kelvo", {"a@b.de"}, 9)};
    EXPECT_TRUE(card(company("Kelvo", {"a@b.de"}), kPrefix).addToAddressBook());
    EXPECT_EQ(memory.added, 1) << "there is no company yet";
    memory.added = 0;
    EXPECT_TRUE(made.addToAddressBook());
    EXPECT_EQ(memory.added, 0) << "one company, and three with the address";
    EXPECT_TRUE(desktop.opened.isEmpty());
}

TEST_F(KV_VCardTest, TheCardIsHandedToTheDesktop)
{
    memory.records = {company("Kelvo", {"x@y.de"})};
    // Someone put a link in the way; what it leads to must stay.
    const QString precious = folders.folder + QStringLiteral("/precious");
    QFile file(precious);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("precious");
    file.close();
    QFile::link(precious, cardPath());
    EXPECT_TRUE(card(company("Kelvo Software", {"a@b.de"}), kPrefix).addToAddressBook());
    EXPECT_EQ(desktop.opened, QStringList(cardPath()));
    EXPECT_FALSE(QFileInfo(cardPath()).isSymLink());
    QFile written(cardPath());
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    const Ref<ABPerson> again = ABPerson::create(written.readAll());
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->valueForProperty(QString(kABEmailProperty)).toStringList(), QStringList({"a@b.de"}));
    struct stat about {};
    ASSERT_EQ(stat(qPrintable(cardPath()), &about), 0);
    EXPECT_EQ(about.st_mode & 0777, 0600U);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("precious"));
    EXPECT_EQ(memory.added, 0);
    EXPECT_EQ(memory.saved, 0);

    desktop.opens = false;
    EXPECT_FALSE(made.addToAddressBook()) << "nothing opened it";
    EXPECT_EQ(desktop.opened.size(), 2) << "an earlier card is replaced";
}

TEST_F(KV_VCardTest, ACardThatCannotBeWrittenIsNotOpened)
{
    memory.records = {company("Kelvo", {"x@y.de"})};
    QDir().mkpath(cardPath());
    EXPECT_FALSE(card(company("Kelvo Software", {"a@b.de"}), kPrefix).addToAddressBook());
    EXPECT_TRUE(desktop.opened.isEmpty());
    QDir().rmdir(cardPath());
}

TEST_F(KV_VCardTest, WithoutAPersonNothingIsAddedOrOpened)
{
    const Tests::CapturedLog log;
    EXPECT_FALSE(card(nullptr, kPrefix).addToAddressBook());
    EXPECT_EQ(memory.added, 0);
    memory.records = {company("Kelvo", {"x@y.de"})};
    EXPECT_FALSE(made.addToAddressBook());
    EXPECT_TRUE(desktop.opened.isEmpty());
    ASSERT_EQ(log.lines().size(), 4);
    EXPECT_EQ(log.lines().at(0), QStringLiteral("ussing sharedAddressBook"));
    EXPECT_EQ(log.lines().at(2), QStringLiteral("ussing sharedAddressBook"));
}

} // namespace
} // namespace KVBase
