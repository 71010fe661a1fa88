// Linear interpolation of bytes, first along rows, then between two rows.
//
//     row = p (16 - a) + q a,                     at most 4080
//     (r0 (16 - a) + r1 a + 128) >> 8,            at most 65408 before the shift
//
// Nothing is rounded between the two directions. Images that don't grow are therefore scaled
// without rows of sums, and where a row alone counts it takes the place of both.

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_bilinear_blocks.h"
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

constexpr std::size_t FULL = 8;  // elements of a lane

/// Writes up to a lane beyond the row.
/// @tparam SUMS  elements of a lane
/// @param size   elements of the row
template <std::size_t WINDOWS, std::size_t SUMS>
[[gnu::flatten]] void gatherRow(const std::uint8_t* __restrict src,
                                const Table<std::uint8_t>& blocks,
                                std::uint32_t size,
                                std::uint8_t* __restrict row) {
    constexpr std::size_t BYTES = SUM_SIZE * SUMS;
    const Steps steps = {size, SUMS};
    const Block<WINDOWS>* __restrict block = blocksIn<WINDOWS>(blocks);
    for (std::uint32_t step = 0; step < steps.count(); ++step, block += 2) {
        std::uint8_t* const to = row + std::size_t{SUM_SIZE} * steps.start(step);
        const __m256i first = block[0].sums(src);
        const __m256i second = block[1].sums(src);
        storeLane(to, lowLane(first));
        storeLane(to + BYTES, lowLane(second));
        storeLane(to + 2 * BYTES, highLane(first));
        storeLane(to + 3 * BYTES, highLane(second));
    }
}

template <std::size_t SUMS>
constexpr Shuffle shuffleOfClose() {
    Shuffle shuffle = {};
    for (std::size_t i = 0; i < LANE; ++i) {
        const std::size_t from = i < SUMS ? i : i + FULL - SUMS;
        shuffle.from[i] = from < LANE ? std::uint8_t(from) : Shuffle::ZERO;
    }
    return shuffle;
}

/// Four times SUMS bytes, without what they lack of 8 each.
template <std::size_t SUMS>
inline void storeClosed(std::uint8_t* dst, __m256i bytes) {
    if constexpr (SUMS == FULL) {
        store(dst, bytes);
    } else {
        constexpr std::size_t HALF = 2 * SUMS;
        static constexpr Shuffle CLOSE = shuffleOfClose<SUMS>();
        const __m256i closed = shuffle(bytes, CLOSE);
        const __m128i high = highLane(closed);
        storeLane(dst, lowLane(closed));
        _mm_storeu_si64(dst + HALF, high);
        _mm_storeu_si64(dst + 2 * HALF - FULL, _mm_srli_si128(high, HALF - FULL));
    }
}

/// Blends two rows at once. Where samples are far apart, so much of the source is passed over that
/// no machine foresees the next rows.
/// @param ahead bytes from the two rows to the next two
template <std::size_t WINDOWS, std::size_t SUMS>
[[gnu::flatten]] void gatherBlend(const std::uint8_t* __restrict upper,
                                  const std::uint8_t* __restrict lower,
                                  std::int32_t lowerWeight,
                                  std::ptrdiff_t ahead,
                                  const Table<std::uint8_t>& blocks,
                                  std::uint32_t size,
                                  std::uint8_t* __restrict dst) {
    constexpr std::size_t FORESEEN = WINDOWS > 2 ? 2 : WINDOWS - 1;  // windows of a block
    const Steps steps = {size, SUMS};
    const RowWeights weights(lowerWeight);
    const auto blended = [&](const Block<WINDOWS>& block) {
        for (std::size_t lane = 0; lane < FORESEEN; ++lane) {
            __builtin_prefetch(upper + block.src[0][lane] + ahead);
            __builtin_prefetch(lower + block.src[0][lane] + ahead);
        }
        return blend(block.sums(upper), block.sums(lower), weights);
    };
    const Block<WINDOWS>* __restrict block = blocksIn<WINDOWS>(blocks);
    for (std::uint32_t step = 0; step < steps.count(); ++step, block += 2) {
        const __m256i bytes = _mm256_packus_epi16(blended(block[0]), blended(block[1]));
        storeClosed<SUMS>(dst + steps.start(step), bytes);
    }
}

