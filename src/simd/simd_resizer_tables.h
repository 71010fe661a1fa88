// What resizers have in common: where a destination index lies in the source, which interpolated
// rows serve the next destination row, and the choice by the number of channels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "simd/simd_fused.h"

namespace Simd {

// Compiled into each variant apart: code built for NEON must not serve the portable one.
namespace {

/// A destination index lies between source samples `index` and `index + 1`.
struct Tap {
    std::int32_t index;
    float weight;  // of the right sample, 0 to 1
};

/// @param position in the source, above -1
/// @param src      size of the source, at least 2. The last sample is reached as a right one.
inline Tap tapAt(float position, std::uint32_t src) {
    if (position < 0.0f) {
        return {0, 0.0f};
    }
    const std::int32_t last = std::int32_t(src) - 1;
    const auto index = std::int32_t(position);
    if (index >= last) {
        return {last - 1, 1.0f};
    }
    return {index, position - float(index)};
}

/// The tap of destination index @p i when the centres of the first and the last pixel keep half a
/// pixel's distance from the edges.
inline Tap centredTap(std::uint32_t i, std::uint32_t src, std::uint32_t dst) {
    const float scale = float(src) / float(dst);
    return tapAt(fused(scale, float(i) + 0.5f, -0.5f), src);
}

/// The weight in sixteenths, rounded to nearest.
inline std::int32_t byteWeight(Tap tap) {
    return std::int32_t(fused(tap.weight, 16.0f, 0.5f));
}

/// The centred taps of all destination indices.
/// @param weight receives the right samples' ones in sixteenths
inline void estimateByteTaps(std::uint32_t src,
                             std::uint32_t dst,
                             std::int32_t* __restrict index,
                             std::int32_t* __restrict weight) {
    const std::int32_t last = std::int32_t(src) - 1;
    const float scale = float(src) / float(dst);
    // Without tests for the ends, so that compilers widen the loop. Positions are above -1.
    for (std::int32_t i = 0; i < std::int32_t(dst); ++i) {
        const float position = fused(scale, float(i) + 0.5f, -0.5f);
        index[i] = std::int32_t(position);
        weight[i] = byteWeight({index[i], position - float(index[i])});
    }
    for (std::uint32_t i = 0; i < dst && weight[i] < 0; ++i) {
        weight[i] = 0;
    }
    for (std::uint32_t i = dst; i != 0 && index[i - 1] >= last; --i) {
        index[i - 1] = last - 1;
        weight[i - 1] = 16;
    }
}

/// Two neighbouring source rows, horizontally interpolated.
template <class Row>
struct RowPair {
    Row upper;
    Row lower;
    std::int32_t current = -2;  // source row of `upper`; so that row 0 isn't the next

    /// Makes @p row the upper one. Calls @p interpolate(row, place) for rows that aren't there yet.
    template <class Interpolate>
    void moveTo(std::int32_t row, Interpolate interpolate) {
        if (row == current) {
            return;
        }
        if (row == current + 1) {
            const Row free = upper;
            upper = lower;
            lower = free;
        } else {
            interpolate(row, upper);
        }
        interpolate(row + 1, lower);
        current = row;
    }
};

/// Whether a destination row shares no source row with its neighbours, so that it may as well be
/// made at once.
/// @param current source row of the upper row that is there
/// @param index   upper source row of this row and the next ones, @p count in all
inline bool standsAlone(std::int32_t current, const std::int32_t* index, std::uint32_t count) {
    return index[0] != current && index[0] != current + 1 &&
           (count == 1 || index[1] > index[0] + 1);
}

/// Calls @p function with 1 to 4 channels as a constant, and not at all for another number.
template <class Function>
inline void withChannels(std::uint32_t channels, Function function) {
    switch (channels) {
        case 1:
            return function(std::integral_constant<std::size_t, 1>{});
        case 2:
            return function(std::integral_constant<std::size_t, 2>{});
        case 3:
            return function(std::integral_constant<std::size_t, 3>{});
        case 4:
            return function(std::integral_constant<std::size_t, 4>{});
        default:
            return;
    }
}

}  // namespace

}  // namespace Simd
