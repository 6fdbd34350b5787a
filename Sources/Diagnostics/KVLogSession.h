#pragma once

#include "Diagnostics/KVLogFile.h"

#include <QtCore/QByteArrayView>
#include <QtCore/QString>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace KVBase
{

/// The process's log file and its path. One lock keeps a line whole and a stream alive while it is written
/// to; another one lets a single thread open or close at a time, so that what is logged while the header is
/// made waits for nothing. A fork takes both, and the child leaves what waits for the disk to its parent. Any
/// thread.
class KVLogSession {
public:
    /// Never destroyed, so that lines written while the process ends still find it.
    static KVLogSession &shared();

    KVLogSession(const KVLogSession &) = delete;
    KVLogSession &operator=(const KVLogSession &) = delete;

    /// False, and `openPath` set, when a file is open already. Otherwise the path is kept and the file
    /// opened, with a session header, if that is possible.
    bool open(const QString &path, QString *openPath);
    void close();

    bool isOpen() const { return opened.load(std::memory_order_relaxed); }
    QString path() const;

    /// Writes whole lines to the file, where one is open.
    void write(QByteArrayView lines);

private:
    KVLogSession();
    void lockForFork();
    void unlockAfterFork(bool inChild);

    class Turn;

    std::atomic<std::int32_t> turnTaken{0};
    mutable std::mutex mutex;
    std::unique_ptr<KVLogFile> file;
    QString sFilePath;
    std::atomic<bool> opened{false};
};

} // namespace KVBase
