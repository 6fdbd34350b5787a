#include "Platform/Services/AddressBookStore.h"
#include "Support/StubBundles.h"

#include <KVBase/Platform/AddressBook.h>

#include <gtest/gtest.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <sys/stat.h>

using namespace KVBase;
using namespace KVBase::Tests;

namespace
{

QString text(const char *utf8) { return QString::fromUtf8(utf8); }

QByteArray card(const QByteArray &organisation, const QByteArray &lines = {})
{
    return "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:x\r\nN:x\r\nORG:" + organisation + "\r\n" + lines +
           "END:VCARD\r\n";
}

/// An address book over a folder of its own.
class ContactFolderBlindTest : public ::testing::Test {
protected:
    ContactFolderBlindTest() { qputenv("XDG_DATA_HOME", QFile::encodeName(data.path())); }
    ~ContactFolderBlindTest() override { qputenv("XDG_DATA_HOME", before); }

    QString folder() const { return data.path() + QStringLiteral("/contacts"); }
    QString file(const char *name) const { return folder() + QLatin1Char('/') + text(name); }

    static QStringList organisations(AddressBookStore &store)
    {
        QStringList names;
        for (const Ref<ABPerson> &person : store.persons())
            names.append(person->valueForProperty(kABOrganizationProperty).toString());
        names.sort();
        return names;
    }

    static Ref<ABPerson> company(const char *name)
    {
        const Ref<ABPerson> person = ABPerson::create();
        person->setValue(text(name), kABOrganizationProperty);
        person->setValue(1, kABPersonFlags);
        return person;
    }

