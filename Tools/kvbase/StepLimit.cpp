#include "kvbase/StepLimit.h"

#include <CLI/CLI.hpp>

namespace kvbase
{

void StepLimit::addTo(CLI::App *app)
{
    constexpr double kShortest = 0.01;
    constexpr double kLongest = 86400;
    app->add_option("--timeout", seconds, "Seconds that a step may take before it is cut")
        ->check(CLI::Range(kShortest, kLongest))
        ->capture_default_str();
}

report::StepResult StepLimit::attempt(const std::function<QVariantMap()> &work) const
{
    return report::runBounded(std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000)), work);
}

report::StepResult StepLimit::run(const QString &name, const std::function<QVariantMap()> &work) const
{
    report::StepResult step = attempt(work);
    if (step.end != report::StepEnd::Done)
        complain(name + QStringLiteral(": ") + step.reason);
    return step;
}

int exitCodeFor(const report::StepResult &step) { return step.end == report::StepEnd::Cut ? kCut : kFailure; }

} // namespace kvbase
