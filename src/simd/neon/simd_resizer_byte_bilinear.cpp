// Linear interpolation of bytes, first along rows, then between two rows.
//
//     row = p (16 - a) + q a,                     at most 4080
//     (r0 (16 - a) + r1 a + 128) >> 8,            at most 65408 before the shift
//
// Bytes are multiplied by bytes into 16 bits, and 16 bits hold every later value. The costly part
// is to bring the two samples of each element together. Rows that shrink little are cut into blocks
// of 16 source bytes, in which table look-ups find the samples of up to 8 elements; where such a
// block would serve a pixel or two, pairs of pixels are fetched one by one.

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/simd_resizer.h"
#include "simd/simd_resizer_tables.h"

namespace Simd {
namespace Neon {
namespace {

constexpr std::uint32_t FRACTION = 16;
constexpr std::size_t ROW_BLOCK = 8;     // elements of a row of sums
constexpr std::size_t BLEND_BLOCK = 16;  // bytes of a destination row
constexpr std::size_t SUM_SIZE = 2;      // bytes of a sum, and of a pair of weights

constexpr std::uint32_t WINDOW = 16;      // source bytes of a gather block
constexpr std::uint32_t PAIR_BYTES = 16;  // pair bytes of a gather block
constexpr std::uint32_t GATHER_CHANNELS = 3;
constexpr std::uint32_t GATHER_LIMIT = 4;  // shrinking from which pairs are fetched one by one

template <class T>
inline const T* as(const std::uint8_t* data) {
    return static_cast<const T*>(static_cast<const void*>(data));
}

inline void storeSums(uint8x8_t left, uint8x8_t right, uint8x8x2_t weights, std::uint8_t* row) {
    const uint16x8_t sums = vmlal_u8(vmull_u8(left, weights.val[0]), right, weights.val[1]);
    vst1q_u8(row, vreinterpretq_u8_u16(sums));
}

template <class Block>
inline void gatherRow(const std::uint8_t* __restrict src,
                      const Block* __restrict block,
                      std::uint32_t count,
                      const std::uint8_t* __restrict weights,
                      std::uint8_t* __restrict row) {
#pragma GCC unroll 2
    for (; count != 0; --count, ++block) {
        const uint8x16_t window = vld1q_u8(src + block->src);
        const uint8x8x2_t table = {{vget_low_u8(window), vget_high_u8(window)}};
        const uint8x8x2_t position = vld2_u8(block->shuffle);
        storeSums(vtbl2_u8(table, position.val[0]), vtbl2_u8(table, position.val[1]),
                  vld2_u8(weights + block->dst), row + block->dst);
    }
}

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

template <std::size_t CHANNELS>
struct RowBlock {
    static constexpr std::size_t COLUMNS = ROW_BLOCK / CHANNELS;

    static void interpolate(const std::uint8_t* __restrict src,
                            const std::int32_t* __restrict ix,
                            const std::uint8_t* __restrict weights,
                            std::uint8_t* __restrict row) {
        const uint8x8x2_t pairs = PairFetch<CHANNELS>::load(src, ix);
        storeSums(pairs.val[0], pairs.val[1], vld2_u8(weights), row);
    }
};

/// Pixels of three channels don't fill a vector; so there is one for each channel of 8 pixels.
template <>
struct RowBlock<3> {
    static constexpr std::size_t COLUMNS = ROW_BLOCK;

    template <int COLUMN>
    static void fetch(const std::uint8_t* src, uint8x8x3_t& left, uint8x8x3_t& right) {
        left = vld3_lane_u8(src, left, COLUMN);
        right = vld3_lane_u8(src + 3, right, COLUMN);
    }

