#include "Platform/VCardDocument.h"

#include "Platform/Utf8.h"
#include "Platform/VCardLineParser.h"

#include <algorithm>

namespace KVBase
{

namespace
{

constexpr qsizetype kFoldedLength = 75;

bool isNamed(const VCardLine &line, QByteArrayView name)
{
    return !line.isNested && isSameVCardName(line.name, name);
}

/// Where a component of a structured value ends that begins at `start`.
qsizetype endOfComponent(QByteArrayView value, qsizetype start)
{
    qsizetype end = start;
    while (end < value.size() && value[end] != ';')
        end += value[end] == '\\' ? 2 : 1;
    return std::min(end, value.size());
}

/// A text that is there, if only an empty one.
QString present(const QString &text) { return text.isNull() ? QStringLiteral("") : text; }

bool continuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

/// Appends a line, broken before 75 bytes are full and never within a character.
void appendFolded(QByteArray *card, QByteArrayView line)
{
    qsizetype room = kFoldedLength;
    while (line.size() > room) {
        qsizetype length = room;
        while (length > 1 && continuesCharacter(line[length]))
            --length;
        card->append(line.first(length)).append("\r\n ");
        line = line.sliced(length);
        room = kFoldedLength - 1;
    }
    card->append(line).append("\r\n");
}

void appendLine(QByteArray *card, const VCardLine &line)
{
    QByteArray text;
    if (!line.group.isEmpty())
        text.append(line.group).append('.');
    text.append(line.name);
    for (const VCardParameter &parameter : line.parameters) {
        text.append(';').append(parameter.name);
        if (!parameter.name.isEmpty())
            text.append('=');
        text.append(parameter.value);
    }
    text.append(':').append(line.value);
    appendFolded(card, text);
}

/// What a card without a formatted name is called.
QString nameOf(const VCardDocument &card)
{
    const QStringList name = card.components("N");
    const QString person = QStringList{name.value(1), name.value(0)}.join(QLatin1Char(' ')).trimmed();
    if (!person.isEmpty())
        return person;
    const QString organization = card.components("ORG").value(0);
    return organization.isEmpty() ? card.text("EMAIL") : organization;
}

} // namespace

QString vCardText(QByteArrayView value)
{
    if (!value.contains('\\'))
        return QString::fromUtf8(value);
    QByteArray text;
    text.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            text.append(value[i]);
            continue;
        }
        const char escaped = value[++i];
        text.append(escaped == 'n' || escaped == 'N' ? '\n' : escaped);
    }
    return QString::fromUtf8(text);
}

QByteArray vCardValue(const QString &text)
{
    QByteArray value;
    const QByteArray bytes = utf8(text);
    value.reserve(bytes.size());
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const char byte = bytes[i];
        if (byte == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n')
            continue;
        if (byte == '\n' || byte == '\r') {
            value.append("\\n");
            continue;
        }
        if (byte == '\\' || byte == ',' || byte == ';')
            value.append('\\');
        value.append(byte);
    }
    return value;
}

const VCardLine *VCardDocument::first(QByteArrayView name) const
{
    const auto found = std::find_if(lines.begin(), lines.end(),
                                    [name](const VCardLine &line) { return isNamed(line, name); });
    return found == lines.end() ? nullptr : &*found;
}

bool VCardDocument::contains(QByteArrayView name) const { return first(name) != nullptr; }

QString VCardDocument::text(QByteArrayView name) const
{
    const VCardLine *const line = first(name);
    return line == nullptr ? QString() : present(vCardText(line->value));
}

QStringList VCardDocument::texts(QByteArrayView name) const
{
    QStringList found;
    for (const VCardLine &line : lines) {
        if (isNamed(line, name))
            found.append(vCardText(line.value));
    }
    return found;
}

QString VCardDocument::firstComponent(QByteArrayView name) const
{
    const VCardLine *const line = first(name);
    if (line == nullptr)
        return {};
    const QByteArrayView value = line->value;
    return present(vCardText(value.first(endOfComponent(value, 0))));
}

QStringList VCardDocument::components(QByteArrayView name) const
{
    QStringList found;
    const VCardLine *const line = first(name);
    const QByteArrayView value = line == nullptr ? QByteArrayView() : line->value;
    for (qsizetype start = 0; line != nullptr && start <= value.size();) {
        const qsizetype end = endOfComponent(value, start);
        found.append(vCardText(value.sliced(start, end - start)));
        start = end + 1;
    }
    return found;
}

void VCardDocument::setTexts(QByteArrayView name, const QStringList &texts)
{
    auto place = std::find_if(lines.begin(), lines.end(),
                              [name](const VCardLine &line) { return isNamed(line, name); });
    const auto index = place - lines.begin();
    remove(name);
    std::vector<VCardLine> added;
    for (const QString &text : texts)
        added.push_back({{}, name.toByteArray(), {}, vCardValue(text), false});
    lines.insert(lines.begin() + index, added.begin(), added.end());
}

bool VCardDocument::remove(QByteArrayView name)
{
    return std::erase_if(lines, [name](const VCardLine &line) { return isNamed(line, name); }) > 0;
}

QByteArray VCardDocument::write() const
{
    QByteArray card("BEGIN:VCARD\r\nVERSION:3.0\r\n");
    if (!contains("N"))
        card.append("N:;;;;\r\n");
    if (!contains("FN"))
        appendFolded(&card, "FN:" + vCardValue(nameOf(*this)));
    for (const VCardLine &line : lines)
        appendLine(&card, line);
    return card.append("END:VCARD\r\n");
}

} // namespace KVBase
