#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArray>

#include <cstddef>
#include <unistd.h>
#include <utility>

namespace KVBase
{

/// Owns a file descriptor. Movable; -1 owns nothing.
class FileDescriptor {
public:
    explicit FileDescriptor(int owned = -1) noexcept : number(owned) {}
    FileDescriptor(FileDescriptor &&other) noexcept : number(other.release()) {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        reset(other.release());
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const noexcept { return number; }
    bool isValid() const noexcept { return number >= 0; }
    int release() noexcept { return std::exchange(number, -1); }
    void reset(int owned = -1) noexcept
    {
        if (number >= 0)
            ::close(number);
        number = owned;
    }

private:
    int number;
};

/// Writes all of it, going on after interruptions and short writes. False, with errno set, when the file
/// takes no more.
KV_EXPORT bool writeFully(int descriptor, const char *bytes, std::size_t count);

/// Reads up to `count` bytes, going on after interruptions and short reads, until the end of the file. The
/// number of bytes read, or -1 with errno set.
KV_EXPORT std::ptrdiff_t readFully(int descriptor, char *bytes, std::size_t count);

} // namespace KVBase
