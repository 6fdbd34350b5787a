// Sums of products of 16-bit words; included once for each instruction set.
#if defined(KVBASE_PRODUCTS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KVBASE_PRODUCTS_INL
#undef KVBASE_PRODUCTS_INL
#else
#define KVBASE_PRODUCTS_INL
#endif

#include <hwy/highway.h>

#include <cstdint>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace KVBase::Pixels
{
namespace HWY_NAMESPACE
{

#if HWY_TARGET != HWY_SCALAR

namespace hn = hwy::HWY_NAMESPACE;

using SumTag = hn::ScalableTag<std::int32_t>;
using WordTag = hn::Repartition<std::int16_t, SumTag>;
using ByteTag = hn::Repartition<std::uint8_t, SumTag>;
using Sums = hn::Vec<SumTag>;
using Words = hn::Vec<WordTag>;
using Bytes = hn::Vec<ByteTag>;

/// The blocks of 16 bytes in a vector.
constexpr std::size_t kBlocks = hn::MaxLanes(SumTag()) / 4;

/// Four bytes of weights in every lane.
HWY_INLINE Sums sameInAllLanes(const void *weights)
{
    std::int32_t lane = 0;
    std::memcpy(&lane, weights, sizeof lane);
    return hn::Set(SumTag(), lane);
}

struct TwoSteps {
    /// Adds the products of neighbouring words, two by two.
    static HWY_INLINE Sums add(Words a, Words b, Sums sum)
    {
        Sums other = hn::Zero(SumTag());
        const Sums both = hn::ReorderWidenMulAccumulate(SumTag(), a, b, sum, other);
        return hn::RearrangeToOddPlusEven(both, other);
    }
};

#if HWY_TARGET == HWY_AVX3

/// The instructions for dot products of newer processors, which this set does not name: only for those where
/// `hasDotProducts`.
struct OneStep {
    static HWY_INLINE Sums add(Words a, Words b, Sums sum)
    {
        asm("vpdpwssd %2, %1, %0" : "+v"(sum.raw) : "v"(a.raw), "v"(b.raw));
        return sum;
    }

    /// Adds the products of four neighbouring bytes with four signed weights.
    static HWY_INLINE Sums addBytes(Bytes bytes, Sums weights, Sums sum)
    {
        asm("vpdpbusd %2, %1, %0" : "+v"(sum.raw) : "v"(bytes.raw), "v"(weights.raw));
        return sum;
    }
};

#endif
#endif

} // namespace HWY_NAMESPACE
} // namespace KVBase::Pixels
HWY_AFTER_NAMESPACE();

#endif
