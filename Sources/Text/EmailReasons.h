#pragma once

#include <KVBase/Platform/NSError.h>

#include <QtCore/QChar>

#include <cstdint>

namespace KVBase
{

/// The error of `KVEmailValidationErrorDomain` for one of its codes, with title and explanation from the
/// framework's string table. The explanations of 1111, 1211 and 1311 name `character`; the others ignore it.
/// Other codes are 1000.
NSError emailValidationError(std::int32_t code, QChar character);

} // namespace KVBase
