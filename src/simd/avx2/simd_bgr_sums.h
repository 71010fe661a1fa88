// Weighted sums of the channels of BGR pixels, as gray and YUV are.
//
// Bytes are multiplied by bytes and added in pairs, B with G. For that each 14-bit weight is split,
// w = 128 high + low, so that with H = sum(high c) and L = sum(low c)
//
//     (128 H + L + 8192) >> 14  =  (H + (L >> 7) + 64) >> 7
//
// The high parts below keep all of it within 16 signed bits: H and L are 0..32385 and 0..32640 for
// gray, 0..28050 and -19125..17850 for Y, within +-14280 and +-8160 for U and V; H + (L >> 7) is
// 32640 at most.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_vectors.h"
#include "simd/simd_color_weights.h"

namespace Simd {
namespace Avx2 {
namespace {

struct SplitWeights {
    BgrWeights high;
    BgrWeights low;
};

constexpr SplitWeights splitWeights(BgrWeights all, BgrWeights high) {
    return {high, {all.b - 128 * high.b, all.g - 128 * high.g, all.r - 128 * high.r}};
}

constexpr SplitWeights TO_GRAY = splitWeights(BGR_TO_GRAY, {14, 75, 38});
constexpr SplitWeights TO_Y = splitWeights(BGR_TO_Y, {12, 65, 33});
constexpr SplitWeights TO_U = splitWeights(BGR_TO_U, {56, -37, -19});
constexpr SplitWeights TO_V = splitWeights(BGR_TO_V, {-9, -47, 56});

/// 16 pixels, a 16-bit lane for each.
struct BgrPairs {
    __m256i bg;  ///< B in the low byte, G in the high byte
    __m256i r;   ///< in the low byte
};

/// Pixels 0 to 7 in the low lanes, 16 to 23 in the high lanes: so @p bgr and the address of its
/// pixel 8 together yield 32 pixels, which packs leave in order.
inline BgrPairs loadBgrPairs(const std::uint8_t* bgr) {
    constexpr std::uint8_t Z = Shuffle::ZERO;
    // Four pixels of a lane of 16 bytes: its first ones, and its last ones.
    static constexpr Shuffle FIRST = {{0, 1, 3, 4, 6, 7, 9, 10, 2, Z, 5, Z, 8, Z, 11, Z}};
    static constexpr Shuffle LAST = {{4, 5, 7, 8, 10, 11, 13, 14, 6, Z, 9, Z, 12, Z, 15, Z}};
    const __m256i left = shuffle(loadLanes(bgr, PIXELS_BYTES), FIRST);
    const __m256i right = shuffle(loadLanes(bgr + 24 - LANE, PIXELS_BYTES), LAST);
    return {_mm256_unpacklo_epi64(left, right), _mm256_unpackhi_epi64(left, right)};
}

inline __m256i multiply(BgrPairs pixels, BgrWeights weights) {
    return _mm256_add_epi16(_mm256_maddubs_epi16(pixels.bg, bytePairs(weights.b, weights.g)),
                            _mm256_maddubs_epi16(pixels.r, bytePairs(weights.r, 0)));
}

/// The rounded sums in 16-bit lanes.
inline __m256i weigh(BgrPairs pixels, SplitWeights weights) {
    const __m256i high = multiply(pixels, weights.high);
    const __m256i low = multiply(pixels, weights.low);
    return roundedShift<7>(_mm256_add_epi16(high, _mm256_srai_epi16(low, 7)));
}

}  // namespace
}  // namespace Avx2
}  // namespace Simd
