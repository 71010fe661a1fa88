// What the row functions of the affine warp and its classes share.
#pragma once

#include <cstdint>

#include "simd/simd_warp.h"

namespace Simd {
namespace Base {

/// The row functions for 1 to 4 channels.
extern WarpRowFunction* const WarpNearestRows[4];
extern WarpRowFunction* const WarpBilinearRows[4];

/// Truncates to what is representable; a NaN becomes the lowest value.
inline std::int32_t truncate(float value) {
    constexpr float LIMIT = 2147483648.0f;
    if (!(value > -LIMIT)) {
        return INT32_MIN;
    }
    return value < LIMIT ? std::int32_t(value) : INT32_MAX;
}

/// Rounds to the nearest whole number, halves away from zero.
inline std::int32_t round(float value) {
    return truncate(value + (value >= 0 ? 0.5f : -0.5f));
}

}  // namespace Base
}  // namespace Simd
