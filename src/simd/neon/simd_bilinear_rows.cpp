// The row functions in vectors of four elements. Vectors round both products and their sum; what is
// left at a row's end, and the pixels of other channel counts, have the fused steps.

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "simd/neon/simd_addresses.h"
#include "simd/neon/simd_vectors.h"
#include "simd/simd_bilinear_rows.h"

namespace Simd {
namespace Neon {
namespace {

constexpr std::uint32_t VECTOR = 4;
constexpr std::uint32_t UNROLL = 4 * VECTOR;

/// @p a (1 - @p weight) + @p b weight
inline float32x4_t mix(float32x4_t a, float32x4_t b, float32x4_t weight) {
    const float32x4_t rest = vsubq_f32(vdupq_n_f32(1.0f), weight);
    return vmlaq_f32(vmulq_f32(b, weight), a, rest);
}

inline void store(float32x4_t value, float* dst) {
    vst1q_f32(dst, value);
}

/// Rounds; the values are not negative.
inline void store(float32x4_t value, std::uint16_t* dst) {
    vst1_u16(dst, vmovn_u32(vcvtq_u32_f32(vaddq_f32(value, vdupq_n_f32(0.5f)))));
}

/// Four neighbouring pairs as left and right samples, mixed.
inline float32x4_t mixPairs(const float* src, const std::int32_t* ix, float32x4_t weight) {
    const float32x4x2_t pairs =
        vuzpq_f32(vcombine_f32(vld1_f32(src + ix[0]), vld1_f32(src + ix[1])),
                  vcombine_f32(vld1_f32(src + ix[2]), vld1_f32(src + ix[3])));
    return mix(pairs.val[0], pairs.val[1], weight);
}

template <int LANE>
inline uint32x4_t loadPair(const std::uint16_t* src, uint32x4_t pairs) {
    // Needs no alignment.
    const void* const address = src;
    return vld1q_lane_u32(static_cast<const std::uint32_t*>(address), pairs, LANE);
}

inline float32x4_t mixPairs(const std::uint16_t* src, const std::int32_t* ix, float32x4_t weight) {
    uint32x4_t pairs = vdupq_n_u32(0);
    pairs = loadPair<0>(src + ix[0], pairs);
    pairs = loadPair<1>(src + ix[1], pairs);
    pairs = loadPair<2>(src + ix[2], pairs);
    pairs = loadPair<3>(src + ix[3], pairs);
    const float32x4_t left = vcvtq_f32_u32(vandq_u32(pairs, vdupq_n_u32(0xFFFF)));
    const float32x4_t right = vcvtq_f32_u32(vshrq_n_u32(pairs, 16));
    return mix(left, right, weight);
}

/// Elements of a row that stand in whole vectors.
inline std::uint32_t wholeVectors(std::uint32_t size) {
    return size - size % VECTOR;
}

template <class T>
inline std::uint32_t interpolateGray(const T* __restrict src,
                                     const std::int32_t* __restrict ix,
                                     const float* __restrict ax,
                                     std::uint32_t size,
                                     float* __restrict dst) {
    const std::uint32_t whole = wholeVectors(size);
    for (std::uint32_t i = 0; i < whole; i += VECTOR) {
        store(mixPairs(src, ix + i, vld1q_f32(ax + i)), dst + i);
    }
    return whole;
}

/// A vector holds a pixel, and behind it an element that the next one's store replaces; behind the
/// last pixel it falls into the margin of the row.
inline std::uint32_t interpolateBgr(const float* __restrict src,
                                    const std::int32_t* __restrict ix,
                                    const float* __restrict ax,
                                    std::uint32_t size,
                                    float* __restrict dst) {
    for (std::uint32_t i = 0; i < size; i += 3) {
        const float* const pixel = src + ix[i];
        // Read from the left pixel's last element on, so as not to pass the right one's.
        const float32x4_t right = vld1q_f32(pixel + 2);
        store(mix(vld1q_f32(pixel), vextq_f32(right, right, 1), vld1q_dup_f32(ax + i)), dst + i);
    }
    return wholeVectors(size);
}

inline std::uint32_t interpolateBgr(
    const std::uint16_t*, const std::int32_t*, const float*, std::uint32_t, float*) {
    return 0;
}

template <class T>
void interpolate(const T* src,
                 std::uint32_t step,
                 const std::int32_t* ix,
                 const float* ax,
                 std::uint32_t size,
                 float* dst) {
    std::uint32_t done = 0;
    if (step == 1) {
        done = interpolateGray(src, ix, ax, size, dst);
    } else if (step == 3) {
        done = interpolateBgr(src, ix, ax, size, dst);
    }
    FusedRows<T>().interpolate(src, step, ix + done, ax + done, size - done, dst + done);
}

template <class T>
void blend(const float* __restrict upper,
           const float* __restrict lower,
           float ay,
           std::uint32_t size,
           T* __restrict dst) {
    const float32x4_t weight = vdupq_n_f32(ay);
    const auto blendVector = [=](std::uint32_t i) {
        store(mix(vld1q_f32(upper + i), vld1q_f32(lower + i), weight), dst + i);
    };
    std::uint32_t i = 0;
    for (; i + UNROLL <= size; i += UNROLL) {
        for (std::uint32_t k = 0; k < UNROLL; k += VECTOR) {
            blendVector(i + k);
        }
    }
    for (; i + VECTOR <= size; i += VECTOR) {
        blendVector(i);
    }
    FusedRows<T>().blend(upper + i, lower + i, ay, size - i, dst + i);
}

template <class T>
void sample(const T* __restrict upper,
            const T* __restrict lower,
            std::uint32_t step,
            const std::int32_t* __restrict ix,
            const float* __restrict ax,
            float ay,
            std::uint32_t size,
            T* __restrict dst) {
    const std::uint32_t done = step == 1 ? wholeVectors(size) : 0;
    const float32x4_t vertical = vdupq_n_f32(ay);
    for (std::uint32_t i = 0; i < done; i += VECTOR) {
        const float32x4_t horizontal = vld1q_f32(ax + i);
        const float32x4_t above = mixPairs(upper, ix + i, horizontal);
        const float32x4_t below = mixPairs(lower, ix + i, horizontal);
        store(mix(above, below, vertical), dst + i);
    }
    FusedRows<T>().sample(upper, lower, step, ix + done, ax + done, ay, size - done, dst + done);
}

/// What vectors do not take of a halved row.
inline void finishHalves(
    const float* upper, const float* lower, std::uint32_t step, std::uint32_t size, float* dst) {
    for (std::uint32_t i = wholeVectors(size); i < size; ++i) {
        const auto index = std::int32_t(2 * (i - i % step) + i % step);
        const float weight = 0.5f;
        FusedRows<float>().sample(upper, lower, step, &index, &weight, weight, 1, dst + i);
    }
}

inline float32x4_t mean(float32x4_t a, float32x4_t b) {
    return mix(a, b, vdupq_n_f32(0.5f));
}

/// Of the next four pairs.
template <class Address>
inline float32x4_t meansOfPairs(Address& src) {
    const float32x4x2_t pairs = vld2q_f32(src);
    advance(src, 2 * VECTOR);
    return mean(pairs.val[0], pairs.val[1]);
}

void halveGray(const float* upper, const float* lower, std::uint32_t width, float* dst) {
    finishHalves(upper, lower, 1, width, dst);
    const auto next = [&] {
        const float32x4_t above = meansOfPairs(upper);
        return mean(above, meansOfPairs(lower));
    };
    for (std::uint32_t i = width / UNROLL; i != 0; --i) {
#pragma GCC unroll 2
        for (std::uint32_t k = 0; k < UNROLL; k += 2 * VECTOR) {
            // No store in between, so that the steps of both mix.
            const float32x4_t first = next();
            const float32x4_t second = next();
            vst1q_f32(dst, first);
            advance(dst, VECTOR);
            vst1q_f32(dst, second);
            advance(dst, VECTOR);
        }
    }
    for (std::uint32_t i = width % UNROLL / VECTOR; i != 0; --i) {
        vst1q_f32(dst, next());
        advance(dst, VECTOR);
    }
}

inline float32x4x3_t meansOfPixelPairs(const float* src) {
    const float32x4x3_t first = vld3q_f32(src);
    const float32x4x3_t second = vld3q_f32(src + 3 * VECTOR);
    const float32x4x2_t blue = vuzpq_f32(first.val[0], second.val[0]);
    const float32x4x2_t green = vuzpq_f32(first.val[1], second.val[1]);
    const float32x4x2_t red = vuzpq_f32(first.val[2], second.val[2]);
    return {{mean(blue.val[0], blue.val[1]), mean(green.val[0], green.val[1]),
             mean(red.val[0], red.val[1])}};
}

inline void halveBgrVector(const float* upper, const float* lower, float* dst) {
    const float32x4x3_t above = meansOfPixelPairs(upper);
    scheduleInOrder();
    const float32x4x3_t below = meansOfPixelPairs(lower);
    const float32x4x3_t means = {{mean(above.val[0], below.val[0]),
                                  mean(above.val[1], below.val[1]),
                                  mean(above.val[2], below.val[2])}};
    vst3q_f32(dst, means);
}

void halveBgr(const float* __restrict upper,
              const float* __restrict lower,
              std::uint32_t width,
              float* __restrict dst) {
    std::uint32_t x = 0;
    for (; x + VECTOR <= width; x += VECTOR) {
        halveBgrVector(upper + 6 * x, lower + 6 * x, dst + 3 * x);
    }
    if (x < width) {
        x = width - VECTOR;
        halveBgrVector(upper + 6 * x, lower + 6 * x, dst + 3 * x);
    }
    finishHalves(upper, lower, 3, 3 * width, dst);
}

}  // namespace

const BilinearRows<float> FloatRows = {interpolate<float>, blend<float>, sample<float>};
const BilinearRows<std::uint16_t> ShortRows = {interpolate<std::uint16_t>, blend<std::uint16_t>,
                                               sample<std::uint16_t>};
HalveFloats* const FloatHalves[] = {halveGray, nullptr, halveBgr, nullptr};

}  // namespace Neon
}  // namespace Simd
