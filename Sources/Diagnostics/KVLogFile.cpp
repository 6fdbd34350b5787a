#include "Diagnostics/KVLogFile.h"

#include "Platform/Services/FileManager.h"

#include <cerrno>
#include <unistd.h>

namespace KVBase
{

namespace
{

constexpr std::size_t kMaxWaiting = 0x100000;

std::FILE *openStream(const QString &path)
{
    const int descriptor = Service<FileManager>::current()->openForAppend(path, kPrivateFileMode);
    if (descriptor < 0)
        return nullptr;
    std::FILE *const stream = ::fdopen(descriptor, "ae");
    if (stream == nullptr)
        ::close(descriptor);
    else
        std::setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
}

} // namespace

KVLogFile::KVLogFile(const QString &path) : sLogFile(openStream(path)) {}

KVLogFile::~KVLogFile()
{
    if (!isOpen())
        return;
    if (!waiting.empty())
        hand({waiting.data(), static_cast<qsizetype>(waiting.size())});
    std::fclose(sLogFile);
}

void KVLogFile::write(QByteArrayView lines)
{
    const int entryError = errno;
    if (waiting.empty()) {
        const std::size_t taken = hand(lines);
        if (taken < static_cast<std::size_t>(lines.size()))
            keep(lines.sliced(static_cast<qsizetype>(taken)));
    } else {
        keep(lines);
        waiting.erase(0, hand({waiting.data(), static_cast<qsizetype>(waiting.size())}));
    }
    errno = entryError;
}

void KVLogFile::forget() { waiting.clear(); }

/// How many bytes the system took. The stream holds nothing back, so its descriptor may be written to.
std::size_t KVLogFile::hand(QByteArrayView bytes)
{
    const auto size = static_cast<std::size_t>(bytes.size());
    std::size_t taken = 0;
    while (taken < size) {
        const ssize_t written = ::write(::fileno(sLogFile), bytes.data() + taken, size - taken);
        if (written > 0)
            taken += static_cast<std::size_t>(written);
        else if (written == 0 || errno != EINTR)
            break;
    }
    return taken;
}

/// Only as much as fits waits, in whole lines; the rest is lost, as it would be with no disk at all.
void KVLogFile::keep(QByteArrayView bytes)
{
    if (waiting.size() + static_cast<std::size_t>(bytes.size()) <= kMaxWaiting)
        waiting.append(bytes.data(), static_cast<std::size_t>(bytes.size()));
}

} // namespace KVBase