    const QByteArray before = qgetenv("XDG_DATA_HOME");
    QTemporaryDir data{scratchFolder() + QStringLiteral("/data-XXXXXX")};
};

TEST_F(ContactFolderBlindTest, isEmptyWithoutAFolder)
{
    const std::unique_ptr<AddressBookStore> store(AddressBookStore::makeDefault());
    EXPECT_TRUE(store->persons().empty());
    EXPECT_FALSE(QFile::exists(folder()));
    EXPECT_TRUE(store->add(company("Kelvo")));
    EXPECT_FALSE(QFile::exists(folder()));
    EXPECT_EQ(organisations(*store), QStringList{text("Kelvo")});
    EXPECT_TRUE(store->save());
    const QStringList files = QDir(folder()).entryList(QDir::Files | QDir::Hidden);
    ASSERT_EQ(files.size(), 1);
    EXPECT_TRUE(files.first().endsWith(text(".vcf")));
    const QByteArray written = readFile(folder() + QLatin1Char('/') + files.first());
    EXPECT_TRUE(written.startsWith("BEGIN:VCARD\r\nVERSION:3.0\r\n"));
    EXPECT_TRUE(written.contains("\r\nORG:Kelvo"));
    EXPECT_TRUE(written.contains("\r\nUID:"));
    EXPECT_EQ(organisations(*store), QStringList{text("Kelvo")});
}

TEST_F(ContactFolderBlindTest, readsCardsAndNothingElse)
{
    writeFile(file("one.vcf"), card("One"));
    writeFile(file("two.VCF"), card("Two"));
    writeFile(file("notes.txt"), card("Text"));
    writeFile(file("broken.vcf"), "no card");
    writeFile(file("empty.vcf"), "");
    QDir().mkpath(file("folder.vcf"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(file("pipe.vcf")).constData(), 0600), 0);
    ASSERT_TRUE(QFile::link(text("/nowhere/at/all"), file("dangling.vcf")));
    const std::unique_ptr<AddressBookStore> store(AddressBookStore::makeDefault());
    const QStringList found = organisations(*store);
    EXPECT_TRUE(found.contains(text("One")));
    EXPECT_FALSE(found.contains(text("Text")));
    EXPECT_TRUE(found == QStringList{text("One")} || found == QStringList({text("One"), text("Two")}))
        << qPrintable(found.join(QLatin1Char('|')));
    store->add(company("New"));
    EXPECT_TRUE(store->save());
    EXPECT_EQ(readFile(file("one.vcf")), card("One"));
    EXPECT_EQ(readFile(file("notes.txt")), card("Text"));
    EXPECT_EQ(readFile(file("broken.vcf")), QByteArray("no card"));
    EXPECT_TRUE(QFileInfo(file("folder.vcf")).isDir());
    EXPECT_TRUE(QFileInfo(file("dangling.vcf")).isSymLink());
}

TEST_F(ContactFolderBlindTest, seesWhatOthersChange)
{
    const std::unique_ptr<AddressBookStore> store(AddressBookStore::makeDefault());
    writeFile(file("one.vcf"), card("One"));
    EXPECT_EQ(organisations(*store), QStringList{text("One")});
    // Written in place, of the same size.
    writeFile(file("one.vcf"), card("Uno"));
    EXPECT_EQ(organisations(*store), QStringList{text("Uno")});
    writeFile(file("two.vcf"), card("Two"));
    EXPECT_EQ(organisations(*store), QStringList({text("Two"), text("Uno")}));
    // Put in place of the old one.
    writeFile(file("new.tmp"), card("Duo"));
    ASSERT_EQ(::rename(QFile::encodeName(file("new.tmp")).constData(),
                       QFile::encodeName(file("two.vcf")).constData()),
              0);
    EXPECT_EQ(organisations(*store), QStringList({text("Duo"), text("Uno")}));
    QFile::remove(file("one.vcf"));
    EXPECT_EQ(organisations(*store), QStringList{text("Duo")});
    // The whole folder is another one.
    ASSERT_TRUE(QDir().rename(folder(), folder() + text("-old")));
    EXPECT_TRUE(store->persons().empty());
    writeFile(file("three.vcf"), card("Three"));
    EXPECT_EQ(organisations(*store), QStringList{text("Three")});
    ASSERT_TRUE(QDir(folder()).removeRecursively());
    EXPECT_TRUE(store->persons().empty());
}

TEST_F(ContactFolderBlindTest, seesChangesBehindLinks)
{
    const QString target = data.path() + QStringLiteral("/target.vcf");
    writeFile(target, card("One"));
    QDir().mkpath(folder());
    ASSERT_TRUE(QFile::link(target, file("link.vcf")));
    const std::unique_ptr<AddressBookStore> store(AddressBookStore::makeDefault());
    const QStringList first = organisations(*store);
    writeFile(target, card("Uno"));
    const QStringList second = organisations(*store);
    // Links are either read as what they show or not at all, but never kept from an earlier reading.
    EXPECT_EQ(second, first.isEmpty() ? QStringList() : QStringList{text("Uno")});
}

TEST_F(ContactFolderBlindTest, letsTwoWritersKeepBoth)
{
    const std::unique_ptr<AddressBookStore> first(AddressBookStore::makeDefault());
    const std::unique_ptr<AddressBookStore> second(AddressBookStore::makeDefault());
    for (int round = 0; round < 20; ++round) {
        first->add(company("First"));
        second->add(company("Second"));
        EXPECT_TRUE(first->save());
        EXPECT_TRUE(second->save());
    }
    EXPECT_EQ(organisations(*first).count(text("First")), 20);
    EXPECT_EQ(organisations(*first).count(text("Second")), 20);
    EXPECT_EQ(organisations(*second).size(), 40);
    EXPECT_EQ(QDir(folder()).entryList(QDir::Files | QDir::Hidden).size(), 40);
}

TEST_F(ContactFolderBlindTest, neverOverwritesAnotherContactOfItsIdentifier)
{
    writeFile(file("1234.vcf"), card("Old", "UID:1234\r\n"));
    const std::unique_ptr<AddressBookStore> store(AddressBookStore::makeDefault());
    const Ref<ABPerson> person = company("New");
    person->setValue(text("1234"), kABUIDProperty);
    store->add(person);
    store->save();
    EXPECT_EQ(readFile(file("1234.vcf")), card("Old", "UID:1234\r\n"));
}

TEST_F(ContactFolderBlindTest, staysInItsFolderWhateverTheIdentifier)
{
    for (const char *identifier :
         {"../outside", "/absolute", "a/b", "..", ".", "a\nb", "\xC3\xBC", "-rf", ".hidden"}) {
        const std::unique_ptr<AddressBookStore> store(AddressBookStore::makeDefault());
        const Ref<ABPerson> person = company("Kelvo");
        person->setValue(text(identifier), kABUIDProperty);
        store->add(person);
        EXPECT_TRUE(store->save()) << identifier;
    }
    const std::unique_ptr<AddressBookStore> store(AddressBookStore::makeDefault());
    const Ref<ABPerson> person = company("Kelvo");
    person->setValue(text("x").repeated(5000), kABUIDProperty);
    store->add(person);
    EXPECT_TRUE(store->save());
    EXPECT_EQ(organisations(*store).size(), 10);
    EXPECT_EQ(QDir(data.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{text("contacts")});
}

TEST_F(ContactFolderBlindTest, saysThatItCannotWrite)
{
    writeFile(folder(), "a file where the folder should be");
    const std::unique_ptr<AddressBookStore> store(AddressBookStore::makeDefault());
    EXPECT_TRUE(store->persons().empty());
    store->add(company("Kelvo"));
    EXPECT_FALSE(store->save());
    EXPECT_EQ(readFile(folder()), QByteArray("a file where the folder should be"));
    // What could not be written is still there and written by the next call.
    EXPECT_EQ(organisations(*store), QStringList{text("Kelvo")});
    QFile::remove(folder());
    EXPECT_TRUE(store->save());
    EXPECT_EQ(organisations(*store), QStringList{text("Kelvo")});
    EXPECT_EQ(QDir(folder()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    EXPECT_TRUE(store->save());
    EXPECT_EQ(QDir(folder()).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

TEST_F(ContactFolderBlindTest, searchesThroughTheSharedBook)
{
    const std::unique_ptr<AddressBookStore> store(AddressBookStore::makeDefault());
    const ScopedService<AddressBookStore> guard(store.get());
    writeFile(file("one.vcf"), card("Kelvo Software", "EMAIL:a@x.example\r\nX-ABShowAs:COMPANY\r\n"));
    const Ref<ABAddressBook> book = ABAddressBook::sharedAddressBook();
    const auto search = [&](const char *prefix) {
        return book
            ->recordsMatchingSearchElement(ABPerson::searchElementForProperty(
                kABOrganizationProperty, QString(), QString(), text(prefix),
                ABSearchComparison::kABPrefixMatchCaseInsensitive))
            .size();
    };
    EXPECT_EQ(search("kelvo"), 1u);
    EXPECT_EQ(search("else"), 0u);
    EXPECT_TRUE(book->addRecord(company("Elsewhere")));
    EXPECT_EQ(search("else"), 1u);
    EXPECT_TRUE(book->save());
    EXPECT_EQ(search("else"), 1u);
    EXPECT_FALSE(book->addRecord(nullptr));
}

} // namespace
