// Linear interpolation of bytes by ratios whose taps repeat, both directions at once.
//
// Weights are halves or quarters of 16 here. With the common factors left out a pixel is
//
//     half                  (p00 + p01 + p10 + p11 + 2) >> 2
//     two thirds, double    (9 p00 + 3 p01 + 3 p10 + p11 + 8) >> 4,  or turned
//
// and thirds are pixels of the source. So 12 bits hold the sums.

#include "simd/simd_resizer_ratios.h"

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "simd/neon/simd_addresses.h"
#include "simd/neon/simd_lookup.h"
#include "simd/neon/simd_vectors.h"

namespace Simd {
namespace Neon {
namespace {

constexpr std::size_t VECTOR = 8;  // bytes
constexpr int HALF_SHIFT = 2;
constexpr int QUARTERS_SHIFT = 4;
constexpr int MEAN_SHIFT = 22;

// ---- Pixels of 1, 2 and 4 bytes as elements -----------------------------------------------------

template <std::size_t BYTES>
struct Pixels;

template <>
struct Pixels<1> {
    static uint8x8x3_t loadTriples(const std::uint8_t* src) { return vld3_u8(src); }
    static void storePairs(std::uint8_t* dst, uint8x8_t left, uint8x8_t right) {
        const uint8x8x2_t pairs = {{left, right}};
        vst2_u8(dst, pairs);
    }
    static void storePairs(std::uint8_t* dst, uint8x16_t left, uint8x16_t right) {
        const uint8x16x2_t pairs = {{left, right}};
        vst2q_u8(dst, pairs);
    }
};

template <>
struct Pixels<2> {
    static uint8x8x3_t loadTriples(const std::uint8_t* src) {
        const uint16x4x3_t v = vld3_u16(as<std::uint16_t>(src));
        return {{vreinterpret_u8_u16(v.val[0]), vreinterpret_u8_u16(v.val[1]),
                 vreinterpret_u8_u16(v.val[2])}};
    }
    static void storePairs(std::uint8_t* dst, uint8x8_t left, uint8x8_t right) {
        const uint16x4x2_t pairs = {{vreinterpret_u16_u8(left), vreinterpret_u16_u8(right)}};
        vst2_u16(as<std::uint16_t>(dst), pairs);
    }
    static void storePairs(std::uint8_t* dst, uint8x16_t left, uint8x16_t right) {
        const uint16x8x2_t pairs = {{vreinterpretq_u16_u8(left), vreinterpretq_u16_u8(right)}};
        vst2q_u16(as<std::uint16_t>(dst), pairs);
    }
};

template <>
struct Pixels<4> {
    static uint8x8x3_t loadTriples(const std::uint8_t* src) {
        const uint32x2x3_t v = vld3_u32(as<std::uint32_t>(src));
        return {{vreinterpret_u8_u32(v.val[0]), vreinterpret_u8_u32(v.val[1]),
                 vreinterpret_u8_u32(v.val[2])}};
    }
    static void storePairs(std::uint8_t* dst, uint8x8_t left, uint8x8_t right) {
        const uint32x2x2_t pairs = {{vreinterpret_u32_u8(left), vreinterpret_u32_u8(right)}};
        vst2_u32(as<std::uint32_t>(dst), pairs);
    }
    static void storePairs(std::uint8_t* dst, uint8x16_t left, uint8x16_t right) {
        const uint32x4x2_t pairs = {{vreinterpretq_u32_u8(left), vreinterpretq_u32_u8(right)}};
        vst2q_u32(as<std::uint32_t>(dst), pairs);
    }
};

// ---- Blocks -------------------------------------------------------------------------------------

/// Neighbouring source rows from a block's first pixel on, and where its results go.
template <std::size_t SOURCES, std::size_t RESULTS>
struct BlockRows {
    const std::uint8_t* src[SOURCES];
    std::uint8_t* dst[RESULTS];

