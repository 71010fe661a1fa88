// Planar YUV to interleaved BGR and RGB, on vectors; the formulas stand with the portable variant.
//
// With 13 fractional bits, sums are made of 16 bits, so that one instruction adds luma and chroma,
// adds half and keeps the high halves of 32-bit lanes. For that the differences from 16 and 128 are
// widened times 8 and meet weights of 13 bits, which fit 16-bit lanes. A sum stays within +-36
// million, its high half within -300..600.
//
// With 8 fractional bits, 16-bit lanes do. All weights but two are multiples of 4, and a floor of a
// sum does not change when integers are added after a floor, so that with yy = max(Y - 16, 0)
//
//     B = (((149 yy + 64) >> 1) + 129 u         ) >> 6
//     G = (((149 yy + 64) >> 1) -  25 u -  52 v ) >> 6
//     R = (((149 yy + (V >> 1)) >> 1) + 102 v   ) >> 6      V >> 1 is (v >> 1) + 64
//
// where only B can leave the lanes, upwards, and is saturated.

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "simd/neon/simd_streams.h"
#include "simd/neon/simd_vectors.h"
#include "simd/neon/simd_walk.h"
#include "simd/simd_color_weights.h"
#include "simd/simd_kernels.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Neon {
namespace {

// ---- Arithmetic ---------------------------------------------------------------------------------

/// Eight lanes of 32 bits. Variables of such structs are not const: GCC would keep them in memory.
struct Wide {
    int32x4_t low;
    int32x4_t high;
};

enum Weight { Y, U_TO_BLUE, U_TO_GREEN, V_TO_RED, V_TO_GREEN };

template <Weight WEIGHT>
inline Wide multiply(int16x8_t a, int16x8_t weights) {
    const int16x4_t half = WEIGHT < 4 ? vget_low_s16(weights) : vget_high_s16(weights);
    return {vmull_lane_s16(vget_low_s16(a), half, WEIGHT % 4),
            vmull_lane_s16(vget_high_s16(a), half, WEIGHT % 4)};
}

template <Weight WEIGHT>
inline Wide multiplyAdd(Wide sum, int16x8_t a, int16x8_t weights) {
    const int16x4_t half = WEIGHT < 4 ? vget_low_s16(weights) : vget_high_s16(weights);
    return {vmlal_lane_s16(sum.low, vget_low_s16(a), half, WEIGHT % 4),
            vmlal_lane_s16(sum.high, vget_high_s16(a), half, WEIGHT % 4)};
}

/// The rounded high halves of a + b.
inline int16x8_t roundedSum(Wide a, Wide b) {
    return join<int16x8_t>(vraddhn_s32(a.low, b.low), vraddhn_s32(a.high, b.high));
}

/// The channels of eight pixels, with @p Lanes still to be clamped to bytes.
template <class Lanes>
struct Channels {
    Lanes blue;
    Lanes green;
    Lanes red;
};

/// 13 fractional bits.
struct PlanarArithmetic {
    static constexpr YuvWeights W = PLANAR_TO_BGR;
    static constexpr std::int16_t WEIGHTS[8] = {W.y, W.uToBlue, W.uToGreen, W.vToRed, W.vToGreen};
    static constexpr int WIDENING = 16 - W.shift;

    using Chroma = Channels<Wide>;  // what eight chroma samples add

    static inline Chroma chroma(uint8x8_t u, uint8x8_t v) {
        const int16x8_t weights = vld1q_s16(WEIGHTS);
        const int16x8_t du = vshlq_n_s16(difference(u, CHROMA_OFFSET), WIDENING);
        const int16x8_t dv = vshlq_n_s16(difference(v, CHROMA_OFFSET), WIDENING);
        return {multiply<U_TO_BLUE>(du, weights),
                multiplyAdd<V_TO_GREEN>(multiply<U_TO_GREEN>(du, weights), dv, weights),
                multiply<V_TO_RED>(dv, weights)};
    }

