// Ratios at which the taps of linear interpolation repeat after a column or two, so that a vector
// variant needs no tables of columns to scale by them. Whether columns follow one is told by the
// sizes, whether rows do by their table.
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

constexpr Ratio HALF = {1, 2, {{0, 8}}};
constexpr Ratio THIRD = {1, 3, {{1, 0}}};
constexpr Ratio TWO_THIRDS = {2, 3, {{0, 4}, {1, 12}}};
constexpr Ratio DOUBLE = {2, 1, {{0, 4}, {0, 12}}};

/// Scales a period of rows, with arguments as RatioForm::Function has.
using PeriodFunction = void(const std::uint8_t* src,
                            std::ptrdiff_t srcStep,
                            std::uint8_t* dst,
                            std::ptrdiff_t dstStep,
                            std::uint32_t width);

/// Whether the columns are those of @p ratio; where it doubles, the first and the last one are the
/// edge pixels themselves. Up to the limit floats hold the scale and all positions exactly.
inline bool columnsFollow(const Ratio& ratio, std::uint32_t src, std::uint32_t dst) {
    constexpr std::uint32_t LIMIT = 1u << 21;
    return src <= LIMIT && dst <= LIMIT && src * ratio.period == dst * std::uint32_t(ratio.step);
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
