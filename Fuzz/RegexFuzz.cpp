#include <KVBase/CSRegex.h>
#include <KVBase/Platform/NSException.h>

#include <cstdlib>

using namespace KVBase;

/// A pattern, up to the first line feed, and a text behind it. Patterns are short, since what the C library
/// needs to match may grow beyond all bounds with them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const qsizetype end = bytes.indexOf('\n');
    if (end < 0 || end > 24 || bytes.size() > 200)
        return 0;
    const QString pattern = QString::fromUtf8(bytes.first(end));
    const QString text = QString::fromUtf8(bytes.sliced(end + 1));
    if (CSRegex::escapedPattern(text).isNull())
        std::abort();
    try {
        const CSRegex regex(pattern, 0);
        const bool matches = regex.matchesString(text);
        if (matches != (regex.rangeOfMatchInString(text).location != NSNotFound) ||
            matches != regex.capturedSubstringsOfString(text).has_value())
            std::abort();
        (void)regex.matchedSubstringOfString(text);
    } catch (const NSException &) {
        // A pattern that does not compile, or a range that passes the end of the text.
    }
    return 0;
}
