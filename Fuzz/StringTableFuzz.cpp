#include "Platform/PropertyLists/StringTable.h"

#include <cstdint>
#include <cstdlib>

using namespace KVBase;

/// Any bytes as a string table: no key and no text is nil.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const PropertyLists::StringTable table = PropertyLists::stringTableFromData(bytes);
    for (auto text = table.cbegin(); text != table.cend(); ++text) {
        if (text.value().isNull())
            std::abort();
    }
    return 0;
}
