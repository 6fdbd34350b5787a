#include "Platform/DesktopEntry.h"

#include <cstdint>
#include <cstdlib>

using namespace KVBase;

namespace
{

/// As a value is written: blanks at both ends and what ends a line stand as escapes.
QString escaped(const QString &text)
{
    QString result = text;
    result.replace(u'\\', QStringLiteral("\\\\"))
        .replace(u' ', QStringLiteral("\\s"))
        .replace(u'\n', QStringLiteral("\\n"))
        .replace(u'\t', QStringLiteral("\\t"))
        .replace(u'\r', QStringLiteral("\\r"));
    return result;
}

QString quoted(const QString &word)
{
    QString result = QStringLiteral("\"");
    for (const QChar character : word) {
        if (QStringView(u"\\\"`$").contains(character))
            result.append(u'\\');
        result.append(character == u'%' ? QStringLiteral("%%") : QString(character));
    }
    return result + u'"';
}

DesktopEntry entryWith(const QString &key, const QString &value)
{
    return DesktopEntry(QByteArray("[Desktop Entry]\n") + key.toUtf8() + '=' + value.toUtf8() + '\n');
}

void expect(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace

/// Any bytes as an entry; any text as a value and as a word of a command, which read as they were written.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const DesktopEntry entry(bytes);
    const QString exec = entry.value(QStringLiteral("Exec"));
    for (const QString &word : entry.command())
        expect(!word.isNull() && word.size() <= exec.size());
    expect(!entry.isTrue(QStringLiteral("Hidden")) || entry.value(QStringLiteral("Hidden")) == u"true");

    const QString text = QString::fromUtf8(bytes);
    // The reader trims blanks of every kind, of which only the usual ones have an escape.
    if (text == text.trimmed())
        expect(entryWith(QStringLiteral("Name"), escaped(text)).value(QStringLiteral("Name")) == text);
    const QString command = escaped(quoted(text) + u' ' + quoted(QStringLiteral("last")));
    expect(entryWith(QStringLiteral("Exec"), command).command() == QStringList{text, QStringLiteral("last")});
    return 0;
}
