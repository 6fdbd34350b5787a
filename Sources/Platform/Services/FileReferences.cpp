#include "Platform/Services/FileReferences.h"

#include <cstring>
#include <deque>
#include <limits>
#include <map>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace KVBase
{

namespace
{

constexpr std::uint64_t kSeal = 0x6b76626173657266;

/// Identifiers up to 15 are kept for the system; the folder "/" has 2 and its own parent 1.
constexpr std::int32_t kFirstFolderIdentifier = 16;

/// The layout of the opaque bytes.
struct Record {
    std::uint64_t seal;
    std::uint64_t pathNumber;
    std::uint64_t device;
    std::uint64_t inode;
};

static_assert(sizeof(Record) <= sizeof(FSRef));

struct Tables {
    std::mutex mutex;
    std::deque<std::string> paths;
    std::unordered_map<std::string, std::uint64_t> pathNumbers;
    std::map<std::pair<std::uint64_t, std::uint64_t>, std::int32_t> folders;
};

/// Never destroyed, so that references work until the process ends.
Tables &tables()
{
    static Tables *const made = new Tables;
    return *made;
}

std::uint64_t numberOfPath(const std::string &path)
{
    Tables &known = tables();
    const std::lock_guard lock(known.mutex);
    const auto [entry, added] = known.pathNumbers.try_emplace(path, known.paths.size());
    if (added)
        known.paths.push_back(path);
    return entry->second;
}

} // namespace

FSRef encodeReference(const FileReference &reference)
{
    const Record record{kSeal, numberOfPath(reference.path), reference.device, reference.inode};
    FSRef ref;
    std::memcpy(ref.hidden, &record, sizeof record);
    return ref;
}

std::optional<FileReference> decodeReference(const FSRef &ref)
{
    Record record;
    std::memcpy(&record, ref.hidden, sizeof record);
    if (record.seal != kSeal)
        return std::nullopt;
    Tables &known = tables();
    const std::lock_guard lock(known.mutex);
    if (record.pathNumber >= known.paths.size())
        return std::nullopt;
    return FileReference{known.paths[record.pathNumber], record.device, record.inode};
}

std::int32_t folderIdentifier(std::uint64_t device, std::uint64_t inode)
{
    Tables &known = tables();
    const std::lock_guard lock(known.mutex);
    const std::size_t next = known.folders.size() + kFirstFolderIdentifier;
    if (next > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        return 0;
    return known.folders.try_emplace({device, inode}, static_cast<std::int32_t>(next)).first->second;
}

} // namespace KVBase