    static inline Channels<int16x8_t> sums(uint8x8_t y, Chroma chroma) {
        const int16x8_t dy = vshlq_n_s16(difference(y, LUMA_OFFSET), WIDENING);
        Wide luma = multiply<Y>(dy, vld1q_s16(WEIGHTS));
        return {roundedSum(luma, chroma.blue), roundedSum(luma, chroma.green),
                roundedSum(luma, chroma.red)};
    }

    /// Clamped to bytes, in the high byte of each lane.
    static inline uint16x8_t high(int16x8_t sum) { return vqshluq_n_s16(sum, 8); }

private:
    static inline int16x8_t difference(uint8x8_t a, std::uint8_t b) {
        return vreinterpretq_s16_u16(vsubl_u8(a, vdup_n_u8(b)));
    }
};

/// 8 fractional bits.
struct Nv12Arithmetic {
    static constexpr YuvWeights W = NV12_TO_BGR;
    static constexpr std::int16_t WEIGHTS[4] = {W.uToBlue / 4, W.uToGreen / 4, W.vToGreen / 4,
                                                W.vToRed / 4};
    static_assert(W.shift == 8 && W.y % 4 == 2 && W.vToRed % 4 == 1);
    static_assert(W.uToBlue % 4 == 0 && W.uToGreen % 4 == 0 && W.vToGreen % 4 == 0);

    struct Chroma {
        int16x8_t blue;
        int16x8_t green;
        int16x8_t red;
        uint16x8_t redHalf;  // V >> 1
    };

    static inline Chroma chroma(uint8x8_t u, uint8x8_t v) {
        const int16x8_t du = vreinterpretq_s16_u16(vsubl_u8(u, vdup_n_u8(CHROMA_OFFSET)));
        const int16x8_t dv = vreinterpretq_s16_u16(vsubl_u8(v, vdup_n_u8(CHROMA_OFFSET)));
        const int16x4_t weights = vld1_s16(WEIGHTS);
        return {vmulq_lane_s16(du, weights, 0),
                vmlaq_lane_s16(vmulq_lane_s16(du, weights, 1), dv, weights, 2),
                vmulq_lane_s16(dv, weights, 3), vmovl_u8(vshr_n_u8(v, 1))};
    }

    static inline Channels<int16x8_t> sums(uint8x8_t y, Chroma chroma) {
        const uint16x8_t luma = vmull_u8(vqsub_u8(y, vdup_n_u8(LUMA_OFFSET)), vdup_n_u8(W.y / 2));
        const int16x8_t half = vreinterpretq_s16_u16(vhaddq_u16(luma, vdupq_n_u16(64)));
        const int16x8_t red = vreinterpretq_s16_u16(vhaddq_u16(luma, chroma.redHalf));
        return {vqaddq_s16(half, chroma.blue), vaddq_s16(half, chroma.green),
                vaddq_s16(red, chroma.red)};
    }

