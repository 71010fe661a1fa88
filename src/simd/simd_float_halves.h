// Linear interpolation of floats where every pixel is the mean of 2 x 2.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/simd_bilinear_rows.h"
#include "simd/simd_resizer.h"
#include "simd/simd_row_step.h"

namespace Simd {
// Compiled into each variant apart: code built for a vector unit must not serve the portable one.
namespace {

/// The left or upper sample of each destination index, and the weight of the other one.
struct FloatAxis {
    const std::int32_t* index;
    const float* weight;

    /// Whether the indices take whole pairs of samples in equal parts.
    /// @param step elements of a pixel, of which each has its own entry
    bool halves(std::uint32_t count, std::uint32_t step) const {
        for (std::size_t i = 0; i < count; ++i) {
            if (index[i * step] != std::int32_t(2 * i * step) || weight[i * step] != 0.5f) {
                return false;
            }
        }
        return true;
    }
};

/// Scales by the functions of a vector variant.
/// @param functions for 1 to 4 channels, and for rows of at least @p narrowest pixels
/// @return false where pixels aren't means, or there is no function
inline bool scaleHalves(const ResizerParam& p,
                        FloatAxis columns,
                        FloatAxis rows,
                        Neon::HalveFloats* const (&functions)[4],
                        std::uint32_t narrowest,
                        const float* src,
                        RowStep srcStep,
                        float* dst,
                        RowStep dstStep) {
    Neon::HalveFloats* const halve =
        p.channels - 1 < 4 && p.dstWidth >= narrowest ? functions[p.channels - 1] : nullptr;
    if (halve == nullptr || !columns.halves(p.dstWidth, p.channels) ||
        !rows.halves(p.dstHeight, 1)) {
        return false;
    }
    for (std::uint32_t y = 0; y < p.dstHeight; ++y, dst += dstStep) {
        const float* const upper = src + rows.index[y] * srcStep;
        halve(upper, upper + srcStep, p.dstWidth, dst);
    }
    return true;
}

}  // namespace
}  // namespace Simd
