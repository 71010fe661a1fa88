// Bytes moved between interleaved pixels and planes, and the gray of BGR pixels.
//
//     gray = 0.114 B + 0.587 G + 0.299 R  ~  (1868 B + 9617 G + 4899 R + 8192) >> 14
//
// The weights have 14 fractional bits and 8192 is the half for rounding. The weights sum to 16384,
// so the sum is at most 255.5 * 16384 (22 bits) and the result at most 255 without a clamp.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/simd_color_weights.h"
#include "simd/simd_kernels.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Base {
namespace {

inline std::uint8_t grayOf(int b, int g, int r) {
    constexpr BgrWeights W = BGR_TO_GRAY;
    constexpr int HALF = 1 << (BGR_WEIGHTS_SHIFT - 1);
    return std::uint8_t((W.b * b + W.g * g + W.r * r + HALF) >> BGR_WEIGHTS_SHIFT);
}

}  // namespace

void BgrToGray(const std::uint8_t* __restrict bgr,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t bgrStride,
               std::uint8_t* __restrict gray,
               std::uint32_t grayStride) {
    for (; height != 0; --height, bgr += RowStep(bgrStride), gray += RowStep(grayStride)) {
        for (std::size_t x = 0; x < width; ++x) {
            gray[x] = grayOf(bgr[3 * x], bgr[3 * x + 1], bgr[3 * x + 2]);
        }
    }
}

void GrayToBgr(const std::uint8_t* __restrict gray,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t grayStride,
               std::uint8_t* __restrict bgr,
               std::uint32_t bgrStride) {
    for (; height != 0; --height, gray += RowStep(grayStride), bgr += RowStep(bgrStride)) {
        for (std::size_t x = 0; x < width; ++x) {
            bgr[3 * x] = gray[x];
            bgr[3 * x + 1] = gray[x];
            bgr[3 * x + 2] = gray[x];
        }
    }
}

void BgrToRgb(const std::uint8_t* __restrict src,
              std::uint32_t width,
              std::uint32_t height,
              std::uint32_t srcStride,
              std::uint8_t* __restrict dst,
              std::uint32_t dstStride) {
    for (; height != 0; --height, src += RowStep(srcStride), dst += RowStep(dstStride)) {
        for (std::size_t x = 0; x < width; ++x) {
            dst[3 * x] = src[3 * x + 2];
            dst[3 * x + 1] = src[3 * x + 1];
            dst[3 * x + 2] = src[3 * x];
        }
    }
}

void DeinterleaveBgr(const std::uint8_t* __restrict bgr,
                     std::uint32_t bgrStride,
                     std::uint32_t width,
                     std::uint32_t height,
                     std::uint8_t* __restrict b,
                     std::uint32_t bStride,
                     std::uint8_t* __restrict g,
                     std::uint32_t gStride,
                     std::uint8_t* __restrict r,
                     std::uint32_t rStride) {
    for (; height != 0; --height, bgr += RowStep(bgrStride), b += RowStep(bStride),
                        g += RowStep(gStride), r += RowStep(rStride)) {
        for (std::size_t x = 0; x < width; ++x) {
            b[x] = bgr[3 * x];
            g[x] = bgr[3 * x + 1];
            r[x] = bgr[3 * x + 2];
        }
    }
}

void InterleaveBgr(const std::uint8_t* __restrict b,
                   std::uint32_t bStride,
                   const std::uint8_t* __restrict g,
                   std::uint32_t gStride,
                   const std::uint8_t* __restrict r,
                   std::uint32_t rStride,
                   std::uint32_t width,
                   std::uint32_t height,
                   std::uint8_t* __restrict bgr,
                   std::uint32_t bgrStride) {
    for (; height != 0; --height, b += RowStep(bStride), g += RowStep(gStride),
                        r += RowStep(rStride), bgr += RowStep(bgrStride)) {
        for (std::size_t x = 0; x < width; ++x) {
            bgr[3 * x] = b[x];
            bgr[3 * x + 1] = g[x];
            bgr[3 * x + 2] = r[x];
        }
    }
}

void DeinterleaveUv(const std::uint8_t* __restrict uv,
                    std::uint32_t uvStride,
                    std::uint32_t width,
                    std::uint32_t height,
                    std::uint8_t* __restrict u,
                    std::uint32_t uStride,
                    std::uint8_t* __restrict v,
                    std::uint32_t vStride) {
    for (; height != 0;
         --height, uv += RowStep(uvStride), u += RowStep(uStride), v += RowStep(vStride)) {
        for (std::size_t x = 0; x < width; ++x) {
            u[x] = uv[2 * x];
            v[x] = uv[2 * x + 1];
        }
    }
}

void InterleaveUv(const std::uint8_t* __restrict u,
                  std::uint32_t uStride,
                  const std::uint8_t* __restrict v,
                  std::uint32_t vStride,
                  std::uint32_t width,
                  std::uint32_t height,
                  std::uint8_t* __restrict uv,
                  std::uint32_t uvStride) {
    for (; height != 0;
         --height, u += RowStep(uStride), v += RowStep(vStride), uv += RowStep(uvStride)) {
        for (std::size_t x = 0; x < width; ++x) {
            uv[2 * x] = u[x];
            uv[2 * x + 1] = v[x];
        }
    }
}

void CopyPlane(const std::uint8_t* __restrict src,
               std::uint32_t srcStride,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t pixelSize,
               std::uint8_t* __restrict dst,
               std::uint32_t dstStride) {
    const std::size_t rowBytes = std::size_t(pixelSize) * width;
    for (; height != 0; --height, src += RowStep(srcStride), dst += RowStep(dstStride)) {
        std::memcpy(dst, src, rowBytes);
    }
}

}  // namespace Base
}  // namespace Simd
