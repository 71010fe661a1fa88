// A fused step that is quick on every processor. Each source that includes this compiles it for its
// own set of instructions, so nothing here may have external linkage.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

namespace Simd {
namespace {

/// @p a @p b + @p c with one rounding, for results that are no subnormals.
inline float fused(float a, float b, float c) {
#ifdef __FP_FAST_FMAF
    return std::fmaf(a, b, c);
#else
    // The product is exact. Only a sum that falls halfway between two floats can have come from a
    // sum that rounds the other way.
    constexpr std::uint32_t BELOW_FLOAT = 0x1FFFFFFF;
    constexpr std::uint32_t HALFWAY = 0x10000000;
    const double sum = double(a) * double(b) + double(c);
    std::uint64_t bits;
    std::memcpy(&bits, &sum, sizeof(bits));
    return (bits & BELOW_FLOAT) == HALFWAY ? std::fmaf(a, b, c) : float(sum);
#endif
}

}  // namespace
}  // namespace Simd
