// Rows of areas that are weighed along rows first, and then blended.
//
// Weights have 16 bits, so that one instruction weighs and adds two neighbours: cells, or sums of
// cells of several rows. A row of such sums serves every destination row that takes its source
// rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/avx2/simd_area_cells.h"
#include "simd/avx2/simd_area_sums.h"
#include "simd/avx2/simd_vectors.h"
#include "simd/simd_area_tables.h"
#include "simd/simd_resizer.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Avx2 {
// Compiled into each kernel apart: nothing that is built for AVX2 may serve other code.
namespace {

// ---- Pairs of neighbours, by look-ups ----------------------------------------------------------

/// Sums of a row, or of several whole rows, for two blocks of 8 elements. Each has a lane.
inline void sumPairBlocks(const AddedRows& rows,
                          const GatherBlock* block,
                          const std::int16_t* weights,
                          std::int32_t* sums) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i positions = lanesOf(loadLane(block[0].shuffle), loadLane(block[1].shuffle));
    const std::uint8_t* row = rows.first;
    const auto nextPairs = [&] {
        const __m256i bytes = lanesOf(loadLane(row + block[0].src), loadLane(row + block[1].src));
        row += rows.stride;
        return _mm256_shuffle_epi8(bytes, positions);
    };
    const __m256i pairs = nextPairs();
    __m256i low = _mm256_unpacklo_epi8(pairs, zero);
    __m256i high = _mm256_unpackhi_epi8(pairs, zero);
    for (std::int32_t i = rows.count; i > 1; --i) {
        const __m256i more = nextPairs();
        low = _mm256_add_epi16(low, _mm256_unpacklo_epi8(more, zero));
        high = _mm256_add_epi16(high, _mm256_unpackhi_epi8(more, zero));
    }
    const std::int16_t* const first = weights + block[0].dst;
    const std::int16_t* const second = weights + block[1].dst;
    low = _mm256_madd_epi16(low, lanesOf(loadLane(first), loadLane(second)));
    high = _mm256_madd_epi16(high, lanesOf(loadLane(first + 8), loadLane(second + 8)));
    // In their order, as each may write beyond its elements.
    store(sums + block[0].dst / 2, lowLanes(low, high));
    store(sums + block[1].dst / 2, highLanes(low, high));
}

/// @param count of blocks, at least 2
inline void sumPairs(const AddedRows& rows,
                     const GatherBlock* __restrict block,
                     std::uint32_t count,
                     const std::int16_t* __restrict weights,
                     std::int32_t* __restrict sums) {
    for (std::uint32_t i = count / 2; i != 0; --i, block += 2) {
        sumPairBlocks(rows, block, weights, sums);
    }
    // A last single block goes with the one before.
    if (count % 2 != 0) {
        sumPairBlocks(rows, block - 1, weights, sums);
    }
}

// ---- Windows of one channel ---------------------------------------------------------------------

/// Sums of a block of cells in 16 bits.
template <class Cells>
inline void sumWordBlock(const AddedRows& rows, std::size_t offset, std::int16_t* words) {
    constexpr std::size_t PART_BYTES = LANE * Cells::SIDE;
    const std::uint8_t* row = rows.first + offset * Cells::SIDE;
    __m256i sums[PARTS];
    for (std::size_t k = 0; k < PARTS; ++k) {
        sums[k] = Cells::words(row + k * PART_BYTES, rows.partnerOf(0));
    }
    for (std::int32_t i = 1; i < rows.count; ++i) {
        row += rows.stride;
        for (std::size_t k = 0; k < PARTS; ++k) {
            sums[k] =
                _mm256_add_epi16(sums[k], Cells::words(row + k * PART_BYTES, rows.partnerOf(i)));
        }
    }
    for (std::size_t k = 0; k < PARTS; ++k) {
        store(words + offset + k * LANE, sums[k]);
    }
}

/// @param width of the image in pixels, at least a block of cells
template <class Cells>
inline void sumWords(const AddedRows& rows, std::uint32_t width, std::int16_t* __restrict words) {
    constexpr std::size_t BLOCK = CELL_BLOCK<Cells>;
    const std::size_t size = width / Cells::SIDE;
    std::size_t offset = 0;
    for (; offset + BLOCK <= size; offset += BLOCK) {
        sumWordBlock<Cells>(rows, offset, words);
    }
    // What remains is narrower than a block, so the last block overlaps the one before.
    if (offset < size) {
        sumWordBlock<Cells>(rows, size - BLOCK, words);
    }
    if (width % Cells::SIDE != 0) {
        // A last pixel without a partner counts twice.
        const std::uint8_t* row = rows.first + size * Cells::SIDE;
        std::int32_t sum = 0;
        for (std::int32_t i = 0; i < rows.count; ++i, row += rows.stride) {
            sum += 2 * (row[0] + row[rows.partnerOf(i)]);
        }
        words[size] = std::int16_t(sum);
    }
}

