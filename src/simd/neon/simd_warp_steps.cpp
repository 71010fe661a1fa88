// The steps of the affine warp in vectors of eight columns. Whatever lies behind the columns of a
// block is computed too; only the destination ends where it should.

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "simd/neon/simd_addresses.h"
#include "simd/simd_warp_steps.h"

namespace Simd {
namespace Neon {
namespace {

constexpr std::uint32_t VECTOR = 8;
static_assert(VECTOR <= WARP_LEAST, "a vector needs as many columns");

/// Bytes to pixels of the source.
struct Steps {
    int32x4_t row;
    int32x4_t pixel;

    Steps(std::int32_t stride, std::int32_t pixelSize)
        : row(vdupq_n_s32(stride)), pixel(vdupq_n_s32(pixelSize)) {}

    int32x4_t offset(int32x4_t ix, int32x4_t iy) const {
        return vmlaq_s32(vmulq_s32(ix, pixel), iy, row);
    }
};

/// The offsets of the pixels next to the following four positions.
template <class Address>
inline int32x4_t locateNearest(const Steps& steps, Address& x, Address& y) {
    const float32x4_t half = vdupq_n_f32(0.5f);
    const int32x4_t ix = vcvtq_s32_f32(vaddq_f32(vld1q_f32(x), half));
    const int32x4_t iy = vcvtq_s32_f32(vaddq_f32(vld1q_f32(y), half));
    advance(x, 4);
    advance(y, 4);
    return steps.offset(ix, iy);
}

/// The fractions behind whole positions in units of 1/32, rounded: the conversion multiplies.
inline uint16x4_t weightOf(float32x4_t position, int32x4_t whole) {
    const float32x4_t fraction = vsubq_f32(position, vcvtq_f32_s32(whole));
    const float32x4_t rounded = vaddq_f32(fraction, vdupq_n_f32(0.5f / 32));
    return vmovn_u32(vcvtq_n_u32_f32(rounded, 5));
}

/// The upper left samples and the weights of four positions.
struct Location {
    int32x4_t offset;
    uint16x4_t wx;
    uint16x4_t wy;

