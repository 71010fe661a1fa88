// Interleaved BGR to YUV, on vectors; the formulas stand with the portable variant.
//
// The 14-bit weights are split, w = 64 hi + lo, so that products fit 16 bits. With H = sum(hi c)
// and L = sum(lo c),
//
//     (64 H + L + 8192) >> 14  =  (H + (L >> 6) + 128) >> 8
//
// For Y, H <= 55845 and L <= 15045. The weights of U sum to 0 and those of V to 1, so that
//
//     U sum = 7193 (b - g) - 2425 (r - g)
//     V sum = 7193 (r - g) - 1163 (b - g) + g
//
// with |H| <= 28560 and |L| <= 20910, signed.

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

using YTarget = Target<PAIRS_BLOCK>;
using HalfTarget = Target<PAIRS_BLOCK / 2>;
using PairsTarget = Target<PAIRS_BLOCK>;

static_assert(BGR_WEIGHTS_SHIFT == 14);
constexpr int SPLIT = 64;  // lo is what a weight leaves divided by it

/// Y without its offset.
inline uint8x8_t lumaSum(uint8x8_t b, uint8x8_t g, uint8x8_t r) {
    constexpr BgrWeights W = BGR_TO_Y;
    uint16x8_t high = vmull_u8(b, vdup_n_u8(W.b / SPLIT));
    high = vmlal_u8(high, g, vdup_n_u8(W.g / SPLIT));
    high = vmlal_u8(high, r, vdup_n_u8(W.r / SPLIT));
    uint16x8_t low = vmull_u8(b, vdup_n_u8(W.b % SPLIT));
    low = vmlal_u8(low, g, vdup_n_u8(W.g % SPLIT));
    low = vmlal_u8(low, r, vdup_n_u8(W.r % SPLIT));
    return vrshrn_n_u16(vsraq_n_u16(high, low, 6), 8);
}

inline uint8x16_t lumaOf(uint8x16x3_t bgr) {
    const uint8x8_t left =
        lumaSum(vget_low_u8(bgr.val[0]), vget_low_u8(bgr.val[1]), vget_low_u8(bgr.val[2]));
    const uint8x8_t right =
        lumaSum(vget_high_u8(bgr.val[0]), vget_high_u8(bgr.val[1]), vget_high_u8(bgr.val[2]));
    return vaddq_u8(join<uint8x16_t>(left, right), vdupq_n_u8(LUMA_OFFSET));
}

// The weights of the chroma sums: the major one meets b - g in U and r - g in V, the minor ones are
// subtracted.
enum Weight { MAJOR_HIGH, MAJOR_LOW, U_MINOR_HIGH, U_MINOR_LOW, V_MINOR_HIGH, V_MINOR_LOW };
constexpr int MAJOR = BGR_TO_U.b;
constexpr int U_MINOR = -BGR_TO_U.r;
constexpr int V_MINOR = -BGR_TO_V.b;
constexpr std::int16_t CHROMA_WEIGHTS[8] = {MAJOR / SPLIT,   MAJOR % SPLIT,   U_MINOR / SPLIT,
                                            U_MINOR % SPLIT, V_MINOR / SPLIT, V_MINOR % SPLIT};
static_assert(BGR_TO_V.r == MAJOR);
static_assert(BGR_TO_U.b + BGR_TO_U.g + BGR_TO_U.r == 0);
static_assert(BGR_TO_V.b + BGR_TO_V.g + BGR_TO_V.r == 1);

template <Weight WEIGHT>
inline int16x8_t multiply(int16x8_t a, int16x8_t weights) {
    const int16x4_t half = WEIGHT < 4 ? vget_low_s16(weights) : vget_high_s16(weights);
    return vmulq_lane_s16(a, half, WEIGHT % 4);
}

template <Weight WEIGHT>
inline int16x8_t multiplySubtract(int16x8_t sum, int16x8_t a, int16x8_t weights) {
    const int16x4_t half = WEIGHT < 4 ? vget_low_s16(weights) : vget_high_s16(weights);
    return vmlsq_lane_s16(sum, a, half, WEIGHT % 4);
}

inline int8x8_t chromaSum(int16x8_t high, int16x8_t low) {
    return vrshrn_n_s16(vsraq_n_s16(high, low, 6), 8);
}

/// Chroma without its offset. Variables of such structs are not const: GCC would keep them in
/// memory.
struct ChromaSums {
    int8x8_t u;
    int8x8_t v;
};

inline ChromaSums chromaSums(uint8x8_t b, uint8x8_t g, uint8x8_t r) {
    const int16x8_t weights = vld1q_s16(CHROMA_WEIGHTS);
    const int16x8_t bg = vreinterpretq_s16_u16(vsubl_u8(b, g));
    const int16x8_t rg = vreinterpretq_s16_u16(vsubl_u8(r, g));
    int16x8_t uHigh = multiply<MAJOR_HIGH>(bg, weights);
    int16x8_t uLow = multiply<MAJOR_LOW>(bg, weights);
    uHigh = multiplySubtract<U_MINOR_HIGH>(uHigh, rg, weights);
    uLow = multiplySubtract<U_MINOR_LOW>(uLow, rg, weights);
    int16x8_t vHigh = multiply<MAJOR_HIGH>(rg, weights);
    int16x8_t vLow = multiply<MAJOR_LOW>(rg, weights);
    vHigh = multiplySubtract<V_MINOR_HIGH>(vHigh, bg, weights);
    vLow = multiplySubtract<V_MINOR_LOW>(vLow, bg, weights);
    vLow = vreinterpretq_s16_u16(vaddw_u8(vreinterpretq_u16_s16(vLow), g));
    return {chromaSum(uHigh, uLow), chromaSum(vHigh, vLow)};
}

