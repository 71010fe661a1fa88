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
    /// Scales periods of rows, each below the one before.
    /// @param src     the upper source row of the first row; steps are the bytes between rows
    /// @param width   destination pixels
    /// @param periods at least 1
    using Function = void(const std::uint8_t* src,
                          std::ptrdiff_t srcStep,
                          std::uint8_t* dst,
                          std::ptrdiff_t dstStep,
                          std::uint32_t width,
                          std::uint32_t periods);

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

/// Scales a period of rows, with arguments as RatioForm::Function has.
using PeriodFunction = void(const std::uint8_t* src,
                            std::ptrdiff_t srcStep,
                            std::uint8_t* dst,
                            std::ptrdiff_t dstStep,
                            std::uint32_t width);

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

/// How many periods of @p ratio the next rows are, wherever in the source they start.
/// @param count rows that are left
inline std::uint32_t periodsAhead(const Ratio& ratio,
                                  const std::int32_t* index,
                                  const std::int32_t* weight,
                                  std::uint32_t count) {
    const std::int32_t first = index[0];
    const std::uint32_t most = count / ratio.period;
    std::uint32_t periods = 0;
    for (; periods < most; ++periods, index += ratio.period, weight += ratio.period) {
        const std::int32_t start = first + std::int32_t(periods) * ratio.step;
        for (std::uint32_t k = 0; k < ratio.period; ++k) {
            if (index[k] - start != ratio.taps[k].index - ratio.taps[0].index ||
                weight[k] != ratio.taps[k].weight) {
                return periods;
            }
        }
    }
    return periods;
}

/// Scales periods one by one.
template <const Ratio& RATIO, PeriodFunction* SCALE>
void scalePeriods(const std::uint8_t* src,
                  std::ptrdiff_t srcStep,
                  std::uint8_t* dst,
                  std::ptrdiff_t dstStep,
                  std::uint32_t width,
                  std::uint32_t periods) {
    for (; periods != 0; --periods) {
        SCALE(src, srcStep, dst, dstStep, width);
        src += RATIO.step * srcStep;
        dst += std::ptrdiff_t(RATIO.period) * dstStep;
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
