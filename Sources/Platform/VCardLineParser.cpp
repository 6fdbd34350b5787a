#include "Platform/VCardLineParser.h"

#include <algorithm>

namespace KVBase
{

namespace
{

bool isNameCharacter(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '_';
}

bool isName(QByteArrayView text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), isNameCharacter);
}

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
        if (!readName(head.first(end).trimmed(), line))
            return false;
        while (end < head.size()) {
            const qsizetype start = end + 1;
            end = unquotedIndex(head, ';', start);
            readParameter(head.sliced(start, end - start).trimmed(), line);
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
        const qsizetype dot = name.indexOf('.');
        if (dot >= 0) {
            if (!isName(name.first(dot)))
                return false;
            line->group = kept(name.first(dot));
            name = name.sliced(dot + 1);
        }
        line->name = kept(name);
        return isName(name);
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