/// @tparam WINDOWS of a column; 0 for @p windows
template <std::uint32_t WINDOWS>
inline void sumWindows(const std::int16_t* __restrict words,
                       const std::int32_t* __restrict first,
                       const std::int16_t* __restrict weights,
                       std::uint32_t windows,
                       std::uint32_t width,
                       std::int32_t* __restrict sums) {
    const std::uint32_t count = WINDOWS != 0 ? WINDOWS : windows;
    for (std::uint32_t x = 0; x < width; x += AREA_BLOCK) {
        __m256i partial[AREA_BLOCK / 2];
        for (std::size_t j = 0; j < AREA_BLOCK / 2; ++j) {
            const std::int16_t* near = words + first[x + j];
            const std::int16_t* far = words + first[x + j + AREA_BLOCK / 2];
            partial[j] = _mm256_setzero_si256();
            for (std::uint32_t i = 0; i < count; ++i) {
                const __m256i cells = lanesOf(loadLane(near), loadLane(far));
                partial[j] = _mm256_add_epi32(partial[j], _mm256_madd_epi16(cells, load(weights)));
                near += AREA_WINDOW;
                far += AREA_WINDOW;
                weights += std::size_t{2} * AREA_WINDOW;
            }
        }
        store(sums + x, _mm256_hadd_epi32(_mm256_hadd_epi32(partial[0], partial[1]),
                                          _mm256_hadd_epi32(partial[2], partial[3])));
    }
}

// ---- Blending -----------------------------------------------------------------------------------

/// Rows of sums that make up a destination row.
struct WeighedRows {
    static constexpr std::size_t MAX_COUNT = 3;

    const std::int32_t* sums[MAX_COUNT];
    std::int32_t weight[MAX_COUNT];
    std::size_t count = 0;

    void add(const std::int32_t* row, std::int32_t rowWeight) {
        sums[count] = row;
        weight[count++] = rowWeight;
    }
};

constexpr int TOP_BYTE = 24;                      // of 32 bits
constexpr int TOP_SHIFT = TOP_BYTE - AREA_SHIFT;  // takes the wanted bits there
constexpr std::int32_t TOP_HALF = 1 << (TOP_BYTE - 1);

/// The wanted bits become the highest ones: what is above them is cut off, and packs don't
/// saturate.
template <std::size_t COUNT>
struct Blender {
    const WeighedRows& rows;
    __m256i weight[COUNT];

    explicit Blender(const WeighedRows& weighed) : rows(weighed) {
        for (std::size_t i = 0; i < COUNT; ++i) {
            const std::uint32_t shifted = std::uint32_t(rows.weight[i]) << TOP_SHIFT;
            weight[i] = _mm256_set1_epi32(std::int32_t(shifted));
        }
    }

    __m256i eight(std::size_t x) const {
        __m256i sum = _mm256_set1_epi32(TOP_HALF);
        for (std::size_t i = 0; i < COUNT; ++i) {
            sum = _mm256_add_epi32(sum, _mm256_mullo_epi32(load(rows.sums[i] + x), weight[i]));
        }
        return _mm256_srli_epi32(sum, TOP_BYTE);
    }

    __m256i bytes(std::size_t x) const {
        const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
        const __m256i low = _mm256_packs_epi32(eight(x), eight(x + 8));
        const __m256i high = _mm256_packs_epi32(eight(x + 16), eight(x + 24));
        return _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high), order);
    }
};

/// Reads sums up to the end of the last vector of bytes.
template <std::size_t COUNT>
inline void blendRows(const WeighedRows& rows, std::size_t size, std::uint8_t* dst) {
    const Blender<COUNT> blender(rows);
    std::size_t x = 0;
    for (; x + VECTOR <= size; x += VECTOR) {
        store(dst + x, blender.bytes(x));
    }
    if (x < size) {
        std::uint8_t rest[VECTOR];
        store(rest, blender.bytes(x));
        std::memcpy(dst + x, rest, size - x);
    }
}

inline void blendRows(const WeighedRows& rows, std::size_t size, std::uint8_t* dst) {
    static constexpr decltype(&blendRows<1>) FUNCTIONS[] = {blendRows<1>, blendRows<2>,
                                                            blendRows<3>};
    FUNCTIONS[rows.count - 1](rows, size, dst);
}

}  // namespace
}  // namespace Avx2
}  // namespace Simd
