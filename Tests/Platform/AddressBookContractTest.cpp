#include "Platform/Services/AddressBookStore.h"
#include "Support/StubBundles.h"

#include <KVBase/Platform/AddressBook.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

namespace KVBase
{
namespace
{

QByteArray card(const QByteArray &organization, const QByteArray &lines = {})
{
    return "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:x\r\nN:x\r\nORG:" + organization + "\r\n" + lines +
           "END:VCARD\r\n";
}

Ref<ABPerson> named(const QString &organization)
{
    const Ref<ABPerson> person = ABPerson::create();
    person->setValue(organization, QString(kABOrganizationProperty));
    return person;
}

TEST(ABPersonContractTest, EveryTextReadsBackAsItWasSet)
{
    const QStringList texts = {
        QStringLiteral("a;b,c\\d"),        QStringLiteral("one\ntwo"),
        QStringLiteral("\\n is no break"), QStringLiteral("ends in \\"),
        QStringLiteral(" blanks around "), QStringLiteral("x").repeated(1000),
        QStringLiteral("😀").repeated(200), QStringLiteral("\"quoted\""),
        QStringLiteral("a:b=c"),           QStringLiteral("END:VCARD"),
        QStringLiteral("\ttab"),
    };
    for (const QString &text : texts) {
        const Ref<ABPerson> person = named(text);
        EXPECT_TRUE(person->setValue(text, QString(kABNoteProperty)));
        EXPECT_TRUE(
            person->setValue(QStringList({text, QStringLiteral("a@b.de")}), QString(kABEmailProperty)));
        const Ref<ABPerson> again = ABPerson::create(person->vCardRepresentation());
        ASSERT_NE(again, nullptr) << text.toStdString();
        EXPECT_EQ(again->valueForProperty(QString(kABOrganizationProperty)).toString(), text);
        EXPECT_EQ(again->valueForProperty(QString(kABNoteProperty)).toString(), text);
        EXPECT_EQ(again->valueForProperty(QString(kABEmailProperty)).toStringList(),
                  QStringList({text, QStringLiteral("a@b.de")}));
    }
}

TEST(ABPersonContractTest, WhatIsLeftOfACardThatBreaksOffIsACardOrNone)
{
    const QByteArray whole =
        card("Kelvo", "NOTE;ENCODING=QUOTED-PRINTABLE:a=\r\n=3Db\r\nPHOTO;ENCODING=b:AAAA\r\n BBBB\r\n");
    for (qsizetype size = 0; size < whole.size(); ++size) {
        const Ref<ABPerson> person = ABPerson::create(whole.first(size));
        EXPECT_EQ(person != nullptr, size >= whole.size() - 2) << size;
    }
}

/// Address books over a folder of the test's own.
class ContactFolderContractTest : public testing::Test {
protected:
    ContactFolderContractTest() { qputenv("XDG_DATA_HOME", data.path().toUtf8()); }
    ~ContactFolderContractTest() override { qputenv("XDG_DATA_HOME", previous); }

    QString folder() const { return data.path() + QStringLiteral("/contacts"); }
    QString file(const QString &name) const { return folder() + QLatin1Char('/') + name; }

    static QStringList organizations(AddressBookStore &store)
    {
        QStringList names;
        for (const Ref<ABPerson> &person : store.persons())
            names.append(person->valueForProperty(QString(kABOrganizationProperty)).toString());
        names.sort();
        return names;
    }

    static std::unique_ptr<AddressBookStore> makeStore()
    {
        return std::unique_ptr<AddressBookStore>(AddressBookStore::makeDefault());
    }

    const QByteArray previous = qgetenv("XDG_DATA_HOME");
    QTemporaryDir data{Tests::scratchFolder() + QStringLiteral("/data-XXXXXX")};
};

TEST_F(ContactFolderContractTest, SeesAFileThatWasRewrittenInPlaceWithTheSameSize)
{
    const auto store = makeStore();
    for (const char *name : {"One", "Uno", "Eins"}) {
        Tests::writeFile(file(QStringLiteral("a.vcf")), card(name));
        EXPECT_EQ(organizations(*store), QStringList{QString::fromUtf8(name)});
    }
    Tests::writeFile(file(QStringLiteral("b.tmp")), card("Two"));
    ASSERT_EQ(::rename(qPrintable(file(QStringLiteral("b.tmp"))), qPrintable(file(QStringLiteral("a.vcf")))),
              0);
    EXPECT_EQ(organizations(*store), QStringList{QStringLiteral("Two")});
}

TEST_F(ContactFolderContractTest, TwoStoresOfOneProcessKeepWhatEachAdds)
{
    const auto first = makeStore();
    const auto second = makeStore();
    for (int round = 0; round < 20; ++round) {
        first->add(named(QStringLiteral("First")));
        second->add(named(QStringLiteral("Second")));
        EXPECT_TRUE(first->save());
        EXPECT_TRUE(second->save());
    }
    EXPECT_EQ(organizations(*first).count(QStringLiteral("First")), 20);
    EXPECT_EQ(organizations(*first).count(QStringLiteral("Second")), 20);
    EXPECT_EQ(organizations(*second).size(), 40);
}

TEST_F(ContactFolderContractTest, AnIdentifierOfAnyFormNeitherLeavesTheFolderNorOverwritesAFile)
{
    Tests::writeFile(file(QStringLiteral("1234.vcf")), card("Old", "UID:1234\r\n"));
    const QStringList identifiers = {
        QStringLiteral("1234"),
        QStringLiteral("../outside"),
        QStringLiteral("/absolute"),
        QStringLiteral("a/b"),
        QStringLiteral(".."),
        QStringLiteral("."),
        QStringLiteral("a\nb"),
        QStringLiteral("-rf"),
        QStringLiteral(".hidden"),
        QStringLiteral("ü"),
        QStringLiteral("x").repeated(5000),
    };
    const auto store = makeStore();
    for (const QString &identifier : identifiers) {
        const Ref<ABPerson> person = named(QStringLiteral("New"));
        person->setValue(identifier, QString(kABUIDProperty));
        store->add(person);
        EXPECT_TRUE(store->save()) << identifier.left(20).toStdString();
    }
    EXPECT_EQ(Tests::readFile(file(QStringLiteral("1234.vcf"))), card("Old", "UID:1234\r\n"));
    EXPECT_EQ(organizations(*makeStore()).size(), identifiers.size() + 1);
    EXPECT_EQ(QDir(data.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{QStringLiteral("contacts")});
}

} // namespace
} // namespace KVBase
