// Weights of area scaling, cell by cell, for variants that weigh along rows first. The way of the
// sums makes no difference: all of them are taken modulo 2^32.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "simd/simd_resizer.h"

namespace Simd {
// Compiled into each variant apart: code built for a vector unit must not serve the portable one.
namespace {

/// Edges of destination pixels: the source cell in which each lies, and the weight of what lies
/// behind it in there.
struct AreaAxis {
    const std::int32_t* index;
    const std::int32_t* weight;

    std::int32_t full() const { return weight[0]; }

    /// Cells from the first to the last of destination index @p i, less one.
    std::int32_t reach(std::uint32_t i) const { return index[i + 1] - index[i]; }

    /// The weight of the @p k -th of them.
    std::int32_t cellWeight(std::uint32_t i, std::int32_t k) const {
        return (k == 0 ? weight[i] : full()) - (k == reach(i) ? weight[i + 1] : 0);
    }

    std::int32_t furthestReach(std::uint32_t count) const {
        std::int32_t furthest = 0;
        for (std::uint32_t i = 0; i < count; ++i) {
            furthest = reach(i) > furthest ? reach(i) : furthest;
        }
        return furthest;
    }
};

inline bool fitsWord(std::int32_t weight) {
    return weight >= std::numeric_limits<std::int16_t>::min() &&
           weight <= std::numeric_limits<std::int16_t>::max();
}

/// For columns that take no more than two cells each, of at least two.
/// @param left    receives the left of the two
/// @param weights receives a pair for each element
/// @return false where a weight has more than 16 bits
inline bool estimateAreaPairs(const ResizerParam& p,
                              const AreaAxis& columns,
                              std::int32_t* left,
                              std::int16_t* weights) {
    const std::int32_t last = std::int32_t(p.srcWidth) - 2;
    for (std::uint32_t x = 0; x < p.dstWidth; ++x) {
        std::int32_t pair[2] = {columns.cellWeight(x, 0), 0};
        left[x] = columns.index[x];
        if (columns.reach(x) == 1) {
            pair[1] = columns.cellWeight(x, 1);
        } else if (left[x] > last) {
            left[x] = last;
            pair[1] = pair[0];
            pair[0] = 0;
        }
        if (!fitsWord(pair[0]) || !fitsWord(pair[1])) {
            return false;
        }
        for (std::uint32_t c = 0; c < p.channels; ++c, weights += 2) {
            weights[0] = std::int16_t(pair[0]);
            weights[1] = std::int16_t(pair[1]);
        }
    }
    return true;
}

constexpr std::uint32_t AREA_WINDOW = 8;  // cells that are loaded at once
constexpr std::uint32_t AREA_BLOCK = 8;   // columns that are summed at once

inline std::uint32_t roundedUp(std::uint32_t value, std::uint32_t multiple) {
    return (value + multiple - 1) / multiple * multiple;
}

/// For columns of one channel that take up to @p windows windows of cells each. The weights of a
/// column and of that four further on take turns, window by window.
/// @param first   receives the first cell of each column, up to the end of the last block
/// @param weights receives those of all windows, zeros for cells that a column doesn't take
inline void estimateAreaWindows(const AreaAxis& columns,
                                std::uint32_t width,
                                std::uint32_t windows,
                                std::int32_t* first,
                                std::int16_t* weights) {
    constexpr std::uint32_t HALF = AREA_BLOCK / 2;
    const std::uint32_t padded = roundedUp(width, AREA_BLOCK);
    std::memset(first, 0, padded * sizeof(*first));
    std::memset(weights, 0, std::size_t{padded} * windows * AREA_WINDOW * sizeof(*weights));
    for (std::uint32_t x = 0; x < width; ++x) {
        const std::uint32_t row = x / AREA_BLOCK * HALF + x % HALF;
        std::int16_t* const own = weights + 2 * std::size_t(row) * windows * AREA_WINDOW +
                                  (x % AREA_BLOCK < HALF ? 0 : AREA_WINDOW);
        first[x] = columns.index[x];
        for (std::int32_t k = 0; k <= columns.reach(x); ++k) {
            const auto cell = std::uint32_t(k);
            own[cell / AREA_WINDOW * 2 * AREA_WINDOW + cell % AREA_WINDOW] =
                std::int16_t(columns.cellWeight(x, k));
        }
    }
}

}  // namespace
}  // namespace Simd
