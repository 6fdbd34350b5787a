#pragma once

#include "kvbase/Command.h"
#include "report/BoundedStep.h"

namespace kvbase
{

/// Exit code of a command of which a step was cut.
inline constexpr int kCut = 3;

/// The option --timeout and the steps that it bounds. A step that is not done is complained about by its
/// name.
class StepLimit {
public:
    void addTo(CLI::App *app);
    report::StepResult run(const QString &name, const std::function<QVariantMap()> &work) const;

private:
    double seconds = 30;
};

/// For a step that is not done.
int exitCodeFor(const report::StepResult &step);

} // namespace kvbase
