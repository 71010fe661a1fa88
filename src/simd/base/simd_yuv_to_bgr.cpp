// Planar YUV to interleaved BGR and RGB: BT.601, limited range. With y = Y - 16, u = U - 128 and
// v = V - 128,
//
//     B = 1.164 y + 2.018 u,  G = 1.164 y - 0.391 u - 0.813 v,  R = 1.164 y + 1.596 v
//
// The planar kernels cut these weights to 13 fractional bits and let y be negative; the NV12 kernel
// has 8 bits and keeps y at 0 or above. No sum leaves +-4.4 million. Half is added before the
// arithmetic shift, which so rounds to nearest, and the clamp comes last.

#include <cstddef>
#include <cstdint>

#include "simd/simd_color_weights.h"
#include "simd/simd_kernels.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Base {
namespace {

struct PlanarArithmetic {
    static constexpr YuvWeights WEIGHTS = PLANAR_TO_BGR;
    static int luma(int y) { return y - LUMA_OFFSET; }
};

struct Nv12Arithmetic {
    static constexpr YuvWeights WEIGHTS = NV12_TO_BGR;
    static int luma(int y) { return y > LUMA_OFFSET ? y - LUMA_OFFSET : 0; }
};

/// What a chroma sample adds to each channel.
struct ChromaTerms {
    int blue;
    int green;
    int red;
};

template <class Arithmetic>
inline ChromaTerms chromaTerms(int u, int v) {
    constexpr YuvWeights W = Arithmetic::WEIGHTS;
    u -= CHROMA_OFFSET;
    v -= CHROMA_OFFSET;
    return {W.uToBlue * u, W.uToGreen * u + W.vToGreen * v, W.vToRed * v};
}

template <class Arithmetic>
inline std::uint8_t toByte(int sum) {
    constexpr int SHIFT = Arithmetic::WEIGHTS.shift;
    const int value = (sum + (1 << (SHIFT - 1))) >> SHIFT;
    const int atLeast0 = value < 0 ? 0 : value;
    return std::uint8_t(atLeast0 > 255 ? 255 : atLeast0);
}

/// COUNT pixels of a row that share a chroma sample.
/// @tparam BLUE  place of B in the pixel: 0 for BGR, 2 for RGB
template <class Arithmetic, int BLUE, int COUNT>
inline void storePixels(const std::uint8_t* y, const ChromaTerms& chroma, std::uint8_t* dst) {
    for (int i = 0; i < COUNT; ++i) {
        const int yy = Arithmetic::WEIGHTS.y * Arithmetic::luma(y[i]);
        dst[3 * i + BLUE] = toByte<Arithmetic>(yy + chroma.blue);
        dst[3 * i + 1] = toByte<Arithmetic>(yy + chroma.green);
        dst[3 * i + 2 - BLUE] = toByte<Arithmetic>(yy + chroma.red);
    }
}

/// The DOWN rows that share a row of chroma: upper and lower, or the upper one alone.
template <class Arithmetic, int BLUE, int ACROSS, int DOWN, int STEP>
inline void convertRows(const std::uint8_t* __restrict upperY,
                        const std::uint8_t* __restrict lowerY,
                        const std::uint8_t* __restrict u,
                        const std::uint8_t* __restrict v,
                        std::ptrdiff_t samples,
                        std::uint8_t* __restrict upperDst,
                        std::uint8_t* __restrict lowerDst) {
    for (std::ptrdiff_t i = 0; i < samples; ++i) {
        const std::ptrdiff_t x = ACROSS * i;
        const ChromaTerms chroma = chromaTerms<Arithmetic>(u[STEP * i], v[STEP * i]);
        storePixels<Arithmetic, BLUE, ACROSS>(upperY + x, chroma, upperDst + 3 * x);
        if (DOWN == 2) {
            storePixels<Arithmetic, BLUE, ACROSS>(lowerY + x, chroma, lowerDst + 3 * x);
        }
    }
}

/// A chroma sample serves ACROSS columns of DOWN rows; the next one lies STEP bytes on. Columns and
/// rows that a sample would serve in part only are left alone.
template <class Arithmetic, int BLUE, int ACROSS, int DOWN, int STEP = 1>
void convert(const std::uint8_t* y,
             RowStep yStride,
             const std::uint8_t* u,
             RowStep uStride,
             const std::uint8_t* v,
             RowStep vStride,
             std::uint32_t width,
             std::uint32_t height,
             std::uint8_t* dst,
             RowStep dstStride) {
    const auto samples = std::ptrdiff_t(width / ACROSS);
    for (std::uint32_t rows = height / DOWN; rows != 0; --rows) {
        convertRows<Arithmetic, BLUE, ACROSS, DOWN, STEP>(y, DOWN == 2 ? y + yStride : nullptr, u,
                                                          v, samples, dst,
                                                          DOWN == 2 ? dst + dstStride : nullptr);
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
    convert<PlanarArithmetic, 0, 2, 2>(y, yStride, u, uStride, v, vStride, width, height, dst,
                                       dstStride);
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
    convert<PlanarArithmetic, 2, 2, 2>(y, yStride, u, uStride, v, vStride, width, height, dst,
                                       dstStride);
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
    convert<PlanarArithmetic, 0, 2, 1>(y, yStride, u, uStride, v, vStride, width, height, dst,
                                       dstStride);
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
    convert<PlanarArithmetic, 2, 2, 1>(y, yStride, u, uStride, v, vStride, width, height, dst,
                                       dstStride);
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
    convert<PlanarArithmetic, 0, 1, 1>(y, yStride, u, uStride, v, vStride, width, height, dst,
                                       dstStride);
}

void Nv12ToBgr(const std::uint8_t* y,
               const std::uint8_t* uv,
               std::uint8_t* bgr,
               int width,
               int height,
               int stride,
               int bgrStride) {
    if (width < 8 || height < 2) {
        return;
    }
    const std::uint32_t columns = std::uint32_t(width) / 8 * 8;
    const std::ptrdiff_t step = stride;
    convert<Nv12Arithmetic, 0, 2, 2, 2>(y, step, uv, step, uv + 1, step, columns,
                                        std::uint32_t(height), bgr, std::ptrdiff_t(bgrStride));
}

}  // namespace Base
}  // namespace Simd
