// Table look-ups in a window of bytes. Positions of 128 and more give 0.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_vectors.h"

namespace Simd {
namespace Avx2 {
// Compiled into each kernel apart: nothing that is built for AVX2 may serve other code.
namespace {

/// In the low lane the positions in lane @p low of a window, in the high lane those in lane @p
/// high, as from 0 on. All others are marked, so that a shuffle gives 0 for them.
inline __m256i withinLanes(__m256i positions, int low, int high) {
    const __m256i first = _mm256_setr_m128i(_mm_set1_epi8(std::int8_t(16 * low)),
                                            _mm_set1_epi8(std::int8_t(16 * high)));
    return _mm256_adds_epu8(_mm256_xor_si256(positions, first), _mm256_set1_epi8(0x70));
}

/// Makes @p WINDOW positions of each 16, for each lane of the window apart. Where they lie, hence
/// from the last on.
template <std::size_t WINDOW>
void spread(std::uint8_t* positions, std::uint32_t count) {
    for (std::size_t i = count; i-- > 0;) {
        const __m256i all = _mm256_broadcastsi128_si256(loadLane(positions + i * LANE));
        for (std::size_t lane = 0; lane < WINDOW / LANE; lane += 2) {
            store(positions + i * WINDOW + lane * LANE, withinLanes(all, int(lane), int(lane + 1)));
        }
    }
}

/// What stands at 16 positions of a window of more than 16 bytes, in the one lane or in the other,
/// where the other has 0.
/// @param spread as the function leaves them
template <std::size_t WINDOW>
inline __m256i lookUpLanes(const std::uint8_t* window, const std::uint8_t* spread) {
    __m256i bytes = _mm256_shuffle_epi8(load(window), load(spread));
    for (std::size_t i = VECTOR; i < WINDOW; i += VECTOR) {
        bytes = _mm256_or_si256(bytes, _mm256_shuffle_epi8(load(window + i), load(spread + i)));
    }
    return bytes;
}

/// What stands at 16 positions of a window.
/// @param spread as the function leaves them; of 16 bytes, the positions
template <std::size_t WINDOW>
inline __m128i lookUpSpread(const std::uint8_t* window, const std::uint8_t* spread) {
    if constexpr (WINDOW == LANE) {
        return _mm_shuffle_epi8(loadLane(window), loadLane(spread));
    } else {
        const __m256i bytes = lookUpLanes<WINDOW>(window, spread);
        return _mm_or_si128(lowLane(bytes), highLane(bytes));
    }
}

/// The same of two windows, whose positions follow one another.
template <std::size_t WINDOW>
inline __m256i lookUpTwo(const std::uint8_t* first,
                         const std::uint8_t* second,
                         const std::uint8_t* spread) {
    if constexpr (WINDOW == LANE) {
        return _mm256_shuffle_epi8(_mm256_setr_m128i(loadLane(first), loadLane(second)),
                                   load(spread));
    } else {
        const __m256i low = lookUpLanes<WINDOW>(first, spread);
        const __m256i high = lookUpLanes<WINDOW>(second, spread + WINDOW);
        return _mm256_or_si256(_mm256_blend_epi32(low, high, 0xF0),
                               _mm256_permute2x128_si256(low, high, 0x21));
    }
}

/// What stands at 32 positions of the @p WINDOW bytes from @p window on.
template <std::size_t WINDOW>
inline __m256i lookUp(const std::uint8_t* window, __m256i positions) {
    const __m256i first = _mm256_broadcastsi128_si256(loadLane(window));
    if constexpr (WINDOW == LANE) {
        return _mm256_shuffle_epi8(first, positions);
    } else {
        static_assert(WINDOW == 2 * LANE, "there are no others");
        const __m256i second = _mm256_broadcastsi128_si256(loadLane(window + LANE));
        return _mm256_or_si256(_mm256_shuffle_epi8(first, withinLanes(positions, 0, 0)),
                               _mm256_shuffle_epi8(second, withinLanes(positions, 1, 1)));
    }
}

}  // namespace
}  // namespace Avx2
}  // namespace Simd