/// What serves lanes of so many elements from so many windows.
struct BlockForm {
    std::uint32_t lane;
    decltype(estimateBlocks<1>)* estimate;
    decltype(gatherRow<1, FULL>)* gather;
    decltype(gatherBlend<1, FULL>)* blend;
};

template <std::size_t WINDOWS, std::size_t SUMS = FULL>
constexpr BlockForm BLOCKS = {SUMS, estimateBlocks<WINDOWS>, gatherRow<WINDOWS, SUMS>,
                              gatherBlend<WINDOWS, SUMS>};

// From the quickest on. The last ones always serve. Pixels of 3 bytes don't fill a lane, and what
// starts or ends within one would need a window for it.
constexpr BlockForm FORMS[] = {BLOCKS<1>, BLOCKS<2>, BLOCKS<3>, BLOCKS<4>, BLOCKS<8>};
constexpr BlockForm BGR_FORMS[] = {BLOCKS<1>, BLOCKS<1, 7>, BLOCKS<1, 6>, BLOCKS<2, 6>};

inline const BlockForm& formOf(std::uint32_t channels, std::size_t number) {
    return channels == 3 ? BGR_FORMS[number] : FORMS[number];
}

/// Whether the lines of memory that two rows and the next two are taken from fill no more than half
/// the first cache, so that they are still there when they are used.
bool linesStay(const ResizerParam& p) {
    constexpr std::uint64_t LINE = 64;
    constexpr std::uint64_t LIMIT = 6144;  // bytes of a row
    return std::uint64_t{p.srcWidth} * p.channels <= LIMIT || p.dstWidth * LINE <= LIMIT;
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

void ResizerByteBilinear::EstimateBlocks() {
    const std::uint32_t size = param.dstWidth * param.channels;
    ix.Resize(param.dstWidth, param.alignment);
    ax.Resize(param.dstWidth, param.alignment);
    estimateByteTaps(param.srcWidth, param.dstWidth, ix.data, ax.data);
    const auto channels = std::int32_t(param.channels);
    const std::int32_t lastWindow = std::int32_t(param.srcWidth) * channels - std::int32_t(LANE);
    Columns columns = {ix.data, ax.data, channels, lastWindow, {size, FULL}};
    const auto estimate = [&](const BlockForm& form) {
        columns.steps.lane = form.lane;
        return form.estimate(columns, blocks);
    };
    blockForm = 0;
    while (!estimate(formOf(param.channels, blockForm))) {
        ++blockForm;
    }
    if (param.srcHeight < param.dstHeight) {
        for (Table<std::uint8_t>& row : rows) {
            row.Resize(std::uint64_t{SUM_SIZE} * size + LANE, param.alignment);
        }
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
    const std::uint32_t size = param.dstWidth * param.channels;
    const bool shrinks = param.srcHeight >= param.dstHeight;
    const bool foresees = linesStay(param);
    const auto interpolate = [&](std::int32_t row, std::uint8_t* sums) {
        formOf(param.channels, blockForm)
            .gather(src + row * RowStep(srcStride), blocks, size, sums);
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
            if (blocks.size == 0) {
                EstimateBlocks();
                pair = {rows[0].data, rows[1].data};
            }
            if (shrinks) {
                const bool last = y + 1 == param.dstHeight;
                const std::int32_t ahead = foresees && !last ? index[1] - *index : 0;
                formOf(param.channels, blockForm)
                    .blend(upper, lower, weight, ahead * RowStep(srcStride), blocks, size, dst);
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
