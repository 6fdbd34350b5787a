#include "Platform/Services/AddressBookStore.h"
#include "Platform/Services/Applications.h"
#include "Platform/Services/Folders.h"
#include "Support/CapturedLog.h"
#include "Support/StubBundles.h"
#include "Support/StubSystemVersions.h"

#include <KVBase/InfoDictionary.h>
#include <KVBase/KV_VCard.h>
#include <KVBase/Platform/KVNil.h>

#include <gtest/gtest.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

using namespace KVBase;
using namespace KVBase::Tests;

namespace
{

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

/// An address book in memory that writes down what is done with it.
struct StubStore : AddressBookStore {
    std::vector<Ref<ABPerson>> contacts;
    QStringList calls;
    bool saves = true;

    std::vector<Ref<ABPerson>> persons() override { return contacts; }

    bool add(const Ref<ABPerson> &person) override
    {
        calls.append(text("add"));
        contacts.push_back(person);
        return true;
    }

    bool save() override
    {
        calls.append(text("save"));
        return saves;
    }
};

struct StubApplications : Applications {
    QStringList opened;
    bool opens = true;

    QString applicationForCreator(OSType) override { return {}; }
    bool openFile(const QString &path) override
    {
        opened.append(path);
        return opens;
    }
    bool openApplication(const QString &) override { return false; }
    void relaunchAfterExit(const QString &) override {}
};

struct StubFolders : Folders {
    QTemporaryDir folder{scratchFolder() + QStringLiteral("/temporary-XXXXXX")};

    QStringList libraryFolders(std::uint32_t) override { return {}; }
    QString temporaryFolder() override { return folder.path(); }
    QString frameworksFolder() override { return {}; }
};

Ref<ABPerson> contact(const QString &organisation, const QStringList &emails, int flags = 1)
{
    const Ref<ABPerson> person = ABPerson::create();
    person->setValue(organisation, kABOrganizationProperty);
    if (flags >= 0)
        person->setValue(flags, kABPersonFlags);
    if (!emails.isEmpty())
        person->setValue(emails, kABEmailProperty);
    return person;
}

class KV_VCardBlindTest : public ::testing::Test {
protected:
    void runOn(std::int32_t minorRelease)
    {
        versions.minorRelease = minorRelease;
        versions.packed = 0x1000 + minorRelease * 16;
    }

    bool untouched() const { return store.calls.isEmpty() && applications.opened.isEmpty() && !fileExists(); }
    QString file() const { return folders.folder.path() + QStringLiteral("/kelvo.vcf"); }
    bool fileExists() const { return QFile::exists(file()); }

