#include "Platform/Companion.h"

#include <KVBase/Platform/NSLog.h>

#include <QtCore/QByteArray>

#include <dlfcn.h>

namespace KVBase
{

namespace
{

/// The folder that this library was loaded from, with its slash; empty when it is not known.
QByteArray libraryFolder()
{
    Dl_info info{};
    if (::dladdr(reinterpret_cast<const void *>(&companionFunction), &info) == 0 || info.dli_fname == nullptr)
        return {};
    const QByteArray path(info.dli_fname);
    return path.left(path.lastIndexOf('/') + 1);
}

} // namespace

void *companionFunction(const char *name, const char *symbol)
{
    const QByteArray path = libraryFolder() + "libKVBase" + name + ".so";
    void *const library = ::dlopen(path.constData(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void *const function = library != nullptr ? ::dlsym(library, symbol) : nullptr;
    if (function == nullptr)
        NSLog("%s", ::dlerror());
    return function;
}

} // namespace KVBase
