// Linear interpolation of bytes, first along rows, then between two rows.
//
//     row = p (16 - a) + q a,                     at most 4080
//     (r0 (16 - a) + r1 a + 128) >> 8,            at most 65408 before the shift
//
// A shuffle brings the two samples of 8 elements together within a lane, where one instruction
// weighs and adds them. So two blocks of 16 source bytes make a vector of sums. Weights are at most
// 16, which suits the signed operand.
//
// Nothing is rounded between the two directions. Images that don't grow are therefore scaled
// without rows of sums, and where a row alone counts it takes the place of both.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/avx2/simd_lookup.h"
#include "simd/avx2/simd_vectors.h"
#include "simd/simd_blocks.h"
#include "simd/simd_gather_blocks.h"
#include "simd/simd_resizer.h"
#include "simd/simd_resizer_ratios.h"
#include "simd/simd_resizer_tables.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Avx2 {
namespace {

constexpr std::int32_t FRACTION = 16;
constexpr int SHIFT = 8;                // of both weights
constexpr std::size_t SUM_SIZE = 2;     // bytes
constexpr std::uint32_t WIDE_GAIN = 4;  // elements of a block that take the time of a wide window

struct RowWeights {
    __m256i upper;
    __m256i lower;

    explicit RowWeights(std::int32_t weight)
        : upper(_mm256_set1_epi16(std::int16_t(FRACTION - weight))),
          lower(_mm256_set1_epi16(std::int16_t(weight))) {}
};

inline __m256i blend(__m256i upper, __m256i lower, const RowWeights& weights) {
    const __m256i sum = _mm256_add_epi16(_mm256_mullo_epi16(upper, weights.upper),
                                         _mm256_mullo_epi16(lower, weights.lower));
    return _mm256_srli_epi16(_mm256_add_epi16(sum, _mm256_set1_epi16(1 << (SHIFT - 1))), SHIFT);
}

/// Two blocks, a lane each.
struct BlockPair {
    const GatherBlock* block;
    __m256i positions;
    __m256i weights;

    BlockPair(const GatherBlock* first, const std::uint8_t* pairs)
        : block(first),
          positions(lanesOf(loadLane(first[0].shuffle), loadLane(first[1].shuffle))),
          weights(lanesOf(loadLane(pairs + first[0].dst), loadLane(pairs + first[1].dst))) {}

