#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QString>

#include <cstdio>
#include <string>

namespace KVBase
{

/// An open log file. One thread at a time.
class KVLogFile {
public:
    /// Opens a regular file to append to, made readable by its owner alone; the object is closed when
    /// anything else is there or the file cannot be opened.
    explicit KVLogFile(const QString &path);
    ~KVLogFile();
    KVLogFile(const KVLogFile &) = delete;
    KVLogFile &operator=(const KVLogFile &) = delete;

    bool isOpen() const { return sLogFile != nullptr; }

    /// Hands whole lines to the system with one write. What a full disk does not take is kept, up to a
    /// mebibyte, and goes in front of the next lines.
    void write(QByteArrayView lines);

    /// Drops what waits for the disk: a forked child leaves it to its parent.
    void forget();

private:
    std::size_t hand(QByteArrayView bytes);
    void keep(QByteArrayView bytes);

    /// Unbuffered, so that a fork duplicates nothing.
    std::FILE *sLogFile = nullptr;
    std::string waiting;
};

} // namespace KVBase
