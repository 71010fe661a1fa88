// Rows of the bicubic resizer in vectors: horizontal sums of 8 elements, vertical sums of 16.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/avx2/simd_lookup.h"
#include "simd/avx2/simd_vectors.h"
#include "simd/simd_bicubic_rows.h"

namespace Simd {
namespace Avx2 {
namespace {

/// Bytes that belong to the four taps of an element.
inline __m256i forTaps(int first, int second, int third, int fourth) {
    return _mm256_unpacklo_epi16(bytePairs(first, second), bytePairs(third, fourth));
}

/// 8 bytes, each four times.
inline __m256i loadFourfold(const std::uint8_t (&bytes)[8]) {
    long long all;
    std::memcpy(&all, bytes, sizeof(all));
    const __m256i order = _mm256_setr_epi32(0x00000000, 0x01010101, 0x02020202, 0x03030303,
                                            0x04040404, 0x05050505, 0x06060606, 0x07070707);
    return _mm256_shuffle_epi8(_mm256_set1_epi64x(all), order);
}

template <std::size_t WINDOW>
void sum(const std::uint8_t* __restrict src,
         std::uint32_t channels,
         const BicubicBlock* __restrict block,
         std::uint32_t count,
         std::int16_t* __restrict sums) {
    const int step = int(channels);
    const __m256i distances = forTaps(0, step, 2 * step, 3 * step);
    const __m256i signs = forTaps(1, -1, -1, 1);
    const __m256i ones = _mm256_set1_epi16(1);
    const __m256i offset = _mm256_set1_epi32(BICUBIC_OFFSET);
    for (const BicubicBlock* const end = block + count; block != end; ++block) {
        const __m256i positions = _mm256_add_epi8(loadFourfold(block->position), distances);
        const __m256i samples = lookUp<WINDOW>(src + block->src, positions);
        // A magnitude of 128, which no byte with a sign holds, is one of a negative weight.
        const __m256i weights = _mm256_sign_epi8(load(block->weights), signs);
        const __m256i pairs = _mm256_maddubs_epi16(samples, weights);
        const __m256i all = _mm256_add_epi32(_mm256_madd_epi16(pairs, ones), offset);
        storeLane(sums + block->dst, _mm_packs_epi32(lowLane(all), highLane(all)));
    }
}

/// A vertical sum of 16 elements.
struct Columns {
    __m256i outerWeights;  // of the first two rows, side by side
    __m256i innerWeights;  // of the last two
    __m256i constant;      // rounds, and takes back what the stored sums have too much

    explicit Columns(const std::int32_t* weights)
        : outerWeights(pairs(weights[0], weights[1])),
          innerWeights(pairs(weights[2], weights[3])),
          constant(_mm256_set1_epi32(
              (1 << 13) - BICUBIC_OFFSET * (weights[0] + weights[1] + weights[2] + weights[3]))) {}

    static __m256i pairs(std::int32_t even, std::int32_t odd) {
        return _mm256_set1_epi32(
            std::int32_t((std::uint32_t(even) & 0xFFFF) | std::uint32_t(odd) << 16));
    }

    /// Half of the elements.
    __m256i whole(__m256i firstTwo, __m256i lastTwo) const {
        const __m256i sums = _mm256_add_epi32(_mm256_madd_epi16(firstTwo, outerWeights),
                                              _mm256_madd_epi16(lastTwo, innerWeights));
        return _mm256_srai_epi32(_mm256_add_epi32(sums, constant), 14);
    }

    __m128i blend(const std::int16_t* const (&rows)[4], std::size_t i) const {
        const __m256i first = load(rows[0] + i);
        const __m256i second = load(rows[1] + i);
        const __m256i third = load(rows[2] + i);
        const __m256i fourth = load(rows[3] + i);
        const __m256i low =
            whole(_mm256_unpacklo_epi16(first, second), _mm256_unpacklo_epi16(third, fourth));
        const __m256i high =
            whole(_mm256_unpackhi_epi16(first, second), _mm256_unpackhi_epi16(third, fourth));
        const __m256i words = _mm256_packs_epi32(low, high);
        return _mm_packus_epi16(lowLane(words), highLane(words));
    }
};

void blend(const std::int16_t* const (&rows)[4],
           const std::int32_t* weights,
           std::uint32_t size,
           std::uint8_t* __restrict dst) {
    constexpr std::size_t BLOCK = BicubicRows::BLEND_SIZE;
    const Columns columns(weights);
    const std::size_t last = size - BLOCK;
    for (std::size_t i = 0; i < last; i += BLOCK) {
        storeLane(dst + i, columns.blend(rows, i));
    }
    // It may overlap the one before.
    storeLane(dst + last, columns.blend(rows, last));
}

}  // namespace

const BicubicRows BicubicVectors = {{sum<16>, sum<32>}, blend};

}  // namespace Avx2
}  // namespace Simd
