// What the kernels of the affine warp share.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "simd/simd_warp_steps.h"

namespace Simd {
namespace Avx2 {
// Compiled into each kernel apart: nothing that is built for AVX2 may serve other code.
namespace {

/// Positions along one axis.
struct Axis {
    __m256 slope;
    __m256 start;
    __m256 shift;

    explicit Axis(const WarpAxis& axis)
        : slope(_mm256_set1_ps(axis.slope)),
          start(_mm256_set1_ps(axis.start)),
          shift(_mm256_set1_ps(axis.shift)) {}

    __m256 at(__m256 column) const {
        return _mm256_add_ps(_mm256_fmadd_ps(column, slope, start), shift);
    }
};

/// Takes 10 bits off sums.
inline __m256i rounded(__m256i sums) {
    return _mm256_srli_epi32(_mm256_add_epi32(sums, _mm256_set1_epi32(512)), 10);
}

/// The first eight bytes.
inline void storeHalf(std::uint8_t* dst, __m128i lane) {
    _mm_storel_epi64(static_cast<__m128i_u*>(static_cast<void*>(dst)), lane);
}

}  // namespace
}  // namespace Avx2
}  // namespace Simd
