// Interleaved BGR to YUV: BT.601, limited range.
//
//     Y = 16 + 0.098 b + 0.504 g + 0.257 r
//     U = 128 + 0.439 b - 0.291 g - 0.148 r
//     V = 128 - 0.071 b - 0.368 g + 0.439 r
//
// The weights have 14 fractional bits. A sum stays within +-3.6 million, and the results lie within
// 16..235 and 16..240 without a clamp. Half is added before the arithmetic shift, so negative sums
// round to nearest as well; the offset comes after it.

#include <cstddef>
#include <cstdint>

#include "simd/simd_color_weights.h"
#include "simd/simd_kernels.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Base {
namespace {

inline int weigh(BgrWeights weights, int b, int g, int r) {
    constexpr int HALF = 1 << (BGR_WEIGHTS_SHIFT - 1);
    return (weights.b * b + weights.g * g + weights.r * r + HALF) >> BGR_WEIGHTS_SHIFT;
}

inline std::uint8_t toY(int b, int g, int r) {
    return std::uint8_t(weigh(BGR_TO_Y, b, g, r) + LUMA_OFFSET);
}

inline std::uint8_t toU(int b, int g, int r) {
    return std::uint8_t(weigh(BGR_TO_U, b, g, r) + CHROMA_OFFSET);
}

inline std::uint8_t toV(int b, int g, int r) {
    return std::uint8_t(weigh(BGR_TO_V, b, g, r) + CHROMA_OFFSET);
}

/// Sums of the channels of some pixels.
struct Sums {
    int b = 0;
    int g = 0;
    int r = 0;
};

/// Y of COUNT pixels of a row, which are added to @p sums.
template <int COUNT>
inline void storeLuma(const std::uint8_t* bgr, std::uint8_t* y, Sums& sums) {
    for (std::ptrdiff_t i = 0; i < COUNT; ++i) {
        const int b = bgr[3 * i];
        const int g = bgr[3 * i + 1];
        const int r = bgr[3 * i + 2];
        y[i] = toY(b, g, r);
        sums.b += b;
        sums.g += g;
        sums.r += r;
    }
}

/// The mean of COUNT pixels, rounded.
template <int COUNT>
inline int mean(int sum) {
    constexpr int LOG2_COUNT = COUNT / 2;
    static_assert(COUNT == 1 << LOG2_COUNT);
    return (sum + COUNT / 2) >> LOG2_COUNT;
}

/// The DOWN rows that share a row of chroma: upper and lower, or the upper one alone.
template <int ACROSS, int DOWN, int STEP>
inline void convertRows(const std::uint8_t* __restrict upper,
                        const std::uint8_t* __restrict lower,
                        std::ptrdiff_t samples,
                        std::uint8_t* __restrict upperY,
                        std::uint8_t* __restrict lowerY,
                        std::uint8_t* __restrict u,
                        std::uint8_t* __restrict v) {
    for (std::ptrdiff_t i = 0; i < samples; ++i) {
        const std::ptrdiff_t x = ACROSS * i;
        Sums sums;
        storeLuma<ACROSS>(upper + 3 * x, upperY + x, sums);
        if (DOWN == 2) {
            storeLuma<ACROSS>(lower + 3 * x, lowerY + x, sums);
        }
        const int b = mean<ACROSS * DOWN>(sums.b);
        const int g = mean<ACROSS * DOWN>(sums.g);
        const int r = mean<ACROSS * DOWN>(sums.r);
        u[STEP * i] = toU(b, g, r);
        v[STEP * i] = toV(b, g, r);
    }
}

/// A chroma sample is made of ACROSS columns of DOWN rows. Columns and rows that are left over are
/// left alone.
/// @tparam STEP  from a sample of U to the next: 2 where U and V take turns
template <int ACROSS, int DOWN, int STEP = 1>
void convert(const std::uint8_t* bgr,
             std::uint32_t width,
             std::uint32_t height,
             RowStep bgrStride,
             std::uint8_t* y,
             RowStep yStride,
             std::uint8_t* u,
             RowStep uStride,
             std::uint8_t* v,
             RowStep vStride) {
    const auto samples = std::ptrdiff_t(width / ACROSS);
    for (std::uint32_t rows = height / DOWN; rows != 0; --rows) {
        convertRows<ACROSS, DOWN, STEP>(bgr, DOWN == 2 ? bgr + bgrStride : nullptr, samples, y,
                                        DOWN == 2 ? y + yStride : nullptr, u, v);
        bgr += DOWN * bgrStride;
        y += DOWN * yStride;
        u += uStride;
        v += vStride;
    }
}

}  // namespace

void BgrToYuv420p(const std::uint8_t* bgr,
                  std::uint32_t width,
                  std::uint32_t height,
                  std::uint32_t bgrStride,
                  std::uint8_t* y,
                  std::uint32_t yStride,
                  std::uint8_t* u,
                  std::uint32_t uStride,
                  std::uint8_t* v,
                  std::uint32_t vStride) {
    convert<2, 2>(bgr, width, height, bgrStride, y, yStride, u, uStride, v, vStride);
}

void BgrToYuv422p(const std::uint8_t* bgr,
                  std::uint32_t width,
                  std::uint32_t height,
                  std::uint32_t bgrStride,
                  std::uint8_t* y,
                  std::uint32_t yStride,
                  std::uint8_t* u,
                  std::uint32_t uStride,
                  std::uint8_t* v,
                  std::uint32_t vStride) {
    convert<2, 1>(bgr, width, height, bgrStride, y, yStride, u, uStride, v, vStride);
}

void BgrToYuv444p(const std::uint8_t* bgr,
                  std::uint32_t width,
                  std::uint32_t height,
                  std::uint32_t bgrStride,
                  std::uint8_t* y,
                  std::uint32_t yStride,
                  std::uint8_t* u,
                  std::uint32_t uStride,
                  std::uint8_t* v,
                  std::uint32_t vStride) {
    convert<1, 1>(bgr, width, height, bgrStride, y, yStride, u, uStride, v, vStride);
}

void BgrToNv12(const std::uint8_t* bgr,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t bgrStride,
               std::uint8_t* y,
               std::uint32_t yStride,
               std::uint8_t* uv,
               std::uint32_t uvStride) {
    convert<2, 2, 2>(bgr, width, height, bgrStride, y, yStride, uv, uvStride, uv + 1, uvStride);
}

void BgrToNv16(const std::uint8_t* bgr,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t bgrStride,
               std::uint8_t* y,
               std::uint32_t yStride,
               std::uint8_t* uv,
               std::uint32_t uvStride) {
    convert<2, 1, 2>(bgr, width, height, bgrStride, y, yStride, uv, uvStride, uv + 1, uvStride);
}

}  // namespace Base
}  // namespace Simd
