// Areas that are weighed across rows first, in 32-bit sums of columns.
//
// Row weights need 15 bits. Whole rows in between are summed first, in 15 bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/avx2/simd_area_cells.h"
#include "simd/avx2/simd_area_sums.h"
#include "simd/avx2/simd_vectors.h"
#include "simd/simd_area_tables.h"
#include "simd/simd_column_sums.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Avx2 {
// Compiled into each kernel apart: nothing that is built for AVX2 may serve other code.
namespace {

// ---- The vertical pass --------------------------------------------------------------------------

/// What a destination row takes.
struct TakenRows {
    const std::uint8_t* first;
    std::ptrdiff_t firstPartner;
    std::ptrdiff_t stride;
    std::ptrdiff_t partner;
    std::ptrdiff_t lastPartner;
    std::int32_t middleCount;
    __m256i outerWeights;  // of the first and the last row, in turn
    __m256i middleWeight;  // and 0, in turn
};

/// Column sums of a vector of words. A lane holds four neighbours, the other one those of its own
/// words.
struct Sums {
    __m256i even;  // the first four of each lane
    __m256i odd;
};

inline Sums weigh(__m256i a, __m256i b, __m256i weights) {
    return {_mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), weights),
            _mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), weights)};
}

template <class Cells>
inline void storeSums(std::uint32_t* target, const Sums& sums) {
    // In their order, as a lane may have fewer elements than it stores.
    storeLane(target, lowLane(sums.even));
    storeLane(target + 4, lowLane(sums.odd));
    storeLane(target + Cells::LANE_ELEMENTS, highLane(sums.even));
    storeLane(target + Cells::LANE_ELEMENTS + 4, highLane(sums.odd));
}

/// Sums of neighbouring parts of a row, so that the loop over rows has several additions in turn.
template <class Cells, bool HAS_MIDDLE, bool HAS_LAST>
inline void sumBlock(const TakenRows& rows, std::size_t offset, std::uint32_t* target) {
    constexpr std::size_t PART = 2 * Cells::LANE_ELEMENTS;
    constexpr std::size_t BYTES = PART * Cells::SIDE;
    const __m256i zero = _mm256_setzero_si256();
    const std::uint8_t* const first = rows.first + offset * Cells::SIDE;
    const std::uint8_t* row = first;
    Sums sums[PARTS];
    // Without tests inside, the sums stay in registers.
    if constexpr (HAS_MIDDLE) {
        __m256i middle[PARTS] = {zero, zero, zero, zero};
        for (std::int32_t i = 0; i < rows.middleCount; ++i) {
            row += rows.stride;
            for (std::size_t k = 0; k < PARTS; ++k) {
                middle[k] =
                    _mm256_add_epi16(middle[k], Cells::words(row + k * BYTES, rows.partner));
            }
        }
        for (std::size_t k = 0; k < PARTS; ++k) {
            sums[k] = weigh(middle[k], zero, rows.middleWeight);
        }
    }
    row += HAS_LAST ? rows.stride : 0;
    for (std::size_t k = 0; k < PARTS; ++k) {
        const __m256i last = HAS_LAST ? Cells::words(row + k * BYTES, rows.lastPartner) : zero;
        const Sums outer =
            weigh(Cells::words(first + k * BYTES, rows.firstPartner), last, rows.outerWeights);
        sums[k] = HAS_MIDDLE ? Sums{_mm256_add_epi32(sums[k].even, outer.even),
                                    _mm256_add_epi32(sums[k].odd, outer.odd)}
                             : outer;
        storeSums<Cells>(target + offset + k * PART, sums[k]);
    }
}

/// @param size elements of a row, at least one block
template <class Cells, bool HAS_MIDDLE, bool HAS_LAST>
inline void sumRows(const TakenRows& rows, std::size_t size, std::uint32_t* target) {
    constexpr std::size_t BLOCK = CELL_BLOCK<Cells>;
    std::size_t offset = 0;
    for (; offset + BLOCK <= size; offset += BLOCK) {
        sumBlock<Cells, HAS_MIDDLE, HAS_LAST>(rows, offset, target);
    }
    // What remains is narrower than a block, so the last block overlaps the one before.
    if (offset < size) {
        sumBlock<Cells, HAS_MIDDLE, HAS_LAST>(rows, size - BLOCK, target);
    }
}

/// @p even and @p odd 16-bit lanes in turn.
inline __m256i inTurn(std::int32_t even, std::int32_t odd) {
    return _mm256_blend_epi16(_mm256_set1_epi16(std::int16_t(even)),
                              _mm256_set1_epi16(std::int16_t(odd)), 0xAA);
}

/// The vertical pass for destination row @p y.
template <class Cells>
inline void sumRows(const CellRows<Cells>& image,
                    const AreaAxis& axis,
                    std::uint32_t y,
                    std::size_t size,
                    std::uint32_t* target) {
    const std::int32_t top = axis.index[y];
    const std::int32_t reach = axis.reach(y);
    const std::int32_t last = reach == 0 ? 0 : axis.cellWeight(y, reach);
    const TakenRows rows = {image.row(top),
                            image.partner(top),
                            std::ptrdiff_t{Cells::SIDE} * image.stride,
                            image.stride,
                            image.partner(top + reach),
                            reach - 1,
                            inTurn(axis.cellWeight(y, 0), last),
                            inTurn(axis.full(), 0)};
    if (reach > 1) {
        last != 0 ? sumRows<Cells, true, true>(rows, size, target)
                  : sumRows<Cells, true, false>(rows, size, target);
    } else {
        last != 0 ? sumRows<Cells, false, true>(rows, size, target)
                  : sumRows<Cells, false, false>(rows, size, target);
    }
}

/// The sums of a last column of pixels without a partner, which counts twice.
template <std::size_t CHANNELS, class Cells>
inline void sumSingleColumn(const CellRows<Cells>& image,
                            const AreaAxis& axis,
                            std::uint32_t y,
                            std::size_t offset,
                            std::uint32_t* target) {
    for (std::size_t c = 0; c < CHANNELS; ++c) {
        std::int32_t sum = 0;
        for (std::int32_t k = 0; k <= axis.reach(y); ++k) {
            const std::int32_t index = axis.index[y] + k;
            const std::uint8_t* const row = image.row(index) + offset * Cells::SIDE + c;
            sum += axis.cellWeight(y, k) * 2 * (row[0] + row[image.partner(index)]);
        }
        target[c] = std::uint32_t(sum);
    }
}

// ---- The horizontal pass ------------------------------------------------------------------------

/// The words of the horizontal pass.
struct ColumnWords {
    using Quad = __m128i;

    static Quad zero() { return _mm_setzero_si128(); }
    static Quad load(const std::uint32_t* src) { return loadLane(src); }
    static Quad repeat(const std::int32_t* element) { return _mm_set1_epi32(*element); }
    static Quad add(Quad a, Quad b) { return _mm_add_epi32(a, b); }
    static Quad subtract(Quad a, Quad b) { return _mm_sub_epi32(a, b); }
    static Quad multiply(Quad a, Quad b) { return _mm_mullo_epi32(a, b); }
    static Quad subtractProduct(Quad a, Quad b, Quad c) { return subtract(a, multiply(b, c)); }

    static void store(Quad first, Quad second, std::uint8_t* to, std::uint8_t* next) {
        const __m256i bytes = areaBytes(lanesOf(first, second));
        _mm_storeu_si32(to, lowLane(bytes));
        _mm_storeu_si32(next, highLane(bytes));
    }
};

}  // namespace
}  // namespace Avx2
}  // namespace Simd
