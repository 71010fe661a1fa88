// Linear interpolation of bytes, first along rows, then between two rows.
//
//     row = p (16 - a) + q a,                     at most 4080
//     (r0 (16 - a) + r1 a + 128) >> 8,            at most 65408 before the shift
//
// Bytes are multiplied by bytes into 16 bits, and 16 bits hold every later value. The costly part
// is to bring the two samples of each element together. Rows that shrink little are cut into blocks
// of 16 source bytes, in which table look-ups find the samples of up to 8 elements; where such a
// block would serve a pixel or two, pairs of pixels are fetched one by one; rows that nothing else
// needs are then blended at once. Columns that follow a ratio of small numbers need none of this.

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "simd/neon/simd_addresses.h"
#include "simd/neon/simd_lookup.h"
#include "simd/neon/simd_vectors.h"
#include "simd/simd_blocks.h"
#include "simd/simd_gather_blocks.h"
#include "simd/simd_resizer.h"
#include "simd/simd_resizer_ratios.h"
#include "simd/simd_resizer_tables.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Neon {
namespace {

constexpr std::uint32_t FRACTION = 16;
constexpr std::uint32_t MAX_CHANNELS = 4;
constexpr std::size_t ROW_BLOCK = 8;     // elements of a row of sums
constexpr std::size_t BLEND_BLOCK = 16;  // bytes of a destination row
constexpr int SHIFT = 8;                 // of both weights
constexpr std::size_t SUM_SIZE = 2;      // bytes
constexpr std::size_t PAIR_SIZE = 2;     // bytes of a pair of weights

constexpr std::uint32_t GATHER_CHANNELS = 3;
constexpr std::uint32_t GATHER_LIMIT = 4;  // shrinking from which pairs are fetched one by one

inline uint16x8_t weigh(uint8x8x2_t pairs, uint8x8x2_t weights) {
    return vmlal_u8(vmull_u8(pairs.val[0], weights.val[0]), pairs.val[1], weights.val[1]);
}

/// The weights of the upper and the lower row in the lanes 0 and 1.
inline uint16x4_t rowWeights(std::int32_t lower) {
    const auto weight = std::uint16_t(lower);
    return vset_lane_u16(weight, vdup_n_u16(std::uint16_t(FRACTION - weight)), 1);
}

inline uint8x8_t blend(uint16x8_t upper, uint16x8_t lower, uint16x4_t weights) {
    return vrshrn_n_u16(vmlaq_lane_u16(vmulq_lane_u16(upper, weights, 0), lower, weights, 1),
                        SHIFT);
}

// ---- Rows by look-ups ---------------------------------------------------------------------------

inline uint16x8_t lookUp(const std::uint8_t* src, uint8x8x2_t positions, uint8x8x2_t weights) {
    const Window<GATHER_WINDOW> window(src);
    return weigh({{window.at(positions.val[0]), window.at(positions.val[1])}}, weights);
}

[[gnu::noinline]] void gatherRow(const std::uint8_t* __restrict src,
                                 const GatherBlock* __restrict block,
                                 std::uint32_t count,
                                 const std::uint8_t* __restrict weights,
                                 std::uint8_t* __restrict row) {
#pragma GCC unroll 2
    for (; count != 0; --count, ++block) {
        const uint16x8_t sums =
            lookUp(src + block->src, vld2_u8(block->shuffle), vld2_u8(weights + block->dst));
        vst1q_u8(row + block->dst, vreinterpretq_u8_u16(sums));
    }
}

// ---- Rows of fetched pairs ----------------------------------------------------------------------

/// Fetches the pairs of 8 neighbouring elements, left and right samples apart.
template <std::size_t CHANNELS>
struct PairFetch;

template <>
struct PairFetch<1> {
    static uint8x8x2_t load(const std::uint8_t* src, const std::int32_t* ix) {
        uint16x8_t pairs = vdupq_n_u16(0);
        pairs = vld1q_lane_u16(as<std::uint16_t>(src + ix[0]), pairs, 0);
        pairs = vld1q_lane_u16(as<std::uint16_t>(src + ix[1]), pairs, 1);
        pairs = vld1q_lane_u16(as<std::uint16_t>(src + ix[2]), pairs, 2);
        pairs = vld1q_lane_u16(as<std::uint16_t>(src + ix[3]), pairs, 3);
        pairs = vld1q_lane_u16(as<std::uint16_t>(src + ix[4]), pairs, 4);
        pairs = vld1q_lane_u16(as<std::uint16_t>(src + ix[5]), pairs, 5);
        pairs = vld1q_lane_u16(as<std::uint16_t>(src + ix[6]), pairs, 6);
        pairs = vld1q_lane_u16(as<std::uint16_t>(src + ix[7]), pairs, 7);
        return vuzp_u8(vreinterpret_u8_u16(vget_low_u16(pairs)),
                       vreinterpret_u8_u16(vget_high_u16(pairs)));
    }
};

template <>
struct PairFetch<2> {
    static uint8x8x2_t load(const std::uint8_t* src, const std::int32_t* ix) {
        uint32x4_t pairs = vdupq_n_u32(0);
        pairs = vld1q_lane_u32(as<std::uint32_t>(src + 2 * ix[0]), pairs, 0);
        pairs = vld1q_lane_u32(as<std::uint32_t>(src + 2 * ix[1]), pairs, 1);
        pairs = vld1q_lane_u32(as<std::uint32_t>(src + 2 * ix[2]), pairs, 2);
        pairs = vld1q_lane_u32(as<std::uint32_t>(src + 2 * ix[3]), pairs, 3);
        const uint16x4x2_t sides = vuzp_u16(vreinterpret_u16_u32(vget_low_u32(pairs)),
                                            vreinterpret_u16_u32(vget_high_u32(pairs)));
        return {{vreinterpret_u8_u16(sides.val[0]), vreinterpret_u8_u16(sides.val[1])}};
    }
};

template <>
struct PairFetch<4> {
    static uint8x8x2_t load(const std::uint8_t* src, const std::int32_t* ix) {
        const uint32x2_t first = vreinterpret_u32_u8(vld1_u8(src + 4 * ix[0]));
        const uint32x2_t second = vreinterpret_u32_u8(vld1_u8(src + 4 * ix[1]));
        const uint32x2x2_t sides = vuzp_u32(first, second);
        return {{vreinterpret_u8_u32(sides.val[0]), vreinterpret_u8_u32(sides.val[1])}};
    }
};

/// A block of sums.
template <std::size_t CHANNELS>
struct FetchBlock {
    static constexpr std::size_t COLUMNS = ROW_BLOCK / CHANNELS;
    using Sums = uint16x8_t;

