// Planar YUV to interleaved BGR and RGB, on vectors; the formulas stand with the portable variant.
//
// Sums carry 16 fractional bits, so that one instruction adds luma and chroma, adds half and keeps
// the high halves of 32-bit lanes. For that the differences from 16 and 128 are widened times 8 and
// meet weights of 13 bits, which fit 16-bit lanes; the 8-bit weights of NV12 are made 32 times
// larger. A sum stays within +-36 million, its high half within -300..600.

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "simd/neon/simd_vectors.h"
#include "simd/simd_kernels.h"

namespace Simd {
namespace Neon {
namespace {

enum Weight { Y, U_TO_BLUE, U_TO_GREEN, V_TO_RED, V_TO_GREEN };

struct PlanarArithmetic {
    static constexpr std::int16_t WEIGHTS[8] = {9535, 16531, -3203, 13074, -6660};

    static inline int16x8_t luma(uint8x8_t y) {
        return vshlq_n_s16(vreinterpretq_s16_u16(vsubl_u8(y, vdup_n_u8(16))), 3);
    }
};

struct Nv12Arithmetic {
    static constexpr std::int16_t WEIGHTS[8] = {32 * 298, 32 * 516, 32 * -100, 32 * 409, 32 * -208};

    static inline int16x8_t luma(uint8x8_t y) {
        return vreinterpretq_s16_u16(vshll_n_u8(vqsub_u8(y, vdup_n_u8(16)), 3));
    }
};

/// Eight lanes of 32 bits. Variables of such structs are not const: GCC would keep them in memory.
struct Wide {
    int32x4_t low;
    int32x4_t high;
};

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

/// Differences from 128.
inline int8x16_t centred(uint8x16_t chroma) {
    return vreinterpretq_s8_u8(veorq_u8(chroma, vdupq_n_u8(128)));
}

/// What eight chroma samples add to each channel.
struct ChromaTerms {
    Wide blue;
    Wide green;
    Wide red;
};

inline ChromaTerms chromaTerms(int8x8_t u, int8x8_t v, int16x8_t weights) {
    const int16x8_t du = vshll_n_s8(u, 3);
    const int16x8_t dv = vshll_n_s8(v, 3);
    return {multiply<U_TO_BLUE>(du, weights),
            multiplyAdd<V_TO_GREEN>(multiply<U_TO_GREEN>(du, weights), dv, weights),
            multiply<V_TO_RED>(dv, weights)};
}

/// Declares the registers of a structure store written, which costs nothing. Otherwise the
/// compiler, seeing one of the three written at a time, keeps all of them alive around the whole
/// loop.
template <class Structure>
inline void declareWritten(Structure& structure) {
#ifdef __clang__
    (void)structure;
#else
    asm("" : "=w"(structure));
#endif
}

/// Clamped to bytes, in the high byte of each lane.
inline uint16x8_t clampedHigh(int16x8_t value) {
    return vqshluq_n_s16(value, 8);
}

/// Bytes of even and odd columns, each in the high byte of its lane.
inline uint8x16_t weave(uint16x8_t even, uint16x8_t odd) {
    return vreinterpretq_u8_u16(vsriq_n_u16(odd, even, 8));
}

/// 16 pixels of a row, each two of which share a chroma sample. Even and odd columns are kept apart
/// up to the bytes, so that nothing of the chroma has to be doubled.
/// @tparam BLUE  place of B in the pixel: 0 for BGR, 2 for RGB
template <class Arithmetic, int BLUE>
inline void convertPairs(const std::uint8_t* y,
                         ChromaTerms chroma,
                         int16x8_t weights,
                         std::uint8_t* dst) {
    uint8x8x2_t columns = vld2_u8(y);
    Wide even = multiply<Y>(Arithmetic::luma(columns.val[0]), weights);
    const uint16x8_t evenBlue = clampedHigh(roundedSum(even, chroma.blue));
    const uint16x8_t evenGreen = clampedHigh(roundedSum(even, chroma.green));
    const uint16x8_t evenRed = clampedHigh(roundedSum(even, chroma.red));
    scheduleInOrder();
    Wide odd = multiply<Y>(Arithmetic::luma(columns.val[1]), weights);
    uint8x16x3_t pixels;
    declareWritten(pixels);
    pixels.val[BLUE] = weave(evenBlue, clampedHigh(roundedSum(odd, chroma.blue)));
    pixels.val[1] = weave(evenGreen, clampedHigh(roundedSum(odd, chroma.green)));
    pixels.val[2 - BLUE] = weave(evenRed, clampedHigh(roundedSum(odd, chroma.red)));
    scheduleInOrder();
    vst3q_u8(dst, pixels);
    scheduleInOrder();
}

/// 32 pixels of DOWN rows with their 16 chroma samples.
template <class Arithmetic, int BLUE, int DOWN>
inline void convertBlock(const std::uint8_t* y,
                         std::ptrdiff_t yStride,
                         uint8x16_t u,
                         uint8x16_t v,
                         std::uint8_t* dst,
                         std::ptrdiff_t dstStride) {
    const int16x8_t weights = vld1q_s16(Arithmetic::WEIGHTS);
    const int8x16_t du = centred(u);
    const int8x16_t dv = centred(v);
    ChromaTerms left = chromaTerms(vget_low_s8(du), vget_low_s8(dv), weights);
    convertPairs<Arithmetic, BLUE>(y, left, weights, dst);
    if (DOWN == 2) {
        convertPairs<Arithmetic, BLUE>(y + yStride, left, weights, dst + dstStride);
    }
    ChromaTerms right = chromaTerms(vget_high_s8(du), vget_high_s8(dv), weights);
    convertPairs<Arithmetic, BLUE>(y + 16, right, weights, dst + 48);
    if (DOWN == 2) {
        convertPairs<Arithmetic, BLUE>(y + yStride + 16, right, weights, dst + dstStride + 48);
    }
}

/// 8 pixels, each with a chroma sample of its own.
inline void convertSingles(uint8x8_t y, int8x8_t u, int8x8_t v, std::uint8_t* dst) {
    const int16x8_t weights = vld1q_s16(PlanarArithmetic::WEIGHTS);
    Wide luma = multiply<Y>(PlanarArithmetic::luma(y), weights);
    ChromaTerms chroma = chromaTerms(u, v, weights);
    uint8x8x3_t pixels;
    declareWritten(pixels);
    pixels.val[0] = vqmovun_s16(roundedSum(luma, chroma.blue));
    pixels.val[1] = vqmovun_s16(roundedSum(luma, chroma.green));
    pixels.val[2] = vqmovun_s16(roundedSum(luma, chroma.red));
    vst3_u8(dst, pixels);
    scheduleInOrder();
}

inline void convertBlock444(const std::uint8_t* y,
                            const std::uint8_t* u,
                            const std::uint8_t* v,
                            std::uint8_t* dst) {
    __builtin_prefetch(y + PREFETCH_DISTANCE);
    __builtin_prefetch(u + PREFETCH_DISTANCE);
    __builtin_prefetch(v + PREFETCH_DISTANCE);
    const uint8x16_t luma = vld1q_u8(y);
    const int8x16_t du = centred(vld1q_u8(u));
    const int8x16_t dv = centred(vld1q_u8(v));
    convertSingles(vget_low_u8(luma), vget_low_s8(du), vget_low_s8(dv), dst);
    convertSingles(vget_high_u8(luma), vget_high_s8(du), vget_high_s8(dv), dst + 24);
}

/// A chroma sample serves two columns of DOWN rows.
template <int BLUE, int DOWN>
void convertPlanar(const std::uint8_t* __restrict y,
                   std::ptrdiff_t yStride,
                   const std::uint8_t* __restrict u,
                   std::ptrdiff_t uStride,
                   const std::uint8_t* __restrict v,
                   std::ptrdiff_t vStride,
                   std::uint32_t width,
                   std::uint32_t height,
                   std::uint8_t* __restrict dst,
                   std::ptrdiff_t dstStride) {
    const std::size_t columns = width / 2 * 2;
    for (std::uint32_t rows = height / DOWN; rows != 0; --rows) {
        for (std::size_t i = 0; i < columns; i += PAIRS_BLOCK) {
            const std::size_t x = blockStart(i, PAIRS_BLOCK, columns);
            for (int row = 0; row < DOWN; ++row) {
                __builtin_prefetch(y + row * yStride + x + PREFETCH_DISTANCE);
            }
            __builtin_prefetch(u + x / 2 + PREFETCH_DISTANCE);
            __builtin_prefetch(v + x / 2 + PREFETCH_DISTANCE);
            convertBlock<PlanarArithmetic, BLUE, DOWN>(y + x, yStride, vld1q_u8(u + x / 2),
                                                       vld1q_u8(v + x / 2), dst + 3 * x, dstStride);
        }
        y += DOWN * yStride;
        u += uStride;
        v += vStride;
        dst += DOWN * dstStride;
    }
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
    convertPlanar<0, 2>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
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
    convertPlanar<2, 2>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
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
    convertPlanar<0, 1>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
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
    convertPlanar<2, 1>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
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
    for (; height != 0; --height) {
        for (std::size_t i = 0; i < width; i += A) {
            const std::size_t x = blockStart(i, A, width);
            convertBlock444(y + x, u + x, v + x, dst + 3 * x);
        }
        y += yStride;
        u += uStride;
        v += vStride;
        dst += dstStride;
    }
}

void Nv12ToBgr(const std::uint8_t* y,
               const std::uint8_t* uv,
               std::uint8_t* bgr,
               int width,
               int height,
               int stride,
               int bgrStride) {
    if (width < int(PAIRS_BLOCK)) {
        Base::Nv12ToBgr(y, uv, bgr, width, height, stride, bgrStride);
        return;
    }
    const std::size_t columns = std::size_t(width) / 8 * 8;
    for (int pairs = height / 2; pairs > 0; --pairs) {
        for (std::size_t i = 0; i < columns; i += PAIRS_BLOCK) {
            const std::size_t x = blockStart(i, PAIRS_BLOCK, columns);
            __builtin_prefetch(y + x + PREFETCH_DISTANCE);
            __builtin_prefetch(y + stride + x + PREFETCH_DISTANCE);
            __builtin_prefetch(uv + x + PREFETCH_DISTANCE);
            uint8x16x2_t chroma = vld2q_u8(uv + x);
            convertBlock<Nv12Arithmetic, 0, 2>(y + x, stride, chroma.val[0], chroma.val[1],
                                               bgr + 3 * x, bgrStride);
        }
        y += 2 * std::ptrdiff_t(stride);
        uv += stride;
        bgr += 2 * std::ptrdiff_t(bgrStride);
    }
}

}  // namespace Neon
}  // namespace Simd
