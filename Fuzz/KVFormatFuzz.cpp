#include <KVBase/Platform/KVFormat.h>

#include "Platform/KVFormatUtf8.h"

#include <QtCore/QString>

#include <cstdlib>

using namespace KVBase;

/// A run-time format of any text, filled with one argument of each kind, as text and as UTF-8. The arguments
/// are on the heap and exactly as long as they say.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    const KVFormatString<> format{text};

    const QString plain = stringWithFormat(format);
    if (!text.contains(u'%') && plain != text)
        std::abort();
    const QString filled = stringWithFormat(format, static_cast<int>(size), text, bytes.c_str(), 1e300,
                                            &format, u'x', bytes, -1LL);

    KVFormatUtf8 output;
    const KVFormatArgument arguments[] = {KVFormatArgument(text), KVFormatArgument(bytes),
                                          KVFormatArgument(u'\xd800')};
    formatInto(output, format.view(), arguments, 3);
    if (!output.isBroken() && !output.line().endsWith('\n'))
        std::abort();
    return filled.isNull() ? 1 : 0;
}
