// The row functions in vectors of eight elements, with the fused steps of the portable ones. What
// is left at a row's end, and the pixels of other channel counts, are done by those.

#include "simd/simd_bilinear_rows.h"

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_vectors.h"
#include "simd/simd_bilinear_rows_fused.h"

namespace Simd {
namespace Avx2 {
namespace {

constexpr std::uint32_t ELEMENTS = 8;  // of a vector
constexpr int EVEN = _MM_SHUFFLE(2, 0, 2, 0);
constexpr int ODD = _MM_SHUFFLE(3, 1, 3, 1);
constexpr int ROTATE = _MM_SHUFFLE(0, 3, 2, 1);  // the second element of a lane comes first

/// @p a (1 - @p weight) + @p b weight
inline __m256 mix(__m256 a, __m256 b, __m256 weight) {
    return _mm256_fmadd_ps(_mm256_sub_ps(_mm256_set1_ps(1.0f), weight), a,
                           _mm256_mul_ps(weight, b));
}

inline __m256 lanesOf(__m128 low, __m128 high) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
}

inline __m256 loadLanes(const float* low, const float* high) {
    return lanesOf(_mm_loadu_ps(low), _mm_loadu_ps(high));
}

/// Two pairs of neighbours.
inline __m128 loadPairs(const float* first, const float* second) {
    const void* const address = second;
    return _mm_loadh_pi(_mm_castsi128_ps(_mm_loadu_si64(first)),
                        static_cast<const __m64*>(address));
}

struct Samples {
    __m256 left;
    __m256 right;

