// Shrinking of bytes by the mean of the area that a destination pixel covers.
//
// With b the weighted column sums, C their running sum up to a cell, and for each edge k
//
//     E(k) = ax[k] b[ix[k]] - ax[0] C[ix[k]]
//
// the sum of pixel k is E(k) - E(k + 1), in arithmetic modulo 2^32: the share behind the first
// edge, the whole cells up to the second, less the share behind that. E(0) is 0. So a pixel costs
// the same however many cells it covers.
//
// Row weights need 15 bits. Whole rows in between are summed first, of which 15 bits hold 128.
// Where each pixel takes 2 x 2 or 3 x 3 whole cells there is one sum of them, without running sums.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/avx2/simd_area_sums.h"
#include "simd/avx2/simd_vectors.h"
#include "simd/simd_resizer.h"
#include "simd/simd_resizer_ratios.h"
#include "simd/simd_resizer_tables.h"
#include "simd/simd_row_step.h"
#include "simd/simd_whole_cells.h"

namespace Simd {
namespace Avx2 {
namespace {

constexpr std::size_t PARTS = 4;              // of a block
constexpr std::size_t BLOCK = PARTS * LANE;   // bytes of a source row
constexpr std::uint32_t COLUMN_BLOCK = 8;     // destination pixels of one channel
constexpr std::int32_t MIN_FULL_WEIGHT = 16;  // 2048 / 16 = 128 rows to a pixel
constexpr std::int32_t MAX_WEIGHT = 0x7FFF;

/// The source rows of a destination row.
struct Rows {
    const std::uint8_t* first;
    RowStep stride;
    std::uint32_t middleCount;
    __m256i outerWeights;  // of the first and the last row, in turn
    __m256i middleWeight;  // and 0, in turn
};

/// Column sums of 16 elements. A lane holds four neighbours, the other one those 8 further on.
struct Sums {
    __m256i even;  // 0 to 3 and 8 to 11
    __m256i odd;   // 4 to 7 and 12 to 15
};

inline __m256i words(const std::uint8_t* bytes) {
    return _mm256_cvtepu8_epi16(loadLane(bytes));
}

inline Sums weigh(__m256i a, __m256i b, __m256i weights) {
    return {_mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), weights),
            _mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), weights)};
}

using Block = Sums[PARTS];

/// Sums of neighbouring parts of a row, so that the loop over rows has several additions in turn.
template <bool HAS_MIDDLE, bool HAS_LAST>
inline void sumBlock(const Rows& rows, std::size_t offset, Block& sums) {
    const __m256i zero = _mm256_setzero_si256();
    const std::uint8_t* const first = rows.first + offset;
    const std::uint8_t* row = first;
    // Without tests inside, the sums stay in registers.
    if constexpr (HAS_MIDDLE) {
        __m256i middle[PARTS] = {zero, zero, zero, zero};
        for (std::uint32_t i = 0; i < rows.middleCount; ++i) {
            row += rows.stride;
            for (std::size_t k = 0; k < PARTS; ++k) {
                middle[k] = _mm256_add_epi16(middle[k], words(row + k * LANE));
            }
        }
        for (std::size_t k = 0; k < PARTS; ++k) {
            sums[k] = weigh(middle[k], zero, rows.middleWeight);
        }
    }
    row += HAS_LAST ? rows.stride.step : 0;
    for (std::size_t k = 0; k < PARTS; ++k) {
        const __m256i last = HAS_LAST ? words(row + k * LANE) : zero;
        const Sums outer = weigh(words(first + k * LANE), last, rows.outerWeights);
        sums[k] = HAS_MIDDLE ? Sums{_mm256_add_epi32(sums[k].even, outer.even),
                                    _mm256_add_epi32(sums[k].odd, outer.odd)}
                             : outer;
    }
}

inline void storeSums(std::uint32_t* target, const Sums& sums) {
    storeLane(target, lowLane(sums.even));
    storeLane(target + 4, lowLane(sums.odd));
    storeLane(target + 8, highLane(sums.even));
    storeLane(target + 12, highLane(sums.odd));
}

/// Keeps the column sums of a row of several channels.
struct PlainSums {
    std::uint32_t* sums;

    void start(std::size_t) {}
    void take(const Sums& block, std::size_t offset) { storeSums(sums + offset, block); }
};

/// Keeps the running column sums of a row of one channel, behind a zero.
struct RunningSums {
    std::uint32_t* sums;
    __m256i carry;

    static __m256i runningFours(__m256i v) {
        v = _mm256_add_epi32(v, _mm256_slli_si256(v, 4));
        return _mm256_add_epi32(v, _mm256_slli_si256(v, 8));
    }

    static __m256i lastOfLane(__m256i v) { return _mm256_shuffle_epi32(v, 0xFF); }

    void start(std::size_t offset) { carry = _mm256_set1_epi32(std::int32_t(sums[offset])); }

