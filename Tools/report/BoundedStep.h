#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <chrono>
#include <functional>

namespace report
{

/// How a step ended.
enum class StepEnd {
    Done,
    Cut,    // it took longer than it may
    Failed, // it threw, or crashed
};

struct StepResult {
    StepEnd end = StepEnd::Failed;
    QVariantMap values;
    QString reason; // for people, when it is not done
};

/// Why a step of that limit is cut, for people.
QString cutReason(std::chrono::milliseconds limit);

/// Why a step that said nothing has failed, for people.
inline constexpr QLatin1StringView kNoResult{"The step ended without a result."};

/// Runs `work` in a child process and waits for the values that it answers, at most `limit`: then the child
/// is killed with every program that it started. What `work` changes in memory is lost, what it writes is
/// not. Call it from a process without other threads.
StepResult runBounded(std::chrono::milliseconds limit, const std::function<QVariantMap()> &work);

} // namespace report