    __m256i sums(const std::uint8_t* src) const {
        const __m256i bytes = lanesOf(loadLane(src + block[0].src), loadLane(src + block[1].src));
        return _mm256_maddubs_epi16(_mm256_shuffle_epi8(bytes, positions), weights);
    }
};

/// Blocks in their order, as each may write beyond its elements.
/// @param count at least 2
template <class Function>
inline void forBlockPairs(const GatherBlock* block,
                          std::uint32_t count,
                          const std::uint8_t* pairs,
                          Function function) {
    for (std::uint32_t i = count / 2; i != 0; --i, block += 2) {
        function(BlockPair(block, pairs));
    }
    // A last single block goes with the one before.
    if (count % 2 != 0) {
        function(BlockPair(block - 1, pairs));
    }
}

[[gnu::flatten]] void gatherRow(const std::uint8_t* __restrict src,
                                const GatherBlock* __restrict blocks,
                                std::uint32_t count,
                                const std::uint8_t* __restrict pairs,
                                std::uint8_t* __restrict row) {
    forBlockPairs(blocks, count, pairs, [&](const BlockPair& pair) {
        const __m256i sums = pair.sums(src);
        storeLane(row + pair.block[0].dst, lowLane(sums));
        storeLane(row + pair.block[1].dst, highLane(sums));
    });
}

/// Blends two rows at once.
/// @param dst receives the first element of the first block
[[gnu::flatten]] void gatherBlend(const std::uint8_t* __restrict upper,
                                  const std::uint8_t* __restrict lower,
                                  std::int32_t lowerWeight,
                                  const GatherBlock* __restrict blocks,
                                  std::uint32_t count,
                                  const std::uint8_t* __restrict pairs,
                                  std::uint8_t* __restrict dst) {
    const RowWeights weights(lowerWeight);
    const std::uint32_t origin = blocks->dst;
    forBlockPairs(blocks, count, pairs, [&](const BlockPair& pair) {
        const __m256i sums = blend(pair.sums(upper), pair.sums(lower), weights);
        const __m256i bytes = _mm256_packus_epi16(sums, sums);
        _mm_storeu_si64(dst + (pair.block[0].dst - origin) / SUM_SIZE, lowLane(bytes));
        _mm_storeu_si64(dst + (pair.block[1].dst - origin) / SUM_SIZE, highLane(bytes));
    });
}

constexpr std::uint32_t WIDE_WINDOW = 64;

/// The same for blocks of wide windows, one after the other. A lane is a row here. So much of the
/// source is passed over that no machine foresees the next rows.
/// @param ahead bytes from the two rows to the next two
[[gnu::flatten]] void gatherBlendWide(const std::uint8_t* __restrict upper,
                                      const std::uint8_t* __restrict lower,
                                      std::int32_t lowerWeight,
                                      std::ptrdiff_t ahead,
                                      const GatherBlock* __restrict blocks,
                                      const std::uint8_t* __restrict positions,
                                      std::uint32_t count,
                                      const std::uint8_t* __restrict pairs,
                                      std::uint8_t* __restrict dst) {
    const RowWeights weights(lowerWeight);
    const __m256i rowWeights = lowThenHigh(weights.upper, weights.lower);
    const __m128i half = _mm_set1_epi16(1 << (SHIFT - 1));
    const std::uint32_t origin = blocks->dst;
    for (const GatherBlock* block = blocks; block != blocks + count; ++block) {
        const std::uint8_t* const first = upper + block->src;
        const std::uint8_t* const second = lower + block->src;
        __builtin_prefetch(first + ahead);
        __builtin_prefetch(second + ahead);
        const __m256i above = lookUpLanes<WIDE_WINDOW>(first, positions);
        const __m256i below = lookUpLanes<WIDE_WINDOW>(second, positions);
        const __m256i samples = _mm256_or_si256(lowLanes(above, below), highLanes(above, below));
        const __m256i sums = _mm256_maddubs_epi16(
            samples, _mm256_broadcastsi128_si256(loadLane(pairs + block->dst)));
        const __m256i weighed = _mm256_mullo_epi16(sums, rowWeights);
        const __m128i sum = _mm_add_epi16(lowLane(weighed), highLane(weighed));
        const __m128i rounded = _mm_srli_epi16(_mm_add_epi16(sum, half), SHIFT);
        _mm_storeu_si64(dst + (block->dst - origin) / SUM_SIZE, _mm_packus_epi16(rounded, rounded));
        positions += WIDE_WINDOW;
    }
}

/// @param size bytes of the destination row, at least a vector
[[gnu::flatten]] void blendRows(const std::uint8_t* __restrict upper,
                                const std::uint8_t* __restrict lower,
                                std::int32_t lowerWeight,
                                std::size_t size,
                                std::uint8_t* __restrict dst) {
    const RowWeights weights(lowerWeight);
    const auto kernel = [&](const std::uint8_t* first, const std::uint8_t* second,
                            std::uint8_t* to) {
        const __m256i low = blend(loadLanes(first, VECTOR), loadLanes(second, VECTOR), weights);
        const __m256i high =
            blend(loadLanes(first + LANE, VECTOR), loadLanes(second + LANE, VECTOR), weights);
        store(to, _mm256_packus_epi16(low, high));
    };
    using Sums = Source<VECTOR * SUM_SIZE>;
    processRow<VECTOR>(size, kernel, Sums{upper, 0u}, Sums{lower, 0u}, Target<VECTOR>{dst, 0u});
}

}  // namespace

ResizerByteBilinear::ResizerByteBilinear(const ResizerParam& parameters)
    : Base::ResizerByteBilinear(parameters) {}

ResizerByteBilinear::~ResizerByteBilinear() = default;

void ResizerByteBilinear::EstimateColumns() {
    const std::uint32_t size = param.dstWidth * param.channels;
    ix.Resize(param.dstWidth, param.alignment);
    weights.Resize(std::uint64_t{2} * size, param.alignment);
    estimateWeightPairs(param, ix.data, weights.data);
    ratio = findRatio(RatioForms, param, ix.data, weights.data);
}

void ResizerByteBilinear::EstimateBlocks() {
    const std::uint32_t size = param.dstWidth * param.channels;
    blocks.Resize(size, param.alignment);
    rows[0].Resize(SUM_SIZE * size, param.alignment);
    rows[1].Resize(SUM_SIZE * size, param.alignment);
    blockCount = estimateGatherBlocks(param, ix.data, blocks.data);
    // Where the samples lie so far apart that a block has few of them, wide windows need more work
    // for a block, but for fewer blocks.
    const bool shrinks = param.srcHeight >= param.dstHeight;
    if (shrinks && blockCount * WIDE_GAIN > size &&
        param.srcWidth * param.channels >= WIDE_WINDOW) {
        blockCount = estimateGatherBlocks(param, ix.data, blocks.data, WIDE_WINDOW);
        positions.Resize(std::uint64_t{blockCount} * WIDE_WINDOW, param.alignment);
        for (std::size_t i = 0; i < blockCount; ++i) {
            std::memcpy(positions.data + i * GATHER_PAIRS, blocks.data[i].shuffle, GATHER_PAIRS);
        }
        spread<WIDE_WINDOW>(positions.data, blockCount);
    }
    insideCount = blockCount;
    while (blocks.data[insideCount - 1].dst + GATHER_PAIRS > SUM_SIZE * size) {
        --insideCount;
    }
}