    void take(const Sums& block, std::size_t offset) {
        const __m256i even = runningFours(block.even);
        const __m256i odd = _mm256_add_epi32(runningFours(block.odd), lastOfLane(even));
        const __m256i eights = lastOfLane(odd);
        const __m256i before =
            _mm256_add_epi32(carry, _mm256_permute2x128_si256(eights, eights, 0x08));
        storeSums(sums + offset + 1,
                  {_mm256_add_epi32(even, before), _mm256_add_epi32(odd, before)});
        carry = _mm256_add_epi32(carry, _mm256_add_epi32(eights, highThenLow(eights, eights)));
    }
};

/// @param size bytes of a row, at least one block
template <bool HAS_MIDDLE, bool HAS_LAST, class Target>
inline void sumRows(const Rows& rows, std::size_t size, Target target) {
    const auto sumAt = [&](std::size_t offset) {
        Block block;
        sumBlock<HAS_MIDDLE, HAS_LAST>(rows, offset, block);
        for (std::size_t k = 0; k < PARTS; ++k) {
            target.take(block[k], offset + k * LANE);
        }
    };
    target.start(0);
    std::size_t offset = 0;
    for (; offset + BLOCK <= size; offset += BLOCK) {
        sumAt(offset);
    }
    // What remains is narrower than a block, so the last block overlaps the one before.
    if (offset < size) {
        target.start(size - BLOCK);
        sumAt(size - BLOCK);
    }
}

/// @p even and @p odd 16-bit lanes in turn.
inline __m256i inTurn(std::int32_t even, std::int32_t odd) {
    return _mm256_blend_epi16(_mm256_set1_epi16(std::int16_t(even)),
                              _mm256_set1_epi16(std::int16_t(odd)), 0xAA);
}

/// The vertical pass from one edge to the next, of which the first lies in row @p src.
template <class Target>
inline void sumRows(const std::uint8_t* src,
                    RowStep stride,
                    const std::int32_t* edge,
                    const std::int32_t* weight,
                    std::int32_t full,
                    std::size_t size,
                    Target target) {
    const std::int32_t count = edge[1] - edge[0];
    const std::int32_t first = count == 0 ? weight[0] - weight[1] : weight[0];
    const std::int32_t last = count == 0 ? 0 : full - weight[1];
    const Rows rows = {src, stride, std::uint32_t(count - 1), inTurn(first, last), inTurn(full, 0)};
    if (count > 1) {
        last != 0 ? sumRows<true, true>(rows, size, target)
                  : sumRows<true, false>(rows, size, target);
    } else {
        last != 0 ? sumRows<false, true>(rows, size, target)
                  : sumRows<false, false>(rows, size, target);
    }
}

/// Two neighbours from each of two places.
inline __m128i loadPairs(const std::uint32_t* first, const std::uint32_t* second) {
    return _mm_unpacklo_epi64(_mm_loadu_si64(first), _mm_loadu_si64(second));
}

/// E of eight edges; the sums are running ones.
inline __m256i edgeSums(const std::uint32_t* sums,
                        const std::int32_t* edge,
                        const std::int32_t* weight,
                        __m256i full) {
    const __m256 first = _mm256_castsi256_ps(lanesOf(loadPairs(sums + edge[0], sums + edge[1]),
                                                     loadPairs(sums + edge[4], sums + edge[5])));
    const __m256 second = _mm256_castsi256_ps(lanesOf(loadPairs(sums + edge[2], sums + edge[3]),
                                                      loadPairs(sums + edge[6], sums + edge[7])));
    const __m256i before =
        _mm256_castps_si256(_mm256_shuffle_ps(first, second, _MM_SHUFFLE(2, 0, 2, 0)));
    const __m256i running =
        _mm256_castps_si256(_mm256_shuffle_ps(first, second, _MM_SHUFFLE(3, 1, 3, 1)));
    return _mm256_sub_epi32(_mm256_mullo_epi32(_mm256_sub_epi32(running, before), load(weight)),
                            _mm256_mullo_epi32(running, full));
}

/// The horizontal pass on running sums of one channel; @p width is at least one block.
void sumColumns(const std::uint32_t* __restrict sums,
                const std::int32_t* __restrict edge,
                const std::int32_t* __restrict weight,
                std::uint32_t width,
                std::uint8_t* __restrict dst) {
    const __m256i full = _mm256_set1_epi32(weight[0]);
    const __m256i rotation = _mm256_setr_epi32(7, 0, 1, 2, 3, 4, 5, 6);
    // E of the edge before the block, in the first element.
    __m256i before = _mm256_setzero_si256();
    const auto block = [&](std::uint32_t x) {
        const __m256i sum = edgeSums(sums, edge + x + 1, weight + x + 1, full);
        const __m256i rotated = _mm256_permutevar8x32_epi32(sum, rotation);
        storeArea(_mm256_sub_epi32(_mm256_blend_epi32(rotated, before, 1), sum), dst + x);
        before = rotated;
    };
    std::uint32_t x = 0;
    for (; x + COLUMN_BLOCK <= width; x += COLUMN_BLOCK) {
        block(x);
    }
    if (x < width) {
        x = width - COLUMN_BLOCK;
        const std::uint32_t running = sums[edge[x] + 1];
        const std::uint32_t own = running - sums[edge[x]];
        before = _mm256_set1_epi32(
            std::int32_t(own * std::uint32_t(weight[x]) - running * std::uint32_t(weight[0])));
        block(x);
    }
}

