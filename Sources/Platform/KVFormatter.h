#pragma once

#include <KVBase/Platform/KVFormat.h>

#include "Platform/KVFormatField.h"

#include <QtCore/QByteArrayView>
#include <QtCore/QStringView>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>

namespace KVBase
{

/// Walks a format and gives out plain runs as they are and conversions filled in. `Output` is a final
/// `KVFormatOutput`, so that its functions are called directly.
template <class Char, class Output>
class KVFormatter {
public:
    KVFormatter(Output &target, const KVFormatArgument *given, std::size_t givenCount)
        : output(target), arguments(given), count(givenCount)
    {}

    void run(std::basic_string_view<Char> text)
    {
        for (;;) {
            const std::size_t percent = std::min(text.find(Char('%')), text.size());
            if (percent > 0)
                putPlain(text.substr(0, percent));
            if (percent == text.size())
                return;
            text.remove_prefix(percent);
            text.remove_prefix(handlePercent(text));
        }
    }

private:
    void putPlain(std::string_view text)
    {
        output.putUtf8({text.data(), static_cast<qsizetype>(text.size())});
    }
    void putPlain(std::u16string_view text)
    {
        output.putUtf16({text.data(), static_cast<qsizetype>(text.size())});
    }

    /// Prints what `text` starts with and answers how many characters that were.
    std::size_t handlePercent(std::basic_string_view<Char> text)
    {
        if (text.size() > 1 && text[1] == Char('%')) {
            output.putAscii("%");
            return 2;
        }
        if (text.size() > 1 && next < count && putShort(text[1], arguments[next])) {
            ++next;
            return 2;
        }
        return putLong(text);
    }

    /// The commonest conversions, which stand without a flag or a width. False when this is another one.
    bool putShort(Char type, const KVFormatArgument &argument)
    {
        using Kind = KVFormatArgument::Kind;
        if (type == Char('s') && argument.kind == Kind::Bytes) {
            output.putUtf8(formatBytes(argument, -1));
            return true;
        }
        if (type == Char('@') && argument.kind == Kind::Text) {
            const auto &text = *static_cast<const QString *>(argument.object);
            output.putUtf16(text.isNull() ? QStringView(u"(null)") : QStringView(text));
            return true;
        }
        if (type == Char('d') && argument.kind == Kind::Integer && argument.integerSigned) {
            putDecimal(static_cast<std::int64_t>(argument.integer));
            return true;
        }
        return false;
    }

    void putDecimal(std::int64_t value)
    {
        char digits[24];
        const char *const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
        output.putAscii({digits, end - digits});
    }

    std::size_t putLong(std::basic_string_view<Char> text)
    {
        const KVFormatConversion found = KVFormatDetail::readConversion(text.data(), text.size());
        if (found.length == 0) {
            output.putAscii("%");
            return 1;
        }
        const std::size_t index = found.position > 0 ? static_cast<std::size_t>(found.position - 1) : next++;
        if (index < count && (arguments[index].offers & found.need) != 0)
            putConversion(output, found, arguments[index]);
        else
            putPlain(text.substr(0, found.length));
        return found.length;
    }

    Output &output;
    const KVFormatArgument *arguments;
    std::size_t count;
    std::size_t next = 0;
};

/// Fills in `format`; see `KVFormatString`.
template <class Output>
void runFormatter(Output &output, const KVFormatView &format, const KVFormatArgument *arguments,
                  std::size_t count)
{
    if (format.text == nullptr) {
        KVFormatter<char, Output>(output, arguments, count).run({format.literal, format.size});
        return;
    }
    const QStringView text(*format.text);
    KVFormatter<char16_t, Output>(output, arguments, count)
        .run({text.utf16(), static_cast<std::size_t>(text.size())});
}

} // namespace KVBase
