// How the samples of destination columns lie in a source row, and how vectors of them are loaded.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_vectors.h"

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

// ---- Ways to the samples of a block: `PIXEL` is the number of channels that its vectors follow --

/// Samples wherever they lie, each pair or pixel by a load of its own.
template <std::size_t CHANNELS>
struct Scattered {
    static constexpr std::size_t PIXEL = CHANNELS;
    using Rest = Scattered;

    /// How many leading elements of a row are loaded so without passing the end of the source.
    static std::uint32_t inside(const std::int32_t*, std::uint32_t size) { return size; }

    template <class T>
    static Samples load(const T* src, const std::int32_t* ix, std::uint32_t i) {
        return loadSamples<CHANNELS>(src, ix + i);
    }
};

/// The left samples of a block lie within a vector, the right ones within that a pixel further on.
template <std::size_t CHANNELS>
struct Window {
    static constexpr std::size_t PIXEL = 1;
    using Rest = Scattered<CHANNELS>;

    /// The first sample of a block, which may begin within a pixel: then the next pixel can go back
    /// to the same source pixel.
    static std::int32_t start(const std::int32_t* ix) {
        std::int32_t first = ix[0];
        for (std::size_t c = 1; c < CHANNELS; ++c) {
            first = ix[c] < first ? ix[c] : first;
        }
        return first;
    }

    static bool fits(const std::int32_t* ix, std::uint32_t size) {
        for (std::size_t i = 0; i + ELEMENTS <= size; i += ELEMENTS) {
            const std::int32_t first = start(ix + i);
            for (std::size_t k = i; k < i + ELEMENTS; ++k) {
                if (ix[k] - first >= std::int32_t(ELEMENTS)) {
                    return false;
                }
            }
        }
        return true;
    }

    /// Whole blocks and whole pixels.
    static std::uint32_t inside(const std::int32_t* ix, std::uint32_t size) {
        constexpr std::uint32_t STEP = ELEMENTS * CHANNELS;
        const std::int32_t last = ix[size - 1] - std::int32_t(ELEMENTS - 1);
        std::uint32_t end = size / STEP * STEP;
        while (end > 0 && start(ix + end - ELEMENTS) > last) {
            end -= STEP;
        }
        return end;
    }

    static Samples load(const float* src, const std::int32_t* ix, std::uint32_t i) {
        const std::int32_t first = start(ix + i);
        const __m256i place = _mm256_sub_epi32(Avx2::load(ix + i), _mm256_set1_epi32(first));
        return {_mm256_permutevar8x32_ps(_mm256_loadu_ps(src + first), place),
                _mm256_permutevar8x32_ps(_mm256_loadu_ps(src + first + CHANNELS), place)};
    }
};

/// Of single channels: both samples of half a block lie within a vector.
struct HalfWindows {
    static constexpr std::size_t PIXEL = 1;
    static constexpr std::uint32_t HALF = ELEMENTS / 2;
    using Rest = Scattered<1>;

    static bool fits(const std::int32_t* ix, std::uint32_t size) {
        for (std::uint32_t i = HALF; i <= size; i += HALF) {
            if (ix[i - 1] + 1 - ix[i - HALF] >= std::int32_t(ELEMENTS)) {
                return false;
            }
        }
        return true;
    }

    static std::uint32_t inside(const std::int32_t* ix, std::uint32_t size) {
        const std::int32_t last = ix[size - 1] + 1 - std::int32_t(ELEMENTS - 1);
        std::uint32_t end = size / ELEMENTS * ELEMENTS;
        while (end > 0 && ix[end - HALF] > last) {
            end -= ELEMENTS;
        }
        return end;
    }

    /// Places of four elements in their window, in both lanes.
    static __m256i places(const std::int32_t* ix) {
        return _mm256_sub_epi32(_mm256_broadcastsi128_si256(loadLane(ix)), _mm256_set1_epi32(*ix));
    }

    static Samples load(const float* src, const std::int32_t* ix, std::uint32_t i) {
        const __m256i rightHigh = _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1);
        const __m256i rightLow = _mm256_setr_epi32(1, 1, 1, 1, 0, 0, 0, 0);
        const std::int32_t* const half = ix + i + HALF;
        const __m256 low = _mm256_permutevar8x32_ps(_mm256_loadu_ps(src + ix[i]),
                                                    _mm256_add_epi32(places(ix + i), rightHigh));
        const __m256 high = _mm256_permutevar8x32_ps(_mm256_loadu_ps(src + *half),
                                                     _mm256_add_epi32(places(half), rightLow));
        return {_mm256_blend_ps(low, high, 0xF0), _mm256_permute2f128_ps(low, high, 0x21)};
    }
};

// ---- Ratios of small numbers: places and weights that repeat each few columns -------------------

/// Pixels 0 and 1 of three, each with the next, by weights of 1/4 and 3/4.
template <std::size_t CHANNELS>
struct TwoThirds {
    static constexpr std::uint32_t SRC_PIXELS = 3;
    static constexpr std::uint32_t PLACES[] = {0, 1};
    static constexpr float WEIGHTS[] = {0.25f, 0.75f};

    static Samples load(const float* src) {
        if constexpr (CHANNELS == 1) {
            return {loadGray(src), loadGray(src + 1)};
        } else {
            return {loadLanes(src, src + 3), loadLanes(src + 3, src + 6)};
        }
    }

private:
    static __m256 loadGray(const float* src) {
        const __m256i places = _mm256_setr_epi32(0, 1, 3, 4, 6, 7, 7, 7);
        return _mm256_blend_ps(_mm256_permutevar8x32_ps(_mm256_loadu_ps(src), places),
                               _mm256_loadu_ps(src + 3), 0xC0);
    }
};

/// The middle one of three pixels. The next one weighs nothing, but counts if it is not finite.
template <std::size_t CHANNELS>
struct Third {
    static constexpr std::uint32_t SRC_PIXELS = 3;
    static constexpr std::uint32_t PLACES[] = {1};
    static constexpr float WEIGHTS[] = {0.0f};

    static Samples load(const float* src) {
        return CHANNELS == 1 ? loadGray(src + 1)
                             : Samples{loadLanes(src + 3, src + 12), loadLanes(src + 6, src + 15)};
    }

private:
    static Samples loadGray(const float* src) {
        const __m256 a = _mm256_loadu_ps(src);
        const __m256 b = _mm256_loadu_ps(src + ELEMENTS);
        const __m256 c = _mm256_loadu_ps(src + std::size_t{2} * ELEMENTS);
        const __m256 left = _mm256_blend_ps(_mm256_blend_ps(a, b, 0x92), c, 0x24);
        const __m256 right = _mm256_blend_ps(_mm256_blend_ps(a, b, 0x24), c, 0x49);
        return {_mm256_permutevar8x32_ps(left, _mm256_setr_epi32(0, 3, 6, 1, 4, 7, 2, 5)),
                _mm256_permutevar8x32_ps(right, _mm256_setr_epi32(1, 4, 7, 2, 5, 0, 3, 6))};
    }
};

}  // namespace
}  // namespace Avx2
}  // namespace Simd
