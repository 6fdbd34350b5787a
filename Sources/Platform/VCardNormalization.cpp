#include "Platform/VCardNormalization.h"

#include "Platform/VCardLineParser.h"

#include <QtCore/QStringDecoder>

#include <algorithm>

namespace KVBase
{

namespace
{

/// `bytes` in UTF-8, read in `charset`, or where that is none that is known as UTF-8 if they are that, else
/// as Latin-1.
QByteArray inUtf8(const QByteArray &bytes, const QByteArray &charset)
{
    if (!charset.isEmpty() && !isSameVCardName(charset, "UTF-8")) {
        // The charset is a part of the line, which no NUL ends.
        QStringDecoder decoder(charset.toStdString().c_str());
        if (decoder.isValid())
            return QString(decoder(bytes)).toUtf8();
    }
    return bytes.isValidUtf8() ? bytes : QString::fromLatin1(bytes).toUtf8();
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

/// A text of version 2.1, where only the semicolon is escaped, as version 3.0 writes it. In structured values
/// a bare semicolon divides, and unknown properties keep theirs.
QByteArray escapedForThree(const QByteArray &name, const QByteArray &value)
{
    const bool isText =
        isAmongVCardNames(name, {"FN", "NOTE", "TITLE", "ROLE", "EMAIL", "TEL", "LABEL", "MAILER", "UID"});
    const bool isStructured = isAmongVCardNames(name, {"N", "ADR", "ORG"});
    QByteArray escaped;
    escaped.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        const char byte = value[i];
        if (byte == '\\' && i + 1 < value.size() && QByteArrayView("\\;,nN").contains(value[i + 1])) {
            escaped.append(byte).append(value[++i]);
            continue;
        }
        if ((isText && QByteArrayView("\\;,").contains(byte)) ||
            (isStructured && QByteArrayView("\\,").contains(byte)))
            escaped.append('\\');
        escaped.append(byte);
    }
    return escaped;
}

/// Takes all parameters of that name out of a line and answers the first one's value, empty when there is
/// none.
QByteArray takeParameters(VCardLine *line, QByteArrayView name)
{
    auto &all = line->parameters;
    const auto isNamed = [name](const VCardParameter &parameter) {
        return isSameVCardName(parameter.name, name);
    };
    const auto found = std::find_if(all.begin(), all.end(), isNamed);
    if (found == all.end())
        return {};
    const QByteArray value = found->value;
    all.erase(std::remove_if(found, all.end(), isNamed), all.end());
    return value;
}

bool hasParameter(const VCardLine &line, QByteArrayView name)
{
    return std::any_of(
        line.parameters.begin(), line.parameters.end(),
        [name](const VCardParameter &parameter) { return isSameVCardName(parameter.name, name); });
}

void normalizeBase64(VCardLine *line)
{
    for (VCardParameter &parameter : line->parameters) {
        if (isSameVCardName(parameter.name, "ENCODING"))
            parameter.value = "b";
    }
    line->value = line->value.simplified().replace(' ', QByteArrayView());
}

/// Takes encoding and charset off a line; whether the value's bytes were others than those of UTF-8. Line
/// breaks of every kind, which only an encoding can bring into a value, become line feeds.
bool decode(VCardLine *line)
{
    const bool isEncoded = isVCardQuotedPrintable(*line);
    if (isEncoded)
        line->value = quotedPrintableDecoded(line->value);
    if (isEncoded || isAmongVCardNames(vCardEncoding(*line), {"8BIT", "7BIT"}))
        takeParameters(line, "ENCODING");
    const QByteArray charset = takeParameters(line, "CHARSET");
    if (!isEncoded && charset.isEmpty())
        return false;
    line->value = inUtf8(line->value, charset);
    line->value.replace("\r\n", "\n").replace('\r', '\n');
    return true;
}

void normalizeFromFour(VCardLine *line)
{
    for (VCardParameter &parameter : line->parameters) {
        if (isSameVCardName(parameter.name, "PREF") && parameter.value == "1")
            parameter = {"TYPE", "pref"};
    }
    // Version 4.0 takes an address for granted here, version 3.0 data.
    if (isAmongVCardNames(line->name, {"PHOTO", "LOGO", "SOUND", "KEY"}) && !hasParameter(*line, "VALUE"))
        line->parameters.push_back({"VALUE", "uri"});
}

} // namespace

QByteArray vCardEncoding(const VCardLine &line)
{
    for (const VCardParameter &parameter : line.parameters) {
        if (isSameVCardName(parameter.name, "ENCODING"))
            return parameter.value;
    }
    return {};
}

bool isVCardBase64(const VCardLine &line)
{
    return !line.parameters.empty() && isAmongVCardNames(vCardEncoding(line), {"BASE64", "B"});
}

bool isVCardQuotedPrintable(const VCardLine &line)
{
    return !line.parameters.empty() && isSameVCardName(vCardEncoding(line), "QUOTED-PRINTABLE");
}

void normalizeVCardLine(VCardLine *line, VCardVersion version, bool isUtf8)
{
    if (isVCardBase64(*line)) {
        normalizeBase64(line);
        return;
    }
    const bool isDecoded = !line->parameters.empty() && decode(line);
    if (!isDecoded && !isUtf8)
        line->value = inUtf8(line->value, {});
    if (version == VCardVersion::Two)
        line->value = escapedForThree(line->name, line->value);
    else if (version == VCardVersion::Four)
        normalizeFromFour(line);
    if (isDecoded)
        line->value.replace('\n', "\\n");
}

} // namespace KVBase