    __m256 mixed(__m256 weight) const { return mix(left, right, weight); }
};

/// The samples of the next elements of a row: a vector of them, or two pixels of three channels,
/// each of which leaves the last element of its lane without meaning.
template <std::size_t CHANNELS>
inline Samples loadSamples(const float* src, const std::int32_t* ix) {
    if constexpr (CHANNELS == 1) {
        const __m256 first =
            lanesOf(loadPairs(src + ix[0], src + ix[1]), loadPairs(src + ix[4], src + ix[5]));
        const __m256 second =
            lanesOf(loadPairs(src + ix[2], src + ix[3]), loadPairs(src + ix[6], src + ix[7]));
        return {_mm256_shuffle_ps(first, second, EVEN), _mm256_shuffle_ps(first, second, ODD)};
    } else if constexpr (CHANNELS == 2) {
        const __m256d first = _mm256_castps_pd(loadLanes(src + ix[0], src + ix[4]));
        const __m256d second = _mm256_castps_pd(loadLanes(src + ix[2], src + ix[6]));
        return {_mm256_castpd_ps(_mm256_unpacklo_pd(first, second)),
                _mm256_castpd_ps(_mm256_unpackhi_pd(first, second))};
    } else if constexpr (CHANNELS == 3) {
        // Right pixels are read from the left one's last element on, so as not to pass their end.
        const float* const first = src + ix[0];
        const float* const second = src + ix[3];
        return {loadLanes(first, second),
                _mm256_permute_ps(loadLanes(first + 2, second + 2), ROTATE)};
    } else {
        const float* const first = src + ix[0];
        const float* const second = src + ix[4];
        return {loadLanes(first, second), loadLanes(first + 4, second + 4)};
    }
}

template <std::size_t CHANNELS>
inline Samples loadSamples(const std::uint16_t* src, const std::int32_t* ix) {
    static_assert(CHANNELS == 1, "others are not in vectors");
    const void* const base = src;
    const __m256i pairs =
        _mm256_i32gather_epi32(static_cast<const int*>(base), load(ix), sizeof(*src));
    return {_mm256_cvtepi32_ps(_mm256_and_si256(pairs, _mm256_set1_epi32(0xFFFF))),
            _mm256_cvtepi32_ps(_mm256_srli_epi32(pairs, 16))};
}

template <std::size_t CHANNELS>
inline __m256 loadWeights(const float* ax) {
    return CHANNELS == 3 ? loadLanes(ax, ax + 3) : _mm256_loadu_ps(ax);
}

template <std::size_t CHANNELS>
inline void store(__m256 value, float* dst) {
    if constexpr (CHANNELS == 3) {
        _mm_storeu_ps(dst, _mm256_castps256_ps128(value));
        _mm_storeu_ps(dst + 3, _mm256_extractf128_ps(value, 1));
    } else {
        _mm256_storeu_ps(dst, value);
    }
}

/// Rounds; the values are not negative.
template <std::size_t CHANNELS>
inline void store(__m256 value, std::uint16_t* dst) {
    const __m256i whole = _mm256_cvttps_epi32(_mm256_add_ps(value, _mm256_set1_ps(0.5f)));
    storeLane(dst, _mm_packus_epi32(lowLane(whole), highLane(whole)));
}

/// Calls @p block for as many elements as it takes at once, as long as it stays within a row.
/// @return elements that are done
template <std::size_t CHANNELS, class Block>
inline std::uint32_t forBlocks(std::uint32_t size, Block block) {
    // The vector of two pixels of three channels passes their end by one.
    constexpr std::uint32_t STEP = CHANNELS == 3 ? 6 : ELEMENTS;
    constexpr std::uint32_t REACH = CHANNELS == 3 ? 7 : ELEMENTS;
    std::uint32_t i = 0;
    for (; i + REACH <= size; i += STEP) {
        block(i);
    }
    return i;
}

template <std::size_t CHANNELS, class T>
std::uint32_t interpolateBlocks(const T* __restrict src,
                                const std::int32_t* __restrict ix,
                                const float* __restrict ax,
                                std::uint32_t size,
                                float* __restrict dst) {
    return forBlocks<CHANNELS>(size, [=](std::uint32_t i) {
        store<CHANNELS>(loadSamples<CHANNELS>(src, ix + i).mixed(loadWeights<CHANNELS>(ax + i)),
                        dst + i);
    });
}

template <std::size_t CHANNELS, class T>
std::uint32_t sampleBlocks(const T* __restrict upper,
                           const T* __restrict lower,
                           const std::int32_t* __restrict ix,
                           const float* __restrict ax,
                           float ay,
                           std::uint32_t size,
                           T* __restrict dst) {
    const __m256 vertical = _mm256_set1_ps(ay);
    return forBlocks<CHANNELS>(size, [=](std::uint32_t i) {
        const __m256 horizontal = loadWeights<CHANNELS>(ax + i);
        const __m256 above = loadSamples<CHANNELS>(upper, ix + i).mixed(horizontal);
        const __m256 below = loadSamples<CHANNELS>(lower, ix + i).mixed(horizontal);
        store<CHANNELS>(mix(above, below, vertical), dst + i);
    });
}

template <class T>
using InterpolateBlocks = std::uint32_t(
    const T* src, const std::int32_t* ix, const float* ax, std::uint32_t size, float* dst);

template <class T>
using SampleBlocks = std::uint32_t(const T* upper,
                                   const T* lower,
                                   const std::int32_t* ix,
                                   const float* ax,
                                   float ay,
                                   std::uint32_t size,
                                   T* dst);

/// The block functions for channel counts from 1 on.
template <class T>
struct BlockFunctions;

template <>
struct BlockFunctions<float> {
    static constexpr std::uint32_t CHANNELS = 4;
    static constexpr InterpolateBlocks<float>* INTERPOLATE[] = {
        interpolateBlocks<1, float>, interpolateBlocks<2, float>, interpolateBlocks<3, float>,
        interpolateBlocks<4, float>};
    static constexpr SampleBlocks<float>* SAMPLE[] = {
        sampleBlocks<1, float>, sampleBlocks<2, float>, sampleBlocks<3, float>,
        sampleBlocks<4, float>};
};

template <>
struct BlockFunctions<std::uint16_t> {
    static constexpr std::uint32_t CHANNELS = 1;
    static constexpr InterpolateBlocks<std::uint16_t>* INTERPOLATE[] = {
        interpolateBlocks<1, std::uint16_t>};
    static constexpr SampleBlocks<std::uint16_t>* SAMPLE[] = {sampleBlocks<1, std::uint16_t>};
};

template <class T>
void interpolate(const T* src,
                 std::uint32_t step,
                 const std::int32_t* ix,
                 const float* ax,
                 std::uint32_t size,
                 float* dst) {
    using Functions = BlockFunctions<T>;
    const std::uint32_t done = step - 1 < Functions::CHANNELS
                                   ? Functions::INTERPOLATE[step - 1](src, ix, ax, size, dst)
                                   : 0;
    interpolateFused(src, step, ix + done, ax + done, size - done, dst + done);
}

template <class T>
void sample(const T* upper,
            const T* lower,
            std::uint32_t step,
            const std::int32_t* ix,
            const float* ax,
            float ay,
            std::uint32_t size,
            T* dst) {
    using Functions = BlockFunctions<T>;
    const std::uint32_t done =
        step - 1 < Functions::CHANNELS
            ? Functions::SAMPLE[step - 1](upper, lower, ix, ax, ay, size, dst)
            : 0;
    sampleFused(upper, lower, step, ix + done, ax + done, ay, size - done, dst + done);
}

inline Samples loadHalves(const float* src) {
    const __m256 first = loadLanes(src, src + ELEMENTS);
    const __m256 second = loadLanes(src + ELEMENTS / 2, src + ELEMENTS + ELEMENTS / 2);
    return {_mm256_shuffle_ps(first, second, EVEN), _mm256_shuffle_ps(first, second, ODD)};
}

void halveGray(const float* __restrict upper,
               const float* __restrict lower,
               std::uint32_t width,
               float* __restrict dst) {
    const __m256 half = _mm256_set1_ps(0.5f);
    const auto block = [=](std::size_t i) {
        _mm256_storeu_ps(dst + i, mix(loadHalves(upper + 2 * i).mixed(half),
                                      loadHalves(lower + 2 * i).mixed(half), half));
    };
    // What remains is narrower than a block, so the last block overlaps the one before.
    if (forBlocks<1>(width, block) < width) {
        block(width - ELEMENTS);
    }
}

}  // namespace

const BilinearRows<float> FloatRows = {interpolate<float>, blendFused<float>, sample<float>};
const BilinearRows<std::uint16_t> ShortRows = {interpolate<std::uint16_t>,
                                               blendFused<std::uint16_t>, sample<std::uint16_t>};
HalveFloats* const FloatHalves[] = {halveGray, nullptr, nullptr, nullptr};

}  // namespace Avx2
}  // namespace Simd