    static void interpolate(const std::uint8_t* __restrict src,
                            const std::int32_t* __restrict ix,
                            const std::uint8_t* __restrict weights,
                            std::uint8_t* __restrict row) {
        uint8x8x3_t left = vld3_dup_u8(src + 3 * ix[0]);
        uint8x8x3_t right = vld3_dup_u8(src + 3 * ix[0] + 3);
        fetch<1>(src + 3 * ix[1], left, right);
        fetch<2>(src + 3 * ix[2], left, right);
        fetch<3>(src + 3 * ix[3], left, right);
        fetch<4>(src + 3 * ix[4], left, right);
        fetch<5>(src + 3 * ix[5], left, right);
        fetch<6>(src + 3 * ix[6], left, right);
        fetch<7>(src + 3 * ix[7], left, right);
        // The three channels of a pixel have the same weights.
        const uint16x8_t pairs = vld3q_u16(as<std::uint16_t>(weights)).val[0];
        const uint8x8_t leftWeight = vmovn_u16(pairs);
        const uint8x8_t rightWeight = vshrn_n_u16(pairs, 8);
        uint16x8x3_t sums;
        for (int c = 0; c < 3; ++c) {
            sums.val[c] = vmlal_u8(vmull_u8(left.val[c], leftWeight), right.val[c], rightWeight);
        }
        vst3q_u16(static_cast<std::uint16_t*>(static_cast<void*>(row)), sums);
    }
};

/// The width is at least one block.
template <std::size_t CHANNELS>
inline void fetchRow(const std::uint8_t* __restrict src,
                     const std::int32_t* __restrict ix,
                     const std::uint8_t* __restrict weights,
                     std::size_t width,
                     std::uint8_t* __restrict row) {
    constexpr std::size_t COLUMNS = RowBlock<CHANNELS>::COLUMNS;
    constexpr std::size_t STEP = COLUMNS * CHANNELS * SUM_SIZE;
    for (std::size_t blocks = width / COLUMNS; blocks != 0; --blocks) {
        RowBlock<CHANNELS>::interpolate(src, ix, weights, row);
        ix += COLUMNS;
        weights += STEP;
        row += STEP;
    }
    // What remains is narrower than a block, so the last block overlaps the one before.
    if (const std::size_t rest = width % COLUMNS) {
        const std::size_t back = COLUMNS - rest;
        RowBlock<CHANNELS>::interpolate(src, ix - back, weights - back * CHANNELS * SUM_SIZE,
                                        row - back * CHANNELS * SUM_SIZE);
    }
}

inline uint8x8_t blend(const std::uint8_t* upper, const std::uint8_t* lower, uint16x4_t weights) {
    const uint16x8_t first = vreinterpretq_u16_u8(vld1q_u8(upper));
    const uint16x8_t second = vreinterpretq_u16_u8(vld1q_u8(lower));
    return vrshrn_n_u16(vmlaq_lane_u16(vmulq_lane_u16(first, weights, 0), second, weights, 1), 8);
}

inline void blendBlock(const std::uint8_t* __restrict upper,
                       const std::uint8_t* __restrict lower,
                       uint16x4_t weights,
                       std::uint8_t* __restrict dst) {
    const uint8x8_t first = blend(upper, lower, weights);
    const uint8x8_t second = blend(upper + BLEND_BLOCK, lower + BLEND_BLOCK, weights);
    vst1q_u8(dst, vcombine_u8(first, second));
}

/// @param size bytes of the destination row, at least one block
inline void blendRows(const std::uint8_t* __restrict upper,
                      const std::uint8_t* __restrict lower,
                      std::int32_t weight,
                      std::size_t size,
                      std::uint8_t* __restrict dst) {
    const std::uint16_t lowerWeight = std::uint16_t(weight);
    const uint16x4_t weights =
        vset_lane_u16(lowerWeight, vdup_n_u16(std::uint16_t(FRACTION - lowerWeight)), 1);
    for (std::size_t blocks = size / BLEND_BLOCK; blocks != 0; --blocks) {
        blendBlock(upper, lower, weights, dst);
        upper += BLEND_BLOCK * SUM_SIZE;
        lower += BLEND_BLOCK * SUM_SIZE;
        dst += BLEND_BLOCK;
    }
    if (const std::size_t rest = size % BLEND_BLOCK) {
        const std::size_t back = BLEND_BLOCK - rest;
        blendBlock(upper - back * SUM_SIZE, lower - back * SUM_SIZE, weights, dst - back);
    }
}

}  // namespace

ResizerByteBilinear::ResizerByteBilinear(const ResizerParam& parameters)
    : Base::ResizerByteBilinear(parameters) {}

ResizerByteBilinear::~ResizerByteBilinear() = default;

void ResizerByteBilinear::EstimateColumns() {
    const std::uint32_t channels = param.channels;
    const std::uint32_t alignedWidth =
        (param.dstWidth + param.alignment - 1) / param.alignment * param.alignment;
    ix.Resize(param.dstWidth, param.alignment);
    weights.Resize(2 * param.dstWidth * channels, param.alignment);
    rows[0].Resize(2 * channels * alignedWidth, param.alignment);
    rows[1].Resize(2 * channels * alignedWidth, param.alignment);
    std::uint8_t* weight = weights.data;
    for (std::uint32_t x = 0; x < param.dstWidth; ++x) {
        const Tap tap = centredTap(x, param.srcWidth, param.dstWidth);
        ix.data[x] = tap.index;
        for (std::uint32_t c = 0; c < channels; ++c, weight += 2) {
            weight[1] = std::uint8_t(byteWeight(tap));
            weight[0] = std::uint8_t(FRACTION - weight[1]);
        }
    }
}

void ResizerByteBilinear::EstimateBlocks() {
    const std::int32_t channels = std::int32_t(param.channels);
    const std::int32_t lastStart = std::int32_t(param.srcWidth * param.channels - WINDOW);
    const std::uint32_t reach = WINDOW - param.channels;  // left samples, so that right ones fit
    blocks.Resize(param.dstWidth * param.channels, param.alignment);  // one each at the worst
    std::memset(blocks.data, 0, blocks.size * sizeof(GatherBlock));
    GatherBlock* block = blocks.data;
    std::uint32_t pair = 0;
    for (std::uint32_t x = 0; x < param.dstWidth; ++x) {
        for (std::int32_t c = 0; c < channels; ++c, pair += 2) {
            const std::int32_t sample = ix.data[x] * channels + c;
            if (pair - block->dst >= PAIR_BYTES || std::uint32_t(sample - block->src) >= reach) {
                ++block;
                block->src = sample < lastStart ? sample : lastStart;
                block->dst = pair;
            }
            std::uint8_t* const position = block->shuffle + (pair - block->dst);
            position[0] = std::uint8_t(sample - block->src);
            position[1] = std::uint8_t(position[0] + param.channels);
        }
    }
    blockCount = std::uint32_t(block - blocks.data) + 1;
}

void ResizerByteBilinear::Run(const std::uint8_t* src,
                              std::uint32_t srcStride,
                              std::uint8_t* dst,
                              std::uint32_t dstStride) {
    if (weights.size == 0) {
        EstimateColumns();
        // A window never reaches beyond its row.
        if (param.channels <= GATHER_CHANNELS && param.srcWidth * param.channels >= WINDOW &&
            param.srcWidth < GATHER_LIMIT * param.dstWidth) {
            EstimateBlocks();
        }
    }
    withChannels(param.channels, [&](auto channels) {
        const auto interpolate = [&](std::int32_t row, std::uint8_t* sums) {
            const std::uint8_t* const line = src + std::size_t(row) * srcStride;
            if (channels <= GATHER_CHANNELS && blockCount != 0) {
                gatherRow(line, blocks.data, blockCount, weights.data, sums);
            } else {
                fetchRow<channels>(line, ix.data, weights.data, param.dstWidth, sums);
            }
        };
        RowPair<std::uint8_t*> pair = {rows[0].data, rows[1].data};
        for (std::uint32_t y = 0; y < param.dstHeight; ++y, dst += dstStride) {
            pair.moveTo(iy.data[y], interpolate);
            blendRows(pair.upper, pair.lower, ay.data[y], param.dstWidth * channels, dst);
        }
    });
}

}  // namespace Neon
}  // namespace Simd
