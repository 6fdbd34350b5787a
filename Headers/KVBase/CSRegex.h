#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSRange.h>

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <cstdint>
#include <optional>

#include <regex.h>

namespace KVBase
{

/// A compiled regular expression of the C library, always in extended syntax and always in the C locale,
/// whatever the program's locale is. Immutable, safe on any thread, neither copied nor moved.
///
/// Matching works on the UTF-8 form of a text, up to its first NUL, and ranges count UTF-8 bytes. The
/// functions that answer parts of a text cut it at these numbers taken as UTF-16 positions: for ASCII texts
/// the two agree, in others the parts are shifted, and a range that passes the end of the text throws
/// `NSRangeException`. Only `capturedSubstringsOfString` cuts the bytes and decodes them.
///
/// A nil text matches nothing. An expression compiled with `REG_NOSUB` has no ranges: each of its matches
/// counts as the empty one at the start.
///
/// Each function asks the C library its own question and hands on the answer. The library may take anchors in
/// odd places, as in "(^a)+" or "($).", for met by a text in which it then finds no groups for them.
class KV_EXPORT CSRegex {
public:
    /// A new expression; see the constructor.
    static Ref<CSRegex> regexWithPattern(const QString &pattern, std::int32_t options);
    static Ref<CSRegex> regexWithPattern(const QString &pattern);

    /// What stands for a group that took no part in a match: the empty text, which is not nil.
    static QString null();

    /// Compiles `pattern` with the C library's flags `options` (`REG_ICASE`, `REG_NEWLINE`, ...) and
    /// `REG_EXTENDED`.
    ///
    /// Throws `NSException` "CSRegexException", the reason 'Could not compile regex "PATTERN": MESSAGE', when
    /// the C library refuses the pattern, and for one that it could not compile in bounded memory: longer
    /// than 65,536 bytes, groups nested more than 250 deep, or counted repetitions that stand for more than
    /// 32,768 elements. A nil pattern throws `NSInvalidArgumentException`.
    CSRegex(const QString &pattern, std::int32_t options);
    ~CSRegex();
    CSRegex(const CSRegex &) = delete;
    CSRegex &operator=(const CSRegex &) = delete;

    bool matchesString(const QString &string) const;

    /// The first match in UTF-8 bytes; (`NSNotFound`, 0) when there is none.
    NSRange rangeOfMatchInString(const QString &string) const;

    /// The first match; nil when there is none.
    QString matchedSubstringOfString(const QString &string) const;

    /// Every match, each looked for in what the one before left over, so that "^" matches again there. Empty
    /// when there is none.
    ///
    /// Does not end, and takes ever more memory, once the expression matches the empty text at the start of
    /// what is left ("x*", "$"): give it expressions that match at least one character.
    QStringList allMatchedSubstringsOfString(const QString &string) const;

    /// The pieces between the matches, empty ones too: one more than there are matches; the text alone when
    /// there is none. Does not end with the expressions named above.
    QStringList splitString(const QString &string) const;

    /// The whole match and then the text of each group, `null()` for one that took no part. Bytes that are no
    /// UTF-8, as where a group starts inside a character, read as U+FFFD. nil when nothing matches.
    std::optional<QStringList> capturedSubstringsOfString(const QString &string) const;

    /// The conveniences on a text: each compiles `pattern`, with the flags `options` or none, and asks it
    /// once. They throw what the constructor throws. A nil text answers as one without a match, nil for a
    /// list.
    static bool matchedByPattern(const QString &text, const QString &pattern);
    static bool matchedByPattern(const QString &text, const QString &pattern, std::int32_t options);
    static QString substringMatchedByPattern(const QString &text, const QString &pattern);
    static QString substringMatchedByPattern(const QString &text, const QString &pattern,
                                             std::int32_t options);
    static NSRange rangeMatchedByPattern(const QString &text, const QString &pattern);
    static NSRange rangeMatchedByPattern(const QString &text, const QString &pattern, std::int32_t options);

    /// `splitString` and `allMatchedSubstringsOfString`, which do not end with the expressions named there.
    static QStringList componentsSeparatedByPattern(const QString &text, const QString &pattern);
    static QStringList componentsSeparatedByPattern(const QString &text, const QString &pattern,
                                                    std::int32_t options);
    static QStringList allSubstringsMatchedByPattern(const QString &text, const QString &pattern);
    static QStringList allSubstringsMatchedByPattern(const QString &text, const QString &pattern,
                                                     std::int32_t options);

    static std::optional<QStringList> substringsCapturedByPattern(const QString &text,
                                                                  const QString &pattern);
    static std::optional<QStringList> substringsCapturedByPattern(const QString &text, const QString &pattern,
                                                                  std::int32_t options);

    /// `text` with a backslash before each of $ ( ) * + . ? [ \ ^ { |, so that as a pattern it matches
    /// itself. The closing brackets and the hyphen need none. nil for nil.
    static QString escapedPattern(const QString &text);

private:
    friend struct CSRegexBytes;
    NSRange rangeOfMatchInBytes(const char *subject) const;

    regex_t expression;
};

} // namespace KVBase
