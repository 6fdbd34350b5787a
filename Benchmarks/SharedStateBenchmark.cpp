#include <KVBase/KVMutableArray.h>
#include <KVBase/KVObjectRegistry.h>

#include <benchmark/benchmark.h>

#include <QtCore/QVariant>

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <vector>

using namespace KVBase;

namespace
{

constexpr std::uint32_t kElements = 1000;

/// What a program would write in the place of the locked array.
class LockedVector {
public:
    void addObject(const QVariant &object)
    {
        const std::lock_guard guard(lock);
        elements.push_back(object);
    }

    QVariant objectAtIndex(std::uint32_t index) const
    {
        const std::lock_guard guard(lock);
        return elements[index];
    }

private:
    mutable std::recursive_mutex lock;
    std::vector<QVariant> elements;
};

/// A number or a text.
QVariant element(const benchmark::State &state)
{
    return state.range(0) == 0 ? QVariant(1) : QVariant(QStringLiteral("an element of the array"));
}

template <class Array>
void add(benchmark::State &state)
{
    const QVariant object = element(state);
    for (auto _ : state) {
        Array array;
        for (std::uint32_t index = 0; index < kElements; ++index)
            array.addObject(object);
        benchmark::DoNotOptimize(array);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}

template <class Array>
void get(benchmark::State &state)
{
    Array array;
    for (std::uint32_t index = 0; index < kElements; ++index)
        array.addObject(element(state));
    for (auto _ : state)
        for (std::uint32_t index = 0; index < kElements; ++index)
            benchmark::DoNotOptimize(array.objectAtIndex(index));
    state.SetItemsProcessed(state.iterations() * kElements);
}

/// What a program would write in the place of the registry.
class LockedMap {
public:
    static void registerObject(const std::shared_ptr<void> &object)
    {
        const std::lock_guard guard(lock);
        objects.insert_or_assign(object.get(), object);
    }

    static void unregisterObject(const void *object)
    {
        const std::lock_guard guard(lock);
        objects.erase(object);
    }

    static std::shared_ptr<void> registeredObject(const void *object)
    {
        const std::shared_lock guard(lock);
        const auto found = objects.find(object);
        return found != objects.end() ? found->second : nullptr;
    }

    static bool isObjectRegistered(const void *object)
    {
        const std::shared_lock guard(lock);
        return objects.count(object) != 0;
    }

private:
    static inline std::shared_mutex lock;
    static inline std::unordered_map<const void *, std::shared_ptr<void>> objects;
};

/// Objects that stay registered for as long as the benchmark runs.
template <class Registry>
class Registered {
public:
    Registered()
    {
        for (const void *&address : addresses) {
            const auto object = std::make_shared<std::uint32_t>(1u);
            Registry::registerObject(object);
            address = object.get();
        }
    }

    ~Registered()
    {
        for (const void *address : addresses)
            Registry::unregisterObject(address);
    }

    const void *at(std::size_t index) const { return addresses[index % addresses.size()]; }

private:
    std::array<const void *, 1024> addresses{};
};

/// Each thread goes through the objects from another place on.
template <class Registry>
void retain(benchmark::State &state)
{
    static const Registered<Registry> registered;
    std::size_t index = 251u * static_cast<std::size_t>(state.thread_index());
    for (auto _ : state)
        benchmark::DoNotOptimize(Registry::registeredObject(registered.at(++index)));
}

template <class Registry>
void ask(benchmark::State &state)
{
    static const Registered<Registry> registered;
    std::size_t index = 251u * static_cast<std::size_t>(state.thread_index());
    for (auto _ : state)
        benchmark::DoNotOptimize(Registry::isObjectRegistered(registered.at(++index)));
}

BENCHMARK(add<KVMutableArray>)->Name("ArrayAdd/KVBase")->Arg(0)->Arg(1);
BENCHMARK(add<LockedVector>)->Name("ArrayAdd/LockedVector")->Arg(0)->Arg(1);
BENCHMARK(get<KVMutableArray>)->Name("ArrayGet/KVBase")->Arg(0)->Arg(1);
BENCHMARK(get<LockedVector>)->Name("ArrayGet/LockedVector")->Arg(0)->Arg(1);
BENCHMARK(retain<KVObjectRegistry>)->Name("RegisteredObject/KVBase")->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(retain<LockedMap>)->Name("RegisteredObject/LockedMap")->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(ask<KVObjectRegistry>)->Name("IsRegistered/KVBase")->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(ask<LockedMap>)->Name("IsRegistered/LockedMap")->Threads(1)->Threads(4)->UseRealTime();

} // namespace
