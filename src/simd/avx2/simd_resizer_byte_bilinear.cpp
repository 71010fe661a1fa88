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
constexpr int SHIFT = 8;               // of both weights
constexpr std::uint32_t SUM_SIZE = 2;  // bytes

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

/// Two blocks, a lane each, whose windows have @p LANES times 16 bytes.
template <std::size_t LANES>
struct alignas(VECTOR) BlockPair {
    std::uint8_t weights[VECTOR];
    std::uint8_t positions[LANES][VECTOR];
    std::int32_t src[2];   // first bytes of the windows
    std::uint32_t dst[2];  // first elements that are written

    BlockPair(const GatherBlock* block, const std::uint8_t* pairs)
        : src{block[0].src, block[1].src}, dst{block[0].dst / SUM_SIZE, block[1].dst / SUM_SIZE} {
        store(weights, lanesOf(loadLane(pairs + block[0].dst), loadLane(pairs + block[1].dst)));
        const __m256i both = lanesOf(loadLane(block[0].shuffle), loadLane(block[1].shuffle));
        for (std::size_t i = 0; i < LANES; ++i) {
            store(positions[i], withinLanes(both, int(i), int(i)));
        }
    }

    /// @param first, second windows of a row
    __m256i sums(const std::uint8_t* first, const std::uint8_t* second) const {
        __m256i bytes = samples(first, second, 0);
        for (std::size_t i = 1; i < LANES; ++i) {
            bytes = _mm256_or_si256(bytes, samples(first, second, i));
        }
        return _mm256_maddubs_epi16(bytes, load(weights));
    }

    __m256i samples(const std::uint8_t* first, const std::uint8_t* second, std::size_t lane) const {
        const __m256i bytes =
            lanesOf(loadLane(first + lane * LANE), loadLane(second + lane * LANE));
        return _mm256_shuffle_epi8(bytes, load(positions[lane]));
    }
};

template <std::size_t LANES>
BlockPair<LANES>* pairsIn(const Table<std::uint8_t>& table) {
    return static_cast<BlockPair<LANES>*>(static_cast<void*>(table.data));
}

/// @param count   pairs of blocks
/// @param weights a pair for each element
template <std::size_t LANES>
void estimatePairs(const GatherBlock* blocks,
                   const std::uint8_t* weights,
                   std::uint32_t count,
                   Table<std::uint8_t>& table) {
    table.Resize(count * sizeof(BlockPair<LANES>), VECTOR);
    BlockPair<LANES>* const pairs = pairsIn<LANES>(table);
    for (std::size_t i = 0; i < count; ++i) {
        pairs[i] = BlockPair<LANES>(blocks + 2 * i, weights);
    }
}

/// Pairs in their order, as each may write beyond its elements.
[[gnu::flatten]] void gatherRow(const std::uint8_t* __restrict src,
                                const BlockPair<1>* __restrict pairs,
                                std::uint32_t count,
                                std::uint8_t* __restrict row) {
    for (const BlockPair<1>* pair = pairs; pair != pairs + count; ++pair) {
        const __m256i sums = pair->sums(src + pair->src[0], src + pair->src[1]);
        storeLane(row + std::size_t{pair->dst[0]} * SUM_SIZE, lowLane(sums));
        storeLane(row + std::size_t{pair->dst[1]} * SUM_SIZE, highLane(sums));
    }
}

/// Blends two rows at once. Where windows are wide, so much of the source is passed over that no
/// machine foresees the next rows.
/// @param ahead  bytes from the two rows to the next two
/// @param origin the element at @p dst
template <std::size_t LANES>
[[gnu::flatten]] void gatherBlend(const std::uint8_t* __restrict upper,
                                  const std::uint8_t* __restrict lower,
                                  std::int32_t lowerWeight,
                                  std::ptrdiff_t ahead,
                                  const BlockPair<LANES>* __restrict pairs,
                                  std::uint32_t count,
                                  std::uint32_t origin,
                                  std::uint8_t* __restrict dst) {
    const RowWeights weights(lowerWeight);
    for (const BlockPair<LANES>* pair = pairs; pair != pairs + count; ++pair) {
        const auto sumsOf = [&](const std::uint8_t* row) {
            const std::uint8_t* const first = row + pair->src[0];
            const std::uint8_t* const second = row + pair->src[1];
            if (LANES > 1) {
                __builtin_prefetch(first + ahead);
                __builtin_prefetch(second + ahead);
            }
            return pair->sums(first, second);
        };
        const __m256i blended = blend(sumsOf(upper), sumsOf(lower), weights);
        const __m256i bytes = _mm256_packus_epi16(blended, blended);
        _mm_storeu_si64(dst + (pair->dst[0] - origin), lowLane(bytes));
        _mm_storeu_si64(dst + (pair->dst[1] - origin), highLane(bytes));
    }
}

constexpr std::uint32_t WIDE = 3;   // lanes of a wide window
constexpr float WIDE_RATIO = 4.5f;  // from which fewer blocks make up for the work that they need

