#include "Platform/Services/AddressBookStore.h"
#include "Platform/Services/FileManager.h"
#include "Support/TestPaths.h"

#include <KVBase/Platform/AddressBook.h>
#include <KVBase/Platform/KVNil.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace KVBase
{
namespace
{

using enum ABSearchComparison;
using enum ABSearchConjunction;

QString key(QLatin1StringView name) { return QString(name); }

ABSearchElement element(QLatin1StringView property, const QVariant &value, ABSearchComparison comparison)
{
    return ABPerson::searchElementForProperty(QString(property), QString(), QString(), value, comparison);
}

ABSearchElement everyone() { return ABSearchElement::searchElementForConjunction(kABSearchAnd, {}); }

QByteArray cardOf(const QByteArray &organization, const QByteArray &email)
{
    return "BEGIN:VCARD\r\nVERSION:3.0\r\nORG:" + organization + "\r\nEMAIL:" + email +
           "\r\nX-ABShowAs:COMPANY\r\nEND:VCARD\r\n";
}

TEST(ABPersonTest, HasThePropertiesOfItsCard)
{
    const Ref<ABPerson> person =
        ABPerson::create("BEGIN:VCARD\r\nVERSION:3.0\r\nORG:Kelvo\\; "
                         "Software;Sales\r\nX-ABShowAs:COMPANY\r\nitem1.EMAIL;TYPE=WORK:b@c.de\r\n"
                         "EMAIL:a@b.de\r\nNOTE:one\\ntwo\r\nUID:42\r\nEND:VCARD\r\n");
    ASSERT_NE(person, nullptr);
    EXPECT_EQ(person->valueForProperty(key(kABPersonFlags)), QVariant(1));
    EXPECT_EQ(person->valueForProperty(key(kABOrganizationProperty)),
              QVariant(QStringLiteral("Kelvo; Software")));
    EXPECT_EQ(person->valueForProperty(key(kABEmailProperty)).toStringList(),
              QStringList({"b@c.de", "a@b.de"}));
    EXPECT_EQ(person->valueForProperty(key(kABNoteProperty)), QVariant(QStringLiteral("one\ntwo")));
    EXPECT_EQ(person->valueForProperty(key(kABUIDProperty)), QVariant(QStringLiteral("42")));
    EXPECT_TRUE(isNil(person->valueForProperty(QStringLiteral("Unknown"))));
    for (const QLatin1StringView property :
         {kABPersonFlags, kABOrganizationProperty, kABEmailProperty, kABNoteProperty, kABUIDProperty})
        EXPECT_TRUE(isNil(ABPerson::create()->valueForProperty(key(property))));
    EXPECT_EQ(ABPerson::create("no card"), nullptr);
}

TEST(ABPersonTest, SetsReplacesAndRemovesProperties)
{
    const Ref<ABPerson> person = ABPerson::create();
    EXPECT_TRUE(person->setValue(1, key(kABPersonFlags)));
    EXPECT_TRUE(person->setValue(QStringLiteral("A; B, C"), key(kABOrganizationProperty)));
    EXPECT_TRUE(person->setValue(QStringList({"a@b.de", "c@d.de"}), key(kABEmailProperty)));
    EXPECT_TRUE(person->setValue(QStringLiteral("one\ntwo"), key(kABNoteProperty)));
    EXPECT_TRUE(person->setValue(QStringLiteral("42"), key(kABUIDProperty)));
    const Ref<ABPerson> again = ABPerson::create(person->vCardRepresentation());
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->valueForProperty(key(kABPersonFlags)), QVariant(1));
    EXPECT_EQ(again->valueForProperty(key(kABOrganizationProperty)), QVariant(QStringLiteral("A; B, C")));
    EXPECT_EQ(again->valueForProperty(key(kABEmailProperty)).toStringList(),
              QStringList({"a@b.de", "c@d.de"}));
    EXPECT_EQ(again->valueForProperty(key(kABNoteProperty)), QVariant(QStringLiteral("one\ntwo")));
    EXPECT_EQ(again->valueForProperty(key(kABUIDProperty)), QVariant(QStringLiteral("42")));

    EXPECT_TRUE(person->removeValueForProperty(key(kABUIDProperty)));
    EXPECT_FALSE(person->removeValueForProperty(key(kABUIDProperty)));
    EXPECT_FALSE(person->vCardRepresentation().contains("UID"));
    EXPECT_TRUE(person->setValue(QVariant(), key(kABNoteProperty)));
    EXPECT_TRUE(isNil(person->valueForProperty(key(kABNoteProperty))));
    EXPECT_FALSE(person->setValue(QStringLiteral("x"), QStringLiteral("Unknown")));
    EXPECT_FALSE(person->setValue(QStringLiteral("x"), key(kABPersonFlags)));
    EXPECT_FALSE(person->setValue(QVariantList{QVariant(1)}, key(kABEmailProperty)));
    EXPECT_FALSE(person->setValue(1, key(kABNoteProperty)));
    EXPECT_EQ(person->valueForProperty(key(kABPersonFlags)), QVariant(1));
    EXPECT_TRUE(person->setValue(9, key(kABPersonFlags)));
    EXPECT_EQ(ABPerson::create(person->vCardRepresentation())->valueForProperty(key(kABPersonFlags)),
              QVariant(9));
    EXPECT_TRUE(person->removeValueForProperty(key(kABPersonFlags)));
    EXPECT_TRUE(
        isNil(ABPerson::create(person->vCardRepresentation())->valueForProperty(key(kABPersonFlags))));
}

TEST(ABPersonTest, AnOrganisationOfVersionFourIsACompany)
{
    const Ref<ABPerson> person = ABPerson::create("BEGIN:VCARD\nVERSION:4.0\nKIND:org\nFN:x\nEND:VCARD\n");
    EXPECT_EQ(person->valueForProperty(key(kABPersonFlags)), QVariant(1));
}

struct SearchRow {
    const char *what;
    QLatin1StringView property;
    QVariant value;
    ABSearchComparison comparison;
    bool expected;
};

TEST(ABSearchElementTest, ComparesOneProperty)
{
    const Ref<ABPerson> person = ABPerson::create(cardOf("Kelvo Software", "Info@Kelvo.example"));
    person->setValue(QStringList({"x@y.de", "Info@Kelvo.example"}), key(kABEmailProperty));
    const SearchRow rows[] = {
        {"flag", kABPersonFlags, 1, kABEqual, true},
        {"flag as a long number", kABPersonFlags, QVariant(1LL), kABEqual, true},
        {"another flag", kABPersonFlags, 9, kABEqual, false},
        {"flag as a text", kABPersonFlags, QStringLiteral("1"), kABEqual, false},
        {"prefix", kABOrganizationProperty, QStringLiteral("Kelvo"), kABPrefixMatchCaseInsensitive, true},
        {"prefix in another case", kABOrganizationProperty, QStringLiteral("kELVO s"),
         kABPrefixMatchCaseInsensitive, true},
        {"the empty prefix", kABOrganizationProperty, QStringLiteral(""), kABPrefixMatchCaseInsensitive,
         true},
        {"no prefix", kABOrganizationProperty, QStringLiteral("Software"), kABPrefixMatchCaseInsensitive,
         false},
        {"longer than the name", kABOrganizationProperty, QStringLiteral("Kelvo Software GmbH"),
         kABPrefixMatchCaseInsensitive, false},
        {"equal", kABOrganizationProperty, QStringLiteral("Kelvo Software"), kABEqual, true},
        {"equal in another case", kABOrganizationProperty, QStringLiteral("KELVO SOFTWARE"), kABEqual, false},
        {"second address", kABEmailProperty, QStringLiteral("info@kelvo.EXAMPLE"), kABEqualCaseInsensitive,
         true},
        {"first address", kABEmailProperty, QStringLiteral("X@Y.de"), kABEqualCaseInsensitive, true},
        {"part of an address", kABEmailProperty, QStringLiteral("info@kelvo"), kABEqualCaseInsensitive,
         false},
        {"a property that is missing", kABNoteProperty, QStringLiteral(""), kABPrefixMatchCaseInsensitive,
         false},
        {"nil", kABOrganizationProperty, QVariant(), kABEqual, false},
    };
    for (const SearchRow &row : rows)
        EXPECT_EQ(element(row.property, row.value, row.comparison).matchesRecord(*person), row.expected)
            << row.what;
}

TEST(ABSearchElementTest, JoinsTests)
{
    const Ref<ABPerson> person = ABPerson::create(cardOf("Kelvo", "a@b.de"));
    const ABSearchElement yes = element(kABPersonFlags, 1, kABEqual);
    const ABSearchElement no = element(kABPersonFlags, 2, kABEqual);
    const auto joined = [&](ABSearchConjunction conjunction, const std::vector<ABSearchElement> &children) {
        return ABSearchElement::searchElementForConjunction(conjunction, children).matchesRecord(*person);
    };
    EXPECT_TRUE(joined(kABSearchAnd, {yes, yes}));
    EXPECT_FALSE(joined(kABSearchAnd, {yes, no}));
    EXPECT_TRUE(joined(kABSearchOr, {no, yes}));
    EXPECT_FALSE(joined(kABSearchOr, {no, no}));
    EXPECT_TRUE(joined(kABSearchAnd, {}));
    EXPECT_FALSE(joined(kABSearchOr, {}));
    EXPECT_TRUE(
        joined(kABSearchAnd, {yes, ABSearchElement::searchElementForConjunction(kABSearchOr, {no, yes})}));
}

/// An empty data folder for one test; the contacts lie in it.
class ABAddressBookTest : public testing::Test {
protected:
    void SetUp() override
    {
        previous = qgetenv("XDG_DATA_HOME");
        static int number = 0;
        data = Tests::scratchFolder() + QStringLiteral("/contacts-%1").arg(++number);
        QDir().mkpath(data);
        folder = data + QStringLiteral("/contacts");
        qputenv("XDG_DATA_HOME", data.toUtf8());
    }

    void TearDown() override
    {
        chmod(qPrintable(folder), 0700);
        qputenv("XDG_DATA_HOME", previous);
    }

    void put(const QString &name, const QByteArray &bytes)
    {
        QDir().mkpath(folder);
        QFile file(folder + QLatin1Char('/') + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }

    QStringList organizations()
    {
        QStringList found;
        for (const Ref<ABPerson> &person : book->recordsMatchingSearchElement(everyone()))
            found.append(person->valueForProperty(key(kABOrganizationProperty)).toString());
        return found;
    }

    QStringList files() { return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System); }

    QString data;
    QString folder;
    QByteArray previous;
    Ref<ABAddressBook> book = ABAddressBook::sharedAddressBook();
};

TEST_F(ABAddressBookTest, IsOneForAll) { EXPECT_EQ(ABAddressBook::sharedAddressBook(), book); }

TEST_F(ABAddressBookTest, AMissingFolderHoldsNobody)
{
    EXPECT_TRUE(organizations().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(folder));
}

TEST_F(ABAddressBookTest, FindsTheCardsOfTheFolder)
{
    put(QStringLiteral("b.vcf"), cardOf("Beta", "b@b.de"));
    put(QStringLiteral("a.VCF"), cardOf("Alpha", "a@b.de") + cardOf("Gamma", "c@b.de"));
    put(QStringLiteral("notes.txt"), cardOf("Text", "t@b.de"));
    put(QStringLiteral(".hidden.vcf"), cardOf("Hidden", "h@b.de"));
    put(QStringLiteral("broken.vcf"), cardOf("Broken", "x@b.de").chopped(8));
    put(QStringLiteral("binary.vcf"), QByteArray(5000, '\xff'));
    put(QStringLiteral("empty.vcf"), QByteArray());
    QDir().mkpath(folder + QStringLiteral("/folder.vcf"));
    mkfifo(qPrintable(folder + QStringLiteral("/pipe.vcf")), 0600);
    QFile::link(QStringLiteral("loop.vcf"), folder + QStringLiteral("/loop.vcf"));
    EXPECT_EQ(organizations(), QStringList({"Alpha", "Gamma", "Beta"}));
    EXPECT_EQ(book->recordsMatchingSearchElement(
                      element(kABEmailProperty, QStringLiteral("B@b.de"), kABEqualCaseInsensitive))
                  .size(),
              1U);
}

TEST_F(ABAddressBookTest, SeesWhatOthersChange)
{
    put(QStringLiteral("a.vcf"), cardOf("Alpha", "a@b.de"));
    EXPECT_EQ(organizations(), QStringList({"Alpha"}));
    const Ref<ABPerson> first = book->recordsMatchingSearchElement(everyone()).front();
    EXPECT_EQ(book->recordsMatchingSearchElement(everyone()).front(), first) << "nothing has changed";
    put(QStringLiteral("b.vcf"), cardOf("Beta", "b@b.de"));
    EXPECT_EQ(organizations(), QStringList({"Alpha", "Beta"}));
    EXPECT_EQ(book->recordsMatchingSearchElement(everyone()).front(), first) << "only the new file is read";
    put(QStringLiteral("a.vcf"), cardOf("Omega", "a@b.de"));
    EXPECT_EQ(organizations(), QStringList({"Omega", "Beta"}));
    ASSERT_TRUE(QFile::rename(folder + QStringLiteral("/b.vcf"), folder + QStringLiteral("/0.vcf")));
    EXPECT_EQ(organizations(), QStringList({"Beta", "Omega"}));
    QFile::remove(folder + QStringLiteral("/a.vcf"));
    EXPECT_EQ(organizations(), QStringList({"Beta"}));
    ASSERT_TRUE(QDir().rename(folder, data + QStringLiteral("/moved")));
    EXPECT_TRUE(organizations().isEmpty());
    put(QStringLiteral("n.vcf"), cardOf("New", "n@b.de"));
    EXPECT_EQ(organizations(), QStringList({"New"}));
    ASSERT_TRUE(QDir(folder).removeRecursively());
    EXPECT_TRUE(organizations().isEmpty());
}

TEST_F(ABAddressBookTest, SeesChangesBehindALink)
{
    put(QStringLiteral("target.txt"), cardOf("Alpha", "a@b.de"));
    ASSERT_TRUE(QFile::rename(folder + QStringLiteral("/target.txt"), data + QStringLiteral("/target.txt")));
    QFile::link(data + QStringLiteral("/target.txt"), folder + QStringLiteral("/a.vcf"));
    EXPECT_EQ(organizations(), QStringList({"Alpha"}));
    QFile target(data + QStringLiteral("/target.txt"));
    ASSERT_TRUE(target.open(QIODevice::WriteOnly));
    target.write(cardOf("Another", "a@b.de"));
    target.close();
    EXPECT_EQ(organizations(), QStringList({"Another"}));
}

TEST_F(ABAddressBookTest, AddsAndSavesAFileForEachContact)
{
    const Ref<ABPerson> one = ABPerson::create(cardOf("One", "1@b.de"));
    const Ref<ABPerson> two = ABPerson::create(cardOf("Two", "2@b.de"));
    EXPECT_FALSE(book->addRecord(nullptr));
    EXPECT_TRUE(book->addRecord(one));
    EXPECT_TRUE(book->addRecord(two));
    EXPECT_EQ(organizations(), QStringList({"One", "Two"})) << "added, not yet saved";
    EXPECT_FALSE(QFileInfo::exists(folder));
    EXPECT_TRUE(book->save());
    EXPECT_EQ(files().size(), 2);
    EXPECT_EQ(organizations().size(), 2);
    struct stat about {};
    ASSERT_EQ(stat(qPrintable(folder), &about), 0);
    EXPECT_EQ(about.st_mode & 0777, 0700U);
    ASSERT_EQ(stat(qPrintable(folder + QLatin1Char('/') + files().first()), &about), 0);
    EXPECT_EQ(about.st_mode & 0777, 0600U);
    EXPECT_FALSE(isNil(one->valueForProperty(key(kABUIDProperty))));
    EXPECT_NE(one->valueForProperty(key(kABUIDProperty)), two->valueForProperty(key(kABUIDProperty)));
    EXPECT_TRUE(book->save()) << "nothing to do";
    EXPECT_EQ(files().size(), 2);
    QFile file(folder + QLatin1Char('/') + files().first());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().startsWith("BEGIN:VCARD\r\nVERSION:3.0\r\n"));
}

