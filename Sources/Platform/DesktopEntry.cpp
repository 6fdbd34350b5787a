#include "Platform/DesktopEntry.h"

#include <optional>

namespace KVBase
{

namespace
{

QString unescaped(QStringView text)
{
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) != u'\\' || i + 1 == text.size()) {
            result.append(text.at(i));
            continue;
        }
        const QChar code = text.at(++i);
        switch (code.unicode()) {
        case u's':
            result.append(u' ');
            break;
        case u'n':
            result.append(u'\n');
            break;
        case u't':
            result.append(u'\t');
            break;
        case u'r':
            result.append(u'\r');
            break;
        case u'\\':
            result.append(u'\\');
            break;
        default:
            result.append(u'\\').append(code);
        }
    }
    return result;
}

/// Cuts a command line into words. Double quotes keep blanks together, and inside them a backslash stands
/// before a quote, a backtick, a dollar sign or another backslash.
class CommandLine {
public:
    explicit CommandLine(const QString &line) : text(line) {}

    /// Nothing when a quote is not closed.
    std::optional<QStringList> words()
    {
        while (position < text.size()) {
            const QChar character = text.at(position++);
            if (character == u'"' && !readQuoted())
                return std::nullopt;
            if (character == u' ' || character == u'\t' || character == u'\n')
                finishWord();
            else if (character != u'"')
                append(character);
        }
        finishWord();
        return found;
    }

private:
    bool readQuoted()
    {
        inWord = true;
        while (position < text.size()) {
            QChar character = text.at(position++);
            if (character == u'"')
                return true;
            if (character == u'\\' && position < text.size())
                character = text.at(position++);
            word.append(character);
        }
        return false;
    }

    void append(QChar character)
    {
        inWord = true;
        word.append(character);
    }

    void finishWord()
    {
        if (inWord)
            found.append(word.isNull() ? QStringLiteral("") : word);
        word.clear();
        inWord = false;
    }

    const QString &text;
    qsizetype position = 0;
    QString word;
    bool inWord = false;
    QStringList found;
};

bool isFieldCode(const QString &word) { return word.size() == 2 && word.at(0) == u'%' && word.at(1) != u'%'; }

} // namespace

DesktopEntry::DesktopEntry(const QByteArray &data)
{
    bool inGroup = false;
    for (const QByteArray &rawLine : data.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.startsWith(u'['))
            inGroup = line == u"[Desktop Entry]";
        const qsizetype equals = line.indexOf(u'=');
        if (!inGroup || equals <= 0 || line.startsWith(u'#') || line.startsWith(u'['))
            continue;
        const QString key = line.first(equals).trimmed();
        if (!values.contains(key))
            values.insert(key, unescaped(QStringView(line).mid(equals + 1).trimmed()));
    }
}

QString DesktopEntry::value(const QString &key) const { return values.value(key); }

bool DesktopEntry::isTrue(const QString &key) const { return values.value(key) == u"true"; }

QStringList DesktopEntry::command() const
{
    const QString line = value(QStringLiteral("Exec"));
    QStringList command = CommandLine(line).words().value_or(QStringList());
    command.removeIf(isFieldCode);
    for (QString &word : command)
        word.replace(QStringLiteral("%%"), QStringLiteral("%"));
    return command;
}

} // namespace KVBase
