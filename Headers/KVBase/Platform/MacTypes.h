#pragma once

#include <cstdint>
#include <memory>

namespace KVBase
{

/// A status of the platform; 0 is no error.
using OSStatus = std::int32_t;

/// A four-character code, the first character in the highest byte.
using OSType = std::uint32_t;

/// An object with identity that its holders share; a null one is nil.
template <class T>
using Ref = std::shared_ptr<T>;

} // namespace KVBase
