#include "Platform/Pixels/Targets.h"

#include <hwy/highway.h>

namespace KVBase::Pixels
{

namespace
{

void chooseAmong(std::int64_t targets)
{
    hwy::SetSupportedTargetsForTest(targets);
    hwy::GetChosenTarget().DeInit();
}

} // namespace

std::vector<std::int64_t> availableTargets()
{
    std::vector<std::int64_t> targets;
    const std::int64_t all = hwy::SupportedTargets() & HWY_TARGETS;
    for (int bit = 0; bit < 63; ++bit) {
        if ((all >> bit & 1) != 0)
            targets.push_back(std::int64_t{1} << bit);
    }
    return targets;
}

std::string targetName(std::int64_t target) { return hwy::TargetName(target); }

ScopedTarget::ScopedTarget(std::int64_t target) { chooseAmong(target); }

ScopedTarget::~ScopedTarget() { chooseAmong(0); }

} // namespace KVBase::Pixels