    static inline uint16x8_t high(int16x8_t sum) { return vqshluq_n_s16(sum, 2); }
};

// ---- Pixels that share chroma -------------------------------------------------------------------

/// Both from high bytes: @p first in the low bytes, @p second in the high ones.
inline uint16x8_t weave(uint16x8_t first, uint16x8_t second) {
    return vsriq_n_u16(second, first, 8);
}

/// 16 pixels of a row, each two of which share a chroma sample. Even and odd columns are kept apart
/// up to the bytes, so that nothing of the chroma has to be doubled; then two pixels are three
/// pairs of bytes.
/// @tparam RGB  order of the channels
template <class Arithmetic, bool RGB>
inline void convertPairs(const std::uint8_t*& y,
                         typename Arithmetic::Chroma chroma,
                         std::uint8_t*& dst) {
    const uint8x8x2_t columns = vld2_u8(y);
    advance(y, 16);
    Channels<int16x8_t> even = Arithmetic::sums(columns.val[0], chroma);
    const uint16x8_t firstPair =
        weave(Arithmetic::high(RGB ? even.red : even.blue), Arithmetic::high(even.green));
    const uint16x8_t evenThird = Arithmetic::high(RGB ? even.blue : even.red);
    scheduleInOrder();
    Channels<int16x8_t> odd = Arithmetic::sums(columns.val[1], chroma);
    uint16x8x3_t pairs;
    declareWritten(pairs);
    pairs.val[0] = firstPair;
    pairs.val[1] = weave(evenThird, Arithmetic::high(RGB ? odd.red : odd.blue));
    pairs.val[2] = weave(Arithmetic::high(odd.green), Arithmetic::high(RGB ? odd.blue : odd.red));
    scheduleInOrder();
    putPixels(dst, pairs);
    scheduleInOrder();
}

/// Eight samples of each chroma, from planes of their own or from a plane of pairs.
inline uint8x8x2_t takeChroma(const std::uint8_t*& u, const std::uint8_t*& v) {
    const uint8x8x2_t samples = {{vld1_u8(u), vld1_u8(v)}};
    advance(u, 8);
    advance(v, 8);
    return samples;
}

inline uint8x8x2_t takeChroma(const std::uint8_t*& uv) {
    const uint8x8x2_t samples = vld2_u8(uv);
    advance(uv, 16);
    return samples;
}

/// The kernel for 32 pixels of DOWN rows with one row of chroma, in one plane or two.
template <class Arithmetic, bool RGB, int DOWN>
struct ConvertBlock {
    template <class... Plane>
    void operator()(const std::uint8_t*& y,
                    const std::uint8_t*& nextY,
                    std::uint8_t*& dst,
                    std::uint8_t*& nextDst,
                    Plane&... chroma) const {
        prefetch(y);
        if constexpr (DOWN == 2) {
            prefetch(nextY);
        }
        (prefetch(chroma), ...);
#pragma GCC unroll 2
        for (std::uint32_t x = 0; x < PAIRS_BLOCK; x += 16) {
            const uint8x8x2_t samples = takeChroma(chroma...);
            typename Arithmetic::Chroma terms = Arithmetic::chroma(samples.val[0], samples.val[1]);
            convertPairs<Arithmetic, RGB>(y, terms, dst);
            if constexpr (DOWN == 2) {
                convertPairs<Arithmetic, RGB>(nextY, terms, nextDst);
            }
        }
    }
};

using YRows = Source<PAIRS_BLOCK>;
using ChromaRow = Source<PAIRS_BLOCK / 2>;
using BgrRows = Target<3 * PAIRS_BLOCK>;

/// A chroma sample serves two columns of DOWN rows.
template <bool RGB, int DOWN>
void convertPlanar(const std::uint8_t* y,
                   RowStep yStride,
                   const std::uint8_t* u,
                   RowStep uStride,
                   const std::uint8_t* v,
                   RowStep vStride,
                   std::uint32_t width,
                   std::uint32_t height,
                   std::uint8_t* dst,
                   RowStep dstStride) {
    walk<PAIRS_BLOCK>(width / 2 * 2, height / DOWN, ConvertBlock<PlanarArithmetic, RGB, DOWN>(),
                      YRows{y, DOWN * yStride}, YRows{y + yStride, DOWN * yStride},
                      BgrRows{dst, DOWN * dstStride}, BgrRows{dst + dstStride, DOWN * dstStride},
                      ChromaRow{u, uStride}, ChromaRow{v, vStride});
}

// ---- Pixels with chroma of their own ------------------------------------------------------------

inline void convertSingles(uint8x8_t y, uint8x8_t u, uint8x8_t v, std::uint8_t*& dst) {
    PlanarArithmetic::Chroma chroma = PlanarArithmetic::chroma(u, v);
    Channels<int16x8_t> sums = PlanarArithmetic::sums(y, chroma);
    uint8x8x3_t pixels;
    declareWritten(pixels);
    pixels.val[0] = vqmovun_s16(sums.blue);
    pixels.val[1] = vqmovun_s16(sums.green);
    pixels.val[2] = vqmovun_s16(sums.red);
    vst3_u8(dst, pixels);
    advance(dst, 24);
    scheduleInOrder();
}

}  // namespace