    static uint8x8x2_t loadWeights(const std::uint8_t* weights) { return vld2_u8(weights); }

    static Sums sums(const std::uint8_t* src, const std::int32_t* ix, uint8x8x2_t weights) {
        return weigh(PairFetch<CHANNELS>::load(src, ix), weights);
    }

    static void store(Sums sums, std::uint8_t* row) { vst1q_u8(row, vreinterpretq_u8_u16(sums)); }

    static void storeBlend(Sums upper, Sums lower, uint16x4_t weights, std::uint8_t* dst) {
        vst1_u8(dst, blend(upper, lower, weights));
    }
};

/// Pixels of three channels don't fill a vector; so there is one for each channel of 8 pixels.
template <>
struct FetchBlock<3> {
    static constexpr std::size_t COLUMNS = ROW_BLOCK;
    using Sums = uint16x8x3_t;

    template <int COLUMN>
    static void fetch(const std::uint8_t* src, uint8x8x3_t& left, uint8x8x3_t& right) {
        left = vld3_lane_u8(src, left, COLUMN);
        right = vld3_lane_u8(src + 3, right, COLUMN);
    }

    /// The three channels of a pixel have the same weights.
    static uint8x8x2_t loadWeights(const std::uint8_t* weights) {
        const uint16x8_t pairs = vld3q_u16(as<std::uint16_t>(weights)).val[0];
        return {{vmovn_u16(pairs), vshrn_n_u16(pairs, 8)}};
    }

    static Sums sums(const std::uint8_t* src, const std::int32_t* ix, uint8x8x2_t weights) {
        uint8x8x3_t left = vld3_dup_u8(src + 3 * ix[0]);
        uint8x8x3_t right = vld3_dup_u8(src + 3 * ix[0] + 3);
        fetch<1>(src + 3 * ix[1], left, right);
        fetch<2>(src + 3 * ix[2], left, right);
        fetch<3>(src + 3 * ix[3], left, right);
        fetch<4>(src + 3 * ix[4], left, right);
        fetch<5>(src + 3 * ix[5], left, right);
        fetch<6>(src + 3 * ix[6], left, right);
        fetch<7>(src + 3 * ix[7], left, right);
        return {{weigh({{left.val[0], right.val[0]}}, weights),
                 weigh({{left.val[1], right.val[1]}}, weights),
                 weigh({{left.val[2], right.val[2]}}, weights)}};
    }

