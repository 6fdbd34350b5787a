#include "Platform/FileDescriptor.h"

#include <cerrno>

namespace KVBase
{

bool writeFully(int descriptor, const char *bytes, std::size_t count)
{
    while (count > 0) {
        const ssize_t written = ::write(descriptor, bytes, count);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

std::ptrdiff_t readFully(int descriptor, char *bytes, std::size_t count)
{
    std::size_t filled = 0;
    while (filled < count) {
        const ssize_t got = ::read(descriptor, bytes + filled, count - filled);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        filled += static_cast<std::size_t>(got);
    }
    return static_cast<std::ptrdiff_t>(filled);
}

} // namespace KVBase