TEST_F(ABAddressBookTest, AnIdentifierIsKeptAndNamesNoFile)
{
    const Ref<ABPerson> person = ABPerson::create(cardOf("One", "1@b.de"));
    person->setValue(QStringLiteral("../../escape"), key(kABUIDProperty));
    EXPECT_TRUE(book->addRecord(person));
    EXPECT_TRUE(book->save());
    EXPECT_EQ(person->valueForProperty(key(kABUIDProperty)), QVariant(QStringLiteral("../../escape")));
    ASSERT_EQ(files().size(), 1);
    EXPECT_FALSE(files().first().contains(QStringLiteral("escape")));
}

TEST_F(ABAddressBookTest, OtherFilesStayAsTheyAre)
{
    put(QStringLiteral("a.vcf"), cardOf("Alpha", "a@b.de"));
    put(QStringLiteral("broken.vcf"), "not a card");
    EXPECT_TRUE(book->addRecord(ABPerson::create(cardOf("One", "1@b.de"))));
    EXPECT_TRUE(book->save());
    QFile broken(folder + QStringLiteral("/broken.vcf"));
    ASSERT_TRUE(broken.open(QIODevice::ReadOnly));
    EXPECT_EQ(broken.readAll(), QByteArray("not a card"));
    EXPECT_EQ(files().size(), 3);
}

