// Runs of floats: from bytes and back, constant arithmetic, and half precision.
//
// A byte x of the range lower..upper is lower + x (upper - lower) / 255. Half precision has an
// exponent of 5 bits with bias 15 and 10 bits of mantissa, single precision 8 bits with bias 127
// and 23. Cut by 13 bits, a pattern of single precision lines up with one of half precision, and
// the biases differ by 112 in the exponent, which is 0x1C000 there. Patterns without sign stay
// below 2^31, so that signed comparisons serve; those of half precision below 2^18.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/simd_kernels.h"

namespace Simd {
namespace Base {
namespace {

constexpr int MANTISSA_SHIFT = 13;
constexpr std::int32_t REBASE = 0x1C000;

// Patterns without sign, of half precision and of single precision.
constexpr std::int32_t HALF_NORMAL = 0x400;
constexpr std::int32_t HALF_INFINITY = 0x7C00;
constexpr std::int32_t SINGLE_HALF_NORMAL = 0x38800000;
constexpr std::int32_t SINGLE_HALF_LARGEST = 0x477FE000;
constexpr std::int32_t SINGLE_INFINITY = 0x7F800000;
constexpr std::int32_t SINGLE_HALF_NAN = SINGLE_INFINITY + (1 << MANTISSA_SHIFT);

#ifdef __x86_64__
template <class Loop>
[[gnu::target("avx2,fma")]] void runWithFma(Loop loop) {
    loop();
}
#endif

/// Runs a loop with instructions that the build may not count on, where the processor has them.
/// The bytes are the same, but without them a fused step is a call of the library.
template <class Loop>
inline void runWide(Loop loop) {
#ifdef __x86_64__
    if (HasFusedMultiplyAdd()) {
        runWithFma(loop);
        return;
    }
#endif
    loop();
}

/// Truncates. Limits without a finite distance above zero can give infinities and NaN, whose
/// conversion is not defined; they become 255 and 0.
inline std::uint8_t byteOf(float value) {
    const float positive = value > 0.0f ? value : 0.0f;
    return std::uint8_t(std::int32_t(positive < 255.0f ? positive : 255.0f));
}

inline std::int32_t bitsOf(float value) {
    std::int32_t bits;
    std::memcpy(&bits, &value, sizeof(bits));
    return bits;
}

inline float floatOf(std::int32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof(value));
    return value;
}

/// @p yes where a < b, otherwise @p no. By a mask: around float arithmetic the compiler makes a
/// branch of a conditional, and then can't widen the loop.
inline std::int32_t selectIfLess(std::int32_t a,
                                 std::int32_t b,
                                 std::int32_t yes,
                                 std::int32_t no) {
    return no + ((yes - no) & ((a - b) >> 31));
}

/// Patterns from @p limit on become at least @p floor.
inline std::int32_t raiseFrom(std::int32_t limit, std::int32_t floor, std::int32_t pattern) {
    const std::int32_t bound = pattern >= limit ? floor : 0;
    return pattern > bound ? pattern : bound;
}

inline std::uint32_t singleOfHalf(std::uint32_t half) {
    const auto h = std::int32_t(half & 0x7FFF);
    const std::int32_t subnormal = bitsOf(float(h) * 0x1p-24f);
    const std::int32_t rebased = h + REBASE + (h >= HALF_INFINITY ? REBASE : 0);
    const std::int32_t bits = selectIfLess(h, HALF_NORMAL, subnormal, rebased << MANTISSA_SHIFT);
    return std::uint32_t(bits) | (half >> 15 << 31);
}

/// Cuts low bits, without rounding.
inline std::uint32_t halfOfSingle(std::uint32_t single) {
    auto a = std::int32_t(single & 0x7FFFFFFF);
    // What is not small would leave the range of the conversion, so zero takes its place there.
    const std::int32_t small = selectIfLess(a, SINGLE_HALF_NORMAL, a, 0);
    a += std::int32_t(floatOf(small) * 0x1p37f) - small;
    a = raiseFrom(SINGLE_HALF_LARGEST + 1, SINGLE_INFINITY, a);
    a = raiseFrom(SINGLE_INFINITY + 1, SINGLE_HALF_NAN, a);
    std::int32_t t = a >> MANTISSA_SHIFT;
    t -= t >= HALF_INFINITY + REBASE ? REBASE : 0;
    t -= t >= HALF_NORMAL ? REBASE : 0;
    return std::uint32_t(t) | (single >> 16 & 0x8000);
}

}  // namespace

void Uint8ToFloat32(const std::uint8_t* __restrict src,
                    std::uint32_t size,
                    const float* lower,
                    const float* upper,
                    float* __restrict dst) {
    const float offset = *lower;
    const float scale = (*upper - offset) / 255.0f;
    if (offset == 0.0f) {
        // Adding zero doesn't round, so there is nothing to fuse.
        for (std::size_t i = 0; i < size; ++i) {
            dst[i] = offset + scale * float(src[i]);
        }
        return;
    }
    runWide([=] {
        for (std::size_t i = 0; i < size; ++i) {
            dst[i] = std::fmaf(scale, float(src[i]), offset);
        }
    });
}

void Float32ToUint8(const float* __restrict src,
                    std::uint32_t size,
                    const float* lower,
                    const float* upper,
                    std::uint8_t* __restrict dst) {
    const float low = *lower;
    const float high = *upper;
    const float scale = 255.0f / (high - low);
    runWide([=] {
        for (std::size_t i = 0; i < size; ++i) {
            // A NaN becomes the lower limit in this form.
            const float raised = low < src[i] ? src[i] : low;
            const float clamped = high > raised ? raised : high;
            dst[i] = byteOf((clamped - low) * scale);
        }
    });
}

void AddValue(const float* value, float* __restrict data, std::uint32_t size) {
    const float addend = *value;
    for (std::size_t i = 0; i < size; ++i) {
        data[i] += addend;
    }
}

void MultiplyValue(const float* value, float* __restrict data, std::uint32_t size) {
    const float factor = *value;
    runWide([=] {
        for (std::size_t i = 0; i < size; ++i) {
            data[i] = std::fmaf(factor, data[i], 0.0f);
        }
    });
}

void AddProduct(const float* __restrict src,
                std::uint32_t size,
                const float* value,
                float* __restrict dst) {
    const float factor = *value;
    runWide([=] {
        for (std::size_t i = 0; i < size; ++i) {
            dst[i] = std::fmaf(factor, src[i], dst[i]);
        }
    });
}

void Float16ToFloat32(const unsigned short* __restrict src,
                      std::uint32_t size,
                      float* __restrict dst) {
    runWide([=] {
        for (std::size_t i = 0; i < size; ++i) {
            const std::uint32_t bits = singleOfHalf(src[i]);
            std::memcpy(dst + i, &bits, sizeof(bits));
        }
    });
}

void Float32ToFloat16(const float* __restrict src,
                      std::uint32_t size,
                      unsigned short* __restrict dst) {
    runWide([=] {
        for (std::size_t i = 0; i < size; ++i) {
            std::uint32_t bits;
            std::memcpy(&bits, src + i, sizeof(bits));
            dst[i] = static_cast<unsigned short>(halfOfSingle(bits));
        }
    });
}

}  // namespace Base
}  // namespace Simd
