#pragma once

#include "Platform/KVFormatOutput.h"

#include <KVBase/KVExport.h>

#include <cstddef>
#include <memory>

namespace KVBase
{

/// Collects a formatted text as UTF-8. Texts of the usual length need no memory of their own.
class KV_EXPORT KVFormatUtf8 final : public KVFormatOutput {
public:
    KVFormatUtf8() : bytes(local), capacity(sizeof local) {}
    KVFormatUtf8(const KVFormatUtf8 &) = delete;
    KVFormatUtf8 &operator=(const KVFormatUtf8 &) = delete;

    void putUtf16(QStringView text) override;
    void putUtf8(QByteArrayView text) override;
    void putAscii(QByteArrayView text) override;
    void putBlanks(std::size_t count, char blank) override;

    /// What was collected so far, up to the first NUL, where a C string ends.
    QByteArrayView cString() const;

    /// The same with a line feed behind it; what follows the first NUL is gone afterwards.
    QByteArrayView line();

    /// Whether the text holds half a surrogate pair, so that there is no UTF-8 for it.
    bool isBroken() const { return broken || highSurrogate != 0; }

private:
    char *grow(std::size_t count);
    void append(QByteArrayView text);
    void endPair();

    char local[1024];
    std::unique_ptr<char[]> heap;
    char *bytes;
    std::size_t capacity;
    std::size_t size = 0;
    /// The first half of a pair whose second half comes with the next piece; 0 when there is none.
    char16_t highSurrogate = 0;
    bool broken = false;
};

} // namespace KVBase
