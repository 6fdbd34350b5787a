#include "Platform/Pixels/Targets.h"

#include <hwy/highway.h>

#include <atomic>

namespace KVBase::Pixels
{

namespace
{

/// Processors with this set have the dot products as well. The kernels are compiled for the set below, and a
/// few look which of the two it is.
constexpr std::int64_t kWithDotProducts = (HWY_TARGETS & HWY_AVX3) != 0 ? HWY_AVX3_DL : 0;

enum class Answer { Unknown, No, Yes };

/// Kept because asking the processor takes as long as scaling a small picture.
std::atomic<Answer> dotProducts{Answer::Unknown};

void chooseAmong(std::int64_t targets)
{
    dotProducts = Answer::Unknown;
    hwy::SetSupportedTargetsForTest(targets);
    hwy::GetChosenTarget().DeInit();
}

} // namespace

std::vector<std::int64_t> availableTargets()
{
    std::vector<std::int64_t> targets;
    const std::int64_t all = hwy::SupportedTargets() & (HWY_TARGETS | kWithDotProducts);
    for (int bit = 0; bit < 63; ++bit) {
        if ((all >> bit & 1) != 0)
            targets.push_back(std::int64_t{1} << bit);
    }
    return targets;
}

std::string targetName(std::int64_t target) { return hwy::TargetName(target); }

bool hasDotProducts()
{
    Answer answer = dotProducts;
    if (answer == Answer::Unknown) {
        answer = (hwy::SupportedTargets() & kWithDotProducts) != 0 ? Answer::Yes : Answer::No;
        dotProducts = answer;
    }
    return answer == Answer::Yes;
}

ScopedTarget::ScopedTarget(std::int64_t target)
{
    chooseAmong(target == HWY_AVX3_DL ? target | HWY_AVX3 : target);
}

ScopedTarget::~ScopedTarget() { chooseAmong(0); }

} // namespace KVBase::Pixels
