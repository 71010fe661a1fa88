// Runs of floats: from bytes and back, constant arithmetic, and half precision. Vectors multiply
// and then add, both rounded; 32-bit vectors also take subnormal numbers for zero. So half
// precision is converted with whole numbers only: the patterns of single precision are taken apart
// into their upper and lower 16 bits, and all arithmetic is on the upper ones.

#include <arm_neon.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "simd/neon/simd_streams.h"
#include "simd/neon/simd_vectors.h"
#include "simd/simd_kernels.h"

namespace Simd {
namespace Neon {
namespace {

constexpr std::uint32_t BLOCK = A;
constexpr std::uint32_t TURN = 2 * BLOCK;  // of the unrolled loops
constexpr std::uint32_t VECTOR = 4;

/// Runs @p kernel on blocks of 16 elements; @p size is at least one block. The kernel moves the
/// addresses on. When it is no whole number of blocks, the last one overlaps the one before.
template <class From, class To, class Kernel>
inline void convert(const From* src, std::uint32_t size, To* dst, Kernel kernel) {
    for (std::uint32_t turns = size / TURN; turns != 0; --turns) {
        __builtin_prefetch(src + PREFETCH_DISTANCE);
        advance(src, 0);
        kernel(src, dst);
        kernel(src, dst);
    }
    if (size % TURN >= BLOCK) {
        kernel(src, dst);
    }
    if (const std::uint32_t rest = size % BLOCK) {
        src -= BLOCK - rest;
        dst -= BLOCK - rest;
        kernel(src, dst);
    }
}

/// Replaces whole vectors by what @p function makes of them.
/// @return address behind them
template <class Function>
inline float* replaceVectors(float* data, std::uint32_t size, Function function) {
    const float* src = data;
    for (; size >= TURN; size -= TURN) {
        __builtin_prefetch(data + PREFETCH_DISTANCE);
        for (std::uint32_t i = 0; i < TURN; i += 2 * VECTOR) {
            const float32x4x2_t v = take(src);
            put(data, float32x4x2_t{{function(v.val[0]), function(v.val[1])}});
        }
    }
    for (; size >= VECTOR; size -= VECTOR, data += VECTOR) {
        vst1q_f32(data, function(vld1q_f32(data)));
    }
    return data;
}

// Patterns without sign and one bit up: of half precision, and of single precision's upper half.
constexpr std::uint16_t HALF_INFINITY = 0x7C00 * 2;
constexpr std::uint16_t SINGLE_HALF_NORMAL = 0x3880 * 2;
constexpr std::uint16_t SINGLE_HALF_LARGEST = 0x477F * 2;
constexpr std::uint16_t SINGLE_INFINITY = 0x7F80 * 2;
// Between the biases of the exponents lie 112.
constexpr std::uint16_t REBASE = 112 * 0x80;

/// The lower and upper halves of 8 patterns of single precision.
inline uint16x8x2_t singleOfHalf(uint16x8_t half) {
    const uint16x8_t up = vshlq_n_u16(half, 1);
    // A subnormal number becomes a normal one, its exponent as far below 1 as it has to be shifted.
    const uint16x8_t shift = vqsubq_u16(vclzq_u16(up), vdupq_n_u16(4));
    const uint16x8_t normal = vshlq_u16(up, vreinterpretq_s16_u16(shift));
    uint16x8_t upper = vmlsq_u16(vshrq_n_u16(normal, 4), shift, vdupq_n_u16(0x80));
    upper = vaddq_u16(upper, vdupq_n_u16(REBASE));
    // Infinity and NaN once more; the mask is -1.
    const uint16x8_t infinite = vcgeq_u16(up, vdupq_n_u16(HALF_INFINITY));
    upper = vmlsq_u16(upper, infinite, vdupq_n_u16(REBASE));
    upper = vandq_u16(upper, vtstq_u16(up, up));
    return {{vshlq_n_u16(normal, 12), vbslq_u16(vdupq_n_u16(0x8000), half, upper)}};
}

// All that follows is one bit up until the sign comes in front; what is in the lowest bit is cut
// away then.

inline uint16x8_t withoutSign(uint16x8x2_t single) {
    return vshlq_n_u16(single.val[1], 1);
}

/// The mantissa and 5 bits of the exponent.
inline uint16x8_t cutToSize(uint16x8x2_t single) {
    return vsriq_n_u16(vshlq_n_u16(single.val[1], 4), single.val[0], 12);
}

/// Right for all numbers below 2^16, for which 5 bits of the exponent do.
inline uint16x8_t halfOfFinite(uint16x8_t up, uint16x8_t cut) {
    // Rebased, the exponent's highest bit is inverted.
    const uint16x8_t normal = vaddq_u16(cut, vdupq_n_u16(0x8000));
    // Below, the mantissa moves down from the top, with its leading bit in place of the exponent.
    const uint16x8_t mantissa = vorrq_u16(vshlq_n_u16(cut, 4), vdupq_n_u16(0x8000));
    const uint16x8_t shift = vsubq_u16(vshrq_n_u16(up, 8), vdupq_n_u16(113 + 4));
    const uint16x8_t subnormal = vshlq_u16(mantissa, vreinterpretq_s16_u16(shift));
    return vbslq_u16(vcltq_u16(up, vdupq_n_u16(SINGLE_HALF_NORMAL)), subnormal, normal);
}

/// Eight numbers of which none exceeds SINGLE_HALF_LARGEST; @p largest takes note of that.
inline uint16x8_t halfOfCommon(uint16x8x2_t single, uint16x8_t& largest) {
    const uint16x8_t up = withoutSign(single);
    largest = vmaxq_u16(largest, up);
    return vsriq_n_u16(single.val[1], halfOfFinite(up, cutToSize(single)), 1);
}

/// Any eight.
inline uint16x8_t halfOfSingle(uint16x8x2_t single) {
    const uint16x8_t lower = single.val[0];
    const uint16x8_t up = withoutSign(single);
    const uint16x8_t cut = cutToSize(single);
    uint16x8_t half = halfOfFinite(up, cut);
    // The spare bit of the upper half tells whether the lower half exceeds the limit's.
    const uint16x8_t large = vsubq_u16(up, vcgtq_u16(lower, vdupq_n_u16(0xE000)));
    half = vbslq_u16(vcgtq_u16(large, vdupq_n_u16(SINGLE_HALF_LARGEST)), vdupq_n_u16(HALF_INFINITY),
                     half);
    // A payload that is cut away becomes 1.
    const uint16x8_t nan = vmaxq_u16(cut, vdupq_n_u16(HALF_INFINITY + 2));
    const uint16x8_t larger = vaddq_u16(up, vminq_u16(lower, vdupq_n_u16(1)));
    half = vbslq_u16(vcgtq_u16(larger, vdupq_n_u16(SINGLE_INFINITY)), nan, half);
    return vsriq_n_u16(single.val[1], half, 1);
}

template <class HalfOf>
inline void putHalves(const float*& src, unsigned short*& dst, HalfOf half_of) {
    const uint16x8x2_t singles = vld2q_u16(reinterpret_cast<const std::uint16_t*>(src));
    advance(src, 8);
    vst1q_u16(dst, half_of(singles));
    advance(dst, 8);
    scheduleInOrder();
}

[[gnu::noinline]] void convertToHalves(const float* src, std::uint32_t size, unsigned short* dst) {
    convert(src, size, dst, [](const float*& from, unsigned short*& to) {
        for (std::uint32_t i = 0; i < BLOCK; i += 8) {
            putHalves(from, to, halfOfSingle);
        }
    });
}

inline bool anyAbove(uint16x8_t values, std::uint16_t limit) {
    const uint16x8_t above = vcgtq_u16(values, vdupq_n_u16(limit));
    const uint16x4_t either = vorr_u16(vget_low_u16(above), vget_high_u16(above));
    return vget_lane_u64(vreinterpret_u64_u16(either), 0) != 0;
}

}  // namespace

void Uint8ToFloat32(const std::uint8_t* src,
                    std::uint32_t size,
                    const float* lower,
                    const float* upper,
                    float* dst) {
    const float32x4_t offset = vdupq_n_f32(*lower);
    const float32x4_t scale = vdupq_n_f32((*upper - *lower) / 255.0f);
    const auto scaled = [=](float32x4_t value) {
        return vaddq_f32(offset, vmulq_f32(scale, value));
    };
    convert(src, size, dst, [=](const std::uint8_t*& from, float*& to) {
        // Every fourth byte is masked where it lies; as it is converted, its place is divided away.
        const uint32x4_t bytes = vreinterpretq_u32_u8(take(from));
        const uint32x4_t byte0 = vandq_u32(bytes, vdupq_n_u32(0xFF));
        const uint32x4_t byte1 = vandq_u32(bytes, vdupq_n_u32(0xFF00));
        const uint32x4_t byte2 = vandq_u32(bytes, vdupq_n_u32(0xFF0000));
        const uint32x4_t byte3 = vshrq_n_u32(bytes, 24);
        const float32x4x4_t floats = {
            {scaled(vcvtq_f32_u32(byte0)), scaled(vcvtq_n_f32_u32(byte1, 8)),
             scaled(vcvtq_n_f32_u32(byte2, 16)), scaled(vcvtq_f32_u32(byte3))}};
        vst4q_f32(to, floats);
        advanceHalves(to, BLOCK);
    });
}

void Float32ToUint8(const float* src,
                    std::uint32_t size,
                    const float* lower,
                    const float* upper,
                    std::uint8_t* dst) {
    const float32x4_t low = vdupq_n_f32(*lower);
    const float32x4_t high = vdupq_n_f32(*upper);
    const float32x4_t scale = vdupq_n_f32(255.0f / (*upper - *lower));
    const auto narrow = [=](float32x4_t value) {
        const float32x4_t clamped = vminq_f32(vmaxq_f32(value, low), high);
        return vcvtq_u32_f32(vmulq_f32(vsubq_f32(clamped, low), scale));
    };
    convert(src, size, dst, [=](const float*& from, std::uint8_t*& to) {
        const float32x4x4_t floats = vld4q_f32(from);
        advanceHalves(from, BLOCK);
        // Four to a lane, each over what the one before has above its low byte.
        uint32x4_t bytes = narrow(floats.val[0]);
        bytes = vsliq_n_u32(bytes, narrow(floats.val[1]), 8);
        bytes = vsliq_n_u32(bytes, narrow(floats.val[2]), 16);
        bytes = vsliq_n_u32(bytes, narrow(floats.val[3]), 24);
        put(to, vreinterpretq_u8_u32(bytes));
    });
}

void AddValue(const float* value, float* data, std::uint32_t size) {
    const float addend = *value;
    const float32x4_t addends = vdupq_n_f32(addend);
    data = replaceVectors(data, size, [=](float32x4_t v) { return vaddq_f32(v, addends); });
    for (size %= VECTOR; size != 0; --size, ++data) {
        *data += addend;
    }
}

void MultiplyValue(const float* value, float* data, std::uint32_t size) {
    const float factor = *value;
    const float32x4_t factors = vdupq_n_f32(factor);
    const float32x4_t zero = vdupq_n_f32(0.0f);
    data = replaceVectors(data, size,
                          [=](float32x4_t v) { return vaddq_f32(vmulq_f32(factors, v), zero); });
    for (size %= VECTOR; size != 0; --size, ++data) {
        *data = std::fmaf(factor, *data, 0.0f);
    }
}

void AddProduct(const float* src, std::uint32_t size, const float* value, float* dst) {
    const float factor = *value;
    const float32x4_t factors = vdupq_n_f32(factor);
    const auto sum = [=](float32x4_t to, float32x4_t from) {
        return vaddq_f32(to, vmulq_f32(factors, from));
    };
    const float* addends = dst;
    for (; size >= TURN; size -= TURN) {
        __builtin_prefetch(src + PREFETCH_DISTANCE);
        __builtin_prefetch(dst + PREFETCH_DISTANCE);
        advance(src, 0);
        advance(dst, 0);
        for (std::uint32_t i = 0; i < TURN; i += 4 * VECTOR) {
            const float32x4x2_t from[2] = {take(src), take(src)};
            const float32x4x2_t to[2] = {take(addends), take(addends)};
            for (int k = 0; k < 2; ++k) {
                put(dst, float32x4x2_t{{sum(to[k].val[0], from[k].val[0]),
                                        sum(to[k].val[1], from[k].val[1])}});
            }
        }
    }
    for (; size >= VECTOR; size -= VECTOR, src += VECTOR, dst += VECTOR) {
        vst1q_f32(dst, sum(vld1q_f32(dst), vld1q_f32(src)));
    }
    for (; size != 0; --size, ++src, ++dst) {
        *dst = std::fmaf(factor, *src, *dst);
    }
}

void Float16ToFloat32(const unsigned short* src, std::uint32_t size, float* dst) {
    convert(src, size, dst, [](const unsigned short*& from, float*& to) {
        for (std::uint32_t i = 0; i < BLOCK; i += 8) {
            const uint16x8_t halves = vld1q_u16(from);
            advance(from, 8);
            vst2q_u16(reinterpret_cast<std::uint16_t*>(to), singleOfHalf(halves));
            advance(to, 8);
            scheduleInOrder();
        }
    });
}

// Infinity, NaN and what becomes infinite are rare in a network's numbers. A span is converted
// without them, and once more where they turn out to have been there.
void Float32ToFloat16(const float* src, std::uint32_t size, unsigned short* dst) {
    constexpr std::uint32_t SPAN = 64;
    for (; size >= SPAN + BLOCK; size -= SPAN) {
        const float* from = src;
        unsigned short* to = dst;
        uint16x8_t largest = vdupq_n_u16(0);
        const auto common = [&largest](uint16x8x2_t v) { return halfOfCommon(v, largest); };
        __builtin_prefetch(src + PREFETCH_DISTANCE);
        __builtin_prefetch(src + PREFETCH_DISTANCE + SPAN / 2);
        for (std::uint32_t i = 0; i < SPAN; i += 8) {
            putHalves(from, to, common);
        }
        if (__builtin_expect(anyAbove(largest, SINGLE_HALF_LARGEST) ? 1 : 0, 0) != 0) {
            convertToHalves(src, SPAN, dst);
        }
        src += SPAN;
        dst += SPAN;
    }
    convertToHalves(src, size, dst);
}

}  // namespace Neon
}  // namespace Simd
