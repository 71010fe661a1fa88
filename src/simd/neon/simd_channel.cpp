// Bytes moved between interleaved pixels and planes, and the gray of BGR pixels.
//
// The weights of gray sum to 2^14, so that it is a chain of means: with floors in between,
//
//     q = (12 b + g + 3 r) >> 4          four means of two bytes
//     z = (116 b + 89 g + 50 r + q) >> 8
//     x = (z + r) >> 1                   weights sum to 2^13
//     gray = (x + g + 1) >> 1
//
// and a floor of a sum does not change when integers are added after a floor. The weights of z sum
// to 256, so it stays within 16 bits.

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "simd/neon/simd_streams.h"
#include "simd/neon/simd_vectors.h"
#include "simd/neon/simd_walk.h"
#include "simd/simd_kernels.h"

namespace Simd {
namespace Neon {
namespace {

constexpr std::uint32_t BLOCK = A;         // pixels
constexpr std::uint32_t TURN = 4 * BLOCK;  // of the unrolled loop

using PlaneSource = Source<BLOCK>;
using PlaneTarget = Target<BLOCK>;
using UvSource = Source<2 * BLOCK>;
using UvTarget = Target<2 * BLOCK>;
using BgrSource = Source<3 * BLOCK>;
using BgrTarget = Target<3 * BLOCK>;

// Only along interleaved data: a turn of a plane is so short that asking for every one costs more
// than it brings.
template <std::size_t BLOCK_BYTES, class Byte>
inline void prefetchTurn(Image<BLOCK_BYTES, Byte>& image) {
    if constexpr (std::is_const_v<Byte> && BLOCK_BYTES > BLOCK) {
        __builtin_prefetch(image.position + PREFETCH_DISTANCE);
    }
    advance(image.position, 0);
}

/// Vectors that a kernel is to do at once. Two hide the time that loads take.
template <int VECTORS>
using Count = std::integral_constant<int, VECTORS>;

template <class Kernel, class... Image>
inline void walkTurns(std::size_t width, Kernel kernel, Image... image) {
    for (std::size_t turns = width / TURN; turns != 0; --turns) {
        (prefetchTurn(image), ...);
        kernel(Count<2>(), image.position...);
        kernel(Count<2>(), image.position...);
    }
    const auto single = [=](auto&... position) { kernel(Count<1>(), position...); };
    walkRow<BLOCK>(width % TURN, single, image...);
}

/// Runs @p kernel on vectors of 16 pixels of all images, which are at least one vector wide.
/// @param kernel takes the Count of vectors and references to the positions
template <class Kernel, std::size_t... BLOCK_BYTES, class... Byte>
inline void walkPixels(std::size_t width,
                       std::size_t height,
                       Kernel kernel,
                       Image<BLOCK_BYTES, Byte>... image) {
    if (((image.stride == std::ptrdiff_t(BLOCK_BYTES / BLOCK * width)) && ...)) {
        // Rows without padding are one long row.
        width *= height;
        height = std::size_t(width != 0);
    }
    for (; height != 0; --height) {
        walkTurns(width, kernel, image...);
        ((image.position += image.stride), ...);
    }
}

/// z above, in the high bytes.
inline uint16x8_t weigh(uint8x8_t b, uint8x8_t g, uint8x8_t r, uint8x8_t q) {
    const uint16x8_t blue = vmull_u8(b, vdup_n_u8(116));
    const uint16x8_t blueGreen = vmlal_u8(blue, g, vdup_n_u8(89));
    return vaddw_u8(vmlal_u8(blueGreen, r, vdup_n_u8(50)), q);
}

/// x and g above.
inline uint8x16x2_t grayTerms(uint8x16x3_t bgr) {
    const uint8x16_t b = bgr.val[0];
    const uint8x16_t g = bgr.val[1];
    const uint8x16_t r = bgr.val[2];
    const uint8x16_t q = vhaddq_u8(vhaddq_u8(vhaddq_u8(vhaddq_u8(g, r), r), b), b);
    const uint16x8_t left = weigh(vget_low_u8(b), vget_low_u8(g), vget_low_u8(r), vget_low_u8(q));
    const uint16x8_t right =
        weigh(vget_high_u8(b), vget_high_u8(g), vget_high_u8(r), vget_high_u8(q));
    const uint8x16_t z = vuzpq_u8(vreinterpretq_u8_u16(left), vreinterpretq_u8_u16(right)).val[1];
    return {{vhaddq_u8(z, r), g}};
}

inline uint8x16_t roundedMean(uint8x16x2_t terms) {
    return vrhaddq_u8(terms.val[0], terms.val[1]);
}

}  // namespace

void BgrToGray(const std::uint8_t* bgr,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t bgrStride,
               std::uint8_t* gray,
               std::uint32_t grayStride) {
    const auto kernel = [](auto count, const std::uint8_t*& src, std::uint8_t*& dst) {
        uint8x16x2_t terms[count];
        for (uint8x16x2_t& each : terms) {
            each = grayTerms(takePixels(src));
            scheduleInOrder();
        }
        if constexpr (count == 2) {
            // Late, so that the two means come into being where the store wants them.
            put(dst, uint8x16x2_t{{roundedMean(terms[0]), roundedMean(terms[1])}});
        } else {
            put(dst, roundedMean(terms[0]));
        }
        scheduleInOrder();
    };
    walkPixels(width, height, kernel, BgrSource{bgr, bgrStride}, PlaneTarget{gray, grayStride});
}

void GrayToBgr(const std::uint8_t* gray,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t grayStride,
               std::uint8_t* bgr,
               std::uint32_t bgrStride) {
    const auto kernel = [](auto count, const std::uint8_t*& src, std::uint8_t*& dst) {
        for (int i = 0; i < count; ++i) {
            const uint8x16_t value = take(src);
            putPixels(dst, uint8x16x3_t{{value, value, value}});
        }
    };
    walkPixels(width, height, kernel, PlaneSource{gray, grayStride}, BgrTarget{bgr, bgrStride});
}

void BgrToRgb(const std::uint8_t* src,
              std::uint32_t width,
              std::uint32_t height,
              std::uint32_t srcStride,
              std::uint8_t* dst,
              std::uint32_t dstStride) {
    const auto kernel = [](auto count, const std::uint8_t*& bgr, std::uint8_t*& rgb) {
        for (int i = 0; i < count; ++i) {
            const uint8x16x3_t pixels = takePixels(bgr);
            putPixels(rgb, uint8x16x3_t{{pixels.val[2], pixels.val[1], pixels.val[0]}});
        }
    };
    walkPixels(width, height, kernel, BgrSource{src, srcStride}, BgrTarget{dst, dstStride});
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
    const auto kernel = [](auto count, const std::uint8_t*& src, std::uint8_t*& dst0,
                           std::uint8_t*& dst1, std::uint8_t*& dst2) {
        uint8x16x3_t pixels[count];
        for (uint8x16x3_t& v : pixels) {
            v = takePixels(src);
        }
        for (const uint8x16x3_t& v : pixels) {
            put(dst0, v.val[0]);
            put(dst1, v.val[1]);
            put(dst2, v.val[2]);
        }
    };
    walkPixels(width, height, kernel, BgrSource{bgr, bgrStride}, PlaneTarget{b, bStride},
               PlaneTarget{g, gStride}, PlaneTarget{r, rStride});
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
    const auto kernel = [](auto count, const std::uint8_t*& src0, const std::uint8_t*& src1,
                           const std::uint8_t*& src2, std::uint8_t*& dst) {
        for (int i = 0; i < count; ++i) {
            const uint8x16x3_t pixels = {{vld1q_u8(src0), vld1q_u8(src1), vld1q_u8(src2)}};
            putPixels(dst, pixels);
            advance(src0, BLOCK);
            advance(src1, BLOCK);
            advance(src2, BLOCK);
        }
    };
    walkPixels(width, height, kernel, PlaneSource{b, bStride}, PlaneSource{g, gStride},
               PlaneSource{r, rStride}, BgrTarget{bgr, bgrStride});
}

void DeinterleaveUv(const std::uint8_t* uv,
                    std::uint32_t uvStride,
                    std::uint32_t width,
                    std::uint32_t height,
                    std::uint8_t* u,
                    std::uint32_t uStride,
                    std::uint8_t* v,
                    std::uint32_t vStride) {
    const auto kernel = [](auto count, const std::uint8_t*& src, std::uint8_t*& dst0,
                           std::uint8_t*& dst1) {
        uint8x16x2_t pairs[count];
        for (uint8x16x2_t& pair : pairs) {
            pair = takePairs(src);
        }
        for (const uint8x16x2_t& pair : pairs) {
            put(dst0, pair.val[0]);
            put(dst1, pair.val[1]);
        }
    };
    walkPixels(width, height, kernel, UvSource{uv, uvStride}, PlaneTarget{u, uStride},
               PlaneTarget{v, vStride});
}

void InterleaveUv(const std::uint8_t* u,
                  std::uint32_t uStride,
                  const std::uint8_t* v,
                  std::uint32_t vStride,
                  std::uint32_t width,
                  std::uint32_t height,
                  std::uint8_t* uv,
                  std::uint32_t uvStride) {
    const auto kernel = [](auto count, const std::uint8_t*& src0, const std::uint8_t*& src1,
                           std::uint8_t*& dst) {
        for (int i = 0; i < count; ++i) {
            const uint8x16x2_t pairs = {{vld1q_u8(src0), vld1q_u8(src1)}};
            putPairs(dst, pairs);
            advance(src0, BLOCK);
            advance(src1, BLOCK);
        }
    };
    walkPixels(width, height, kernel, PlaneSource{u, uStride}, PlaneSource{v, vStride},
               UvTarget{uv, uvStride});
}

}  // namespace Neon
}  // namespace Simd
