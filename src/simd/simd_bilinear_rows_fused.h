// The definition of the fused row functions. Each source that includes this compiles them for its
// own set of instructions, so nothing here may have external linkage.
//
// Weights lie within 0..1 and shorts within 0..65535. A blend is never negative, and its roundings
// raise it over the larger sample by far less than a half, so that a rounded short is in range.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "simd/simd_bilinear_rows.h"

namespace Simd {
namespace {

/// @p a (1 - weight) + @p b weight
inline float mix(float a, float b, float weight) {
    return std::fmaf(1.0f - weight, a, weight * b);
}

inline void store(float value, float* dst) {
    *dst = value;
}

inline void store(float value, std::uint16_t* dst) {
    *dst = std::uint16_t(std::int32_t(value + 0.5f));
}

template <class T>
void interpolateFused(const T* __restrict src,
                      std::uint32_t step,
                      const std::int32_t* __restrict ix,
                      const float* __restrict ax,
                      std::uint32_t size,
                      float* __restrict dst) {
    const T* const next = src + step;
    for (std::size_t i = 0; i < size; ++i) {
        dst[i] = mix(float(src[ix[i]]), float(next[ix[i]]), ax[i]);
    }
}

template <class T>
void blendFused(const float* __restrict upper,
                const float* __restrict lower,
                float ay,
                std::uint32_t size,
                T* __restrict dst) {
    for (std::size_t i = 0; i < size; ++i) {
        store(mix(upper[i], lower[i], ay), dst + i);
    }
}

template <class T>
void sampleFused(const T* __restrict upper,
                 const T* __restrict lower,
                 std::uint32_t step,
                 const std::int32_t* __restrict ix,
                 const float* __restrict ax,
                 float ay,
                 std::uint32_t size,
                 T* __restrict dst) {
    const T* const nextUpper = upper + step;
    const T* const nextLower = lower + step;
    for (std::size_t i = 0; i < size; ++i) {
        const float above = mix(float(upper[ix[i]]), float(nextUpper[ix[i]]), ax[i]);
        const float below = mix(float(lower[ix[i]]), float(nextLower[ix[i]]), ax[i]);
        store(mix(above, below, ay), dst + i);
    }
}

template <class T>
constexpr BilinearRows<T> FUSED_ROWS = {interpolateFused<T>, blendFused<T>, sampleFused<T>};

}  // namespace
}  // namespace Simd