    void move(std::ptrdiff_t srcBytes, std::ptrdiff_t dstBytes) {
#pragma GCC unroll 3
        for (std::size_t i = 0; i < SOURCES; ++i) {
            src[i] = moved(src[i], srcBytes);
        }
#pragma GCC unroll 3
        for (std::size_t i = 0; i < RESULTS; ++i) {
            dst[i] = moved(dst[i], dstBytes);
        }
    }
};

/// 16 destination bytes of one channel, else 8 pixels.
template <std::size_t CHANNELS>
struct HalfBlock {
    static constexpr Ratio RATIO = HALF;
    static constexpr std::size_t UNROLL = 4;
    static constexpr std::size_t COLUMNS = CHANNELS == 1 ? 16 : 8;
    using Rows = BlockRows<2, 1>;

    static uint8x8_t mean(uint8x16_t upper, uint8x16_t lower) {
        return vrshrn_n_u16(vpadalq_u8(vpaddlq_u8(upper), lower), HALF_SHIFT);
    }

    static void scale(const Rows& rows) {
        if constexpr (CHANNELS == 1) {
            const uint16x8x2_t upper = vld2q_u16(as<std::uint16_t>(rows.src[0]));
            const uint16x8x2_t lower = vld2q_u16(as<std::uint16_t>(rows.src[1]));
            uint8x8x2_t means;
            for (int k = 0; k < 2; ++k) {
                means.val[k] =
                    mean(vreinterpretq_u8_u16(upper.val[k]), vreinterpretq_u8_u16(lower.val[k]));
            }
            vst2_u8(rows.dst[0], means);
        } else if constexpr (CHANNELS == 2) {
            const uint8x16x2_t upper = vld2q_u8(rows.src[0]);
            const uint8x16x2_t lower = vld2q_u8(rows.src[1]);
            uint8x8x2_t means;
            for (int c = 0; c < 2; ++c) {
                means.val[c] = mean(upper.val[c], lower.val[c]);
            }
            vst2_u8(rows.dst[0], means);
        } else if constexpr (CHANNELS == 3) {
            const uint8x16x3_t upper = vld3q_u8(rows.src[0]);
            const uint8x16x3_t lower = vld3q_u8(rows.src[1]);
            uint8x8x3_t means;
            for (int c = 0; c < 3; ++c) {
                means.val[c] = mean(upper.val[c], lower.val[c]);
            }
            vst3_u8(rows.dst[0], means);
        } else {
            const uint8x16x4_t upper = vld4q_u8(rows.src[0]);
            const uint8x16x4_t lower = vld4q_u8(rows.src[1]);
            uint8x8x4_t means;
            for (int c = 0; c < 4; ++c) {
                means.val[c] = mean(upper.val[c], lower.val[c]);
            }
            vst4_u8(rows.dst[0], means);
        }
    }
};

template <std::size_t CHANNELS>
struct ThirdBlock {
    static constexpr Ratio RATIO = THIRD;
    static constexpr std::size_t UNROLL = 4;
    static constexpr std::size_t COLUMNS = VECTOR / CHANNELS;
    using Rows = BlockRows<1, 1>;

    static void scale(const Rows& rows) {
        vst1_u8(rows.dst[0], Pixels<CHANNELS>::loadTriples(rows.src[0]).val[1]);
    }
};

/// Bytes of eight pixels: where a vector of them begins, and their places from there on.
struct ThirdLookup {
    uint8x8_t positions[3];

    static constexpr std::size_t STARTS[3] = {3, 23, 40};

    ThirdLookup() {
        static const std::uint8_t POSITIONS[3][8] = {{0, 1, 2, 9, 10, 11, 18, 19},
                                                     {0, 7, 8, 9, 16, 17, 18, 25},
                                                     {9, 10, 17, 18, 19, 26, 27, 28}};
        for (int k = 0; k < 3; ++k) {
            positions[k] = vld1_u8(POSITIONS[k]);
        }
    }
};

template <>
struct ThirdBlock<3> {
    static constexpr Ratio RATIO = THIRD;
    static constexpr std::size_t UNROLL = 1;
    static constexpr std::size_t COLUMNS = 8;
    using Rows = BlockRows<1, 1>;