    static void store(const Sums& sums, std::uint8_t* row) {
        vst3q_u16(as<std::uint16_t>(row), sums);
    }

    static void storeBlend(const Sums& upper,
                           const Sums& lower,
                           uint16x4_t weights,
                           std::uint8_t* dst) {
        const uint8x8x3_t pixels = {{blend(upper.val[0], lower.val[0], weights),
                                     blend(upper.val[1], lower.val[1], weights),
                                     blend(upper.val[2], lower.val[2], weights)}};
        vst3_u8(dst, pixels);
    }
};

/// Calls @p function with indices, weights and the destination of a block of columns.
/// @tparam BYTES  of a destination element
template <std::size_t CHANNELS, std::size_t BYTES, class Function>
inline void forFetchBlocks(const std::int32_t* __restrict ix,
                           const std::uint8_t* __restrict weights,
                           std::size_t width,
                           std::uint8_t* __restrict dst,
                           Function function) {
    constexpr std::size_t COLUMNS = FetchBlock<CHANNELS>::COLUMNS;
    constexpr std::size_t ELEMENTS = COLUMNS * CHANNELS;
    using Indices = Image<COLUMNS, const std::int32_t>;  // counted in elements
    processRow<COLUMNS>(width, function, Indices{ix, 0u}, Source<ELEMENTS * PAIR_SIZE>{weights, 0u},
                        Target<ELEMENTS * BYTES>{dst, 0u});
}

/// The width is at least one block.
template <std::size_t CHANNELS>
[[gnu::noinline]] void fetchRow(const std::uint8_t* __restrict src,
                                const std::int32_t* __restrict ix,
                                const std::uint8_t* __restrict weights,
                                std::size_t width,
                                std::uint8_t* __restrict row) {
    using Block = FetchBlock<CHANNELS>;
    forFetchBlocks<CHANNELS, SUM_SIZE>(
        ix, weights, width, row,
        [&](const std::int32_t* index, const std::uint8_t* weight, std::uint8_t* to) {
            Block::store(Block::sums(src, index, Block::loadWeights(weight)), to);
        });
}

/// The same on two rows, blended at once.
template <std::size_t CHANNELS>
[[gnu::noinline]] void fetchBlend(const std::uint8_t* __restrict upper,
                                  const std::uint8_t* __restrict lower,
                                  std::int32_t lowerWeight,
                                  const std::int32_t* __restrict ix,
                                  const std::uint8_t* __restrict weights,
                                  std::size_t width,
                                  std::uint8_t* __restrict dst) {
    using Block = FetchBlock<CHANNELS>;
    const uint16x4_t rows = rowWeights(lowerWeight);
    forFetchBlocks<CHANNELS, 1>(
        ix, weights, width, dst,
        [&](const std::int32_t* index, const std::uint8_t* weight, std::uint8_t* to) {
            const uint8x8x2_t columns = Block::loadWeights(weight);
            const auto sums = Block::sums(upper, index, columns);
            scheduleInOrder();
            Block::storeBlend(sums, Block::sums(lower, index, columns), rows, to);
        });
}

// ---- Between rows -------------------------------------------------------------------------------

/// The next 16 bytes, even and odd ones apart.
template <class Address>
inline uint8x8x2_t blendBlock(Address& upper, Address& lower, uint16x4_t weights) {
    const uint16x8x2_t first = vld2q_u16(as<std::uint16_t>(upper));
    const uint16x8x2_t second = vld2q_u16(as<std::uint16_t>(lower));
    advance(upper, BLEND_BLOCK * SUM_SIZE);
    advance(lower, BLEND_BLOCK * SUM_SIZE);
    return {
        {blend(first.val[0], second.val[0], weights), blend(first.val[1], second.val[1], weights)}};
}

/// @param size bytes of the destination row, at least one block
[[gnu::noinline]] void blendRows(const std::uint8_t* upper,
                                 const std::uint8_t* lower,
                                 std::int32_t lowerWeight,
                                 std::size_t size,
                                 std::uint8_t* dst) {
    const uint16x4_t weights = rowWeights(lowerWeight);
    for (std::size_t i = size / (2 * BLEND_BLOCK); i != 0; --i) {
        // No store in between, so that the steps of both blocks mix.
        const uint8x8x2_t first = blendBlock(upper, lower, weights);
        const uint8x8x2_t second = blendBlock(upper, lower, weights);
        vst2_u8(dst, first);
        advance(dst, BLEND_BLOCK);
        vst2_u8(dst, second);
        advance(dst, BLEND_BLOCK);
    }
    if (size / BLEND_BLOCK % 2 != 0) {
        vst2_u8(dst, blendBlock(upper, lower, weights));
        advance(dst, BLEND_BLOCK);
    }
    if (const std::size_t rest = size % BLEND_BLOCK) {
        const std::size_t back = BLEND_BLOCK - rest;
        upper -= back * SUM_SIZE;
        lower -= back * SUM_SIZE;
        vst2_u8(dst - back, blendBlock(upper, lower, weights));
    }
}

/// @param right  weight of the right pixel for each column
/// @param weight receives a pair (16 - right, right) for each element
void estimateWeightPairs(const ResizerParam& p,
                         const std::int32_t* __restrict right,
                         std::uint8_t* __restrict weight) {
    withChannels(p.channels, [&](auto channels) {
        for (std::uint32_t x = 0; x < p.dstWidth; ++x) {
            for (std::uint32_t c = 0; c < channels; ++c, weight += PAIR_SIZE) {
                weight[0] = std::uint8_t(std::int32_t(FRACTION) - right[x]);
                weight[1] = std::uint8_t(right[x]);
            }
        }
    });
}

}  // namespace

