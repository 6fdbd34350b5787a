#pragma once

#include "Platform/FileDescriptor.h"
#include "Platform/Services/FileManager.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace KVBase
{

/// Walks a tree depth first by `getdents64` and `fstatat`. Only the deepest levels keep their descriptor and
/// their buffer; a higher one gives them up, keeps its place as an offset, and is opened again through ".."
/// when the walk comes back to it, so depth is bounded by memory alone. One thread, one walk.
class FolderWalk {
public:
    using Visitor = std::function<WalkStep(const FolderEntry &)>;

    explicit FolderWalk(const Visitor &visitor);

    /// False when `path` could not be opened.
    bool run(const char *path);

private:
    struct Level {
        FileDescriptor descriptor;
        std::unique_ptr<char[]> buffer;
        std::size_t filled = 0;
        std::size_t position = 0;
        std::int64_t offset = 0;
        std::size_t pathLength = 0;
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
    };

    bool push(FileDescriptor descriptor, std::string_view name);
    bool pop();
    bool reopen(Level &parent, const FileDescriptor &child) const;
    bool fill(Level &level) const;
    void parkHighestOpenLevel();
    void walkLevels();
    WalkStep visitNext(Level &level, std::string_view &enteredName);
    FileDescriptor openBelow(const Level &level, std::string_view name) const;

    const Visitor &visit;
    std::vector<Level> levels;
    std::string folder;
};

} // namespace KVBase
