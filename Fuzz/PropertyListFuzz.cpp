#include <KVBase/Platform/NSPropertyListSerialization.h>

#include <cstdlib>

using namespace KVBase;

namespace
{

/// What was read is a property list, so the binary form holds it, and writing it twice gives the same bytes.
void checkRoundTrip(const QVariant &plist)
{
    const auto first =
        NSPropertyListSerialization::dataFromPropertyList(plist, NSPropertyListFormat::Binary, nullptr);
    if (!first)
        std::abort();
    const QVariant again = NSPropertyListSerialization::propertyListFromData(*first, nullptr, nullptr);
    const auto second =
        NSPropertyListSerialization::dataFromPropertyList(again, NSPropertyListFormat::Binary, nullptr);
    if (second != first)
        std::abort();
}

} // namespace

/// Any bytes as a property list in whatever form they begin like. Large results are read and not written.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    QString error;
    const QVariant plist = NSPropertyListSerialization::propertyListFromData(bytes, nullptr, &error);
    if (plist.isValid() != error.isNull())
        std::abort();
    if (plist.isValid() && size < 2000 && !bytes.startsWith("bplist"))
        checkRoundTrip(plist);
    return 0;
}
