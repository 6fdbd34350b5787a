#include "Platform/VCardDocument.h"

#include <QtCore/QStringDecoder>

#include <algorithm>
#include <array>

namespace KVBase
{

namespace
{

enum class Version { Two, Three, Four };

bool isSame(QByteArrayView one, QByteArrayView other)
{
    return one.size() == other.size() && one.compare(other, Qt::CaseInsensitive) == 0;
}

bool isNameCharacter(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '_';
}

bool isName(QByteArrayView text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), isNameCharacter);
}

/// The input as UTF-8 where its first bytes say that it is something else.
QByteArray withoutByteOrderMark(const QByteArray &bytes)
{
    if (bytes.startsWith("\xef\xbb\xbf"))
        return bytes.mid(3);
    if (bytes.startsWith("\xff\xfe") || bytes.startsWith("\xfe\xff"))
        return QString(QStringDecoder(QStringDecoder::Utf16)(bytes)).toUtf8();
    return bytes;
}

/// `bytes` in UTF-8, read in `charset`, or without one as UTF-8 if they are that, else as Latin-1.
QByteArray inUtf8(const QByteArray &bytes, const QByteArray &charset)
{
    if (charset.isEmpty() || isSame(charset, "UTF-8"))
        return bytes.isValidUtf8() ? bytes : QString::fromLatin1(bytes).toUtf8();
    // The charset is a part of the line, which no NUL ends.
    QStringDecoder decoder(charset.toStdString().c_str());
    return decoder.isValid() ? QString(decoder(bytes)).toUtf8() : QString::fromLatin1(bytes).toUtf8();
}

int hexDigit(char byte)
{
    if (byte >= '0' && byte <= '9')
        return byte - '0';
    const char lower = static_cast<char>(byte | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

QByteArray quotedPrintableDecoded(const QByteArray &value)
{
    QByteArray bytes;
    bytes.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        const int high = value[i] == '=' && i + 2 < value.size() ? hexDigit(value[i + 1]) : -1;
        const int low = high >= 0 ? hexDigit(value[i + 2]) : -1;
        if (low < 0) {
            bytes.append(value[i]);
            continue;
        }
        bytes.append(static_cast<char>(high * 16 + low));
        i += 2;
    }
    return bytes;
}

bool isAmong(QByteArrayView name, std::initializer_list<QByteArrayView> names)
{
    return std::any_of(names.begin(), names.end(),
                       [name](QByteArrayView other) { return isSame(name, other); });
}

/// A text of version 2.1, where only the semicolon is escaped, as version 3.0 writes it. In structured values
/// a bare semicolon divides, and unknown properties keep theirs.
QByteArray escapedForThree(const QByteArray &name, const QByteArray &value)
{
    const bool isText =
        isAmong(name, {"FN", "NOTE", "TITLE", "ROLE", "EMAIL", "TEL", "LABEL", "MAILER", "UID"});
    const bool isStructured = isAmong(name, {"N", "ADR", "ORG"});
    QByteArray escaped;
    escaped.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        const char byte = value[i];
        if (byte == '\r')
            continue;
        if (byte == '\n') {
            escaped.append("\\n");
        } else if (byte == '\\' && i + 1 < value.size() && QByteArrayView("\\;,nN").contains(value[i + 1])) {
            escaped.append(byte).append(value[++i]);
        } else {
            if ((isText && QByteArrayView("\\;,").contains(byte)) ||
                (isStructured && QByteArrayView("\\,").contains(byte)))
                escaped.append('\\');
            escaped.append(byte);
        }
    }
    return escaped;
}

/// Takes the parameter out of a line and answers its value, empty when there is none.
QByteArray takeParameter(VCardLine *line, QByteArrayView name)
{
    auto &all = line->parameters;
    const auto found = std::find_if(all.begin(), all.end(), [name](const VCardParameter &parameter) {
        return isSame(parameter.name, name);
    });
    if (found == all.end())
        return {};
    const QByteArray value = found->value;
    all.erase(found);
    return value;
}

QByteArray encodingOf(const VCardLine &line)
{
    for (const VCardParameter &parameter : line.parameters) {
        if (isSame(parameter.name, "ENCODING"))
            return parameter.value;
    }
    return {};
}

