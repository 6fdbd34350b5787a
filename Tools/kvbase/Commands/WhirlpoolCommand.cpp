#include "kvbase/DigestRun.h"

#include <KVBase/Whirlpool.h>
#include <KVBase/Whirlpool_Hash.h>

#include <array>
#include <memory>

namespace kvbase
{

namespace
{

void add(KVBase::WhirlpoolState *state, const char *bytes, qint64 count)
{
    KVBase::NESSIEadd(reinterpret_cast<const std::uint8_t *>(bytes), static_cast<std::uint32_t>(count * 8),
                      state);
}

QString finished(KVBase::WhirlpoolState *state)
{
    std::array<std::uint8_t, 64> digest{};
    KVBase::NESSIEfinalize(state, digest.data());
    return KVBase::convert(digest.data(), static_cast<std::int32_t>(digest.size()));
}

QString digestOfText(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    KVBase::WhirlpoolState state;
    KVBase::NESSIEinit(&state);
    add(&state, bytes.constData(), bytes.size());
    return finished(&state);
}

QString digestOfDevice(QIODevice &device)
{
    KVBase::WhirlpoolState state;
    KVBase::NESSIEinit(&state);
    std::array<char, 1 << 16> part{};
    qint64 count = 0;
    while ((count = device.read(part.data(), static_cast<qint64>(part.size()))) > 0)
        add(&state, part.data(), count);
    return count < 0 ? QString() : finished(&state);
}

/// The string method's digest of what a device holds, read as UTF-8; an empty device is the empty text.
QString methodOfDevice(QIODevice &device)
{
    const QByteArray bytes = device.readAll();
    return KVBase::Whirlpool_Hash::whirlpoolHash(bytes.isEmpty() ? QStringLiteral("")
                                                                 : QString::fromUtf8(bytes));
}

const CommandRegistration registration(
    "whirlpool", "Print the Whirlpool digest of files or texts", [](CLI::App &app, const Context &context) {
        const auto inputs = std::make_shared<DigestInputs>();
        const auto asText = std::make_shared<bool>(false);
        addDigestOptions(app, *inputs);
        app.add_flag(
            "--string-method", *asText,
            "Digest as the string method does, which takes the number of bytes for the number of bits");
        app.footer("Example:\n  kvbase whirlpool --text abc");
        return [inputs, asText, &context] {
            const DigestFunctions functions =
                *asText ? DigestFunctions{KVBase::Whirlpool_Hash::whirlpoolHash, methodOfDevice}
                        : DigestFunctions{digestOfText, digestOfDevice};
            return runDigests(*inputs, functions, context);
        };
    });

} // namespace

} // namespace kvbase
