// Ratios at which the taps of linear interpolation repeat after a column or two, so that a vector
// variant needs no tables to scale by them. Whether a resizer scales by one is read from its
// tables; so rows and columns that come out otherwise are never taken for a ratio.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Simd {

/// The left sample of a destination index, and the weight of the right one in sixteenths.
struct ByteTap {
    std::int32_t index;
    std::int32_t weight;
};

struct Ratio {
    std::uint32_t period;  ///< destination indices after which the weights are the same again
    std::int32_t step;     ///< source samples that a period takes
    std::uint32_t margin;  ///< indices before the first and behind the last period: 0 or 1
    ByteTap taps[2];       ///< of the first period
};

/// How a vector variant scales by a ratio.
struct RatioForm {
    /// Scales a period of rows.
    /// @param src   the upper source row of the first of them; steps are the bytes between rows
    /// @param width destination pixels
    using Function = void(const std::uint8_t* src,
                          std::ptrdiff_t srcStep,
                          std::uint8_t* dst,
                          std::ptrdiff_t dstStep,
                          std::uint32_t width);

    Ratio ratio;
    std::uint32_t narrowest;  ///< width that the functions take
    Function* functions[4];   ///< for 1 to 4 channels
};

enum { RatioHalf, RatioThird, RatioTwoThirds, RatioDouble, RatioCount };

/// (sum + 2^21) >> 22 with the weighted sums of 3 x 3 bytes, for a row. Sums have 32 bits.
using MeanOfThirds = void(const std::uint8_t* src,
                          std::ptrdiff_t srcStep,
                          std::uint8_t* dst,
                          std::uint32_t width,
                          std::uint16_t rowWeight,
                          std::uint16_t columnWeight);

namespace Neon {
extern const RatioForm RatioForms[RatioCount];

/// For 1 to 4 channels; null where there is none. For at least the width that the third takes.
extern MeanOfThirds* const MeansOfThirds[4];
}  // namespace Neon

namespace Avx2 {
extern const RatioForm RatioForms[RatioCount];
extern MeanOfThirds* const MeansOfThirds[4];
}  // namespace Avx2

// Compiled into each variant apart: code built for NEON must not serve the portable one.
namespace {

inline bool operator==(ByteTap a, ByteTap b) {
    return a.index == b.index && a.weight == b.weight;
}

constexpr Ratio HALF = {1, 2, 0, {{0, 8}}};
constexpr Ratio THIRD = {1, 3, 0, {{1, 0}}};
constexpr Ratio TWO_THIRDS = {2, 3, 0, {{0, 4}, {1, 12}}};
constexpr Ratio DOUBLE = {2, 1, 1, {{0, 4}, {0, 12}}};

/// Whether the columns are those of @p ratio. A column in the margin is the edge pixel itself.
/// @param tapAt yields the ByteTap of a column
template <class TapAt>
inline bool columnsFollow(const Ratio& ratio, std::uint32_t width, TapAt tapAt) {
    if (width <= 2 * ratio.margin || (width - 2 * ratio.margin) % ratio.period != 0) {
        return false;
    }
    const std::uint32_t last = width - 1;
    if (ratio.margin != 0 &&
        !(tapAt(0) == ByteTap{0, 0} && tapAt(last) == ByteTap{tapAt(last - 1).index, 16})) {
        return false;
    }
    std::int32_t start = 0;
    for (std::uint32_t x = ratio.margin; x < width - ratio.margin; start += ratio.step) {
        for (std::uint32_t k = 0; k < ratio.period; ++k, ++x) {
            const ByteTap tap = ratio.taps[k];
            if (!(tapAt(x) == ByteTap{start + tap.index, tap.weight})) {
                return false;
            }
        }
    }
    return true;
}

/// Whether the next rows are a period of @p ratio, wherever in the source it starts.
/// @param count rows that are left
inline bool rowsFollow(const Ratio& ratio,
                       const std::int32_t* index,
                       const std::int32_t* weight,
                       std::uint32_t count) {
    if (count < ratio.period || weight[0] != ratio.taps[0].weight) {
        return false;
    }
    return ratio.period == 1 || (index[1] - index[0] == ratio.taps[1].index - ratio.taps[0].index &&
                                 weight[1] == ratio.taps[1].weight);
}

/// The first and the last pixel of two doubled rows, which lie at edge pixels.
template <std::size_t CHANNELS>
inline void doubleEdges(const std::uint8_t* upper,
                        const std::uint8_t* lower,
                        std::uint8_t* dst,
                        std::uint8_t* next,
                        std::uint32_t width) {
    const auto quarters = [](std::uint8_t near, std::uint8_t far) {
        return std::uint8_t((3 * near + far + 2) >> 2);
    };
    const std::size_t fromLast = (width / 2 - 1) * CHANNELS;
    const std::size_t toLast = (width - 1) * CHANNELS;
    for (std::size_t c = 0; c < CHANNELS; ++c) {
        dst[c] = quarters(upper[c], lower[c]);
        next[c] = quarters(lower[c], upper[c]);
        dst[toLast + c] = quarters(upper[fromLast + c], lower[fromLast + c]);
        next[toLast + c] = quarters(lower[fromLast + c], upper[fromLast + c]);
    }
}

/// How many source cells a destination index takes, where area weights take only whole cells and
/// all in equal parts; else 0.
/// @param count destination indices; the tables have an edge more
inline std::int32_t wholeCells(const std::int32_t* index,
                               const std::int32_t* weight,
                               std::uint32_t count) {
    // The last edge is the far side of the last cell.
    const std::int32_t last = index[count] + 1;
    const std::int32_t cells = last / std::int32_t(count);
    bool whole = last == cells * std::int32_t(count) && weight[count] == 0;
    for (std::uint32_t i = 0; whole && i < count; ++i) {
        whole = index[i] == cells * std::int32_t(i) && weight[i] == weight[0];
    }
    return whole ? cells : 0;
}

}  // namespace
}  // namespace Simd
