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
    const NearestBlock* const end = block + count;
    for (; end - block >= 2; block += 2) {
        __builtin_prefetch(next + block->src);
        if constexpr (WINDOW > VECTOR) {
            __builtin_prefetch(next + block[1].src);
        }
        const __m256i two = lookUpTwo<WINDOW>(src + block->src, src + block[1].src, position);
        storeLane(dst + block->dst, lowLane(two));
        storeLane(dst + block[1].dst, highLane(two));
        position += 2 * WINDOW;
    }
    for (; block != end; ++block) {
        __builtin_prefetch(next + block->src);
        storeLane(dst + block->dst, lookUpSpread<WINDOW>(src + block->src, position));
        position += WINDOW;
    }
}

/// A vector of which each of the @p PARTS has a window of its own. A permutation of words reaches
/// all of a window, and from each window it takes the words to where their part is.
template <std::uint32_t PARTS>
inline void gatherParts(const std::uint8_t* __restrict src,
                        const NearestBlock* __restrict block,
                        const std::uint8_t* __restrict position,
                        std::uint8_t* __restrict dst) {
    // Of bytes to those of words: the permutation takes no heed of the bits above.
    const __m256i words = _mm256_srli_epi32(load(position), 2);
    const auto part = [&](std::uint32_t i) {
        return _mm256_permutevar8x32_epi32(load(src + block[i].src), words);
    };
    __m256i all = part(0);
    if constexpr (PARTS == 2) {
        all = _mm256_blend_epi32(all, part(1), 0xF0);
    } else if constexpr (PARTS == 4) {
        const __m256i low = _mm256_blend_epi32(all, part(1), 0x0C);
        all = _mm256_blend_epi32(low, _mm256_blend_epi32(part(2), part(3), 0xC0), 0xF0);
    }
    store(dst, all);
}

/// Full blocks of words, of which a vector holds @p PARTS. There are at least so many.
template <std::uint32_t PARTS>
void gatherWords(const std::uint8_t* __restrict src,
                 const std::uint8_t* next,
                 const NearestBlock* __restrict block,
                 const std::uint8_t* __restrict position,
                 std::uint32_t count,
                 std::uint8_t* __restrict dst) {
    constexpr std::size_t LENGTH = VECTOR / PARTS;
    for (std::uint32_t vectors = count / PARTS; vectors != 0; --vectors) {
        __builtin_prefetch(next + block->src);
        if constexpr (PARTS == 4) {
            __builtin_prefetch(next + block[2].src);
        }
        gatherParts<PARTS>(src, block, position, dst);
        block += PARTS;
        position += VECTOR;
        dst += VECTOR;
    }
    // The blocks that remain make up a vector together with some before them.
    if (const std::size_t rest = count % PARTS) {
        const std::size_t back = PARTS - rest;
        gatherParts<PARTS>(src, block - back, position - back * LENGTH, dst - back * LENGTH);
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

constexpr NearestRows::Form FORMS[] = {
    {gatherWords<1>, nullptr, 32, VECTOR, VECTOR, true, 2.5f},
    {gatherWords<2>, nullptr, 16, VECTOR, VECTOR, true, 1.6f},
    {gatherWords<4>, nullptr, 8, VECTOR, VECTOR, true, 1.2f},
    {gather<16>, nullptr, NEAREST_BLOCK, 16, NEAREST_BLOCK, false, 2.0f},
    {gather<32>, spread<32>, NEAREST_BLOCK, 32, NEAREST_BLOCK, false, 2.4f},
    {gather<64>, spread<64>, NEAREST_BLOCK, 64, NEAREST_BLOCK, false, 3.5f},
};

}  // namespace

const NearestRows NearestVectors = {
    FORMS, sizeof(FORMS) / sizeof(*FORMS), {halve<1>, halve<2>, nullptr, halve<4>}, 32};

}  // namespace Avx2
}  // namespace Simd
