#include "Platform/VCardLineParser.h"

#include <algorithm>

namespace KVBase
{

namespace
{

constexpr bool isNameCharacter(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '_';
}

/// How many bytes at the beginning of `text` can be those of a name.
qsizetype nameLength(QByteArrayView text)
{
    qsizetype length = 0;
    while (length < text.size() && isNameCharacter(text[length]))
        ++length;
    return length;
}

bool isName(QByteArrayView text) { return !text.isEmpty() && nameLength(text) == text.size(); }

/// Where `mark` is next in `text`, which quotation marks hide; the end of the text when it is nowhere.
qsizetype unquotedIndex(QByteArrayView text, char mark, qsizetype from)
{
    bool isQuoted = false;
    for (qsizetype i = from; i < text.size(); ++i) {
        if (text[i] == '"')
            isQuoted = !isQuoted;
        else if (text[i] == mark && !isQuoted)
            return i;
    }
    return text.size();
}

bool isBlank(char byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }

QByteArrayView trimmed(QByteArrayView text)
{
    while (!text.isEmpty() && isBlank(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && isBlank(text.back()))
        text.chop(1);
    return text;
}

class LineParser {
public:
    LineParser(QByteArrayView given, bool isLasting) : text(given), lasts(isLasting) {}

    bool parse(VCardLine *line) const
    {
        const qsizetype colon = unquotedIndex(text, ':', 0);
        if (colon == text.size())
            return false;
        const QByteArrayView head = text.first(colon);
        qsizetype end = unquotedIndex(head, ';', 0);
        if (!readName(trimmed(head.first(end)), line))
            return false;
        while (end < head.size()) {
            const qsizetype start = end + 1;
            end = unquotedIndex(head, ';', start);
            readParameter(trimmed(head.sliced(start, end - start)), line);
        }
        line->value = kept(text.sliced(colon + 1));
        return true;
    }

private:
    QByteArray kept(QByteArrayView part) const
    {
        return lasts ? QByteArray::fromRawData(part.data(), part.size()) : part.toByteArray();
    }

    bool readName(QByteArrayView name, VCardLine *line) const
    {
        qsizetype length = nameLength(name);
        if (length > 0 && length < name.size() && name[length] == '.') {
            line->group = kept(name.first(length));
            name = name.sliced(length + 1);
            length = nameLength(name);
        }
        line->name = kept(name);
        return length > 0 && length == name.size();
    }

    /// Version 2.1 leaves the parameter's name out where the value tells it. What is no parameter at all is
    /// kept without a name.
    void readParameter(QByteArrayView parameter, VCardLine *line) const
    {
        const qsizetype equals = parameter.indexOf('=');
        if (equals >= 0 && isName(parameter.first(equals)))
            line->parameters.push_back({kept(parameter.first(equals)), kept(parameter.sliced(equals + 1))});
        else if (isAmongVCardNames(parameter, {"QUOTED-PRINTABLE", "BASE64", "8BIT", "7BIT"}))
            line->parameters.push_back({"ENCODING", kept(parameter)});
        else if (isName(parameter))
            line->parameters.push_back({"TYPE", kept(parameter)});
        else if (!parameter.isEmpty())
            line->parameters.push_back({{}, kept(parameter)});
    }

    QByteArrayView text;
    bool lasts;
};

} // namespace

bool isAmongVCardNames(QByteArrayView name, std::initializer_list<QByteArrayView> names)
{
    return std::any_of(names.begin(), names.end(),
                       [name](QByteArrayView other) { return isSameVCardName(name, other); });
}

bool parseVCardLine(QByteArrayView text, bool isLasting, VCardLine *line)
{
    return LineParser(text, isLasting).parse(line);
}

} // namespace KVBase
