// Rows of nearest pixels in vectors of 16 and 32 bytes.
//
// Rows of the source are passed over, so that no machine foresees which one is next: each block
// asks for its place in it.

#include "simd/simd_nearest_rows.h"

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_lookup.h"
#include "simd/avx2/simd_vectors.h"
#include "simd/simd_blocks.h"

namespace Simd {
namespace Avx2 {
namespace {

template <std::size_t WINDOW>
void gather(const std::uint8_t* __restrict src,
            const std::uint8_t* next,
            const NearestBlock* __restrict block,
            const std::uint8_t* __restrict position,
            std::uint32_t count,
            std::uint8_t* __restrict dst) {
    for (const NearestBlock* const end = block + count; block != end; ++block) {
        __builtin_prefetch(next + block->src);
        storeLane(dst + block->dst, lookUpSpread<WINDOW>(src + block->src, position));
        position += WINDOW;
    }
}

/// The second of each two pixels of @p SIZE bytes, in the order of the lanes.
template <std::uint32_t SIZE>
inline __m256i secondOfTwo(__m256i low, __m256i high) {
    if constexpr (SIZE == 1) {
        return _mm256_packus_epi16(_mm256_srli_epi16(low, 8), _mm256_srli_epi16(high, 8));
    } else if constexpr (SIZE == 2) {
        return _mm256_packus_epi32(_mm256_srli_epi32(low, 16), _mm256_srli_epi32(high, 16));
    } else {
        return _mm256_castps_si256(_mm256_shuffle_ps(
            _mm256_castsi256_ps(low), _mm256_castsi256_ps(high), _MM_SHUFFLE(3, 1, 3, 1)));
    }
}

template <std::uint32_t SIZE>
void halve(const std::uint8_t* __restrict src,
           const std::uint8_t* next,
           std::uint32_t width,
           std::uint8_t* __restrict dst) {
    constexpr std::size_t STEP = 2 * LANE;
    const std::ptrdiff_t ahead = next - src;
    const auto kernel = [ahead](const std::uint8_t* from, std::uint8_t* to) {
        __builtin_prefetch(from + ahead);
        store(to, secondOfTwo<SIZE>(loadLanes(from, STEP), loadLanes(from + LANE, STEP)));
    };
    processRow<STEP / SIZE>(width, kernel, Source<2 * STEP>{src, 0u}, Target<STEP>{dst, 0u});
}

}  // namespace

const NearestRows NearestVectors = {{gather<16>, gather<32>, gather<64>},
                                    {nullptr, spread<32>, spread<64>},
                                    {2, 3, 4},
                                    {halve<1>, halve<2>, nullptr, halve<4>},
                                    32};

}  // namespace Avx2
}  // namespace Simd