    static void scale(const Rows& rows) {
        const ThirdLookup lookup;
        for (int k = 0; k < 3; ++k) {
            const Window<32> window(rows.src[0] + ThirdLookup::STARTS[k]);
            vst1_u8(rows.dst[0] + 8 * k, window.at(lookup.positions[k]));
        }
    }
};

/// 3 @p near + @p far
inline uint16x8_t quarters(uint8x8_t near, uint8x8_t far) {
    return vaddw_u8(vmull_u8(near, vdup_n_u8(3)), far);
}

inline uint16x8_t sixteenths(uint16x8_t near, uint16x8_t far) {
    return vmlaq_u16(far, near, vdupq_n_u16(3));
}

inline uint8x8_t quarters(uint16x8_t near, uint16x8_t far) {
    return vrshrn_n_u16(sixteenths(near, far), QUARTERS_SHIFT);
}

/// Weighted sums of nine, of at most 12 bits before the weights.
template <std::size_t CHANNELS>
struct MeanBlock {
    static constexpr Ratio RATIO = THIRD;
    static constexpr std::size_t UNROLL = 1;
    static constexpr std::size_t COLUMNS = VECTOR / CHANNELS;
    using Rows = BlockRows<3, 1>;

    static uint16x8_t sumTriples(const std::uint8_t* src) {
        const uint8x8x3_t v = Pixels<CHANNELS>::loadTriples(src);
        return vaddw_u8(vaddl_u8(v.val[0], v.val[1]), v.val[2]);
    }

    /// No bit below the 16 that go first takes part in the rounding.
    static uint16x4_t highWords(uint16x4_t sums, uint16x4_t rowWeight, uint32x4_t columnWeight) {
        return vshrn_n_u32(vmulq_u32(vmull_u16(sums, rowWeight), columnWeight), 16);
    }

    static void scale(const Rows& rows, uint16x4_t rowWeight, uint32x4_t columnWeight) {
        const uint16x8_t sums = vaddq_u16(
            vaddq_u16(sumTriples(rows.src[0]), sumTriples(rows.src[1])), sumTriples(rows.src[2]));
        const auto words =
            join<uint16x8_t>(highWords(vget_low_u16(sums), rowWeight, columnWeight),
                             highWords(vget_high_u16(sums), rowWeight, columnWeight));
        vst1_u8(rows.dst[0], vrshrn_n_u16(words, MEAN_SHIFT - 16));
    }
};

template <std::size_t CHANNELS>
struct TwoThirdsBlock {
    static constexpr Ratio RATIO = TWO_THIRDS;
    static constexpr std::size_t UNROLL = 1;
    static constexpr std::size_t COLUMNS = 2 * VECTOR / CHANNELS;
    using Rows = BlockRows<3, 2>;

    static void scale(const Rows& rows) {
        uint16x8_t left[3];
        uint16x8_t right[3];
        for (int i = 0; i < 3; ++i) {
            const uint8x8x3_t v = Pixels<CHANNELS>::loadTriples(rows.src[i]);
            left[i] = quarters(v.val[0], v.val[1]);
            right[i] = quarters(v.val[2], v.val[1]);
        }
        Pixels<CHANNELS>::storePairs(rows.dst[0], quarters(left[0], left[1]),
                                     quarters(right[0], right[1]));
        Pixels<CHANNELS>::storePairs(rows.dst[1], quarters(left[2], left[1]),
                                     quarters(right[2], right[1]));
    }
};

/// Neighbouring pixels of two rows, of which there are four blends.
template <std::size_t CHANNELS>
struct DoubleBlock {
    static constexpr Ratio RATIO = DOUBLE;
    static constexpr std::size_t UNROLL = 1;
    static constexpr std::size_t COLUMNS = 4 * VECTOR / CHANNELS;
    using Rows = BlockRows<2, 2>;

    static void scale(const Rows& rows) {
        const uint8x16_t upperLeft = vld1q_u8(rows.src[0]);
        const uint8x16_t upperRight = vld1q_u8(rows.src[0] + CHANNELS);
        const uint8x16_t lowerLeft = vld1q_u8(rows.src[1]);
        const uint8x16_t lowerRight = vld1q_u8(rows.src[1] + CHANNELS);
        blend(upperLeft, upperRight, lowerLeft, lowerRight, rows.dst[0]);
        blend(lowerLeft, lowerRight, upperLeft, upperRight, rows.dst[1]);
    }

    static void blend(uint8x16_t nearLeft,
                      uint8x16_t nearRight,
                      uint8x16_t farLeft,
                      uint8x16_t farRight,
                      std::uint8_t* dst) {
        Pixels<CHANNELS>::storePairs(dst, nearest(nearLeft, nearRight, farLeft, farRight),
                                     nearest(nearRight, nearLeft, farRight, farLeft));
    }

