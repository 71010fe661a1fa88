// What areas are sums of: pixels, or sums of 2 x 2 pixels.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_vectors.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Avx2 {
// Compiled into each kernel apart: nothing that is built for AVX2 may serve other code.
namespace {

/// The cells are the pixels.
struct PlainCells {
    static constexpr std::size_t LANE_ELEMENTS = 8;
    static constexpr std::int32_t SIDE = 1;              // pixels
    static constexpr std::int32_t RANGE = 2048;          // sum of a pixel's weights
    static constexpr std::int32_t MAX_WHOLE_ROWS = 128;  // whose sums have 15 bits

    static __m256i words(const std::uint8_t* row, std::ptrdiff_t) {
        return _mm256_cvtepu8_epi16(loadLane(row));
    }
};

/// The way of neighbouring pixels of a row to each other.
template <std::size_t CHANNELS>
struct PairOrder {
    static constexpr std::size_t LANE_ELEMENTS = CHANNELS == 3 ? 6 : 8;
    static constexpr std::size_t BYTES = 4 * LANE_ELEMENTS;  // that a vector takes
    static constexpr std::size_t DISTANCE = BYTES - LANE;    // of the lanes' loads

    std::uint8_t from[VECTOR] = {};

    constexpr PairOrder() {
        for (std::size_t i = 0; i < VECTOR; ++i) {
            const std::size_t lane = i / LANE;
            const std::size_t element = i % LANE / 2;
            const std::size_t byte = lane * (BYTES / 2 - DISTANCE) +
                                     element / CHANNELS * 2 * CHANNELS + element % CHANNELS;
            from[i] = std::uint8_t(element < LANE_ELEMENTS ? byte + i % 2 * CHANNELS
                                                           : std::size_t{Shuffle::ZERO});
        }
    }
};

/// The cells are sums of 2 x 2 pixels.
template <std::size_t CHANNELS>
struct PairedCells {
    using Order = PairOrder<CHANNELS>;

    static constexpr std::size_t LANE_ELEMENTS = Order::LANE_ELEMENTS;
    static constexpr std::int32_t SIDE = 2;
    static constexpr std::int32_t RANGE = 1024;
    static constexpr std::int32_t MAX_WHOLE_ROWS = 32;

    /// @param partner way to the other row of a pair
    static __m256i words(const std::uint8_t* row, std::ptrdiff_t partner) {
        static constexpr Order ORDER;
        const __m256i order = load(ORDER.from);
        const __m256i ones = _mm256_set1_epi8(1);
        const __m256i upper = _mm256_shuffle_epi8(loadLanes(row, Order::DISTANCE), order);
        const __m256i lower = _mm256_shuffle_epi8(loadLanes(row + partner, Order::DISTANCE), order);
        return _mm256_add_epi16(_mm256_maddubs_epi16(upper, ones),
                                _mm256_maddubs_epi16(lower, ones));
    }
};

/// The least weight of a whole row.
template <class Cells>
constexpr std::int32_t LEAST_FULL = Cells::RANGE / Cells::MAX_WHOLE_ROWS;

constexpr std::size_t PARTS = 4;  // vectors of words in a block

/// Elements of a block.
template <class Cells>
constexpr std::size_t CELL_BLOCK = PARTS * 2 * Cells::LANE_ELEMENTS;

/// Rows of cells that are added before they are weighed.
struct AddedRows {
    const std::uint8_t* first;
    std::ptrdiff_t stride;
    std::ptrdiff_t partner;      // to the other row of pixels
    std::ptrdiff_t lastPartner;  // the same in the last row of cells
    std::int32_t count;

    std::ptrdiff_t partnerOf(std::int32_t i) const { return i + 1 < count ? partner : lastPartner; }
};

/// The image in rows of cells.
template <class Cells>
struct CellRows {
    const std::uint8_t* src;
    RowStep stride;
    std::uint32_t height;  // pixels

    const std::uint8_t* row(std::int32_t index) const {
        return src + index * std::ptrdiff_t{Cells::SIDE} * stride;
    }

    /// The way to the other row of pixels; a last one without a partner counts twice.
    std::ptrdiff_t partner(std::int32_t index) const {
        return std::ptrdiff_t{Cells::SIDE} * index + 1 < std::ptrdiff_t(height) ? stride.step : 0;
    }

    AddedRows added(std::int32_t index, std::int32_t count) const {
        return {row(index), std::ptrdiff_t{Cells::SIDE} * stride, stride,
                partner(index + count - 1), count};
    }
};

}  // namespace
}  // namespace Avx2
}  // namespace Simd
