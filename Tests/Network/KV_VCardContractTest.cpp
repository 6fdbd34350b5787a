#include "Platform/Services/AddressBookStore.h"
#include "Platform/Services/Applications.h"
#include "Platform/Services/Folders.h"
#include "Support/CapturedLog.h"
#include "Support/StubSystemVersions.h"
#include "Support/TestPaths.h"

#include <KVBase/KV_VCard.h>

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <gtest/gtest.h>

namespace KVBase
{
namespace
{

class ListedStore : public AddressBookStore {
public:
    std::vector<Ref<ABPerson>> persons() override { return records; }
    bool add(const Ref<ABPerson> &person) override
    {
        if (adds)
            records.push_back(person);
        return adds;
    }
    bool save() override
    {
        ++saved;
        return saves;
    }

    std::vector<Ref<ABPerson>> records;
    bool adds = true;
    bool saves = true;
    int saved = 0;
};

class OpenedFiles : public Applications {
public:
    QString applicationForCreator(OSType) override { return {}; }
    bool openFile(const QString &path) override
    {
        paths.append(path);
        return true;
    }
    bool openApplication(const QString &) override { return false; }
    void relaunchAfterExit(const QString &) override {}

    QStringList paths;
};

class OneFolder : public Folders {
public:
    OneFolder() { QDir().mkpath(folder); }
    QStringList libraryFolders(std::uint32_t) override { return {}; }
    QString temporaryFolder() override { return folder; }
    QString frameworksFolder() override { return {}; }

    QString folder = Tests::scratchFolder() + QStringLiteral("/contract-cards");
};

class KV_VCardContractTest : public testing::Test {
protected:
    KV_VCardContractTest() { QFile::remove(cardPath()); }

    QString cardPath() const { return folders.folder + QStringLiteral("/kelvo.vcf"); }

    static Ref<ABPerson> company(const char *organization, const QStringList &emails, int flags = 1)
    {
        Ref<ABPerson> person = ABPerson::create();
        person->setValue(QString::fromUtf8(organization), QString(kABOrganizationProperty));
        person->setValue(emails, QString(kABEmailProperty));
        person->setValue(flags, QString(kABPersonFlags));
        return person;
    }

    bool add(const Ref<ABPerson> &person, const QString &prefix = QStringLiteral("Kelvo"))
    {
        KV_VCard card(person);
        card.setSearchPrefix(prefix);
        return card.addToAddressBook();
    }

    /// 10.5.8 until a test says otherwise.
    Tests::StubSystemVersions versions;
    ListedStore listed;
    OpenedFiles opened;
    OneFolder folders;
    ScopedService<SystemVersions> versionsGuard{&versions};
    ScopedService<AddressBookStore> storeGuard{&listed};
    ScopedService<Applications> applicationsGuard{&opened};
    ScopedService<Folders> foldersGuard{&folders};
};

TEST_F(KV_VCardContractTest, BeforeSnowLeopardOneMatchIsEnough)
{
    listed.records = {company("kelvo software gmbh", {"INFO@Kelvo.example"})};
    EXPECT_TRUE(add(company("Kelvo Software", {"info@kelvo.example"})));
    EXPECT_EQ(listed.records.size(), 1U);
    EXPECT_EQ(listed.saved, 0);
    EXPECT_TRUE(opened.paths.isEmpty());
    EXPECT_FALSE(QFile::exists(cardPath()));
    versions.packed = 0x1060;
    versions.minorRelease = 6;
    EXPECT_TRUE(add(company("Kelvo Software", {"info@kelvo.example"})));
    EXPECT_EQ(opened.paths, QStringList(cardPath()));
}

TEST_F(KV_VCardContractTest, BeforeSnowLeopardACompanyIsEnoughForACardWithoutAddresses)
{
    listed.records = {company("Kelvo", {"other@kelvo.example"})};
    EXPECT_TRUE(add(company("Kelvo Software", {})));
    EXPECT_TRUE(opened.paths.isEmpty());
    EXPECT_TRUE(add(company("Kelvo Software", {"info@kelvo.example"})));
    EXPECT_EQ(opened.paths, QStringList(cardPath()));
}

TEST_F(KV_VCardContractTest, BeforeSnowLeopardTheSecondSearchDecidesAlone)
{
    // The company lacks the address; who has it is no company.
    listed.records = {company("Kelvo", {}), company("Kelvo Mail", {"info@kelvo.example"}, 0)};
    EXPECT_TRUE(add(company("Kelvo Software", {"info@kelvo.example"})));
    EXPECT_TRUE(opened.paths.isEmpty());
    // The organisation counts in the second search too, where there is a prefix.
    listed.records = {company("Kelvo", {}), company("Other", {"info@kelvo.example"})};
    EXPECT_TRUE(add(company("Kelvo Software", {"info@kelvo.example"})));
    EXPECT_EQ(opened.paths, QStringList(cardPath()));
    EXPECT_TRUE(add(company("Kelvo Software", {"info@kelvo.example"}), QString()));
    EXPECT_EQ(opened.paths.size(), 1);
    EXPECT_EQ(listed.records.size(), 2U);
}

TEST_F(KV_VCardContractTest, TheFileHoldsTheCardAsThePersonWritesIt)
{
    listed.records = {company("Kelvo", {})};
    const Ref<ABPerson> person = company("Kelvo Software", {"info@kelvo.example"});
    const Tests::CapturedLog log;
    EXPECT_TRUE(add(person));
    QFile file(cardPath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), person->vCardRepresentation());
    EXPECT_EQ(log.lines(), QStringList(QStringLiteral("ussing sharedAddressBook")));
}

TEST_F(KV_VCardContractTest, TheBookIsSavedWhateverAddingAnswers)
{
    listed.adds = false;
    EXPECT_TRUE(add(company("Kelvo Software", {"info@kelvo.example"})));
    EXPECT_EQ(listed.saved, 1);
    listed.saves = false;
    EXPECT_FALSE(add(company("Kelvo Software", {"info@kelvo.example"})));
    EXPECT_EQ(listed.saved, 2);
    EXPECT_TRUE(opened.paths.isEmpty());
}

} // namespace
} // namespace KVBase