ResizerByteBilinear::ResizerByteBilinear(const ResizerParam& parameters)
    : Base::ResizerByteBilinear(parameters) {}

ResizerByteBilinear::~ResizerByteBilinear() = default;

void ResizerByteBilinear::EstimateTables() {
    const std::uint32_t channels = param.channels;
    const std::uint64_t size = std::uint64_t{param.dstWidth} * channels;
    EstimateRows();
    ix.Resize(param.dstWidth, param.alignment);
    ax.Resize(param.dstWidth, param.alignment);
    weights.Resize(2 * size, param.alignment);
    rows[0].Resize(SUM_SIZE * size, param.alignment);
    rows[1].Resize(SUM_SIZE * size, param.alignment);
    estimateByteTaps(param.srcWidth, param.dstWidth, ix.data, ax.data);
    estimateWeightPairs(param, ax.data, weights.data);
    ratio = findRatio(RatioForms, param);
    // A window never reaches beyond its row.
    if (ratio == nullptr && channels <= GATHER_CHANNELS &&
        param.srcWidth * channels >= GATHER_WINDOW &&
        param.srcWidth < GATHER_LIMIT * param.dstWidth) {
        blocks.Resize(size, param.alignment);
        blockCount = estimateGatherBlocks(param, ix.data, blocks.data);
    }
}

void ResizerByteBilinear::Run(const std::uint8_t* src,
                              std::uint32_t srcStride,
                              std::uint8_t* dst,
                              std::uint32_t dstStride) {
    if (param.channels == 0 || param.channels > MAX_CHANNELS) {
        return;
    }
    if (weights.size == 0) {
        EstimateTables();
    }
    withChannels(param.channels, [&](auto channels) {
        const auto interpolate = [&](std::int32_t row, std::uint8_t* sums) {
            const std::uint8_t* const line = src + row * RowStep(srcStride);
            if (blockCount != 0) {
                gatherRow(line, blocks.data, blockCount, weights.data, sums);
            } else {
                fetchRow<channels>(line, ix.data, weights.data, param.dstWidth, sums);
            }
        };
        RowPair<std::uint8_t*> pair = {rows[0].data, rows[1].data};
        for (std::uint32_t y = 0, count = 1; y < param.dstHeight; y += count) {
            const std::int32_t* const index = iy.data + y;
            const std::int32_t weight = ay.data[y];
            const std::uint32_t left = param.dstHeight - y;
            const std::uint8_t* const upper = src + *index * RowStep(srcStride);
            const std::uint32_t periods =
                ratio != nullptr ? periodsAhead(ratio->ratio, index, ay.data + y, left) : 0;
            count = 1;
            if (periods != 0) {
                count = periods * ratio->ratio.period;
                ratio->functions[channels - 1](upper, RowStep(srcStride), dst, RowStep(dstStride),
                                               param.dstWidth, periods);
            } else if (blockCount == 0 && standsAlone(pair.current, index, left)) {
                fetchBlend<channels>(upper, upper + RowStep(srcStride), weight, ix.data,
                                     weights.data, param.dstWidth, dst);
            } else {
                pair.moveTo(*index, interpolate);
                blendRows(pair.upper, pair.lower, weight, param.dstWidth * channels, dst);
            }
            dst += std::ptrdiff_t(count) * RowStep(dstStride);
        }
    });
}

}  // namespace Neon
}  // namespace Simd