/// A block of the last elements of a row, which ends with it.
/// @return whether a window holds their samples
bool estimateLastBlock(const ResizerParam& p,
                       const std::int32_t* index,
                       std::uint32_t window,
                       GatherBlock& block) {
    constexpr std::uint32_t COUNT = GATHER_PAIRS / 2;
    const std::uint32_t begin = p.dstWidth * p.channels - COUNT;
    std::uint32_t samples[COUNT];
    std::uint32_t first = p.srcWidth * p.channels - window;
    std::uint32_t last = 0;
    for (std::uint32_t i = 0; i < COUNT; ++i) {
        const std::uint32_t x = (begin + i) / p.channels;
        samples[i] = std::uint32_t(index[x]) * p.channels + (begin + i) % p.channels;
        first = samples[i] < first ? samples[i] : first;
        last = samples[i] > last ? samples[i] : last;
    }
    block.src = std::int32_t(first);
    block.dst = 2 * begin;
    for (std::size_t i = 0; i < COUNT; ++i) {
        block.shuffle[2 * i] = std::uint8_t(samples[i] - first);
        block.shuffle[2 * i + 1] = std::uint8_t(samples[i] - first + p.channels);
    }
    return last + p.channels - first < window;
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

void ResizerByteBilinear::EstimateRows() {
    ay.Resize(param.dstHeight, param.alignment);
    iy.Resize(param.dstHeight, param.alignment);
    estimateByteTaps(param.srcHeight, param.dstHeight, iy.data, ay.data);
    ratio = findRatio(RatioForms, param);
}

void ResizerByteBilinear::EstimateColumns() {
    const std::uint32_t channels = param.channels;
    ix.Resize(param.dstWidth, param.alignment);
    ax.Resize(param.dstWidth, param.alignment);
    weights.Resize(std::uint64_t{2} * param.dstWidth * channels, param.alignment);
    estimateByteTaps(param.srcWidth, param.dstWidth, ix.data, ax.data);
    estimateWeightPairs(param, ax.data, weights.data);
}

void ResizerByteBilinear::EstimateBlocks() {
    EstimateColumns();
    const std::uint32_t size = param.dstWidth * param.channels;
    const std::uint32_t srcSize = param.srcWidth * param.channels;
    const bool shrinks = param.srcHeight >= param.dstHeight;
    isWide = shrinks && srcSize >= WIDE * LANE &&
             float(param.srcWidth) > WIDE_RATIO * float(param.dstWidth);
    const std::uint32_t window = isWide ? WIDE * LANE : GATHER_WINDOW;
    blocks.Resize(size + 1, param.alignment);
    std::uint32_t count = estimateGatherBlocks(param, ix.data, blocks.data, window);
    const std::uint32_t lastFull = SUM_SIZE * size - GATHER_PAIRS;
    const auto isInside = [&](std::uint32_t block) { return blocks.data[block].dst <= lastFull; };
    GatherBlock last;
    if (!isInside(count - 1) && estimateLastBlock(param, ix.data, window, last)) {
        while (!isInside(count - 1)) {
            --count;
        }
        blocks.data[count++] = last;
    }
    if (count % 2 != 0) {
        // A last single block is written twice.
        blocks.data[count] = blocks.data[count - 1];
        ++count;
    }
    pairCount = insideCount = count / 2;
    while (!isInside(2 * insideCount - 1)) {
        --insideCount;
    }
    const auto estimate = isWide ? estimatePairs<WIDE> : estimatePairs<1>;
    estimate(blocks.data, weights.data, pairCount, pairs);
    if (!shrinks) {
        rows[0].Resize(std::uint64_t{SUM_SIZE} * size, param.alignment);
        rows[1].Resize(std::uint64_t{SUM_SIZE} * size, param.alignment);
    }
}

template <std::size_t LANES>
void ResizerByteBilinear::BlendPairs(const std::uint8_t* upper,
                                     const std::uint8_t* lower,
                                     std::int32_t lowerWeight,
                                     std::ptrdiff_t ahead,
                                     std::uint8_t* dst) const {
    const BlockPair<LANES>* const first = pairsIn<LANES>(pairs);
    gatherBlend(upper, lower, lowerWeight, ahead, first, insideCount, 0, dst);
    if (insideCount != pairCount) {
        // The last blocks would write beyond the row.
        const std::uint32_t begin = first[insideCount].dst[0];
        std::uint8_t tail[VECTOR];
        gatherBlend(upper, lower, lowerWeight, ahead, first + insideCount, pairCount - insideCount,
                    begin, tail);
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
    if (iy.size == 0) {
        EstimateRows();
    }
    const std::size_t size = std::size_t{param.dstWidth} * param.channels;
    const bool shrinks = param.srcHeight >= param.dstHeight;
    const auto interpolate = [&](std::int32_t row, std::uint8_t* sums) {
        gatherRow(src + row * RowStep(srcStride), pairsIn<1>(pairs), pairCount, sums);
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
            if (pairCount == 0) {
                EstimateBlocks();
                pair = {rows[0].data, rows[1].data};
            }
            if (shrinks) {
                const bool last = y + 1 == param.dstHeight;
                const std::ptrdiff_t ahead = last ? 0 : (index[1] - *index) * RowStep(srcStride);
                if (isWide) {
                    BlendPairs<WIDE>(upper, lower, weight, ahead, dst);
                } else {
                    BlendPairs<1>(upper, lower, weight, ahead, dst);
                }
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