/// The horizontal pass on pixels of 2 to 4 channels; elements beyond the channels mean nothing.
template <std::size_t CHANNELS>
class ColumnSummer {
public:
    ColumnSummer(const std::uint32_t* sums, const std::int32_t* edge, const std::int32_t* weight)
        : _sums(sums),
          _edge(edge),
          _weight(weight),
          _full(_mm_set1_epi32(*weight)),
          _cell(loadLane(sums)),
          _running(_cell),
          _before(_mm_setzero_si128()),
          _begin(*edge) {}

    /// The sum of the next pixel.
    __m128i next() {
        const std::int32_t end = *++_edge;
        for (std::int32_t cells = end - _begin; cells != 0; --cells) {
            _sums += CHANNELS;
            _cell = loadLane(_sums);
            _running = _mm_add_epi32(_running, _cell);
        }
        _begin = end;
        const __m128i share = _mm_mullo_epi32(_cell, _mm_set1_epi32(*++_weight));
        const __m128i edgeSum = _mm_sub_epi32(share, _mm_mullo_epi32(_running, _full));
        const __m128i pixel = _mm_sub_epi32(_before, edgeSum);
        _before = edgeSum;
        return pixel;
    }

private:
    const std::uint32_t* __restrict _sums;
    const std::int32_t* __restrict _edge;
    const std::int32_t* __restrict _weight;
    __m128i _full;
    __m128i _cell;
    __m128i _running;
    __m128i _before;
    std::int32_t _begin;
};

template <std::size_t CHANNELS>
void sumColumns(const std::uint32_t* sums,
                const std::int32_t* edge,
                const std::int32_t* weight,
                std::uint32_t width,
                std::uint8_t* __restrict dst) {
    ColumnSummer<CHANNELS> pixels(sums, edge, weight);
    // Four bytes are stored at once; what is too much the next pixel writes over.
    for (; width > 2; width -= 2, dst += 2 * CHANNELS) {
        const __m128i first = pixels.next();
        const __m256i bytes = areaBytes(lanesOf(first, pixels.next()));
        _mm_storeu_si32(dst, lowLane(bytes));
        _mm_storeu_si32(dst + CHANNELS, highLane(bytes));
    }
    for (; width != 0; --width, dst += CHANNELS) {
        const __m128i last = pixels.next();
        const std::int32_t pixel = _mm_cvtsi128_si32(lowLane(areaBytes(lanesOf(last, last))));
        std::memcpy(dst, &pixel, CHANNELS);
    }
}

}  // namespace

ResizerByteArea1x1::ResizerByteArea1x1(const ResizerParam& parameters)
    : Base::ResizerByteArea1x1(parameters) {}

ResizerByteArea1x1::~ResizerByteArea1x1() = default;

void ResizerByteArea1x1::Run(const std::uint8_t* src,
                             std::uint32_t srcStride,
                             std::uint8_t* dst,
                             std::uint32_t dstStride) {
    if (scaleWholeCells(param, {ix.data, ax.data}, {iy.data, ay.data}, RatioForms[RatioHalf],
                        MeansOfThirds[param.channels - 1], src, srcStride, dst, dstStride)) {
        return;
    }
    const std::size_t size = std::size_t{param.srcWidth} * param.channels;
    const std::int32_t full = ay.data[0];
    if (size < BLOCK || param.dstWidth < COLUMN_BLOCK || full < MIN_FULL_WEIGHT ||
        full > MAX_WEIGHT) {
        Base::ResizerByteArea1x1::Run(src, srcStride, dst, dstStride);
        return;
    }
    std::uint32_t* const sums = static_cast<std::uint32_t*>(static_cast<void*>(by.data));
    withChannels(param.channels, [&](auto channels) {
        for (std::uint32_t y = 0; y < param.dstHeight; ++y, dst += RowStep(dstStride)) {
            const std::uint8_t* const first = src + iy.data[y] * RowStep(srcStride);
            const auto sumInto = [&](auto target) {
                sumRows(first, srcStride, iy.data + y, ay.data + y, full, size, target);
            };
            // Both forms may touch up to three elements of the margin behind the buffer.
            if constexpr (channels == 1) {
                sums[0] = 0;
                sumInto(RunningSums{sums, _mm256_setzero_si256()});
                sumColumns(sums, ix.data, ax.data, param.dstWidth, dst);
            } else {
                sumInto(PlainSums{sums});
                sumColumns<channels>(sums, ix.data, ax.data, param.dstWidth, dst);
            }
        }
    });
}

}  // namespace Avx2
}  // namespace Simd