    StubStore store;
    StubApplications applications;
    StubFolders folders;
    StubSystemVersions versions;
    ScopedService<AddressBookStore> storeGuard{&store};
    ScopedService<Applications> applicationsGuard{&applications};
    ScopedService<Folders> foldersGuard{&folders};
    ScopedService<SystemVersions> versionsGuard{&versions};
};

TEST_F(KV_VCardBlindTest, namesItsResources)
{
    EXPECT_EQ(QString(VCARD_KELVO), text("Kelvo_Software"));
    EXPECT_EQ(QString(VCARD_KAGI), text("Kagi"));
    EXPECT_EQ(QString(VCARD_EXTENSION), text("vcf"));
    const Ref<NSBundle> framework = NSBundle::frameworkBundle();
    EXPECT_TRUE(framework->dataForResource(VCARD_KELVO, VCARD_EXTENSION).has_value());
    EXPECT_TRUE(framework->dataForResource(VCARD_KAGI, VCARD_EXTENSION).has_value());
}

struct OwnCard : KV_VCard {
    using KV_VCard::KV_VCard;
};

TEST_F(KV_VCardBlindTest, makesCardsOfTheReceivingClass)
{
    const Ref<KV_VCard> plain = KV_VCard::vCard();
    EXPECT_EQ(plain->person(), nullptr);
    EXPECT_TRUE(plain->searchPrefix().isNull());
    const Ref<OwnCard> empty = KV_VCard::vCard<OwnCard>();
    EXPECT_EQ(empty->person(), nullptr);
    const Ref<OwnCard> kelvo = KV_VCard::kelvoVCard<OwnCard>();
    const Ref<OwnCard> kagi = KV_VCard::kagiVCard<OwnCard>();
    EXPECT_NE(kelvo->person(), nullptr);
    EXPECT_NE(kagi->person(), nullptr);
    EXPECT_NE(KV_VCard::kelvoVCard()->person(), KV_VCard::kelvoVCard()->person());
}

TEST_F(KV_VCardBlindTest, startsWithItsPersonAndNoPrefix)
{
    const KV_VCard empty;
    EXPECT_EQ(empty.person(), nullptr);
    EXPECT_TRUE(empty.searchPrefix().isNull());
    const Ref<ABPerson> person = ABPerson::create();
    KV_VCard card(person);
    EXPECT_EQ(card.person(), person);
    EXPECT_TRUE(card.searchPrefix().isNull());
    card.setSearchPrefix(text(""));
    EXPECT_FALSE(card.searchPrefix().isNull());
    card.setSearchPrefix(text("Kelvo"));
    EXPECT_EQ(card.searchPrefix(), text("Kelvo"));
    card.setSearchPrefix(QString());
    EXPECT_TRUE(card.searchPrefix().isNull());
    card.setPerson(nullptr);
    EXPECT_EQ(card.person(), nullptr);
}

TEST_F(KV_VCardBlindTest, retainsItsPerson)
{
    Ref<ABPerson> person = ABPerson::create();
    const std::weak_ptr<ABPerson> watched = person;
    auto card = std::make_unique<KV_VCard>(person);
    person.reset();
    EXPECT_FALSE(watched.expired());
    card->setPerson(card->person());
    EXPECT_FALSE(watched.expired());
    card.reset();
    EXPECT_TRUE(watched.expired());
}

TEST_F(KV_VCardBlindTest, makesTheMakersCard)
{
    const StubApplication application({{text("CFBundleName"), text("Sampler")},
                                       {text("CFBundleShortVersionString"), text("3.2.1")},
                                       {text("CFBundleDisplayName"), text("Sampler")}});
    const Ref<KV_VCard> card = KV_VCard::kelvoVCard();
    EXPECT_EQ(card->searchPrefix(), text("Kelvo Software"));
    ASSERT_NE(card->person(), nullptr);
    const ABPerson &person = *card->person();
    EXPECT_TRUE(person.valueForProperty(kABOrganizationProperty)
                    .toString()
                    .startsWith(text("Kelvo Software"), Qt::CaseInsensitive));
    EXPECT_EQ(person.valueForProperty(kABPersonFlags).toInt(), 1);
    const QString note = person.valueForProperty(kABNoteProperty).toString();
    EXPECT_FALSE(note.isEmpty());
    EXPECT_EQ(note, InfoDictionary::fullProductName());
    EXPECT_TRUE(isNil(person.valueForProperty(kABUIDProperty)));
    EXPECT_FALSE(person.valueForProperty(kABEmailProperty).toStringList().isEmpty());
    EXPECT_FALSE(person.vCardRepresentation().contains("UID"));
}

TEST_F(KV_VCardBlindTest, makesTheResellersCard)
{
    const StubApplication application({{text("CFBundleName"), text("Sampler")}});
    const Ref<KV_VCard> card = KV_VCard::kagiVCard();
    EXPECT_EQ(card->searchPrefix(), text("Kagi"));
    ASSERT_NE(card->person(), nullptr);
    const ABPerson &person = *card->person();
    EXPECT_TRUE(person.valueForProperty(kABOrganizationProperty)
                    .toString()
                    .startsWith(text("Kagi"), Qt::CaseInsensitive));
    EXPECT_EQ(person.valueForProperty(kABPersonFlags).toInt(), 1);
    EXPECT_TRUE(isNil(person.valueForProperty(kABNoteProperty)));
    EXPECT_TRUE(isNil(person.valueForProperty(kABUIDProperty)));
}

TEST_F(KV_VCardBlindTest, readsTheCardsOfTheFrameworksBundle)
{
    const BundleFolder framework({{text("CFBundleIdentifier"), text("com.kelvo.KVBase")}});
    framework.addResource(text("Kelvo_Software.vcf"), "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Other\r\nN:Other\r\n"
                                                      "ORG:Other Makers\r\nUID:1234\r\nNOTE:old\r\n"
                                                      "EMAIL:x@y.example\r\nEND:VCARD\r\n");
    const StubApplication application({{text("CFBundleName"), text("Sampler")}}, framework.bundle());
    const Ref<KV_VCard> card = KV_VCard::kelvoVCard();
    ASSERT_NE(card->person(), nullptr);
    EXPECT_EQ(card->person()->valueForProperty(kABOrganizationProperty).toString(), text("Other Makers"));
    EXPECT_EQ(card->person()->valueForProperty(kABNoteProperty).toString(),
              InfoDictionary::fullProductName());
    EXPECT_TRUE(isNil(card->person()->valueForProperty(kABUIDProperty)));
}

TEST_F(KV_VCardBlindTest, hasNoPersonWithoutAResource)
{
    const BundleFolder framework({{text("CFBundleIdentifier"), text("com.kelvo.KVBase")}});
    const StubApplication application({{text("CFBundleName"), text("Sampler")}}, framework.bundle());
    const Ref<KV_VCard> kelvo = KV_VCard::kelvoVCard();
    const Ref<KV_VCard> kagi = KV_VCard::kagiVCard();
    ASSERT_NE(kelvo, nullptr);
    ASSERT_NE(kagi, nullptr);
    EXPECT_EQ(kelvo->person(), nullptr);
    EXPECT_EQ(kagi->person(), nullptr);
    EXPECT_EQ(kelvo->searchPrefix(), text("Kelvo Software"));
    EXPECT_EQ(kagi->searchPrefix(), text("Kagi"));
}

TEST_F(KV_VCardBlindTest, addsNothingWithoutAPerson)
{
    CapturedLog log;
    EXPECT_FALSE(KV_VCard().addToAddressBook());
    ASSERT_FALSE(log.lines().isEmpty());
    EXPECT_EQ(log.lines().first(), text("ussing sharedAddressBook"));
    EXPECT_TRUE(untouched());
    EXPECT_TRUE(store.contacts.empty());
}

TEST_F(KV_VCardBlindTest, addsToAnEmptyBook)
{
    CapturedLog log;
    const Ref<ABPerson> person = contact(text("Kelvo Software"), {text("a@kelvo.example")});
    KV_VCard card(person);
    card.setSearchPrefix(text("Kelvo Software"));
    EXPECT_TRUE(card.addToAddressBook());
    EXPECT_EQ(log.lines(), QStringList{text("ussing sharedAddressBook")});
    EXPECT_EQ(store.calls, (QStringList{text("add"), text("save")}));
    ASSERT_EQ(store.contacts.size(), 1u);
    EXPECT_EQ(store.contacts.front(), person);
    EXPECT_TRUE(applications.opened.isEmpty());
    EXPECT_FALSE(fileExists());
}

TEST_F(KV_VCardBlindTest, answersWhatSavingAnswers)
{
    store.saves = false;
    KV_VCard card(contact(text("Kelvo Software"), {}));
    EXPECT_FALSE(card.addToAddressBook());
    EXPECT_EQ(store.calls, (QStringList{text("add"), text("save")}));
}

struct Row {
    const char *name;
    std::int32_t minorRelease;
    const char *prefix; // null: none
    QStringList emails;
    std::vector<Ref<ABPerson>> contacts;
    char outcome; // 'a' added, 'p' present, 'o' opened
};

std::vector<Row> rows()
{
    const QString kelvo = text("Kelvo Software");
    const QStringList own = {text("info@kelvo.example")};
    const QStringList two = {text("info@kelvo.example"), text("help@kelvo.example")};
    const auto match = [&] { return contact(kelvo, own); };
    const auto other = [&] { return contact(kelvo, {text("else@kelvo.example")}); };
    return {
        {"one match is enough before 10.6", 5, "Kelvo Software", own, {match()}, 'p'},
        {"one match is not enough on 10.6", 6, "Kelvo Software", own, {match()}, 'o'},
        {"one match is not enough on 10.7", 7, "Kelvo Software", own, {match()}, 'o'},
        {"two matches on 10.6", 6, "Kelvo Software", own, {match(), match()}, 'p'},
        {"three matches on 10.6", 6, "Kelvo Software", own, {match(), match(), match()}, 'p'},
        {"prefix in another case", 5, "kELVO sOFTWARE", own, {match()}, 'p'},
        {"a longer organisation", 5, "Kelvo Software", own, {contact(text("KELVO SOFTWARE GmbH"), own)}, 'p'},
        {"a shorter organisation", 5, "Kelvo Software", own, {contact(text("Kelvo Soft"), own)}, 'a'},
        {"the prefix inside", 5, "Kelvo Software", own, {contact(text("The Kelvo Software"), own)}, 'a'},
        {"e-mail in another case", 5, "Kelvo Software", {text("INFO@Kelvo.Example")}, {match()}, 'p'},
        {"another e-mail", 5, "Kelvo Software", own, {other()}, 'o'},
        {"another e-mail twice", 6, "Kelvo Software", own, {other(), other()}, 'o'},
        {"a record without e-mail", 5, "Kelvo Software", own, {contact(kelvo, {})}, 'o'},
        {"part of an e-mail", 5, "Kelvo Software", {text("info@kelvo")}, {match()}, 'o'},
        {"one of two e-mails", 5, "Kelvo Software", two, {match()}, 'o'},
        {"both of two e-mails", 5, "Kelvo Software", two, {contact(kelvo, two)}, 'p'},
        {"both in the other order", 5, "Kelvo Software", two, {contact(kelvo, {two[1], two[0]})}, 'p'},
        {"both spread over two records", 5, "Kelvo Software", two, {match(), contact(kelvo, {two[1]})}, 'o'},
        {"more e-mails than asked for", 5, "Kelvo Software", own, {contact(kelvo, two)}, 'p'},
        {"no company", 5, "Kelvo Software", own, {contact(kelvo, own, 0)}, 'a'},
        {"no flags at all", 5, "Kelvo Software", own, {contact(kelvo, own, -1)}, 'a'},
        {"flags with other bits", 5, "Kelvo Software", own, {contact(kelvo, own, 9)}, 'a'},
        {"the second search ignores the flag",
         6,
         "Kelvo Software",
         own,
         {other(), contact(kelvo, own, 0), contact(kelvo, own, 0)},
         'p'},
        {"the second search minds the prefix",
         5,
         "Kelvo Software",
         own,
         {other(), contact(text("Else"), own)},
         'o'},
        {"the second search replaces the first", 6, "Kelvo Software", own, {other(), other(), match()}, 'o'},
        {"no e-mail: the company search decides", 5, "Kelvo Software", {}, {other()}, 'p'},
        {"no e-mail on 10.6, one company", 6, "Kelvo Software", {}, {other()}, 'o'},
        {"no e-mail on 10.6, two companies", 6, "Kelvo Software", {}, {other(), match()}, 'p'},
        {"no prefix, another company", 5, nullptr, own, {contact(text("Else"), {text("x@y.example")})}, 'o'},
        {"no prefix, the e-mail elsewhere", 5, nullptr, own, {contact(text("Else"), own)}, 'p'},
        {"no prefix, the e-mail at a person",
         5,
         nullptr,
         own,
         {contact(text("Else"), {}), contact(text("Person"), own, 0)},
         'p'},
        {"no prefix, only persons", 5, nullptr, own, {contact(text("Person"), own, 0)}, 'a'},
        {"no prefix and no e-mail", 5, nullptr, {}, {contact(text("Else"), {})}, 'p'},
        {"the empty prefix fits all", 5, "", own, {contact(text("Else"), own)}, 'p'},
    };
}

TEST_F(KV_VCardBlindTest, addsFindsOrHandsOver)
{
    for (const Row &row : rows()) {
        SCOPED_TRACE(row.name);
        runOn(row.minorRelease);
        store.contacts = row.contacts;
        store.calls.clear();
        applications.opened.clear();
        QFile::remove(file());
        KV_VCard card(contact(text("Kelvo Software"), row.emails));
        card.setSearchPrefix(row.prefix == nullptr ? QString() : text(row.prefix));
        CapturedLog log;
        EXPECT_TRUE(card.addToAddressBook());
        EXPECT_EQ(log.lines(), QStringList{text("ussing sharedAddressBook")});
        EXPECT_EQ(store.calls.size(), row.outcome == 'a' ? 2 : 0);
        EXPECT_EQ(applications.opened, row.outcome == 'o' ? QStringList{file()} : QStringList());
        EXPECT_EQ(fileExists(), row.outcome == 'o');
    }
}

TEST_F(KV_VCardBlindTest, handsOverItsRepresentation)
{
    store.contacts = {contact(text("Kelvo Software"), {text("else@kelvo.example")})};
    writeFile(file(), "what an earlier call left there, longer than any card of this test can be" +
                          QByteArray(5000, 'x'));
    const Ref<ABPerson> person = contact(text("Kelvo Software"), {text("info@kelvo.example")});
    KV_VCard card(person);
    applications.opens = false;
    EXPECT_FALSE(card.addToAddressBook());
    EXPECT_EQ(readFile(file()), person->vCardRepresentation());
    EXPECT_EQ(QDir(folders.folder.path()).entryList(QDir::Files | QDir::Hidden),
              QStringList{text("kelvo.vcf")});
    EXPECT_TRUE(store.calls.isEmpty());
}

TEST_F(KV_VCardBlindTest, doesNotFollowAPlantedLink)
{
    const QString victim = scratchFolder() + QStringLiteral("/victim");
    writeFile(victim, "precious");
    ASSERT_TRUE(QFile::link(victim, file()));
    store.contacts = {contact(text("Kelvo Software"), {text("else@kelvo.example")})};
    KV_VCard card(contact(text("Kelvo Software"), {text("info@kelvo.example")}));
    card.addToAddressBook();
    EXPECT_EQ(readFile(victim), QByteArray("precious"));
}

TEST_F(KV_VCardBlindTest, findsTheShippedCardsAgain)
{
    runOn(5);
    const StubApplication application({{text("CFBundleName"), text("Sampler")}});
    for (int round = 0; round < 2; ++round) {
        store.calls.clear();
        EXPECT_TRUE(KV_VCard::kelvoVCard()->addToAddressBook());
        EXPECT_TRUE(KV_VCard::kagiVCard()->addToAddressBook());
        EXPECT_EQ(store.calls.size(), round == 0 ? 4 : 0);
    }
    EXPECT_TRUE(applications.opened.isEmpty());
}

TEST_F(KV_VCardBlindTest, survivesTenThousandEmails)
{
    QStringList emails;
    for (int index = 0; index < 10000; ++index)
        emails.append(QStringLiteral("a%1@kelvo.example").arg(index));
    store.contacts = {contact(text("Kelvo Software"), emails)};
    runOn(5);
    KV_VCard card(contact(text("Kelvo Software"), emails));
    EXPECT_TRUE(card.addToAddressBook());
    EXPECT_TRUE(untouched());
    emails.append(text("one@more.example"));
    card.setPerson(contact(text("Kelvo Software"), emails));
    EXPECT_TRUE(card.addToAddressBook());
    EXPECT_EQ(applications.opened.size(), 1);
}

} // namespace
