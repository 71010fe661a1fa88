// Area scaling where every pixel takes 2 x 2 or 3 x 3 whole cells in equal parts.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/simd_area_tables.h"
#include "simd/simd_resizer.h"
#include "simd/simd_resizer_ratios.h"
#include "simd/simd_row_step.h"

namespace Simd {
// Compiled into each variant apart: code built for a vector unit must not serve the portable one.
namespace {

constexpr std::int32_t HALF_CELL = 1024;  // weight of a whole cell of two

/// Scales by the functions of a vector variant, for 1 to 4 channels.
/// @param thirds null where there is no such function
/// @return false where cells aren't whole, or rows too narrow
inline bool scaleWholeCells(const ResizerParam& p,
                            AreaAxis columns,
                            AreaAxis rows,
                            const RatioForm& half,
                            MeanOfThirds* thirds,
                            const std::uint8_t* src,
                            RowStep srcStep,
                            std::uint8_t* dst,
                            RowStep dstStep) {
    const std::int32_t cells = wholeCells(columns.index, columns.weight, p.dstWidth);
    const bool halves = cells == 2 && columns.weight[0] == HALF_CELL && rows.weight[0] == HALF_CELL;
    const bool takes = halves || (cells == 3 && thirds != nullptr);
    if (!takes || p.dstWidth < half.narrowest ||
        wholeCells(rows.index, rows.weight, p.dstHeight) != cells) {
        return false;
    }
    if (halves) {
        half.functions[p.channels - 1](src, srcStep, dst, dstStep, p.dstWidth, p.dstHeight);
        return true;
    }
    for (std::uint32_t y = 0; y < p.dstHeight; ++y, dst += dstStep) {
        thirds(src + rows.index[y] * srcStep, srcStep, dst, p.dstWidth,
               std::uint16_t(rows.weight[0]), std::uint16_t(columns.weight[0]));
    }
    return true;
}

}  // namespace
}  // namespace Simd
