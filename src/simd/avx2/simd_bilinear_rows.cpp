// The row functions in vectors of eight elements, with the fused steps of the portable ones. What
// is left at a row's end, and shorts of more than one channel, are done by those.

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

// ---- Rows ---------------------------------------------------------------------------------------

/// Calls @p block for as many elements as it takes at once, as long as it stays within a row.
/// @return elements that are done
template <std::size_t PIXEL, class Block>
inline std::uint32_t forBlocks(std::uint32_t size, Block block) {
    // The vector of two pixels of three channels passes their end by one.
    constexpr std::uint32_t STEP = PIXEL == 3 ? 6 : ELEMENTS;
    constexpr std::uint32_t REACH = PIXEL == 3 ? 7 : ELEMENTS;
    std::uint32_t i = 0;
    for (; i + REACH <= size; i += STEP) {
        block(i);
    }
    return i;
}

template <class Way, class T>
std::uint32_t interpolateBlocks(const T* __restrict src,
                                const std::int32_t* __restrict ix,
                                const float* __restrict ax,
                                std::uint32_t size,
                                float* __restrict dst) {
    return forBlocks<Way::PIXEL>(size, [=](std::uint32_t i) {
        store<Way::PIXEL>(Way::load(src, ix, i).mixed(loadWeights<Way::PIXEL>(ax + i)), dst + i);
    });
}

template <class Way, class T>
void interpolate(const T* src,
                 std::uint32_t step,
                 const std::int32_t* ix,
                 const float* ax,
                 std::uint32_t size,
                 float* dst) {
    using Rest = typename Way::Rest;
    std::uint32_t done = interpolateBlocks<Way>(src, ix, ax, Way::inside(ix, size), dst);
    done += interpolateBlocks<Rest>(src, ix + done, ax + done, size - done, dst + done);
    interpolateFused(src, step, ix + done, ax + done, size - done, dst + done);
}

// Distances in elements to what is fetched ahead: the row that is written, and source rows where
// they follow each other.
constexpr std::size_t DST_AHEAD = 64;
constexpr std::size_t SRC_AHEAD = 256;

/// @param ay of @p ROWS destination rows
template <class Way, std::size_t ROWS, bool AHEAD, class T>
std::uint32_t sampleBlocks(const T* __restrict upper,
                           const T* __restrict lower,
                           const std::int32_t* __restrict ix,
                           const float* __restrict ax,
                           const float* __restrict ay,
                           std::uint32_t size,
                           T* __restrict dst,
                           std::ptrdiff_t dstStep) {
    const __m256 first = _mm256_set1_ps(ay[0]);
    const __m256 second = _mm256_set1_ps(ay[ROWS - 1]);
    return forBlocks<Way::PIXEL>(size, [=](std::uint32_t i) {
        const __m256 horizontal = loadWeights<Way::PIXEL>(ax + i);
        if constexpr (AHEAD) {
            __builtin_prefetch(upper + ix[i] + SRC_AHEAD);
            __builtin_prefetch(lower + ix[i] + SRC_AHEAD);
        }
        const __m256 above = Way::load(upper, ix, i).mixed(horizontal);
        const __m256 below = Way::load(lower, ix, i).mixed(horizontal);
        T* const row = dst + i;
        __builtin_prefetch(row + DST_AHEAD);
        store<Way::PIXEL>(mix(above, below, first), row);
        if constexpr (ROWS == 2) {
            __builtin_prefetch(row + dstStep + DST_AHEAD);
            store<Way::PIXEL>(mix(above, below, second), row + dstStep);
        }
    });
}

template <class Way, std::size_t ROWS, bool AHEAD, class T>
void sampleRows(const T* upper,
                const T* lower,
                std::uint32_t step,
                const std::int32_t* ix,
                const float* ax,
                const float* ay,
                std::uint32_t size,
                T* dst,
                std::ptrdiff_t dstStep) {
    using Rest = typename Way::Rest;
    std::uint32_t done = sampleBlocks<Way, ROWS, AHEAD>(upper, lower, ix, ax, ay,
                                                        Way::inside(ix, size), dst, dstStep);
    done += sampleBlocks<Rest, ROWS, false>(upper, lower, ix + done, ax + done, ay, size - done,
                                            dst + done, dstStep);
    for (std::size_t row = 0; row < ROWS; ++row, dst += dstStep) {
        sampleFused(upper, lower, step, ix + done, ax + done, ay[row], size - done, dst + done);
    }
}

template <class Way, bool AHEAD, class T>
void sample(const T* upper,
            const T* lower,
            std::uint32_t step,
            const std::int32_t* ix,
            const float* ax,
            float ay,
            std::uint32_t size,
            T* dst) {
    sampleRows<Way, 1, AHEAD>(upper, lower, step, ix, ax, &ay, size, dst, 0);
}

void interpolateShorts(const std::uint16_t* src,
                       std::uint32_t step,
                       const std::int32_t* ix,
                       const float* ax,
                       std::uint32_t size,
                       float* dst) {
    const auto function =
        step == 1 ? interpolate<Scattered<1>, std::uint16_t> : interpolateFused<std::uint16_t>;
    function(src, step, ix, ax, size, dst);
}

void sampleShorts(const std::uint16_t* upper,
                  const std::uint16_t* lower,
                  std::uint32_t step,
                  const std::int32_t* ix,
                  const float* ax,
                  float ay,
                  std::uint32_t size,
                  std::uint16_t* dst) {
    const auto function =
        step == 1 ? sample<Scattered<1>, false, std::uint16_t> : sampleFused<std::uint16_t>;
    function(upper, lower, step, ix, ax, ay, size, dst);
}

template <class Way>
constexpr FloatForm FORM = {{interpolate<Way, float>, blendFused<float>, sample<Way, false, float>},
                            sample<Way, true, float>,
                            sampleRows<Way, 2, false, float>};

