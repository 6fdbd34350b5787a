#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QVariant>

#include <atomic>
#include <cstdint>

namespace KVBase
{

/// One question whose answer is fixed by the first decision until the process ends.
class FirstStartQuestion {
public:
    constexpr FirstStartQuestion() = default;

    bool isDecided() const { return state.load(std::memory_order_relaxed) != State::Undecided; }
    bool answer() const { return state.load(std::memory_order_relaxed) == State::Yes; }

    /// Fixes and answers `yes`.
    bool decide(bool yes)
    {
        state.store(yes ? State::Yes : State::No, std::memory_order_relaxed);
        return yes;
    }

private:
    enum class State : std::uint8_t { Undecided, No, Yes };
    std::atomic<State> state{State::Undecided};
};

/// Whether both numbers exist and differ. A stored value that is no number counts as absent.
KV_EXPORT bool numbersDiffer(const QVariant &current, const QVariant &stored);

/// The same for texts.
KV_EXPORT bool textsDiffer(const QVariant &current, const QVariant &stored);

/// Decides the question of the application's version; logs when there is no version to decide by.
KV_EXPORT bool decideAppVersion(FirstStartQuestion &question, const QVariant &currentVersion);

} // namespace KVBase
