// Rows of the bicubic resizer in vectors of 8 elements.

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "simd/neon/simd_addresses.h"
#include "simd/neon/simd_lookup.h"
#include "simd/neon/simd_vectors.h"
#include "simd/simd_bicubic_rows.h"

namespace Simd {
namespace Neon {
namespace {

/// The weighted sums of a block without their offset.
template <std::size_t WINDOW>
inline uint16x8_t weigh(const std::uint8_t* src, const BicubicBlock& block, uint8x8_t distance) {
    const Window<WINDOW> window(src + block.src);
    const uint8x8x4_t weights = vld4_u8(block.weights[0]);
    const uint8x8_t first = vld1_u8(block.position);
    const uint8x8_t second = vadd_u8(first, distance);
    const uint8x8_t third = vadd_u8(second, distance);
    const uint8x8_t fourth = vadd_u8(third, distance);
    uint16x8_t lanes = vmull_u8(window.at(first), weights.val[0]);
    lanes = vmlsl_u8(lanes, window.at(second), weights.val[1]);
    lanes = vmlsl_u8(lanes, window.at(third), weights.val[2]);
    return vmlal_u8(lanes, window.at(fourth), weights.val[3]);
}

template <std::size_t WINDOW>
void sum(const std::uint8_t* src,
         std::uint32_t channels,
         const BicubicBlock* block,
         std::uint32_t count,
         std::int16_t* sums) {
    const uint8x8_t distance = vdup_n_u8(std::uint8_t(channels));
    const uint16x8_t offset = vdupq_n_u16(std::uint16_t(BICUBIC_OFFSET));
    const auto store = [=](std::uint32_t to, uint16x8_t lanes) {
        vst1q_s16(sums + to, vreinterpretq_s16_u16(vaddq_u16(lanes, offset)));
    };
    for (std::uint32_t pairs = count / 2; pairs != 0; --pairs) {
        // No store in between, so that the steps of both blocks mix.
        const std::uint32_t to = block->dst;
        const uint16x8_t lanes = weigh<WINDOW>(src, *block, distance);
        advance(block, 1);
        const uint16x8_t next = weigh<WINDOW>(src, *block, distance);
        store(to, lanes);
        store(block->dst, next);
        advance(block, 1);
    }
    if (count % 2 != 0) {
        store(block->dst, weigh<WINDOW>(src, *block, distance));
    }
}

/// What a vertical sum is made of.
struct Columns {
    const std::int16_t* __restrict first;
    const std::int16_t* __restrict second;
    const std::int16_t* __restrict third;
    const std::int16_t* __restrict fourth;
    int16x4_t weights;
    int16x8_t offset;  // that the stored sums add to a result
};

inline int16x8_t loadNext(const std::int16_t* __restrict& row) {
    const int16x8_t sums = vld1q_s16(row);
    advance(row, 8);
    return sums;
}

/// The next 8 bytes.
inline uint8x8_t blendVector(Columns& columns) {
    const int16x4_t weights = columns.weights;
    const int16x8_t first = loadNext(columns.first);
    const int16x8_t second = loadNext(columns.second);
    const int16x8_t third = loadNext(columns.third);
    const int16x8_t fourth = loadNext(columns.fourth);
    int32x4_t low = vmull_lane_s16(vget_low_s16(first), weights, 0);
    int32x4_t high = vmull_lane_s16(vget_high_s16(first), weights, 0);
    low = vmlal_lane_s16(low, vget_low_s16(second), weights, 1);
    high = vmlal_lane_s16(high, vget_high_s16(second), weights, 1);
    low = vmlal_lane_s16(low, vget_low_s16(third), weights, 2);
    high = vmlal_lane_s16(high, vget_high_s16(third), weights, 2);
    low = vmlal_lane_s16(low, vget_low_s16(fourth), weights, 3);
    high = vmlal_lane_s16(high, vget_high_s16(fourth), weights, 3);
    const auto whole = join<int16x8_t>(vrshrn_n_s32(low, 14), vrshrn_n_s32(high, 14));
    return vqmovun_s16(vsubq_s16(whole, columns.offset));
}

inline void blendBlock(Columns& columns, std::uint8_t* dst) {
    const uint8x8_t low = blendVector(columns);
    const uint8x8_t high = blendVector(columns);
    vst1q_u8(dst, vcombine_u8(low, high));
}

void blend(const std::int16_t* const (&rows)[4],
           const std::int32_t* weights,
           std::uint32_t size,
           std::uint8_t* __restrict dst) {
    constexpr std::size_t BLOCK = BicubicRows::BLEND_SIZE;
    const std::int32_t sumOfWeights = weights[0] + weights[1] + weights[2] + weights[3];
    Columns columns = {rows[0],
                       rows[1],
                       rows[2],
                       rows[3],
                       vmovn_s32(vld1q_s32(weights)),
                       vdupq_n_s16(std::int16_t(sumOfWeights))};
    for (std::size_t blocks = size / BLOCK; blocks != 0; --blocks) {
        blendBlock(columns, dst);
        advance(dst, BLOCK);
    }
    // What remains is narrower than a block, so the last block overlaps the one before.
    if (const std::size_t rest = size % BLOCK) {
        const std::size_t start = size - BLOCK;
        columns.first = rows[0] + start;
        columns.second = rows[1] + start;
        columns.third = rows[2] + start;
        columns.fourth = rows[3] + start;
        blendBlock(columns, dst + rest - BLOCK);
    }
}

}  // namespace

const BicubicRows BicubicVectors = {{sum<16>, sum<32>}, blend};

}  // namespace Neon
}  // namespace Simd
