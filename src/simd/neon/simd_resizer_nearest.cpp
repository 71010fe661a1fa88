// Rows of nearest pixels in vectors of 16 bytes.

#include "simd/simd_nearest_rows.h"

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "simd/neon/simd_addresses.h"
#include "simd/neon/simd_lookup.h"

namespace Simd {
namespace Neon {
namespace {

template <std::size_t WINDOW>
void gather(const std::uint8_t* __restrict src,
            const std::uint8_t*,
            const NearestBlock* __restrict block,
            const std::uint8_t* __restrict position,
            std::uint32_t count,
            std::uint8_t* __restrict dst) {
#pragma GCC unroll 4
    for (; count != 0; --count) {
        const std::uint32_t from = block->src;
        const std::uint32_t to = block->dst;
        vst1q_u8(dst + to, lookUp<WINDOW>(src + from, vld1q_u8(position)));
        advance(block, 1);
        advance(position, NEAREST_BLOCK);
    }
}

/// Copies the second of each two pixels of @p SIZE bytes, for a whole vector.
template <std::uint32_t SIZE>
struct Halves {
    static constexpr std::uint32_t PIXELS = 16 / SIZE;

    static void copy(const std::uint8_t* src, std::uint8_t* dst) {
        if constexpr (SIZE == 1) {
            vst1q_u8(dst, vld2q_u8(src).val[1]);
        } else if constexpr (SIZE == 2) {
            const uint16x8_t pixels = vld2q_u16(as<std::uint16_t>(src)).val[1];
            vst1q_u8(dst, vreinterpretq_u8_u16(pixels));
        } else {
            const uint32x4_t pixels = vld2q_u32(as<std::uint32_t>(src)).val[1];
            vst1q_u8(dst, vreinterpretq_u8_u32(pixels));
        }
    }
};

template <>
struct Halves<3> {
    static constexpr std::uint32_t PIXELS = 8;

    static void copy(const std::uint8_t* src, std::uint8_t* dst) {
        const uint8x16x3_t channels = vld3q_u8(src);
        uint8x8x3_t pixels;
        for (int c = 0; c < 3; ++c) {
            // The second of two pixels is the high byte.
            pixels.val[c] = vshrn_n_u16(vreinterpretq_u16_u8(channels.val[c]), 8);
        }
        vst3_u8(dst, pixels);
    }
};

template <std::uint32_t SIZE>
void halve(const std::uint8_t* __restrict src,
           const std::uint8_t*,
           std::uint32_t width,
           std::uint8_t* __restrict dst) {
    using Vector = Halves<SIZE>;
    constexpr std::size_t STEP = Vector::PIXELS * SIZE;
#pragma GCC unroll 4
    for (std::uint32_t vectors = width / Vector::PIXELS; vectors != 0; --vectors) {
        Vector::copy(src, dst);
        advance(src, 2 * STEP);
        advance(dst, STEP);
    }
    // What remains is narrower than a vector, so the last one overlaps the one before.
    if (const std::size_t rest = width % Vector::PIXELS) {
        const std::size_t back = STEP - rest * SIZE;
        Vector::copy(src - 2 * back, dst - back);
    }
}

constexpr NearestRows::Form FORMS[] = {
    {gather<16>, nullptr, NEAREST_BLOCK, 16, NEAREST_BLOCK, false, 3},
    {gather<32>, nullptr, NEAREST_BLOCK, 32, NEAREST_BLOCK, false, 4},
    {gather<64>, nullptr, NEAREST_BLOCK, 64, NEAREST_BLOCK, false, 5},
};

}  // namespace

const NearestRows NearestVectors = {
    FORMS, sizeof(FORMS) / sizeof(*FORMS), {halve<1>, halve<2>, halve<3>, halve<4>}, 16};

}  // namespace Neon
}  // namespace Simd
