#pragma once

#include <KVBase/KVExport.h>

#include <atomic>

namespace KVBase
{

/// The one seam between the library and the operating system: every service is asked through
/// `Service<Interface>::current()`. `Interface` declares `static Interface *makeDefault()`, which is called
/// at most once, on first use; that object is never destroyed, so a service works until the process ends.
///
/// An interface's header declares `extern template class KV_EXPORT Service<Interface>;` and its source file
/// defines `template class KV_EXPORT Service<Interface>;`, so that there is one pointer for the whole
/// process.
template <class Interface>
class Service {
public:
    /// Never null. Any thread; does not block but for the first call, which makes the default.
    static Interface *current() noexcept
    {
        Interface *installed = pointer.load(std::memory_order_acquire);
        return installed != nullptr ? installed : defaultService();
    }

    /// Puts `stub` in place and answers what stood there; null stands for the default.
    static Interface *exchange(Interface *stub) noexcept
    {
        return pointer.exchange(stub, std::memory_order_acq_rel);
    }

private:
    static Interface *defaultService() noexcept
    {
        static Interface *const made = Interface::makeDefault();
        return made;
    }

    static inline std::atomic<Interface *> pointer{nullptr};
};

/// Replaces a service while it lives and restores the previous one; guards nest. The stub is not owned and
/// may be called from every thread that uses the service.
template <class Interface>
class ScopedService {
public:
    explicit ScopedService(Interface *stub) : previous(Service<Interface>::exchange(stub)) {}
    ~ScopedService() { Service<Interface>::exchange(previous); }
    ScopedService(const ScopedService &) = delete;
    ScopedService &operator=(const ScopedService &) = delete;

private:
    Interface *previous;
};

} // namespace KVBase
