#include "Platform/Services/Allocator.h"
#include "Platform/Services/FileManager.h"
#include "Platform/Services/TypeIdentifiers.h"
#include "Platform/Services/Volumes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace KVBase
{
namespace
{

struct DirtyAllocator final : Allocator {
    void *allocate(std::size_t size) override
    {
        void *block = hasMemory ? std::malloc(size) : nullptr;
        return block == nullptr ? nullptr : std::memset(block, 0xa5, size);
    }
    bool hasMemory = true;
};

struct OneVolume final : Volumes {
    std::int16_t volumeOf(const QString &path) override { return path == QStringLiteral("/link") ? 7 : 0; }
    QString temporaryFolder(std::int16_t) override { return {}; }
};

struct NoTypes final : TypeIdentifiers {
    QString contentType(const QString &) override { return {}; }
    QString preferredIdentifier(const QString &) override { return {}; }
    bool conformsTo(const QString &, const QString &) override { return false; }
    QStringList readableImageTypes() override { return {}; }
};

/// A folder, a file, a link to each and one to nothing.
struct FewItems final : FileManager {
    bool exists(const QString &) override { return false; }
    std::optional<FileAttributes> attributes(const QString &path) override
    {
        FileAttributes found;
        if (path == QStringLiteral("/folder"))
            found.kind = FileAttributes::Kind::Folder;
        else if (path == QStringLiteral("/file"))
            found.kind = FileAttributes::Kind::RegularFile;
        else if (path.startsWith(QStringLiteral("/to")))
            found.kind = FileAttributes::Kind::SymbolicLink;
        else
            return std::nullopt;
        return found;
    }
    QString resolve(const QString &path) override
    {
        if (path == QStringLiteral("/toFolder"))
            return QStringLiteral("/folder");
        return path == QStringLiteral("/toFile") ? QStringLiteral("/file") : QString();
    }
    std::optional<FileSystemAttributes> fileSystemAttributes(const QString &) override { return {}; }
    bool forEachEntryBelow(const QString &, const std::function<WalkStep(const FolderEntry &)> &) override
    {
        return false;
    }
    bool createFile(const QString &, std::uint32_t) override { return false; }
    bool createDirectory(const QString &, bool, std::uint32_t) override { return false; }
    bool remove(const QString &) override { return false; }
    bool move(const QString &, const QString &) override { return false; }
    std::optional<QByteArray> read(const QString &, std::uint64_t) override { return {}; }
    bool write(const QString &, const QByteArray &, const FileWriteOptions &) override { return false; }
    int openForAppend(const QString &, std::uint32_t) override { return -1; }
    bool isWritable(const QString &) override { return false; }
    QString displayName(const QString &) override { return {}; }
    OSStatus makeRef(const QString &, FSRef *, bool) override { return -43; }
    QString refPath(const FSRef &) override { return {}; }
    OSStatus refSpec(const FSRef &, FSSpec *) override { return -43; }
};

TEST(ServiceDefaultsTest, ABlockOfZerosIsABlockThatWasCleared)
{
    DirtyAllocator allocator;
    auto *block = static_cast<unsigned char *>(allocator.allocateZeroed(3));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[0], 0);
    EXPECT_EQ(block[1], 0);
    EXPECT_EQ(block[2], 0);
    std::free(block);
    allocator.hasMemory = false;
    EXPECT_EQ(allocator.allocateZeroed(3), nullptr);
}

TEST(ServiceDefaultsTest, AFolderIsToldByAttributesAndTheTargetOfALink)
{
    FewItems items;
    EXPECT_TRUE(items.isFolder(QStringLiteral("/folder")));
    EXPECT_TRUE(items.isFolder(QStringLiteral("/toFolder")));
    EXPECT_FALSE(items.isFolder(QStringLiteral("/file")));
    EXPECT_FALSE(items.isFolder(QStringLiteral("/toFile")));
    EXPECT_FALSE(items.isFolder(QStringLiteral("/toNothing")));
    EXPECT_FALSE(items.isFolder(QStringLiteral("/missing")));
}

TEST(ServiceDefaultsTest, WhatNobodyTellsIsNil)
{
    OneVolume volumes;
    EXPECT_EQ(volumes.volumeOfLink(QStringLiteral("/link")), 7);
    EXPECT_TRUE(volumes.nameAt(QStringLiteral("/")).isNull());
    NoTypes types;
    EXPECT_TRUE(types.preferredExtension(QStringLiteral("public.png")).isNull());
    EXPECT_TRUE(types.mimeType(QStringLiteral("public.png")).isNull());
}

} // namespace
} // namespace KVBase
