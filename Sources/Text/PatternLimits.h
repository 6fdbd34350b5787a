#pragma once

#include <QtCore/QByteArrayView>

namespace KVBase
{

/// Whether the C library can compile `pattern`, of extended syntax, in bounded stack, memory and time: its
/// compiler calls itself for each nested group and for each element that may match nothing, and writes a
/// counted repetition out. Says nothing about whether the pattern is right.
bool patternIsWithinLimits(QByteArrayView pattern);

} // namespace KVBase