inline uint8x16_t withOffset(int8x8_t low, int8x8_t high) {
    return veorq_u8(join<uint8x16_t>(low, high), vdupq_n_u8(CHROMA_OFFSET));
}

/// The sums of eight pairs, channel by channel.
struct PairSums {
    uint16x8_t b;
    uint16x8_t g;
    uint16x8_t r;
};

/// @param chroma  eight samples of U, then of V
inline void putChroma(uint8x16_t chroma, std::uint8_t*& u, std::uint8_t*& v) {
    put(u, vget_low_u8(chroma));
    put(v, vget_high_u8(chroma));
}

inline void putChroma(uint8x16_t chroma, std::uint8_t*& uv) {
    putHalvesInTurn(uv, chroma);
}

/// 16 pixels of DOWN rows, a chroma sample for two columns.
/// @param chromaTargets  planes of U and V, or one of pairs
template <int DOWN, class... Address>
inline void convertPairs(const std::uint8_t*& bgr,
                         const std::uint8_t*& nextBgr,
                         std::uint8_t*& y,
                         std::uint8_t*& nextY,
                         Address&... chromaTargets) {
    uint8x16x3_t row = takePixels(bgr);
    put(y, lumaOf(row));
    scheduleInOrder();
    PairSums sums = {vpaddlq_u8(row.val[0]), vpaddlq_u8(row.val[1]), vpaddlq_u8(row.val[2])};
    ChromaSums chroma;
    if constexpr (DOWN == 2) {
        row = takePixels(nextBgr);
        put(nextY, lumaOf(row));
        scheduleInOrder();
        chroma = chromaSums(vrshrn_n_u16(vpadalq_u8(sums.b, row.val[0]), 2),
                            vrshrn_n_u16(vpadalq_u8(sums.g, row.val[1]), 2),
                            vrshrn_n_u16(vpadalq_u8(sums.r, row.val[2]), 2));
    } else {
        chroma =
            chromaSums(vrshrn_n_u16(sums.b, 1), vrshrn_n_u16(sums.g, 1), vrshrn_n_u16(sums.r, 1));
    }
    putChroma(withOffset(chroma.u, chroma.v), chromaTargets...);
    scheduleInOrder();
}

/// A chroma sample is made of two columns of DOWN rows.
template <int DOWN, class... ChromaRow>
void convertSubsampled(const std::uint8_t* bgr,
                       std::uint32_t width,
                       std::uint32_t height,
                       RowStep bgrStride,
                       std::uint8_t* y,
                       RowStep yStride,
                       ChromaRow... chroma) {
    const auto kernel = [](const std::uint8_t*& blockBgr, const std::uint8_t*& nextBgr,
                           std::uint8_t*& blockY, std::uint8_t*& nextY, auto&... blockChroma) {
        prefetch(blockBgr);
        if constexpr (DOWN == 2) {
            prefetch(nextBgr);
        }
        convertPairs<DOWN>(blockBgr, nextBgr, blockY, nextY, blockChroma...);
        convertPairs<DOWN>(blockBgr, nextBgr, blockY, nextY, blockChroma...);
    };
    using BgrRows = Source<3 * PAIRS_BLOCK>;
    walk<PAIRS_BLOCK>(width / 2 * 2, height / DOWN, kernel, BgrRows{bgr, DOWN * bgrStride},
                      BgrRows{bgr + bgrStride, DOWN * bgrStride}, YTarget{y, DOWN * yStride},
                      YTarget{y + yStride, DOWN * yStride}, chroma...);
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
    convertSubsampled<2>(bgr, width, height, bgrStride, y, yStride, HalfTarget{u, uStride},
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
    convertSubsampled<1>(bgr, width, height, bgrStride, y, yStride, HalfTarget{u, uStride},
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
    const auto kernel = [](const std::uint8_t*& blockBgr, std::uint8_t*& blockY,
                           std::uint8_t*& blockU, std::uint8_t*& blockV) {
        prefetch(blockBgr);
        uint8x16x3_t row = takePixels(blockBgr);
        put(blockY, lumaOf(row));
        scheduleInOrder();
        ChromaSums left =
            chromaSums(vget_low_u8(row.val[0]), vget_low_u8(row.val[1]), vget_low_u8(row.val[2]));
        scheduleInOrder();
        ChromaSums right = chromaSums(vget_high_u8(row.val[0]), vget_high_u8(row.val[1]),
                                      vget_high_u8(row.val[2]));
        put(blockU, withOffset(left.u, right.u));
        put(blockV, withOffset(left.v, right.v));
    };
    walk<A>(width, height, kernel, Source<3 * A>{bgr, bgrStride}, Target<A>{y, yStride},
            Target<A>{u, uStride}, Target<A>{v, vStride});
}

void BgrToNv12(const std::uint8_t* bgr,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t bgrStride,
               std::uint8_t* y,
               std::uint32_t yStride,
               std::uint8_t* uv,
               std::uint32_t uvStride) {
    convertSubsampled<2>(bgr, width, height, bgrStride, y, yStride, PairsTarget{uv, uvStride});
}

void BgrToNv16(const std::uint8_t* bgr,
               std::uint32_t width,
               std::uint32_t height,
               std::uint32_t bgrStride,
               std::uint8_t* y,
               std::uint32_t yStride,
               std::uint8_t* uv,
               std::uint32_t uvStride) {
    convertSubsampled<1>(bgr, width, height, bgrStride, y, yStride, PairsTarget{uv, uvStride});
}

}  // namespace Neon
}  // namespace Simd