TEST_F(ABAddressBookTest, WhatCannotBeWrittenStaysAdded)
{
    // A file where the folder should be stops every user, root included.
    QFile obstacle(folder);
    ASSERT_TRUE(obstacle.open(QIODevice::WriteOnly));
    obstacle.close();
    EXPECT_TRUE(book->addRecord(ABPerson::create(cardOf("One", "1@b.de"))));
    EXPECT_FALSE(book->save());
    EXPECT_EQ(organizations(), QStringList({"One"}));
    ASSERT_TRUE(obstacle.remove());
    EXPECT_TRUE(book->save());
    EXPECT_EQ(files().size(), 1);
    EXPECT_EQ(organizations(), QStringList({"One"}));
}

TEST_F(ABAddressBookTest, AFullDiskLeavesNothingBehind)
{
    put(QStringLiteral("a.vcf"), cardOf("Alpha", "a@b.de"));
    const pid_t child = fork();
    if (child == 0) {
        // A limit on the size of files stands for a disk that is full in the middle of the card.
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{100, 100};
        setrlimit(RLIMIT_FSIZE, &limit);
        const Ref<ABPerson> person = ABPerson::create(cardOf(QByteArray(1000, 'x'), "1@b.de"));
        _exit(book->addRecord(person) && !book->save() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(files(), QStringList({"a.vcf"}));
    EXPECT_EQ(organizations(), QStringList({"Alpha"}));
}

TEST_F(ABAddressBookTest, AnUnreadableOrReadOnlyFolderIsAClearNo)
{
    put(QStringLiteral("a.vcf"), cardOf("Alpha", "a@b.de"));
    const pid_t child = fork();
    if (child == 0) {
        chmod(qPrintable(folder), 0500);
        bool isRight = true;
        if (geteuid() == 0 && setresuid(65534, 65534, 65534) == 0)
            isRight = true;
        chmod(qPrintable(folder), 0500);
        const Ref<ABPerson> person = ABPerson::create(cardOf("One", "1@b.de"));
        isRight = book->addRecord(person) && !book->save();
        _exit(isRight ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    chmod(qPrintable(folder), 0700);
    EXPECT_EQ(files(), QStringList({"a.vcf"}));
}

TEST_F(ABAddressBookTest, TwoWritersLoseNothing)
{
    std::vector<pid_t> children;
    for (int writer = 0; writer < 2; ++writer) {
        const pid_t child = fork();
        if (child == 0) {
            bool done = true;
            for (int i = 0; i < 25; ++i)
                done = book->addRecord(ABPerson::create(cardOf("Same", "same@b.de"))) && book->save() && done;
            _exit(done ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(files().size(), 50);
    EXPECT_EQ(organizations().size(), 50);
}

} // namespace
} // namespace KVBase
