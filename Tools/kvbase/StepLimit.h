#pragma once

#include "kvbase/Command.h"
#include "report/BoundedStep.h"

namespace kvbase
{

/// Exit code of a command of which a step was cut.
inline constexpr int kCut = 3;

/// The option --timeout and the steps that it bounds.
class StepLimit {
public:
    void addTo(CLI::App *app);

    /// Does the step and is silent about its end.
    report::StepResult attempt(const std::function<QVariantMap()> &work) const;

    /// Does the step; one that is not done is complained about by its name.
    report::StepResult run(const QString &name, const std::function<QVariantMap()> &work) const;

private:
    double seconds = 30;
};

/// For a step that is not done.
int exitCodeFor(const report::StepResult &step);

} // namespace kvbase
