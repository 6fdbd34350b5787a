#include <KVBase/Platform/KVFormat.h>

#include "Platform/KVFormatField.h"
#include "Platform/KVFormatOutput.h"

#include <QtCore/QByteArrayView>
#include <QtCore/QStringView>

#include <algorithm>

namespace KVBase
{

KVFormatOutput::~KVFormatOutput() = default;

namespace
{

class TextOutput : public KVFormatOutput {
public:
    void putUtf16(QStringView piece) override { text.append(piece); }
    void putUtf8(QByteArrayView bytes) override { text.append(QString::fromUtf8(bytes)); }
    void putAscii(QByteArrayView piece) override { text.append(QLatin1StringView(piece)); }
    void putBlanks(std::size_t count, char blank) override
    {
        text.resize(text.size() + static_cast<qsizetype>(count), QLatin1Char(blank));
    }

    QString text = QStringLiteral("");
};

void putPlain(KVFormatOutput &output, const char *text, std::size_t size)
{
    output.putUtf8({text, static_cast<qsizetype>(size)});
}

void putPlain(KVFormatOutput &output, const char16_t *text, std::size_t size)
{
    output.putUtf16({text, static_cast<qsizetype>(size)});
}

/// Walks a format and gives out plain runs as they are and conversions filled in.
template <class Char>
class Formatter {
public:
    Formatter(KVFormatOutput &target, const KVFormatArgument *given, std::size_t givenCount)
        : output(target), arguments(given), count(givenCount)
    {}

    void run(const Char *text, std::size_t size)
    {
        const Char *const end = text + size;
        const Char *plain = text;
        for (;;) {
            const Char *const percent = std::find(plain, end, Char('%'));
            if (percent != plain)
                putPlain(output, plain, static_cast<std::size_t>(percent - plain));
            if (percent == end)
                return;
            plain = percent + handlePercent(percent, static_cast<std::size_t>(end - percent));
        }
    }

private:
    /// Prints what starts at `text` and answers how many characters that were.
    std::size_t handlePercent(const Char *text, std::size_t size)
    {
        if (size > 1 && text[1] == Char('%')) {
            output.putAscii("%");
            return 2;
        }
        const KVFormatConversion found = KVFormatDetail::readConversion(text, size);
        if (found.length == 0) {
            output.putAscii("%");
            return 1;
        }
        const std::size_t index = found.position > 0 ? static_cast<std::size_t>(found.position - 1) : next++;
        if (index < count && (arguments[index].offers & found.need) != 0)
            putConversion(output, found, arguments[index]);
        else
            putPlain(output, text, found.length);
        return found.length;
    }

    KVFormatOutput &output;
    const KVFormatArgument *arguments;
    std::size_t count;
    std::size_t next = 0;
};

} // namespace

void formatInto(KVFormatOutput &output, const KVFormatView &format, const KVFormatArgument *arguments,
                std::size_t count)
{
    if (format.text == nullptr) {
        Formatter<char>(output, arguments, count).run(format.literal, format.size);
        return;
    }
    const QStringView text(*format.text);
    Formatter<char16_t>(output, arguments, count).run(text.utf16(), static_cast<std::size_t>(text.size()));
}

QString KVFormatDetail::format(const KVFormatView &format, const KVFormatArgument *arguments,
                               std::size_t count)
{
    TextOutput output;
    formatInto(output, format, arguments, count);
    return output.text;
}

} // namespace KVBase