    /// 9 @p nearNear + 3 @p nearFar + 3 @p farNear + @p farFar, in sixteenths
    static uint8x16_t nearest(uint8x16_t nearNear,
                              uint8x16_t nearFar,
                              uint8x16_t farNear,
                              uint8x16_t farFar) {
        return join<uint8x16_t>(quarters(quarters(vget_low_u8(nearNear), vget_low_u8(nearFar)),
                                         quarters(vget_low_u8(farNear), vget_low_u8(farFar))),
                                quarters(quarters(vget_high_u8(nearNear), vget_high_u8(nearFar)),
                                         quarters(vget_high_u8(farNear), vget_high_u8(farFar))));
    }
};

template <>
struct DoubleBlock<3> {
    static constexpr Ratio RATIO = DOUBLE;
    static constexpr std::size_t UNROLL = 1;
    static constexpr std::size_t COLUMNS = 16;
    using Rows = BlockRows<2, 2>;

    static void scale(const Rows& rows) {
        const uint8x8x3_t upperLeft = vld3_u8(rows.src[0]);
        const uint8x8x3_t upperRight = vld3_u8(rows.src[0] + 3);
        const uint8x8x3_t lowerLeft = vld3_u8(rows.src[1]);
        const uint8x8x3_t lowerRight = vld3_u8(rows.src[1] + 3);
        uint8x16x3_t upper;
        uint8x16x3_t lower;
#pragma GCC unroll 3
        for (int c = 0; c < 3; ++c) {
            const uint16x8_t ul = quarters(upperLeft.val[c], upperRight.val[c]);
            const uint16x8_t ur = quarters(upperRight.val[c], upperLeft.val[c]);
            const uint16x8_t ll = quarters(lowerLeft.val[c], lowerRight.val[c]);
            const uint16x8_t lr = quarters(lowerRight.val[c], lowerLeft.val[c]);
            upper.val[c] = interleave(sixteenths(ul, ll), sixteenths(ur, lr));
            lower.val[c] = interleave(sixteenths(ll, ul), sixteenths(lr, ur));
            scheduleInOrder();
        }
        vst3q_u8(rows.dst[0], upper);
        vst3q_u8(rows.dst[1], lower);
    }