void Yuv420pToBgr(const std::uint8_t* y,
                  std::uint32_t yStride,
                  const std::uint8_t* u,
                  std::uint32_t uStride,
                  const std::uint8_t* v,
                  std::uint32_t vStride,
                  std::uint32_t width,
                  std::uint32_t height,
                  std::uint8_t* dst,
                  std::uint32_t dstStride) {
    convertPlanar<false, 2>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
}

void Yuv420pToRgb(const std::uint8_t* y,
                  std::uint32_t yStride,
                  const std::uint8_t* u,
                  std::uint32_t uStride,
                  const std::uint8_t* v,
                  std::uint32_t vStride,
                  std::uint32_t width,
                  std::uint32_t height,
                  std::uint8_t* dst,
                  std::uint32_t dstStride) {
    convertPlanar<true, 2>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
}

void Yuv422pToBgr(const std::uint8_t* y,
                  std::uint32_t yStride,
                  const std::uint8_t* u,
                  std::uint32_t uStride,
                  const std::uint8_t* v,
                  std::uint32_t vStride,
                  std::uint32_t width,
                  std::uint32_t height,
                  std::uint8_t* dst,
                  std::uint32_t dstStride) {
    convertPlanar<false, 1>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
}

void Yuv422pToRgb(const std::uint8_t* y,
                  std::uint32_t yStride,
                  const std::uint8_t* u,
                  std::uint32_t uStride,
                  const std::uint8_t* v,
                  std::uint32_t vStride,
                  std::uint32_t width,
                  std::uint32_t height,
                  std::uint8_t* dst,
                  std::uint32_t dstStride) {
    convertPlanar<true, 1>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
}

void Yuv444pToBgr(const std::uint8_t* y,
                  std::uint32_t yStride,
                  const std::uint8_t* u,
                  std::uint32_t uStride,
                  const std::uint8_t* v,
                  std::uint32_t vStride,
                  std::uint32_t width,
                  std::uint32_t height,
                  std::uint8_t* dst,
                  std::uint32_t dstStride) {
    const auto kernel = [](const std::uint8_t*& blockY, const std::uint8_t*& blockU,
                           const std::uint8_t*& blockV, std::uint8_t*& blockDst) {
        prefetch(blockY);
        prefetch(blockU);
        prefetch(blockV);
        const uint8x16_t luma = take(blockY);
        const uint8x16_t uSamples = take(blockU);
        const uint8x16_t vSamples = take(blockV);
        convertSingles(vget_low_u8(luma), vget_low_u8(uSamples), vget_low_u8(vSamples), blockDst);
        convertSingles(vget_high_u8(luma), vget_high_u8(uSamples), vget_high_u8(vSamples),
                       blockDst);
    };
    walk<A>(width, height, kernel, Source<A>{y, yStride}, Source<A>{u, uStride},
            Source<A>{v, vStride}, Target<3 * A>{dst, dstStride});
}

void Nv12ToBgr(const std::uint8_t* y,
               const std::uint8_t* uv,
               std::uint8_t* bgr,
               int width,
               int height,
               int stride,
               int bgrStride) {
    if (width < int(PAIRS_BLOCK) || height < 2) {
        Base::Nv12ToBgr(y, uv, bgr, width, height, stride, bgrStride);
        return;
    }
    const std::ptrdiff_t step = stride;
    const std::ptrdiff_t bgrStep = bgrStride;
    walk<PAIRS_BLOCK>(std::size_t(width) / 8 * 8, std::uint32_t(height) / 2,
                      ConvertBlock<Nv12Arithmetic, false, 2>(), YRows{y, 2 * step},
                      YRows{y + step, 2 * step}, BgrRows{bgr, 2 * bgrStep},
                      BgrRows{bgr + bgrStep, 2 * bgrStep}, Source<PAIRS_BLOCK>{uv, step});
}

}  // namespace Neon
}  // namespace Simd
