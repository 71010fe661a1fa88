// Interleaved BGR to YUV, on vectors; the formulas stand with the portable variant.

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_bgr_sums.h"
#include "simd/avx2/simd_vectors.h"
#include "simd/simd_blocks.h"
#include "simd/simd_color_weights.h"
#include "simd/simd_kernels.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Avx2 {
namespace {

using PlaneTarget = Target<VECTOR>;
using HalfTarget = Target<LANE>;
using BgrSource = Source<3 * VECTOR>;

/// 32 pixels of a row.
struct Row {
    BgrPairs left;   ///< 0 to 7 and 16 to 23
    BgrPairs right;  ///< 8 to 15 and 24 to 31
};

inline Row loadRow(const std::uint8_t* bgr) {
    return {loadBgrPairs(bgr), loadBgrPairs(bgr + 24)};
}

inline __m256i lumaOf(const Row& row) {
    const __m256i sums = _mm256_packus_epi16(weigh(row.left, TO_Y), weigh(row.right, TO_Y));
    return _mm256_add_epi8(sums, _mm256_set1_epi8(LUMA_OFFSET));
}

/// @param sums  signed, in bytes
inline __m256i withChromaOffset(__m256i sums) {
    return _mm256_xor_si256(sums, _mm256_set1_epi8(INT8_MIN));
}

inline __m256i chromaOf(const Row& row, SplitWeights weights) {
    return withChromaOffset(
        _mm256_packs_epi16(weigh(row.left, weights), weigh(row.right, weights)));
}

/// For each two columns, the sums of the channels in 16-bit lanes.
struct PairSums {
    __m256i leftBg;  ///< of B and G in turn
    __m256i rightBg;
    __m256i r;
};

inline PairSums pairSums(const Row& row) {
    static constexpr Shuffle NEIGHBOURS = {{0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15}};
    const __m256i one = bytePairs(1, 1);
    return {_mm256_maddubs_epi16(shuffle(row.left.bg, NEIGHBOURS), one),
            _mm256_maddubs_epi16(shuffle(row.right.bg, NEIGHBOURS), one),
            _mm256_maddubs_epi16(_mm256_packus_epi16(row.left.r, row.right.r), one)};
}

inline PairSums add(const PairSums& a, const PairSums& b) {
    return {_mm256_add_epi16(a.leftBg, b.leftBg), _mm256_add_epi16(a.rightBg, b.rightBg),
            _mm256_add_epi16(a.r, b.r)};
}

/// The rounded means of blocks of two columns and DOWN rows.
template <int DOWN>
inline BgrPairs meansOf(const PairSums& sums) {
    return {_mm256_packus_epi16(roundedShift<DOWN>(sums.leftBg), roundedShift<DOWN>(sums.rightBg)),
            roundedShift<DOWN>(sums.r)};
}

/// In each lane 8 samples of U and 8 of V.
inline __m256i chromaOf(BgrPairs means) {
    return withChromaOffset(_mm256_packs_epi16(weigh(means, TO_U), weigh(means, TO_V)));
}

inline void storeChroma(__m256i chroma, std::uint8_t* u, std::uint8_t* v) {
    const __m256i planes = _mm256_permute4x64_epi64(chroma, 0xD8);
    storeLane(u, lowLane(planes));
    storeLane(v, highLane(planes));
}

inline void storeChroma(__m256i chroma, std::uint8_t* uv) {
    static constexpr Shuffle IN_TURN = {{0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15}};
    store(uv, shuffle(chroma, IN_TURN));
}

/// A chroma sample is made of two columns of DOWN rows. COUNT blocks are taken at once: two of Y
/// are a line of memory, which is best written as a whole.
template <int DOWN, std::size_t COUNT, class... Chroma>
void convertBlocks(const std::uint8_t* bgr,
                   std::uint32_t width,
                   std::uint32_t height,
                   RowStep bgrStride,
                   std::uint8_t* y,
                   RowStep yStride,
                   Chroma... chroma) {
    const auto kernel = [=](const std::uint8_t* __restrict blockBgr,
                            std::uint8_t* __restrict blockY, auto* __restrict... blockChroma) {
        PairSums sums[COUNT];
        for (std::ptrdiff_t row = 0; row < DOWN; ++row) {
            for (std::size_t i = 0; i < COUNT; ++i) {
                const Row pixels = loadRow(blockBgr + row * bgrStride + i * BgrSource::BYTES);
                store(blockY + row * yStride + i * VECTOR, lumaOf(pixels));
                sums[i] = row == 0 ? pairSums(pixels) : add(sums[i], pairSums(pixels));
            }
            scheduleInOrder();
        }
        for (std::size_t i = 0; i < COUNT; ++i) {
            storeChroma(chromaOf(meansOf<DOWN>(sums[i])), (blockChroma + i * Chroma::BYTES)...);
        }
    };
    process<COUNT * A>(width / 2 * 2, height / DOWN, kernel,
                       times<COUNT>(BgrSource{bgr, DOWN * bgrStride}),
                       times<COUNT>(PlaneTarget{y, DOWN * yStride}), times<COUNT>(chroma)...);
}

/// @param chroma  the planes of U and V, or the one of pairs
template <int DOWN, class... Chroma>
void convertHalved(const std::uint8_t* bgr,
                   std::uint32_t width,
                   std::uint32_t height,
                   RowStep bgrStride,
                   std::uint8_t* y,
                   RowStep yStride,
                   Chroma... chroma) {
    const auto convert =
        width < 2 * A ? convertBlocks<DOWN, 1, Chroma...> : convertBlocks<DOWN, 2, Chroma...>;
    convert(bgr, width, height, bgrStride, y, yStride, chroma...);
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
    convertHalved<2>(bgr, width, height, bgrStride, y, yStride, HalfTarget{u, uStride},
                     HalfTarget{v, vStride});
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
    convertHalved<1>(bgr, width, height, bgrStride, y, yStride, HalfTarget{u, uStride},
                     HalfTarget{v, vStride});
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
    const auto kernel = [](const std::uint8_t* __restrict blockBgr, std::uint8_t* __restrict blockY,
                           std::uint8_t* __restrict blockU, std::uint8_t* __restrict blockV) {
        const Row row = loadRow(blockBgr);
        store(blockY, lumaOf(row));
        store(blockU, chromaOf(row, TO_U));
        store(blockV, chromaOf(row, TO_V));
    };
    process<A>(width, height, kernel, BgrSource{bgr, bgrStride}, PlaneTarget{y, yStride},
               PlaneTarget{u, uStride}, PlaneTarget{v, vStride});
}

void BgrToNv12(const std::uint8_t* bgr,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t bgrStride,
               std::uint8_t* y,
               std::uint32_t yStride,
               std::uint8_t* uv,
               std::uint32_t uvStride) {
    convertHalved<2>(bgr, width, height, bgrStride, y, yStride, PlaneTarget{uv, uvStride});
}

void BgrToNv16(const std::uint8_t* bgr,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t bgrStride,
               std::uint8_t* y,
               std::uint32_t yStride,
               std::uint8_t* uv,
               std::uint32_t uvStride) {
    convertHalved<1>(bgr, width, height, bgrStride, y, yStride, PlaneTarget{uv, uvStride});
}

}  // namespace Avx2
}  // namespace Simd