    /// Rounds, and puts the bytes side by side.
    static uint8x16_t interleave(uint16x8_t left, uint16x8_t right) {
        return vreinterpretq_u8_u16(vsliq_n_u16(vrshrq_n_u16(left, QUARTERS_SHIFT),
                                                vrshrq_n_u16(right, QUARTERS_SHIFT), 8));
    }
};

// ---- Rows ---------------------------------------------------------------------------------------

/// @param width at least a block
template <template <std::size_t> class Block, std::size_t CHANNELS, class... Weights>
inline void scaleBlocks(typename Block<CHANNELS>::Rows rows,
                        std::uint32_t width,
                        Weights... weights) {
    constexpr Ratio RATIO = Block<CHANNELS>::RATIO;
    constexpr std::size_t COLUMNS = Block<CHANNELS>::COLUMNS;
    constexpr std::ptrdiff_t SRC_STEP = RATIO.step * CHANNELS;
    constexpr std::ptrdiff_t DST_STEP = RATIO.period * CHANNELS;
    constexpr std::ptrdiff_t PERIODS = COLUMNS / RATIO.period;
    const auto next = [&] {
        Block<CHANNELS>::scale(rows, weights...);
        rows.move(PERIODS * SRC_STEP, PERIODS * DST_STEP);
    };
    constexpr std::size_t UNROLL = Block<CHANNELS>::UNROLL;
    const std::size_t blocks = width / COLUMNS;
    for (std::size_t i = UNROLL > 1 ? blocks / UNROLL : 0; i != 0; --i) {
#pragma GCC unroll 4
        for (std::size_t k = 0; k < UNROLL; ++k) {
            next();
        }
    }
    for (std::size_t i = UNROLL > 1 ? blocks % UNROLL : blocks; i != 0; --i) {
        next();
    }
    // What remains is narrower than a block, so the last block overlaps the one before.
    if (const std::size_t rest = width % COLUMNS) {
        const auto back = std::ptrdiff_t((COLUMNS - rest) / RATIO.period);
        rows.move(-back * SRC_STEP, -back * DST_STEP);
        Block<CHANNELS>::scale(rows, weights...);
    }
}

template <std::size_t CHANNELS>
[[gnu::noinline]] void halve(const std::uint8_t* __restrict src,
                             std::ptrdiff_t srcStep,
                             std::uint8_t* __restrict dst,
                             std::ptrdiff_t,
                             std::uint32_t width) {
    scaleBlocks<HalfBlock, CHANNELS>({{src, src + srcStep}, {dst}}, width);
}

template <std::size_t CHANNELS>
[[gnu::noinline]] void scaleByThird(const std::uint8_t* __restrict src,
                                    std::ptrdiff_t,
                                    std::uint8_t* __restrict dst,
                                    std::ptrdiff_t,
                                    std::uint32_t width) {
    scaleBlocks<ThirdBlock, CHANNELS>({{src}, {dst}}, width);
}

template <std::size_t CHANNELS>
void averageThirds(const std::uint8_t* __restrict src,
                   std::ptrdiff_t srcStep,
                   std::uint8_t* __restrict dst,
                   std::uint32_t width,
                   std::uint16_t rowWeight,
                   std::uint16_t columnWeight) {
    scaleBlocks<MeanBlock, CHANNELS>({{src, src + srcStep, src + 2 * srcStep}, {dst}}, width,
                                     vdup_n_u16(rowWeight), vdupq_n_u32(columnWeight));
}

template <std::size_t CHANNELS>
[[gnu::noinline]] void scaleByTwoThirds(const std::uint8_t* __restrict src,
                                        std::ptrdiff_t srcStep,
                                        std::uint8_t* __restrict dst,
                                        std::ptrdiff_t dstStep,
                                        std::uint32_t width) {
    scaleBlocks<TwoThirdsBlock, CHANNELS>(
        {{src, src + srcStep, src + 2 * srcStep}, {dst, dst + dstStep}}, width);
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

template <std::size_t CHANNELS>
[[gnu::noinline]] void doubleRows(const std::uint8_t* __restrict src,
                                  std::ptrdiff_t srcStep,
                                  std::uint8_t* __restrict dst,
                                  std::ptrdiff_t dstStep,
                                  std::uint32_t width) {
    const std::uint8_t* const lower = src + srcStep;
    std::uint8_t* const next = dst + dstStep;
    doubleEdges<CHANNELS>(src, lower, dst, next, width);
    scaleBlocks<DoubleBlock, CHANNELS>({{src, lower}, {dst + CHANNELS, next + CHANNELS}},
                                       width - 2);
}

template <std::size_t CHANNELS>
constexpr RatioForm::Function* HALVE = scalePeriods<HALF, halve<CHANNELS>>;
template <std::size_t CHANNELS>
constexpr RatioForm::Function* BY_THIRD = scalePeriods<THIRD, scaleByThird<CHANNELS>>;
template <std::size_t CHANNELS>
constexpr RatioForm::Function* BY_TWO_THIRDS = scalePeriods<TWO_THIRDS, scaleByTwoThirds<CHANNELS>>;
template <std::size_t CHANNELS>
constexpr RatioForm::Function* DOUBLED = scalePeriods<DOUBLE, doubleRows<CHANNELS>>;

}  // namespace

const RatioForm RatioForms[RatioCount] = {
    {HALF, 16, {HALVE<1>, HALVE<2>, HALVE<3>, HALVE<4>}},
    {THIRD, 16, {BY_THIRD<1>, BY_THIRD<2>, BY_THIRD<3>, BY_THIRD<4>}},
    {TWO_THIRDS, 16, {BY_TWO_THIRDS<1>, BY_TWO_THIRDS<2>, nullptr, BY_TWO_THIRDS<4>}},
    {DOUBLE, 34, {DOUBLED<1>, DOUBLED<2>, DOUBLED<3>, DOUBLED<4>}},
};

MeanOfThirds* const MeansOfThirds[4] = {averageThirds<1>, averageThirds<2>, nullptr,
                                        averageThirds<4>};

}  // namespace Neon
}  // namespace Simd
