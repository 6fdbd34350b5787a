#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QByteArrayView>
#include <QtCore/QString>

#include <cstddef>

namespace KVBase
{

/// Where the formatter puts what it makes, piece by piece.
class KV_EXPORT KVFormatOutput {
public:
    virtual ~KVFormatOutput();
    virtual void putUtf16(QStringView text) = 0;
    /// `bytes` may be broken; what is no UTF-8 reads as U+FFFD.
    virtual void putUtf8(QByteArrayView bytes) = 0;
    virtual void putAscii(QByteArrayView text) = 0;
    virtual void putBlanks(std::size_t count, char blank) = 0;
};

} // namespace KVBase
