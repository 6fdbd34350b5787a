// What is defined here stays inside the library.
#undef HWY_SHARED_DEFINE

#include <hwy/base.h>
#include <hwy/targets.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

// libhwy measures the processor's clock while it is loaded, which takes nearly half as long as all the rest
// of a program's start. It is opened when the first kernel runs instead; what kernels ask of it goes through
// here.

namespace
{

struct HighwayLibrary {
    std::int64_t (*supportedTargets)() = nullptr;
    void (*setSupportedTargets)(std::int64_t) = nullptr;

    HighwayLibrary()
    {
        void *const library = dlopen("libhwy.so.1", RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr)
            return;
        find(library, "_ZN3hwy16SupportedTargetsEv", &supportedTargets);
        find(library, "_ZN3hwy26SetSupportedTargetsForTestEl", &setSupportedTargets);
    }

    template <class Function>
    static void find(void *library, const char *name, Function *function)
    {
        *function = reinterpret_cast<Function>(dlsym(library, name));
    }
};

const HighwayLibrary &library()
{
    static const HighwayLibrary opened;
    return opened;
}

} // namespace

namespace hwy
{

/// Without the library: what every processor of this kind can do.
int64_t SupportedTargets()
{
    return library().supportedTargets != nullptr ? library().supportedTargets() : HWY_STATIC_TARGET;
}

void SetSupportedTargetsForTest(int64_t targets)
{
    if (library().setSupportedTargets != nullptr)
        library().setSupportedTargets(targets);
}

ChosenTarget &GetChosenTarget()
{
    static ChosenTarget chosen;
    return chosen;
}

/// Builds that check what kernels assume end here when it does not hold.
void Abort(const char *file, int line, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::fprintf(stderr, "%s:%d: ", file, line);
    std::vfprintf(stderr, format, arguments);
    std::fputc('\n', stderr);
    va_end(arguments);
    std::abort();
}

} // namespace hwy
