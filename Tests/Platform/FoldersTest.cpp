#include "Platform/Services/Folders.h"

#include "Support/TestPaths.h"

#include <gtest/gtest.h>

using namespace KVBase;

TEST(FoldersTest, LibrariesFollowTheDomains)
{
    Folders *const service = Service<Folders>::current();
    const QString user = KVBase::Tests::scratchFolder() + QStringLiteral("/home/.local/share");
    EXPECT_EQ(service->libraryFolders(NSUserDomainMask), QStringList{user});
    EXPECT_EQ(service->libraryFolders(NSLocalDomainMask), QStringList{"/usr/local/share"});
    EXPECT_EQ(service->libraryFolders(NSNetworkDomainMask), QStringList());
    EXPECT_EQ(service->libraryFolders(NSUserDomainMask | NSLocalDomainMask | NSNetworkDomainMask),
              (QStringList{user, "/usr/local/share"}));
    EXPECT_EQ(service->libraryFolders(0), QStringList());
}

TEST(FoldersTest, KnowsTheOtherPlaces)
{
    EXPECT_EQ(Service<Folders>::current()->temporaryFolder(),
              KVBase::Tests::scratchFolder() + QStringLiteral("/tmp"));
    EXPECT_EQ(Service<Folders>::current()->frameworksFolder(), QStringLiteral("/System/Library/Frameworks"));
}
