#pragma once

#include <QtCore/QString>
#include <QtCore/QStringView>

namespace KVBase::PropertyLists
{

/// Walks through the old form of property lists and string tables: blanks, comments, marks and texts. The
/// text that it walks through must outlive it.
class OldStyleScanner {
public:
    explicit OldStyleScanner(QStringView source)
        : next(source.utf16()), end(next + source.size()), start(next)
    {}

    bool atEnd() const { return next == end; }

    /// What comes next, not at the end.
    char16_t peek() const { return *next; }

    /// Skips blanks and comments. A comment that is not closed reaches to the end.
    void skipBlanks();

    /// Takes `unit` behind blanks, if it comes next.
    bool take(char16_t unit);

    /// Whether a text comes next, in quotes or as a bare word.
    bool startsWithText() const;

    /// Takes a text, not at the end. False when there is none, or none that is whole; `*text` is never nil
    /// when there is.
    bool readText(QString *text);

    /// Takes two hexadecimal digits; false when something else comes next.
    bool readByte(char *byte);

    /// The line of what comes next, from 1 on.
    qsizetype line() const { return QStringView(start, next).count(u'\n') + 1; }

private:
    bool startsWith(char16_t first, char16_t second) const;
    void skipLine();
    void skipComment();
    bool readQuoted(QString *text);
    void appendEscape(QString *text);
    char16_t readDigits(int most, int base);

    const char16_t *next;
    const char16_t *const end;
    const char16_t *const start;
};

} // namespace KVBase::PropertyLists
