// Bytes moved between interleaved pixels and planes, and the gray of BGR pixels, on vectors; the
// formulas stand with the portable variant.

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_bgr_sums.h"
#include "simd/avx2/simd_vectors.h"
#include "simd/simd_blocks.h"
#include "simd/simd_kernels.h"

namespace Simd {
namespace Avx2 {
namespace {

using PlaneSource = Source<VECTOR>;
using PlaneTarget = Target<VECTOR>;
using UvSource = Source<2 * VECTOR>;
using UvTarget = Target<2 * VECTOR>;
using BgrSource = Source<3 * VECTOR>;
using BgrTarget = Target<3 * VECTOR>;

/// Each byte of a lane three times.
constexpr Shuffle shuffleOfGray(int part) {
    Shuffle shuffle = {};
    for (int i = 0; i < int(LANE); ++i) {
        shuffle.from[i] = std::uint8_t((int(LANE) * part + i) / 3);
    }
    return shuffle;
}

/// The outer channels swapped.
constexpr Shuffle3 shuffleOfSwap() {
    Shuffle3 shuffle = {};
    for (int byte = 0; byte < int(PIXELS_BYTES); ++byte) {
        const int from = byte + 2 - 2 * (byte % 3);
        for (int part = 0; part < 3; ++part) {
            shuffle.from[byte / int(LANE)][part].from[byte % int(LANE)] = placeIn(part, from);
        }
    }
    return shuffle;
}

inline void splitVector(const std::uint8_t* __restrict uv,
                        std::uint8_t* __restrict u,
                        std::uint8_t* __restrict v) {
    const Pairs pairs = loadPairs(uv);
    store(u, pairs.first);
    store(v, pairs.second);
}

/// Two vectors make a line of memory. Stores that go back and forth between parts of lines take
/// half as long again.
inline void splitLine(const std::uint8_t* __restrict uv,
                      std::uint8_t* __restrict u,
                      std::uint8_t* __restrict v) {
    const Pairs left = loadPairs(uv);
    const Pairs right = loadPairs(uv + 2 * VECTOR);
    store(u, left.first);
    store(u + VECTOR, right.first);
    scheduleInOrder();
    store(v, left.second);
    store(v + VECTOR, right.second);
}

constexpr Shuffle REPEAT[3] = {shuffleOfGray(0), shuffleOfGray(1), shuffleOfGray(2)};
constexpr Shuffle3 SWAP = shuffleOfSwap();

}  // namespace

void BgrToGray(const std::uint8_t* bgr,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t bgrStride,
               std::uint8_t* gray,
               std::uint32_t grayStride) {
    const auto kernel = [](const std::uint8_t* __restrict src, std::uint8_t* __restrict dst) {
        const __m256i left = weigh(loadBgrPairs(src), TO_GRAY);
        const __m256i right = weigh(loadBgrPairs(src + 24), TO_GRAY);
        store(dst, _mm256_packus_epi16(left, right));
    };
    process<A>(width, height, kernel, BgrSource{bgr, bgrStride}, PlaneTarget{gray, grayStride});
}

void GrayToBgr(const std::uint8_t* gray,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t grayStride,
               std::uint8_t* bgr,
               std::uint32_t bgrStride) {
    const auto kernel = [](const std::uint8_t* __restrict src, std::uint8_t* __restrict dst) {
        const __m256i value = load(src);
        storePixels(dst, {{shuffle(value, REPEAT[0]), shuffle(value, REPEAT[1]),
                           shuffle(value, REPEAT[2])}});
    };
    process<A>(width, height, kernel, PlaneSource{gray, grayStride}, BgrTarget{bgr, bgrStride});
}

void BgrToRgb(const std::uint8_t* src,
              std::uint32_t width,
              std::uint32_t height,
              std::uint32_t srcStride,
              std::uint8_t* dst,
              std::uint32_t dstStride) {
    const auto kernel = [](const std::uint8_t* __restrict bgr, std::uint8_t* __restrict rgb) {
        const PackedPixels pixels = loadPixels(bgr);
        storePixels(rgb, {{gather(pixels.part, SWAP.from[0]), gather(pixels.part, SWAP.from[1]),
                           gather(pixels.part, SWAP.from[2])}});
    };
    process<A>(width, height, kernel, BgrSource{src, srcStride}, BgrTarget{dst, dstStride});
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
        const Channels channels = split(loadPixels(src));
        store(dst0, channels.channel[0]);
        store(dst1, channels.channel[1]);
        store(dst2, channels.channel[2]);
    };
    process<A>(width, height, kernel, BgrSource{bgr, bgrStride}, PlaneTarget{b, bStride},
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
    const auto kernel = [](const std::uint8_t* __restrict src0, const std::uint8_t* __restrict src1,
                           const std::uint8_t* __restrict src2, std::uint8_t* __restrict dst) {
        storePixels(dst, join({{load(src0), load(src1), load(src2)}}));
    };
    process<A>(width, height, kernel, PlaneSource{b, bStride}, PlaneSource{g, gStride},
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
    const PlaneTarget first = {u, uStride};
    const PlaneTarget second = {v, vStride};
    const UvSource src = {uv, uvStride};
    if (width < 2 * A) {
        process<A>(width, height, splitVector, src, first, second);
    } else {
        process<2 * A>(width, height, splitLine, times<2>(src), times<2>(first), times<2>(second));
    }
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
        storePairs(dst, {load(src0), load(src1)});
    };
    process<A>(width, height, kernel, PlaneSource{u, uStride}, PlaneSource{v, vStride},
               UvTarget{uv, uvStride});
}

}  // namespace Avx2
}  // namespace Simd