bool isBase64(const VCardLine &line) { return isAmong(encodingOf(line), {"BASE64", "B"}); }

bool isQuotedPrintable(const VCardLine &line) { return isSame(encodingOf(line), "QUOTED-PRINTABLE"); }

/// Reads "[group.]name[;parameter]*:value"; false when the text is no such line.
class LineParser {
public:
    /// `isLasting` says that the text outlives the line, which then needs no copies.
    LineParser(QByteArrayView given, bool isLasting) : text(given), lasts(isLasting) {}

    bool parse(VCardLine *line)
    {
        const qsizetype colon = endOfHead();
        if (colon < 0)
            return false;
        const QByteArrayView head = text.first(colon);
        qsizetype end = nextDivider(head, 0);
        if (!readName(head.first(end).trimmed(), line))
            return false;
        while (end < head.size()) {
            const qsizetype start = end + 1;
            end = nextDivider(head, start);
            readParameter(head.sliced(start, end - start).trimmed(), line);
        }
        line->value = kept(text.sliced(colon + 1));
        return true;
    }

private:
    /// The colon behind name and parameters; quotation marks hide what they hold.
    qsizetype endOfHead() const
    {
        bool isQuoted = false;
        for (qsizetype i = 0; i < text.size(); ++i) {
            if (text[i] == '"')
                isQuoted = !isQuoted;
            else if (text[i] == ':' && !isQuoted)
                return i;
        }
        return -1;
    }

    static qsizetype nextDivider(QByteArrayView head, qsizetype from)
    {
        bool isQuoted = false;
        for (qsizetype i = from; i < head.size(); ++i) {
            if (head[i] == '"')
                isQuoted = !isQuoted;
            else if (head[i] == ';' && !isQuoted)
                return i;
        }
        return head.size();
    }

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

    /// Version 2.1 leaves the parameter's name out where the value tells it.
    void readParameter(QByteArrayView parameter, VCardLine *line) const
    {
        const qsizetype equals = parameter.indexOf('=');
        if (equals >= 0 && isName(parameter.first(equals)))
            line->parameters.push_back({parameter.first(equals).toByteArray().toUpper(),
                                        parameter.sliced(equals + 1).toByteArray()});
        else if (isAmong(parameter, {"QUOTED-PRINTABLE", "BASE64", "8BIT", "7BIT"}))
            line->parameters.push_back({"ENCODING", kept(parameter)});
        else if (isName(parameter))
            line->parameters.push_back({"TYPE", kept(parameter)});
    }

    QByteArrayView text;
    bool lasts;
};

/// Reads the cards of a text one after the other.
class Reader {
public:
    explicit Reader(QByteArrayView given) : rest(given) {}

    /// Moves behind the next "BEGIN:VCARD"; false at the end.
    bool findCard()
    {
        while (!rest.isEmpty()) {
            VCardLine line;
            if (readLine(&line) && isMark(line, "BEGIN"))
                return true;
        }
        return false;
    }

    /// Reads up to the card's end; false when it breaks off.
    bool readCard(VCardDocument *card)
    {
        version = Version::Three;
        int depth = 1;
        while (!rest.isEmpty()) {
            VCardLine line;
            if (!readLine(&line))
                continue;
            const bool begins = isMark(line, "BEGIN");
            const bool ends = isMark(line, "END");
            if (ends && depth == 1)
                return true;
            line.isNested = begins || depth > 1;
            depth += begins ? 1 : ends ? -1 : 0;
            if (!line.isNested && isSame(line.name, "VERSION"))
                setVersion(line.value.trimmed());
            else
                keep(card, std::move(line));
        }
        return false;
    }

private:
    static bool isMark(const VCardLine &line, QByteArrayView name)
    {
        return isSame(line.name, name) && isSame(line.value.trimmed(), "VCARD");
    }

    void setVersion(QByteArrayView text)
    {
        version = text == "2.1" ? Version::Two : text == "4.0" ? Version::Four : Version::Three;
    }

    void keep(VCardDocument *card, VCardLine line) const
    {
        normalize(&line);
        card->lines.push_back(std::move(line));
    }

