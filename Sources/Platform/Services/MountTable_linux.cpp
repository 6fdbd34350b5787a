#include "Platform/Services/MountTable_linux.h"

#include "Platform/FileDescriptor.h"

#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <string_view>
#include <sys/sysmacros.h>

namespace KVBase
{

namespace
{

std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        if (end > 0)
            parts.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

bool isOctalDigit(char c) { return c >= '0' && c <= '7'; }

/// Blanks, line breaks and backslashes stand in the table as "\040".
std::string unescaped(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '\\' && i + 3 < text.size() && isOctalDigit(text[i + 1]) &&
                            isOctalDigit(text[i + 2]) && isOctalDigit(text[i + 3]);
        if (escape) {
            const int code = (text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0');
            result.push_back(static_cast<char>(code));
            i += 3;
        } else
            result.push_back(text[i]);
    }
    return result;
}

/// "8:1" as the number that `stat` gives; 0 for anything else.
std::uint64_t deviceNumber(std::string_view text)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        return 0;
    unsigned majorNumber = 0;
    unsigned minorNumber = 0;
    const auto first = std::from_chars(text.data(), text.data() + colon, majorNumber);
    const auto second = std::from_chars(text.data() + colon + 1, text.data() + text.size(), minorNumber);
    if (first.ec != std::errc() || second.ec != std::errc())
        return 0;
    return gnu_dev_makedev(majorNumber, minorNumber);
}

std::string wholeFile(const char *path)
{
    const FileDescriptor file(::open(path, O_RDONLY | O_CLOEXEC));
    std::string text;
    char block[16384];
    while (file.isValid()) {
        const auto got = readFully(file.get(), block, sizeof block);
        if (got <= 0)
            break;
        text.append(block, static_cast<std::size_t>(got));
    }
    return text;
}

} // namespace

std::vector<MountPoint> parseMountTable(std::string_view text)
{
    std::vector<MountPoint> mounts;
    for (const std::string_view line : split(text, '\n')) {
        // 36 35 98:0 /root /mount/point options [optional fields] - type source options
        const std::size_t dash = line.find(" - ");
        if (dash == std::string_view::npos)
            continue;
        const auto left = split(line.substr(0, dash), ' ');
        const auto right = split(line.substr(dash + 3), ' ');
        if (left.size() >= 6 && right.size() >= 2)
            mounts.push_back({unescaped(left[4]), unescaped(right[1]), deviceNumber(left[2])});
    }
    return mounts;
}

std::vector<MountPoint> mountTable() { return parseMountTable(wholeFile("/proc/self/mountinfo")); }

} // namespace KVBase