    Location(const Steps& steps, const float* xs, const float* ys) {
        const float32x4_t x = vld1q_f32(xs);
        const float32x4_t y = vld1q_f32(ys);
        const int32x4_t ix = vcvtq_s32_f32(x);
        const int32x4_t iy = vcvtq_s32_f32(y);
        offset = steps.offset(ix, iy);
        wx = weightOf(x, ix);
        wy = weightOf(y, iy);
    }
};

/// The samples of one row for eight columns, a vector per channel.
template <std::size_t CHANNELS>
struct Pairs {
    uint8x8_t left[CHANNELS];
    uint8x8_t right[CHANNELS];
};

using RowSamples = std::uint8_t[2][4 * WARP_BLOCK];

inline void load(const RowSamples& samples, std::uint32_t i, Pairs<1>& pairs) {
    const uint8x8x2_t both = vld2_u8(samples[0] + 2 * i);
    pairs = {{both.val[0]}, {both.val[1]}};
}

inline void load(const RowSamples& samples, std::uint32_t i, Pairs<2>& pairs) {
    const uint8x8x2_t left = vld2_u8(samples[0] + 2 * i);
    const uint8x8x2_t right = vld2_u8(samples[1] + 2 * i);
    pairs = {{left.val[0], left.val[1]}, {right.val[0], right.val[1]}};
}

inline void load(const RowSamples& samples, std::uint32_t i, Pairs<3>& pairs) {
    const uint8x8x4_t left = vld4_u8(samples[0] + 4 * i);
    const uint8x8x4_t right = vld4_u8(samples[1] + 4 * i);
    pairs = {{left.val[0], left.val[1], left.val[2]}, {right.val[1], right.val[2], right.val[3]}};
}

inline void load(const RowSamples& samples, std::uint32_t i, Pairs<4>& pairs) {
    const uint8x8x4_t left = vld4_u8(samples[0] + 4 * i);
    const uint8x8x4_t right = vld4_u8(samples[1] + 4 * i);
    pairs = {{left.val[0], left.val[1], left.val[2], left.val[3]},
             {right.val[0], right.val[1], right.val[2], right.val[3]}};
}

inline void store(const uint8x8_t (&value)[1], std::uint8_t* dst) {
    vst1_u8(dst, value[0]);
}

inline void store(const uint8x8_t (&value)[2], std::uint8_t* dst) {
    const uint8x8x2_t pixels = {{value[0], value[1]}};
    vst2_u8(dst, pixels);
}

inline void store(const uint8x8_t (&value)[3], std::uint8_t* dst) {
    const uint8x8x3_t pixels = {{value[0], value[1], value[2]}};
    vst3_u8(dst, pixels);
}

inline void store(const uint8x8_t (&value)[4], std::uint8_t* dst) {
    const uint8x8x4_t pixels = {{value[0], value[1], value[2], value[3]}};
    vst4_u8(dst, pixels);
}

/// @p above (32 - @p wy) + @p below wy, rounded to whole bytes in halfwords.
inline uint16x4_t blendRows(uint16x4_t above, uint16x4_t below, uint16x4_t rest, uint16x4_t wy) {
    return vrshrn_n_u32(vmlal_u16(vmull_u16(above, rest), below, wy), 10);
}

template <std::size_t CHANNELS>
inline void blendVector(const WarpBlock& block, std::uint32_t i, std::uint8_t* dst) {
    const uint8x8_t wx = vld1_u8(block.wx + i);
    const uint8x8_t restX = vsub_u8(vdup_n_u8(32), wx);
    const uint16x8_t wy = vmovl_u8(vld1_u8(block.wy + i));
    const uint16x8_t restY = vsubq_u16(vdupq_n_u16(32), wy);
    Pairs<CHANNELS> upper;
    Pairs<CHANNELS> lower;
    load(block.samples[0], i, upper);
    load(block.samples[1], i, lower);
    uint8x8_t value[CHANNELS];
    for (std::size_t c = 0; c < CHANNELS; ++c) {
        const uint16x8_t above = vmlal_u8(vmull_u8(upper.left[c], restX), upper.right[c], wx);
        const uint16x8_t below = vmlal_u8(vmull_u8(lower.left[c], restX), lower.right[c], wx);
        value[c] = vmovn_u16(vcombine_u16(blendRows(vget_low_u16(above), vget_low_u16(below),
                                                    vget_low_u16(restY), vget_low_u16(wy)),
                                          blendRows(vget_high_u16(above), vget_high_u16(below),
                                                    vget_high_u16(restY), vget_high_u16(wy))));
    }
    store(value, dst);
}

/// The last vector may overlap the one before it.
template <std::size_t CHANNELS>
void blend(const WarpBlock& block, std::uint32_t size, std::uint8_t* dst) {
    std::uint8_t* const end = dst + size * CHANNELS;
    const std::uint32_t last = size - VECTOR;
    for (std::uint32_t i = 0; i < last; i += VECTOR) {
        blendVector<CHANNELS>(block, i, dst);
        dst = moved(dst, VECTOR * CHANNELS);
    }
    blendVector<CHANNELS>(block, last, end - VECTOR * CHANNELS);
}

}  // namespace

void LocateNearest(WarpBlock& block,
                   std::uint32_t size,
                   std::int32_t stride,
                   std::int32_t pixelSize) {
    const Steps steps(stride, pixelSize);
    const float* __restrict x = block.x;
    const float* __restrict y = block.y;
    std::int32_t* __restrict offset = block.offset;
    const std::int32_t* const end = offset + size;
    while (offset < end) {
        // No store in between, so that the steps of different vectors mix.
        int32x4_t offsets[4];
        for (int32x4_t& each : offsets) {
            each = locateNearest(steps, x, y);
        }
        for (const int32x4_t each : offsets) {
            vst1q_s32(offset, each);
            advance(offset, 4);
        }
    }
}

void LocateBilinear(WarpBlock& block,
                    std::uint32_t size,
                    std::int32_t stride,
                    std::int32_t pixelSize) {
    const Steps steps(stride, pixelSize);
    const float* __restrict x = block.x;
    const float* __restrict y = block.y;
    std::int32_t* __restrict offset = block.offset;
    std::uint8_t* __restrict wx = block.wx;
    std::uint8_t* __restrict wy = block.wy;
    const std::int32_t* const end = offset + size;
    for (; offset < end; offset += VECTOR, x += VECTOR, y += VECTOR, wx += VECTOR, wy += VECTOR) {
        const Location low(steps, x, y);
        const Location high(steps, x + 4, y + 4);
        vst1q_s32(offset, low.offset);
        vst1q_s32(offset + 4, high.offset);
        vst1_u8(wx, vmovn_u16(vcombine_u16(low.wx, high.wx)));
        vst1_u8(wy, vmovn_u16(vcombine_u16(low.wy, high.wy)));
    }
}

WarpSteps::Blend* const Blend[4] = {blend<1>, blend<2>, blend<3>, blend<4>};

}  // namespace Neon
}  // namespace Simd