    /// Makes a line of version 3.0 out of it.
    void normalize(VCardLine *line) const
    {
        if (isBase64(*line)) {
            for (VCardParameter &parameter : line->parameters) {
                if (parameter.name == "ENCODING")
                    parameter.value = "b";
            }
            line->value = line->value.simplified().replace(' ', QByteArrayView());
            return;
        }
        normalizeText(line);
        if (version == Version::Two)
            line->value = escapedForThree(line->name, line->value);
        else if (version == Version::Four)
            normalizeFromFour(line);
    }

    static void normalizeText(VCardLine *line)
    {
        const bool isEncoded = isQuotedPrintable(*line);
        if (isEncoded)
            line->value = quotedPrintableDecoded(line->value);
        const QByteArray charset = takeParameter(line, "CHARSET");
        if (isEncoded || isAmong(encodingOf(*line), {"8BIT", "7BIT"}))
            takeParameter(line, "ENCODING");
        line->value = inUtf8(line->value, charset);
        if (isEncoded)
            line->value.replace('\r', QByteArrayView());
    }

    static void normalizeFromFour(VCardLine *line)
    {
        for (VCardParameter &parameter : line->parameters) {
            if (parameter.name == "PREF" && parameter.value == "1")
                parameter = {"TYPE", "pref"};
        }
        if (!isAmong(line->name, {"PHOTO", "LOGO", "SOUND", "KEY"}))
            return;
        // Version 4.0 takes an address for granted here, version 3.0 data.
        takeParameter(line, "VALUE");
        line->parameters.push_back({"VALUE", "uri"});
    }

    /// The next line of the text, without its end.
    QByteArrayView takePhysicalLine()
    {
        qsizetype end = rest.indexOf('\n');
        if (end < 0)
            end = rest.size();
        const QByteArrayView line = rest.first(end);
        // Old files end their lines with a carriage return alone.
        if (const qsizetype turn = line.indexOf('\r'); turn >= 0 && turn + 1 < line.size()) {
            rest = rest.sliced(turn + 1);
            return line.first(turn);
        }
        rest = rest.sliced(std::min(end + 1, rest.size()));
        return line.endsWith('\r') ? line.chopped(1) : line;
    }

    bool isFolded() const { return !rest.isEmpty() && (rest.front() == ' ' || rest.front() == '\t'); }

    /// Reads a line with what was folded; false when it is none.
    bool readLine(VCardLine *line)
    {
        const QByteArrayView first = takePhysicalLine();
        if (!isFolded())
            return LineParser(first, true).parse(line) && readContinuation(line);
        QByteArray unfolded = first.toByteArray();
        while (isFolded()) {
            // The blank is part of the text in version 2.1 and a mere mark in the others.
            const QByteArrayView more = takePhysicalLine();
            unfolded.append(version == Version::Two ? more : more.sliced(1));
        }
        return LineParser(unfolded, false).parse(line) && readContinuation(line);
    }

    /// What version 2.1 continues in its own ways: text behind a soft line break, and data up to an empty
    /// line.
    bool readContinuation(VCardLine *line)
    {
        if (isQuotedPrintable(*line)) {
            while (line->value.endsWith('=') && !rest.isEmpty()) {
                line->value.chop(1);
                line->value.append(takePhysicalLine());
            }
        } else if (version == Version::Two && isBase64(*line)) {
            while (continuesData())
                line->value.append(takePhysicalLine());
        }
        return true;
    }

    bool continuesData() const
    {
        const qsizetype end =
            std::min(rest.indexOf('\n') < 0 ? rest.size() : rest.indexOf('\n'), rest.size());
        const QByteArrayView line = rest.first(end).trimmed();
        return !line.isEmpty() && !line.contains(':');
    }

    QByteArrayView rest;
    Version version = Version::Three;
};

} // namespace

std::vector<VCardDocument> VCardDocument::readAll(const QByteArray &bytes)
{
    QByteArray text = withoutByteOrderMark(bytes);
    // The lines lie in it, so it must not be memory that is only lent.
    text.detach();
    std::vector<VCardDocument> cards;
    Reader reader(text);
    while (reader.findCard()) {
        VCardDocument card;
        card.source = text;
        card.lines.reserve(16);
        if (reader.readCard(&card))
            cards.push_back(std::move(card));
    }
    return cards;
}

} // namespace KVBase
