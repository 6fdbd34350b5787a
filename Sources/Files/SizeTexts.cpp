#include "Files/SizeTexts.h"

#include <KVBase/Platform/NSBundle.h>

#include <QtCore/QLocale>

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace KVBase
{

namespace
{

constexpr double kOneOver1024 = 0.0009765625;

/// The digits before the point of the largest double, the sign, the point and the one decimal.
constexpr std::size_t kLongestNumber = std::numeric_limits<double>::max_exponent10 + 8;

} // namespace

ScaledSize scaledSize(double bytes)
{
    const double kb = bytes * kOneOver1024;
    const double mb = kb * kOneOver1024;
    const double gb = mb * kOneOver1024;
    const double tb = gb * kOneOver1024;
    if (tb > 1.0)
        return {ScaledSize::Unit::TB, tb};
    if (gb > 1.0)
        return {ScaledSize::Unit::GB, gb};
    if (mb > 1.0)
        return {ScaledSize::Unit::MB, mb};
    if (kb > 1.0)
        return {ScaledSize::Unit::KB, kb};
    return {ScaledSize::Unit::Bytes, bytes};
}

QString sizeNumber(double value)
{
    if (value == 0)
        return QStringLiteral("0");
    if (std::isinf(value))
        return value > 0 ? QStringLiteral("\u221e") : QStringLiteral("-\u221e");
    std::array<char, kLongestNumber> digits;
    const auto written =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed, 1);
    QString text = QString::fromLatin1(digits.data(), written.ptr - digits.data());
    return text.replace(u'.', QLocale().decimalPoint());
}

QString localizedText(QLatin1StringView key, QLatin1StringView text)
{
    const Ref<NSBundle> framework = NSBundle::frameworkBundle();
    if (framework == nullptr)
        return text.isEmpty() ? key : text;
    return framework->localizedStringForKey(key, text, QStringLiteral("KVBase"));
}

} // namespace KVBase
