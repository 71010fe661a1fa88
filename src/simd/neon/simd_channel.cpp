// Bytes moved between interleaved pixels and planes, and the gray of BGR pixels.
//
// Gray is exact with products of bytes: each 14-bit weight is split into its high and low byte,
// w = 256 hi + lo, so that with H = sum(hi c) and L = sum(lo c)
//
//     (256 H + L + 8192) >> 14  =  (H + (L >> 8) + 32) >> 6
//
// The low bytes sum to 256 and the high ones to 63: L <= 65280 and H + (L >> 8) <= 16320, both
// within 16 bits.

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "simd/simd_kernels.h"

namespace Simd {
namespace Neon {
namespace {

constexpr std::uint32_t BLOCK = A;              // pixels
constexpr std::size_t PREFETCH_DISTANCE = 384;  // bytes ahead of a block

constexpr std::uint32_t BLUE_TO_GRAY = 1868;
constexpr std::uint32_t GREEN_TO_GRAY = 9617;
constexpr std::uint32_t RED_TO_GRAY = 4899;

/// An image that is walked through, row by row and block by block; `Byte` is const when it is only
/// read.
template <std::size_t PIXEL_BYTES, class Byte>
struct Image {
    Byte* position;
    std::uint32_t stride;
};

template <std::size_t PIXEL_BYTES>
using Source = Image<PIXEL_BYTES, const std::uint8_t>;
template <std::size_t PIXEL_BYTES>
using Target = Image<PIXEL_BYTES, std::uint8_t>;

// Only along interleaved data: a block of a plane is so short that asking for every one costs more
// than it brings.
template <std::size_t PIXEL_BYTES, class Byte>
inline void prefetch(Image<PIXEL_BYTES, Byte> image) {
    if constexpr (std::is_const_v<Byte> && PIXEL_BYTES > 1) {
        __builtin_prefetch(image.position + PREFETCH_DISTANCE);
    }
}

template <class Kernel, std::size_t... PIXEL_BYTES, class... Byte>
inline void processRow(std::uint32_t width, Kernel kernel, Image<PIXEL_BYTES, Byte>... image) {
#pragma GCC unroll 2
    for (std::uint32_t blocks = width / BLOCK; blocks != 0; --blocks) {
        (prefetch(image), ...);
        kernel(image.position...);
        ((image.position += PIXEL_BYTES * BLOCK), ...);
    }
    // What remains is narrower than a block, so the last block overlaps the one before.
    if (const std::uint32_t rest = width % BLOCK) {
        ((image.position -= PIXEL_BYTES * (BLOCK - rest)), ...);
        kernel(image.position...);
    }
}

/// Runs @p kernel on blocks of 16 pixels of all images, which are at least one block wide.
template <class Kernel, class... Image>
inline void process(std::uint32_t width, std::uint32_t height, Kernel kernel, Image... image) {
    for (; height != 0; --height) {
        processRow(width, kernel, image...);
        ((image.position += image.stride), ...);
    }
}

inline uint8x8x3_t lowHalf(uint8x16x3_t v) {
    return {{vget_low_u8(v.val[0]), vget_low_u8(v.val[1]), vget_low_u8(v.val[2])}};
}

inline uint8x8x3_t highHalf(uint8x16x3_t v) {
    return {{vget_high_u8(v.val[0]), vget_high_u8(v.val[1]), vget_high_u8(v.val[2])}};
}

/// The sum of the channels, each with a byte of its weight.
inline uint16x8_t weigh(uint8x8x3_t bgr, std::uint8_t b, std::uint8_t g, std::uint8_t r) {
    const uint16x8_t blue = vmull_u8(bgr.val[0], vdup_n_u8(b));
    const uint16x8_t blueGreen = vmlal_u8(blue, bgr.val[1], vdup_n_u8(g));
    return vmlal_u8(blueGreen, bgr.val[2], vdup_n_u8(r));
}

inline uint8x8_t grayOf(uint8x8x3_t bgr) {
    const uint16x8_t high = weigh(bgr, BLUE_TO_GRAY >> 8, GREEN_TO_GRAY >> 8, RED_TO_GRAY >> 8);
    const uint16x8_t low = weigh(bgr, BLUE_TO_GRAY & 255, GREEN_TO_GRAY & 255, RED_TO_GRAY & 255);
    return vrshrn_n_u16(vsraq_n_u16(high, low, 8), 6);
}

}  // namespace

void BgrToGray(const std::uint8_t* bgr,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t bgrStride,
               std::uint8_t* gray,
               std::uint32_t grayStride) {
    const auto kernel = [](const std::uint8_t* __restrict src, std::uint8_t* __restrict dst) {
        const uint8x16x3_t pixels = vld3q_u8(src);
        vst1q_u8(dst, vcombine_u8(grayOf(lowHalf(pixels)), grayOf(highHalf(pixels))));
    };
    process(width, height, kernel, Source<3>{bgr, bgrStride}, Target<1>{gray, grayStride});
}

void GrayToBgr(const std::uint8_t* gray,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t grayStride,
               std::uint8_t* bgr,
               std::uint32_t bgrStride) {
    const auto kernel = [](const std::uint8_t* __restrict src, std::uint8_t* __restrict dst) {
        const uint8x16_t value = vld1q_u8(src);
        const uint8x16x3_t pixels = {{value, value, value}};
        vst3q_u8(dst, pixels);
    };
    process(width, height, kernel, Source<1>{gray, grayStride}, Target<3>{bgr, bgrStride});
}

void BgrToRgb(const std::uint8_t* src,
              std::uint32_t width,
              std::uint32_t height,
              std::uint32_t srcStride,
              std::uint8_t* dst,
              std::uint32_t dstStride) {
    const auto kernel = [](const std::uint8_t* __restrict bgr, std::uint8_t* __restrict rgb) {
        const uint8x16x3_t pixels = vld3q_u8(bgr);
        const uint8x16x3_t swapped = {{pixels.val[2], pixels.val[1], pixels.val[0]}};
        vst3q_u8(rgb, swapped);
    };
    process(width, height, kernel, Source<3>{src, srcStride}, Target<3>{dst, dstStride});
}

void DeinterleaveBgr(const std::uint8_t* bgr,
                     std::uint32_t bgrStride,
                     std::uint32_t width,
                     std::uint32_t height,
                     std::uint8_t* b,
                     std::uint32_t bStride,
                     std::uint8_t* g,
                     std::uint32_t gStride,
                     std::uint8_t* r,
                     std::uint32_t rStride) {
    const auto kernel = [](const std::uint8_t* __restrict src, std::uint8_t* __restrict dst0,
                           std::uint8_t* __restrict dst1, std::uint8_t* __restrict dst2) {
        const uint8x16x3_t pixels = vld3q_u8(src);
        vst1q_u8(dst0, pixels.val[0]);
        vst1q_u8(dst1, pixels.val[1]);
        vst1q_u8(dst2, pixels.val[2]);
    };
    process(width, height, kernel, Source<3>{bgr, bgrStride}, Target<1>{b, bStride},
            Target<1>{g, gStride}, Target<1>{r, rStride});
}

void InterleaveBgr(const std::uint8_t* b,
                   std::uint32_t bStride,
                   const std::uint8_t* g,
                   std::uint32_t gStride,
                   const std::uint8_t* r,
                   std::uint32_t rStride,
                   std::uint32_t width,
                   std::uint32_t height,
                   std::uint8_t* bgr,
                   std::uint32_t bgrStride) {
    const auto kernel = [](const std::uint8_t* __restrict src0, const std::uint8_t* __restrict src1,
                           const std::uint8_t* __restrict src2, std::uint8_t* __restrict dst) {
        const uint8x16x3_t pixels = {{vld1q_u8(src0), vld1q_u8(src1), vld1q_u8(src2)}};
        vst3q_u8(dst, pixels);
    };
    process(width, height, kernel, Source<1>{b, bStride}, Source<1>{g, gStride},
            Source<1>{r, rStride}, Target<3>{bgr, bgrStride});
}

void DeinterleaveUv(const std::uint8_t* uv,
                    std::uint32_t uvStride,
                    std::uint32_t width,
                    std::uint32_t height,
                    std::uint8_t* u,
                    std::uint32_t uStride,
                    std::uint8_t* v,
                    std::uint32_t vStride) {
    const auto kernel = [](const std::uint8_t* __restrict src, std::uint8_t* __restrict dst0,
                           std::uint8_t* __restrict dst1) {
        const uint8x16x2_t pairs = vld2q_u8(src);
        vst1q_u8(dst0, pairs.val[0]);
        vst1q_u8(dst1, pairs.val[1]);
    };
    process(width, height, kernel, Source<2>{uv, uvStride}, Target<1>{u, uStride},
            Target<1>{v, vStride});
}

void InterleaveUv(const std::uint8_t* u,
                  std::uint32_t uStride,
                  const std::uint8_t* v,
                  std::uint32_t vStride,
                  std::uint32_t width,
                  std::uint32_t height,
                  std::uint8_t* uv,
                  std::uint32_t uvStride) {
    const auto kernel = [](const std::uint8_t* __restrict src0, const std::uint8_t* __restrict src1,
                           std::uint8_t* __restrict dst) {
        const uint8x16x2_t pairs = {{vld1q_u8(src0), vld1q_u8(src1)}};
        vst2q_u8(dst, pairs);
    };
    process(width, height, kernel, Source<1>{u, uStride}, Source<1>{v, vStride},
            Target<2>{uv, uvStride});
}

}  // namespace Neon
}  // namespace Simd
