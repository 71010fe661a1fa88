// Planar YUV to interleaved BGR and RGB, on vectors; the formulas stand with the portable variant.
//
// Bytes are multiplied by bytes and added in pairs. For that each weight is split, w = 256 high +
// low, and so is the offset of a channel, which is its half less what the offsets of the samples
// make. With H and L the sums of the high and of the low parts,
//
//     (256 H + L) >> 13  =  (H + (L >> 8)) >> 5
//
// L may leave 16 bits on the way; the offset brings its range, 48960 wide at most, to the middle of
// them. H + (L >> 8) stays within -9000..18000, and packing clamps it after the shift.

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_vectors.h"
#include "simd/simd_blocks.h"
#include "simd/simd_color_weights.h"
#include "simd/simd_kernels.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Avx2 {
namespace {

using PlaneSource = Source<VECTOR>;
using HalfSource = Source<LANE>;
using BgrTarget = Target<3 * VECTOR>;

constexpr int SHIFT = 13;

struct PlanarArithmetic {
    static constexpr YuvWeights WEIGHTS = PLANAR_TO_BGR;
    static constexpr int LUMA_BIAS = LUMA_OFFSET;  ///< that luma still has
    static inline __m256i luma(__m256i y) { return y; }
};

struct Nv12Arithmetic {
    static constexpr YuvWeights WEIGHTS = {32 * NV12_TO_BGR.y,        32 * NV12_TO_BGR.uToBlue,
                                           32 * NV12_TO_BGR.uToGreen, 32 * NV12_TO_BGR.vToGreen,
                                           32 * NV12_TO_BGR.vToRed,   5 + NV12_TO_BGR.shift};
    static constexpr int LUMA_BIAS = 0;
    static inline __m256i luma(__m256i y) {
        return _mm256_subs_epu8(y, _mm256_set1_epi8(LUMA_OFFSET));
    }
};

static_assert(PlanarArithmetic::WEIGHTS.shift == SHIFT && Nv12Arithmetic::WEIGHTS.shift == SHIFT);

/// Weights of the samples in a channel.
struct ChannelWeights {
    int y;
    int u;
    int v;
};

template <class Arithmetic>
struct Bgr {
    static constexpr YuvWeights W = Arithmetic::WEIGHTS;
    static constexpr ChannelWeights BLUE = {W.y, W.uToBlue, 0};
    static constexpr ChannelWeights GREEN = {W.y, W.uToGreen, W.vToGreen};
    static constexpr ChannelWeights RED = {W.y, 0, W.vToRed};
};

constexpr int highOf(int weight) {
    return (weight + 128) >> 8;
}

constexpr int lowOf(int weight) {
    return weight - 256 * highOf(weight);
}

/// 16 sums, 256 high + low.
struct Sums {
    __m256i high;
    __m256i low;
};

inline Sums add(Sums a, Sums b) {
    return {_mm256_add_epi16(a.high, b.high), _mm256_add_epi16(a.low, b.low)};
}

/// Of the two bytes in each 16-bit lane.
inline Sums multiply(__m256i pairs, int evenWeight, int oddWeight) {
    return {_mm256_maddubs_epi16(pairs, bytePairs(highOf(evenWeight), highOf(oddWeight))),
            _mm256_maddubs_epi16(pairs, bytePairs(lowOf(evenWeight), lowOf(oddWeight)))};
}

template <class Arithmetic>
inline Sums offsetOf(ChannelWeights w) {
    const int offset =
        (1 << (SHIFT - 1)) - Arithmetic::LUMA_BIAS * w.y - CHROMA_OFFSET * (w.u + w.v);
    const int middle = 255 * (lowOf(w.y) + lowOf(w.u) + lowOf(w.v)) / 2;
    const int high = (offset + middle) >> 8;
    return {_mm256_set1_epi16(std::int16_t(high)),
            _mm256_set1_epi16(std::int16_t(offset - 256 * high))};
}

inline __m256i shifted(Sums sums) {
    return _mm256_srai_epi16(_mm256_add_epi16(sums.high, _mm256_srai_epi16(sums.low, 8)),
                             SHIFT - 8);
}

// ---- A chroma sample for two columns ------------------------------------------------------------

/// What 16 chroma samples add to each channel, offsets included.
struct ChromaTerms {
    Sums blue;
    Sums green;
    Sums red;
};

template <class Arithmetic>
inline Sums termOf(__m256i uv, ChannelWeights weights) {
    return add(multiply(uv, weights.u, weights.v), offsetOf<Arithmetic>(weights));
}

template <class Arithmetic>
inline ChromaTerms termsOf(__m256i uv) {
    return {termOf<Arithmetic>(uv, Bgr<Arithmetic>::BLUE),
            termOf<Arithmetic>(uv, Bgr<Arithmetic>::GREEN),
            termOf<Arithmetic>(uv, Bgr<Arithmetic>::RED)};
}

/// 32 pixels of a row.
/// @tparam BLUE  place of B in the pixel: 0 for BGR, 2 for RGB
template <class Arithmetic, int BLUE>
inline void convertRow(const std::uint8_t* y, const ChromaTerms& chroma, std::uint8_t* dst) {
    const __m256i luma = Arithmetic::luma(load(y));
    const Sums even = multiply(luma, Arithmetic::WEIGHTS.y, 0);
    const Sums odd = multiply(luma, 0, Arithmetic::WEIGHTS.y);
    const auto channel = [&](Sums term) {
        return _mm256_packus_epi16(shifted(add(even, term)), shifted(add(odd, term)));
    };
    const Sums& first = BLUE == 0 ? chroma.blue : chroma.red;
    const Sums& third = BLUE == 0 ? chroma.red : chroma.blue;
    storePixelsByLanes(
        dst, join<evenThenOdd>({{channel(first), channel(chroma.green), channel(third)}}));
}

/// A chroma sample serves two columns of DOWN rows.
template <int BLUE, int DOWN>
void convertHalved(const std::uint8_t* y,
                   RowStep yStride,
                   const std::uint8_t* u,
                   RowStep uStride,
                   const std::uint8_t* v,
                   RowStep vStride,
                   std::uint32_t width,
                   std::uint32_t height,
                   std::uint8_t* dst,
                   RowStep dstStride) {
    const auto kernel =
        [=](const std::uint8_t* __restrict blockY, const std::uint8_t* __restrict blockU,
            const std::uint8_t* __restrict blockV, std::uint8_t* __restrict blockDst) {
            const __m256i uv = joinPairs(loadLane(blockU), loadLane(blockV));
            const ChromaTerms chroma = termsOf<PlanarArithmetic>(uv);
            convertRow<PlanarArithmetic, BLUE>(blockY, chroma, blockDst);
            if (DOWN == 2) {
                convertRow<PlanarArithmetic, BLUE>(blockY + yStride, chroma, blockDst + dstStride);
            }
        };
    process<A>(width / 2 * 2, height / DOWN, kernel, PlaneSource{y, DOWN * yStride},
               HalfSource{u, uStride}, HalfSource{v, vStride}, BgrTarget{dst, DOWN * dstStride});
}

// ---- A chroma sample for each pixel -------------------------------------------------------------

/// @param yu, yv  bytes of luma and chroma in turn
inline __m256i channelOf(__m256i yu, __m256i yv, ChannelWeights w) {
    const Sums offset = offsetOf<PlanarArithmetic>(w);
    const Sums sums = w.v == 0   ? multiply(yu, w.y, w.u)
                      : w.u == 0 ? multiply(yv, w.y, w.v)
                                 : add(multiply(yu, 0, w.u), multiply(yv, w.y, w.v));
    return shifted(add(sums, offset));
}

/// 32 pixels of a row.
inline void convertRow444(__m256i y, __m256i u, __m256i v, std::uint8_t* dst) {
    const __m256i leftYu = _mm256_unpacklo_epi8(y, u);
    const __m256i leftYv = _mm256_unpacklo_epi8(y, v);
    const __m256i rightYu = _mm256_unpackhi_epi8(y, u);
    const __m256i rightYv = _mm256_unpackhi_epi8(y, v);
    const auto left = [&](ChannelWeights weights) { return channelOf(leftYu, leftYv, weights); };
    const auto right = [&](ChannelWeights weights) { return channelOf(rightYu, rightYv, weights); };
    using W = Bgr<PlanarArithmetic>;
    storePixelsByLanes(dst,
                       join<leftThenRight>({{_mm256_packus_epi16(left(W::BLUE), left(W::GREEN)),
                                             _mm256_packus_epi16(right(W::BLUE), right(W::GREEN)),
                                             _mm256_packus_epi16(left(W::RED), right(W::RED))}}));
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
    convertHalved<0, 2>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
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
    convertHalved<2, 2>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
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
    convertHalved<0, 1>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
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
    convertHalved<2, 1>(y, yStride, u, uStride, v, vStride, width, height, dst, dstStride);
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
    const auto kernel =
        [](const std::uint8_t* __restrict blockY, const std::uint8_t* __restrict blockU,
           const std::uint8_t* __restrict blockV, std::uint8_t* __restrict blockDst) {
            convertRow444(load(blockY), load(blockU), load(blockV), blockDst);
        };
    process<A>(width, height, kernel, PlaneSource{y, yStride}, PlaneSource{u, uStride},
               PlaneSource{v, vStride}, BgrTarget{dst, dstStride});
}

void Nv12ToBgr(const std::uint8_t* y,
               const std::uint8_t* uv,
               std::uint8_t* bgr,
               int width,
               int height,
               int stride,
               int bgrStride) {
    if (width < int(A) || height < 2) {
        Base::Nv12ToBgr(y, uv, bgr, width, height, stride, bgrStride);
        return;
    }
    const std::ptrdiff_t step = stride;
    const std::ptrdiff_t bgrStep = bgrStride;
    const auto kernel = [=](const std::uint8_t* __restrict blockY,
                            const std::uint8_t* __restrict blockUv,
                            std::uint8_t* __restrict blockBgr) {
        const ChromaTerms chroma = termsOf<Nv12Arithmetic>(load(blockUv));
        convertRow<Nv12Arithmetic, 0>(blockY, chroma, blockBgr);
        convertRow<Nv12Arithmetic, 0>(blockY + step, chroma, blockBgr + bgrStep);
    };
    process<A>(std::size_t(width) / 8 * 8, std::uint32_t(height) / 2, kernel,
               PlaneSource{y, 2 * step}, PlaneSource{uv, step}, BgrTarget{bgr, 2 * bgrStep});
}

}  // namespace Avx2
}  // namespace Simd
