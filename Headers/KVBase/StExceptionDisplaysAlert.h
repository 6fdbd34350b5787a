#pragma once

#include <KVBase/KVExport.h>

namespace KVBase
{

/// Sets the alert flag of `UException` while it lives and restores the previous value, also when an exception
/// leaves the block. Guards nest.
class KV_EXPORT StExceptionDisplaysAlert {
public:
    StExceptionDisplaysAlert(signed char flag);
    ~StExceptionDisplaysAlert();
    StExceptionDisplaysAlert(const StExceptionDisplaysAlert &) = delete;
    StExceptionDisplaysAlert &operator=(const StExceptionDisplaysAlert &) = delete;

private:
    const signed char saved;
};

} // namespace KVBase
