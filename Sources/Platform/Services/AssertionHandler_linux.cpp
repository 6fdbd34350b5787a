#include "Platform/Services/AssertionHandler.h"

#include <KVBase/Platform/NSException.h>
#include <KVBase/Platform/NSLog.h>

namespace KVBase
{

namespace
{

#ifdef NS_BLOCK_ASSERTIONS
constexpr bool kAssertionsStop = false;
#else
constexpr bool kAssertionsStop = true;
#endif

struct StandardAssertionHandler final : AssertionHandler {
    void handleFailureInMethod(const QString &method, const void *, const QString &file, std::int32_t line,
                               const QString &description) override
    {
        NSLog("*** Assertion failure in %@, %@:%d", method, file, line);
        if (kAssertionsStop)
            throw NSException(NSInternalInconsistencyException, description);
        NSLog("%@", description);
    }
};

} // namespace

AssertionHandler::~AssertionHandler() = default;

AssertionHandler *AssertionHandler::makeDefault() { return new StandardAssertionHandler; }

template class Service<AssertionHandler>;

} // namespace KVBase
