#pragma once

#include <QtCore/QString>

namespace KVBase
{

/// A number of bytes in the largest unit of 1024 to the power of 1 to 4 of which there is more than one.
struct ScaledSize {
    enum class Unit : unsigned char { Bytes, KB, MB, GB, TB };

    Unit unit = Unit::Bytes;
    double amount = 0;
};

/// Exactly one of a unit is shown in the next smaller one.
ScaledSize scaledSize(double bytes);

/// With one decimal, half to even, and the decimal separator of the current locale; zero as "0".
QString sizeNumber(double value);

/// From the string table "KVBase" of the framework, else `text`.
QString localizedText(QLatin1StringView key, QLatin1StringView text);

} // namespace KVBase