void ResizerByteBilinear::BlendBlocks(const std::uint8_t* upper,
                                      const std::uint8_t* lower,
                                      std::int32_t lowerWeight,
                                      std::ptrdiff_t ahead,
                                      std::uint8_t* dst) const {
    const auto blendBlocks = [&](std::size_t first, std::uint32_t count, std::uint8_t* to) {
        const GatherBlock* const block = blocks.data + first;
        if (positions.size != 0) {
            gatherBlendWide(upper, lower, lowerWeight, ahead, block,
                            positions.data + first * WIDE_WINDOW, count, weights.data, to);
        } else {
            gatherBlend(upper, lower, lowerWeight, block, count, weights.data, to);
        }
    };
    blendBlocks(0, insideCount, dst);
    if (insideCount != blockCount) {
        // The last blocks would write beyond the row.
        const std::uint32_t last = insideCount - 1;
        const std::size_t begin = blocks.data[last].dst / SUM_SIZE;
        std::uint8_t tail[VECTOR];
        blendBlocks(last, blockCount - last, tail);
        std::memcpy(dst + begin, tail, std::size_t{param.dstWidth} * param.channels - begin);
    }
}

std::uint32_t ResizerByteBilinear::ScaleByRatio(std::uint32_t y,
                                                const std::uint8_t* upper,
                                                const std::uint8_t* lower,
                                                std::uint8_t* dst,
                                                std::ptrdiff_t dstStep) const {
    if (ratio == nullptr) {
        return 0;
    }
    const auto scale = ratio->functions[param.channels - 1];
    const std::uint32_t periods =
        periodsAhead(ratio->ratio, iy.data + y, ay.data + y, param.dstHeight - y);
    if (periods != 0) {
        scale(upper, lower - upper, dst, dstStep, param.dstWidth, periods);
        return periods * ratio->ratio.period;
    }
    if (lower == upper) {
        scale(upper, 0, dst, 0, param.dstWidth, 1);
        return 1;
    }
    return 0;
}

void ResizerByteBilinear::Run(const std::uint8_t* src,
                              std::uint32_t srcStride,
                              std::uint8_t* dst,
                              std::uint32_t dstStride) {
    if (weights.size == 0) {
        EstimateColumns();
    }
    const std::size_t size = std::size_t{param.dstWidth} * param.channels;
    const bool shrinks = param.srcHeight >= param.dstHeight;
    const auto interpolate = [&](std::int32_t row, std::uint8_t* sums) {
        gatherRow(src + row * RowStep(srcStride), blocks.data, blockCount, weights.data, sums);
    };
    RowPair<std::uint8_t*> pair = {rows[0].data, rows[1].data};
    for (std::uint32_t y = 0, count = 1; y < param.dstHeight; y += count) {
        const std::int32_t* const index = iy.data + y;
        const std::int32_t weight = ay.data[y];
        const bool single = weight % FRACTION == 0;
        const std::uint8_t* const upper =
            src + (*index + (weight == FRACTION ? 1 : 0)) * RowStep(srcStride);
        const std::uint8_t* const lower = single ? upper : upper + RowStep(srcStride);
        count = ScaleByRatio(y, upper, lower, dst, RowStep(dstStride));
        if (count == 0) {
            count = 1;
            if (blockCount == 0) {
                EstimateBlocks();
                pair = {rows[0].data, rows[1].data};
            }
            if (shrinks) {
                const bool last = y + 1 == param.dstHeight;
                const std::ptrdiff_t ahead = last ? 0 : (index[1] - *index) * RowStep(srcStride);
                BlendBlocks(upper, lower, weight, ahead, dst);
            } else {
                pair.moveTo(*index, interpolate);
                blendRows(pair.upper, pair.lower, weight, size, dst);
            }
        }
        dst += std::ptrdiff_t(count) * RowStep(dstStride);
    }
}

}  // namespace Avx2
}  // namespace Simd
