// Runs of floats: from bytes and back, and constant arithmetic. Vectors multiply and then add, both
// rounded; 32-bit vectors also take subnormal numbers for zero.

#include <arm_neon.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "simd/simd_kernels.h"

namespace Simd {
namespace Neon {
namespace {

constexpr std::uint32_t BLOCK = A;
constexpr std::uint32_t VECTOR = 4;
constexpr std::size_t PREFETCH_DISTANCE = 384;  // elements

/// Runs @p kernel on blocks of 16 elements; @p size is at least one block. When it is no whole
/// number of blocks, the last one overlaps the one before.
template <class From, class To, class Kernel>
inline void convert(const From* src, std::uint32_t size, To* dst, Kernel kernel) {
    for (std::uint32_t blocks = size / BLOCK; blocks != 0; --blocks) {
        __builtin_prefetch(src + PREFETCH_DISTANCE);
        kernel(src, dst);
        src += BLOCK;
        dst += BLOCK;
    }
    if (const std::uint32_t rest = size % BLOCK) {
        kernel(src - (BLOCK - rest), dst - (BLOCK - rest));
    }
}

}  // namespace

void Uint8ToFloat32(const std::uint8_t* src,
                    std::uint32_t size,
                    const float* lower,
                    const float* upper,
                    float* dst) {
    const float32x4_t offset = vdupq_n_f32(*lower);
    const float32x4_t scale = vdupq_n_f32((*upper - *lower) / 255.0f);
    const auto widen = [=](uint16x4_t bytes) {
        return vaddq_f32(offset, vmulq_f32(scale, vcvtq_f32_u32(vmovl_u16(bytes))));
    };
    convert(src, size, dst, [=](const std::uint8_t* __restrict from, float* __restrict to) {
        const uint8x16_t bytes = vld1q_u8(from);
        const uint16x8_t left = vmovl_u8(vget_low_u8(bytes));
        const uint16x8_t right = vmovl_u8(vget_high_u8(bytes));
        vst1q_f32(to, widen(vget_low_u16(left)));
        vst1q_f32(to + 4, widen(vget_high_u16(left)));
        vst1q_f32(to + 8, widen(vget_low_u16(right)));
        vst1q_f32(to + 12, widen(vget_high_u16(right)));
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
        return vmovn_u32(vcvtq_u32_f32(vmulq_f32(vsubq_f32(clamped, low), scale)));
    };
    convert(src, size, dst, [=](const float* __restrict from, std::uint8_t* __restrict to) {
        const uint16x8_t left = vcombine_u16(narrow(vld1q_f32(from)), narrow(vld1q_f32(from + 4)));
        const uint16x8_t right =
            vcombine_u16(narrow(vld1q_f32(from + 8)), narrow(vld1q_f32(from + 12)));
        vst1q_u8(to, vcombine_u8(vmovn_u16(left), vmovn_u16(right)));
    });
}

void AddValue(const float* value, float* data, std::uint32_t size) {
    const float addend = *value;
    const float32x4_t addends = vdupq_n_f32(addend);
    const auto addVector = [=](float* at) { vst1q_f32(at, vaddq_f32(vld1q_f32(at), addends)); };
    for (; size >= BLOCK; size -= BLOCK, data += BLOCK) {
        __builtin_prefetch(data + PREFETCH_DISTANCE);
        for (std::uint32_t i = 0; i < BLOCK; i += VECTOR) {
            addVector(data + i);
        }
    }
    for (; size >= VECTOR; size -= VECTOR, data += VECTOR) {
        addVector(data);
    }
    for (; size != 0; --size, ++data) {
        *data += addend;
    }
}

void AddProduct(const float* src, std::uint32_t size, const float* value, float* dst) {
    const float factor = *value;
    const float32x4_t factors = vdupq_n_f32(factor);
    const auto addVector = [=](const float* from, float* to) {
        vst1q_f32(to, vaddq_f32(vld1q_f32(to), vmulq_f32(factors, vld1q_f32(from))));
    };
    for (; size >= BLOCK; size -= BLOCK, src += BLOCK, dst += BLOCK) {
        __builtin_prefetch(src + PREFETCH_DISTANCE);
        __builtin_prefetch(dst + PREFETCH_DISTANCE);
        for (std::uint32_t i = 0; i < BLOCK; i += VECTOR) {
            addVector(src + i, dst + i);
        }
    }
    for (; size >= VECTOR; size -= VECTOR, src += VECTOR, dst += VECTOR) {
        addVector(src, dst);
    }
    for (; size != 0; --size, ++src, ++dst) {
        *dst = std::fmaf(factor, *src, *dst);
    }
}

}  // namespace Neon
}  // namespace Simd