// ---- Two thirds: two pixels of three, by weights of 1/4 and 3/4
// ----------------------------------

/// Both samples of the next destination elements: of eight pixels, or of two with three channels.
template <std::size_t CHANNELS>
inline Samples loadTwoOfThree(const float* src) {
    static_assert(CHANNELS == 1 || CHANNELS == 3, "there are no others");
    if constexpr (CHANNELS == 1) {
        const auto load = [](const float* from) {
            const __m256i places = _mm256_setr_epi32(0, 1, 3, 4, 6, 7, 7, 7);
            return _mm256_blend_ps(_mm256_permutevar8x32_ps(_mm256_loadu_ps(from), places),
                                   _mm256_loadu_ps(from + 3), 0xC0);
        };
        return {load(src), load(src + 1)};
    } else {
        return {loadLanes(src, src + 3), loadLanes(src + 3, src + 6)};
    }
}

/// @return elements that are done
template <std::size_t CHANNELS, bool AHEAD>
std::uint32_t sampleTwoThirds(const float* __restrict upper,
                              const float* __restrict lower,
                              float ay,
                              std::uint32_t size,
                              float* __restrict dst) {
    constexpr std::uint32_t STEP = CHANNELS == 3 ? 6 : ELEMENTS;
    constexpr std::uint32_t REACH = CHANNELS == 3 ? 1 : 0;  // that a block passes its end by
    constexpr std::uint32_t BLOCKS = CHANNELS == 3 ? 2 : 1;
    constexpr std::uint32_t SRC_STEP = STEP / 2 * 3;
    constexpr float F = 0.25f;
    constexpr float T = 0.75f;
    const __m256 horizontal = CHANNELS == 3 ? _mm256_setr_ps(F, F, F, F, T, T, T, T)
                                            : _mm256_setr_ps(F, T, F, T, F, T, F, T);
    const __m256 vertical = _mm256_set1_ps(ay);
    std::uint32_t left = size;
    for (; left >= BLOCKS * STEP + REACH; left -= BLOCKS * STEP) {
        if constexpr (AHEAD) {
            __builtin_prefetch(upper + SRC_AHEAD);
            __builtin_prefetch(lower + SRC_AHEAD);
        }
        __builtin_prefetch(dst + DST_AHEAD);
        for (std::uint32_t i = 0; i < BLOCKS; ++i) {
            store<CHANNELS>(mix(loadTwoOfThree<CHANNELS>(upper).mixed(horizontal),
                                loadTwoOfThree<CHANNELS>(lower).mixed(horizontal), vertical),
                            dst);
            upper += SRC_STEP;
            lower += SRC_STEP;
            dst += STEP;
        }
    }
    return size - left;
}

template <std::size_t CHANNELS, bool AHEAD>
void sampleTwoThirds(const float* upper,
                     const float* lower,
                     std::uint32_t step,
                     const std::int32_t* ix,
                     const float* ax,
                     float ay,
                     std::uint32_t size,
                     float* dst) {
    const std::uint32_t done = sampleTwoThirds<CHANNELS, AHEAD>(upper, lower, ay, size, dst);
    sample<Scattered<CHANNELS>, false>(upper, lower, step, ix + done, ax + done, ay, size - done,
                                       dst + done);
}

template <std::size_t CHANNELS>
constexpr FloatForm TWO_THIRDS_FORM = {{FORM<Scattered<CHANNELS>>.rows.interpolate,
                                        blendFused<float>, sampleTwoThirds<CHANNELS, false>},
                                       sampleTwoThirds<CHANNELS, true>,
                                       FORM<Scattered<CHANNELS>>.sampleTwo};

template <std::size_t CHANNELS>
bool areTwoThirds(const std::int32_t* ix, const float* ax, std::uint32_t size) {
    constexpr std::uint32_t PERIOD = 2 * CHANNELS;
    for (std::uint32_t i = 0; i < size; ++i) {
        const bool isFirst = i < PERIOD;
        const std::int32_t index =
            isFirst ? std::int32_t(i) : ix[i - PERIOD] + std::int32_t(3 * CHANNELS);
        const float weight = !isFirst ? ax[i - PERIOD] : i < CHANNELS ? 0.25f : 0.75f;
        if (ix[i] != index || ax[i] != weight) {
            return false;
        }
    }
    return true;
}

// ---- Halves -------------------------------------------------------------------------------------

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

const BilinearRows<std::uint16_t> ShortRows = {interpolateShorts, blendFused<std::uint16_t>,
                                               sampleShorts};
HalveFloats* const FloatHalves[] = {halveGray, nullptr, nullptr, nullptr};

const FloatForm& FloatFormOf(std::uint32_t channels,
                             const std::int32_t* ix,
                             const float* ax,
                             std::uint32_t size) {
    constexpr const FloatForm* SCATTERED[] = {&FORM<Scattered<1>>, &FORM<Scattered<2>>,
                                              &FORM<Scattered<3>>, &FORM<Scattered<4>>};
    if (channels == 1 && Window<1>::fits(ix, size)) {
        return FORM<Window<1>>;
    }
    if (channels == 1 && areTwoThirds<1>(ix, ax, size)) {
        return TWO_THIRDS_FORM<1>;
    }
    if (channels == 3 && areTwoThirds<3>(ix, ax, size)) {
        return TWO_THIRDS_FORM<3>;
    }
    if (channels == 1 && HalfWindows::fits(ix, size)) {
        return FORM<HalfWindows>;
    }
    if (channels == 3 && Window<3>::fits(ix, size)) {
        return FORM<Window<3>>;
    }
    return *SCATTERED[channels - 1];
}

}  // namespace Avx2
}  // namespace Simd
