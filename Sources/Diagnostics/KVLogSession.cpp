#include "Diagnostics/KVLogSession.h"

#include "Diagnostics/KVLogHeader.h"
#include "Diagnostics/KVLogTrimming.h"
#include "Platform/NSPathUtilities.h"
#include "Platform/Services/FileManager.h"

#include <pthread.h>

namespace KVBase
{

namespace
{

/// Makes the folder, cuts the file, opens it and writes the header; null when it cannot be opened.
std::unique_ptr<KVLogFile> startSession(const QString &path)
{
    if (path.isEmpty())
        return nullptr;
    const QString folder = NSPathUtilities::stringByDeletingLastPathComponent(path);
    if (!folder.isEmpty() && !Service<FileManager>::current()->exists(folder))
        Service<FileManager>::current()->createDirectory(folder, true);
    trimLogFile(path);
    auto file = std::make_unique<KVLogFile>(path);
    if (!file->isOpen())
        return nullptr;
    file->write(logSessionHeader(path));
    return file;
}

} // namespace

/// The right to open or close, waited for. No mutex, because a thread that forks while it opens must be able
/// to leave it behind in the child.
class KVLogSession::Turn {
public:
    explicit Turn(std::atomic<std::int32_t> &flag) : taken(flag)
    {
        while (taken.exchange(1) != 0)
            taken.wait(1);
    }
    ~Turn()
    {
        taken.store(0);
        taken.notify_one();
    }
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

private:
    std::atomic<std::int32_t> &taken;
};

KVLogSession &KVLogSession::shared()
{
    static KVLogSession *const made = new KVLogSession;
    return *made;
}

KVLogSession::KVLogSession()
{
    ::pthread_atfork([] { shared().lockForFork(); }, [] { shared().unlockAfterFork(false); },
                     [] { shared().unlockAfterFork(true); });
}

void KVLogSession::lockForFork() { mutex.lock(); }

void KVLogSession::unlockAfterFork(bool inChild)
{
    if (inChild) {
        turnTaken.store(0);
        if (file != nullptr)
            file->forget();
    }
    mutex.unlock();
}

bool KVLogSession::open(const QString &path, QString *openPath)
{
    const Turn turn(turnTaken);
    if (isOpen()) {
        *openPath = this->path();
        return false;
    }
    const QString standardized = NSPathUtilities::stringByStandardizingPath(path);
    std::unique_ptr<KVLogFile> started = startSession(standardized);
    const std::lock_guard lock(mutex);
    sFilePath = standardized;
    file = std::move(started);
    opened.store(file != nullptr, std::memory_order_relaxed);
    return true;
}

void KVLogSession::close()
{
    const Turn turn(turnTaken);
    const std::lock_guard lock(mutex);
    if (file == nullptr)
        return;
    opened.store(false, std::memory_order_relaxed);
    file.reset();
    sFilePath = QString();
}

QString KVLogSession::path() const
{
    const std::lock_guard lock(mutex);
    return sFilePath;
}

void KVLogSession::write(QByteArrayView lines)
{
    const std::lock_guard lock(mutex);
    if (file != nullptr)
        file->write(lines);
}

} // namespace KVBase
