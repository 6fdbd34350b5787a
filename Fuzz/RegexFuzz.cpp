#include <KVBase/CSRegex.h>
#include <KVBase/Platform/NSException.h>

#include <cstdlib>
#include <vector>

using namespace KVBase;

namespace
{

void require(bool condition)
{
    if (!condition)
        std::abort();
}

/// The C library itself, asked each question in the way in which `regex` is to ask it. Its answers may
/// contradict each other: it finds "(^a)+" in "aab", but not when it is asked for the group.
void compareWithLibrary(const CSRegex &regex, const QByteArray &pattern, const QString &text)
{
    regex_t plain;
    require(regcomp(&plain, pattern.constData(), REG_EXTENDED) == 0);
    const QByteArray subject = text.toUtf8();
    require(regex.matchesString(text) == (regexec(&plain, subject.constData(), 0, nullptr, 0) == 0));

    regmatch_t whole{};
    const bool found = regexec(&plain, subject.constData(), 1, &whole, 0) == 0;
    const NSRange range = regex.rangeOfMatchInString(text);
    require(found == (range.location != NSNotFound));
    if (found)
        require(range == NSRange{static_cast<std::uint32_t>(whole.rm_so),
                                 static_cast<std::uint32_t>(whole.rm_eo - whole.rm_so)});

    std::vector<regmatch_t> slots(plain.re_nsub + 1);
    const bool grouped = regexec(&plain, subject.constData(), slots.size(), slots.data(), 0) == 0;
    const auto captured = regex.capturedSubstringsOfString(text);
    require(grouped == captured.has_value());
    require(!grouped || captured->size() == static_cast<qsizetype>(slots.size()));
    regfree(&plain);
}

} // namespace

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
    require(!CSRegex::escapedPattern(text).isNull());
    try {
        const CSRegex regex(pattern, 0);
        compareWithLibrary(regex, pattern.toUtf8(), text);
        (void)regex.matchedSubstringOfString(text);
    } catch (const NSException &) {
        // A pattern that does not compile, or a range that passes the end of the text.
    }
    return 0;
}
