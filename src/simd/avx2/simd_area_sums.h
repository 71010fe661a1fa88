// Sums of areas as bytes.
#pragma once

#include <cstdint>

#include "simd/avx2/simd_vectors.h"

namespace Simd {
namespace Avx2 {
// Compiled into each kernel apart: nothing that is built for AVX2 may serve other code.
namespace {

constexpr int AREA_SHIFT = 22;  // of the weights of both directions

/// The low bytes of (sum + half) >> AREA_SHIFT, four behind each other in every lane.
inline __m256i areaBytes(__m256i sums) {
    static constexpr Shuffle LOW = {{0, 4, 8, 12, 0, 4, 8, 12, 0, 4, 8, 12, 0, 4, 8, 12}};
    const __m256i half = _mm256_set1_epi32(1 << (AREA_SHIFT - 1));
    return shuffle(_mm256_srli_epi32(_mm256_add_epi32(sums, half), AREA_SHIFT), LOW);
}

/// Eight pixels of one channel.
inline void storeArea(__m256i sums, std::uint8_t* dst) {
    const __m256i bytes = areaBytes(sums);
    _mm_storeu_si64(dst, _mm_unpacklo_epi32(lowLane(bytes), highLane(bytes)));
}

}  // namespace
}  // namespace Avx2
}  // namespace Simd
