#include "Platform/VCardReader.h"

#include "Platform/VCardLineParser.h"

#include <QtCore/QStringDecoder>

#include <algorithm>
#include <utility>

namespace KVBase
{

namespace
{

/// The input as UTF-8 where its first bytes say that it is something else.
QByteArray withoutByteOrderMark(QByteArray bytes)
{
    if (bytes.startsWith("\xef\xbb\xbf"))
        return bytes.mid(3);
    if (bytes.startsWith("\xff\xfe") || bytes.startsWith("\xfe\xff"))
        return QString(QStringDecoder(QStringDecoder::Utf16)(bytes)).toUtf8();
    return bytes;
}

bool isMark(const VCardLine &line, QByteArrayView name)
{
    return isSameVCardName(line.name, name) && isSameVCardName(QByteArrayView(line.value).trimmed(), "VCARD");
}

VCardVersion versionOf(QByteArrayView text)
{
    return text == "2.1" ? VCardVersion::Two : text == "4.0" ? VCardVersion::Four : VCardVersion::Three;
}

} // namespace

void VCardReader::setText(QByteArray bytes)
{
    document.lines.clear();
    text = withoutByteOrderMark(std::move(bytes));
    // The lines lie in it, so it must not be memory that is only lent or that someone else changes.
    text.detach();
    rest = text;
    isUtf8 = text.isValidUtf8();
    begin = 0;
    lineFeed = -1;
}

VCardDocument VCardReader::takeCard()
{
    document.source = text;
    return std::exchange(document, VCardDocument());
}

bool VCardReader::next()
{
    while (findCard()) {
        if (readCard())
            return true;
    }
    return false;
}

/// Moves behind the next "BEGIN:VCARD"; false at the end.
bool VCardReader::findCard()
{
    version = VCardVersion::Three;
    while (!rest.isEmpty()) {
        begin = text.size() - rest.size();
        VCardLine line;
        if (readLine(&line) && isMark(line, "BEGIN"))
            return true;
    }
    return false;
}

/// Reads up to the card's end; false when it breaks off.
bool VCardReader::readCard()
{
    document.lines.clear();
    int depth = 1;
    while (!rest.isEmpty()) {
        VCardLine &line = document.lines.emplace_back();
        if (!readLine(&line)) {
            document.lines.pop_back();
            continue;
        }
        // Only the line that will be written tells what it is when it is read again.
        normalizeVCardLine(&line, version, isUtf8);
        const bool begins = isMark(line, "BEGIN");
        const bool ends = isMark(line, "END");
        if (ends && depth == 1) {
            document.lines.pop_back();
            return true;
        }
        line.isNested = begins || depth > 1;
        depth += begins ? 1 : ends ? -1 : 0;
        if (!line.isNested && isSameVCardName(line.name, "VERSION")) {
            version = versionOf(QByteArrayView(line.value).trimmed());
            document.lines.pop_back();
        }
    }
    return false;
}

/// How many bytes lie before the next line feed. It is looked for once, so that a long text without any takes
/// no more time than another.
qsizetype VCardReader::nextLineFeed()
{
    const qsizetype position = text.size() - rest.size();
    if (lineFeed < position) {
        const qsizetype found = rest.indexOf('\n');
        lineFeed = found < 0 ? text.size() : position + found;
    }
    return lineFeed - position;
}

/// The next line of the text, without its end.
QByteArrayView VCardReader::takePhysicalLine()
{
    const qsizetype end = nextLineFeed();
    const QByteArrayView line = rest.first(end);
    // Old files end their lines with a carriage return alone.
    if (const qsizetype turn = line.indexOf('\r'); turn >= 0 && turn + 1 < line.size()) {
        rest = rest.sliced(turn + 1);
        return line.first(turn);
    }
    rest = rest.sliced(std::min(end + 1, rest.size()));
    return line.endsWith('\r') ? line.chopped(1) : line;
}

bool VCardReader::isFolded() const
{
    return !rest.isEmpty() && (rest.front() == ' ' || rest.front() == '\t');
}

/// Reads a line with what version 2.1 continues in its own ways; false when it is none.
bool VCardReader::readLine(VCardLine *line)
{
    const QByteArrayView first = takePhysicalLine();
    if (!isFolded()) {
        if (!parseVCardLine(first, true, line))
            return false;
    } else if (!readFolded(first, line)) {
        return false;
    }
    if (isVCardQuotedPrintable(*line))
        readSoftBreaks(line);
    else if (version == VCardVersion::Two && isVCardBase64(*line))
        readData(line);
    return true;
}

bool VCardReader::readFolded(QByteArrayView first, VCardLine *line)
{
    // Behind a soft line break the blank is part of the text.
    if (first.endsWith('=') && parseVCardLine(first, true, line) && isVCardQuotedPrintable(*line))
        return true;
    *line = {};
    QByteArray unfolded = first.toByteArray();
    while (isFolded()) {
        // The blank is part of the text in version 2.1 and a mere mark in the others.
        const QByteArrayView more = takePhysicalLine();
        unfolded.append(version == VCardVersion::Two ? more : more.sliced(1));
    }
    return parseVCardLine(unfolded, false, line);
}

void VCardReader::readSoftBreaks(VCardLine *line)
{
    while (line->value.endsWith('=') && !rest.isEmpty()) {
        line->value.chop(1);
        line->value.append(takePhysicalLine());
    }
}

/// Appends data up to an empty line or the next property.
void VCardReader::readData(VCardLine *line)
{
    while (!rest.isEmpty()) {
        const QByteArrayView before = rest;
        const QByteArrayView more = takePhysicalLine().trimmed();
        if (more.isEmpty() || more.contains(':')) {
            rest = before;
            return;
        }
        line->value.append(more);
    }
}

std::vector<VCardDocument> VCardDocument::readAll(const QByteArray &bytes)
{
    VCardReader reader;
    reader.setText(bytes);
    std::vector<VCardDocument> cards;
    while (reader.next())
        cards.push_back(reader.takeCard());
    return cards;
}

} // namespace KVBase
