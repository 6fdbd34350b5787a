#include <KVBase/Platform/KVFormat.h>

#include "Platform/KVFormatOutput.h"
#include "Platform/KVFormatter.h"

namespace KVBase
{

KVFormatOutput::~KVFormatOutput() = default;

namespace
{

class TextOutput final : public KVFormatOutput {
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

} // namespace

QString KVFormatDetail::format(const KVFormatView &format, const KVFormatArgument *arguments,
                               std::size_t count)
{
    TextOutput output;
    runFormatter(output, format, arguments, count);
    return output.text;
}

} // namespace KVBase
