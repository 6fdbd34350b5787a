#pragma once

#include <KVBase/CSRegex.h>

namespace KVBase
{

/// Asks an expression about a text that is UTF-8 already.
struct CSRegexBytes {
    /// The first match in `subject`, which a NUL ends; (`NSNotFound`, 0) when there is none.
    static NSRange rangeOfMatch(const CSRegex &regex, const char *subject)
    {
        return regex.rangeOfMatchInBytes(subject);
    }
};

} // namespace KVBase
