#include <KVBase/Whirlpool_Hash.h>

#include "Text/UTF8Text.h"

#include <KVBase/Whirlpool.h>

#include <array>
#include <cstring>

namespace KVBase::Whirlpool_Hash
{

QString whirlpoolHash(const QString &text)
{
    if (text.isNull())
        return {};
    const QByteArray bytes = utf8OrEmpty(text);
    const std::size_t length = std::strlen(bytes.constData());
    std::array<std::uint8_t, 64> digest;
    WhirlpoolState state;
    NESSIEinit(&state);
    // The byte count stands where bits are counted, on purpose: stored digests have to stay valid.
    NESSIEadd(reinterpret_cast<const std::uint8_t *>(bytes.constData()), static_cast<std::uint32_t>(length),
              &state);
    NESSIEfinalize(&state, digest.data());
    return convert(digest.data(), static_cast<std::int32_t>(digest.size()));
}

} // namespace KVBase::Whirlpool_Hash
