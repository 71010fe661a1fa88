// The row functions in vectors of eight elements, with the fused steps of the portable ones. What
// is left at a row's end, and shorts of more than one channel, are done by those.

#include "simd/simd_bilinear_rows.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "simd/avx2/simd_bilinear_samples.h"
#include "simd/avx2/simd_vectors.h"
#include "simd/simd_bilinear_rows_fused.h"

namespace Simd {
namespace Avx2 {
namespace {

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

// ---- Ratios of small numbers --------------------------------------------------------------------

/// Rows of which the places and weights are known beforehand, so that no table is read.
template <std::size_t CHANNELS, template <std::size_t> class Ratio>
struct Periods {
    static_assert(CHANNELS == 1 || CHANNELS == 3, "blocks of the ratios are of these");
    using Taps = Ratio<CHANNELS>;

    static constexpr std::uint32_t PIXELS = std::size(Taps::PLACES);  // of a period
    static constexpr std::uint32_t STEP = CHANNELS == 3 ? 6 : ELEMENTS;
    static constexpr std::uint32_t SRC_STEP = STEP / PIXELS * Taps::SRC_PIXELS;
    static constexpr std::uint32_t BLOCKS = CHANNELS == 3 ? 2 : 1;  // at once

    static float weight(std::uint32_t i) { return Taps::WEIGHTS[i / CHANNELS % PIXELS]; }

    static __m256 weights() {
        return CHANNELS == 3 ? lanesOf(_mm_set1_ps(weight(0)), _mm_set1_ps(weight(3)))
                             : _mm256_setr_ps(weight(0), weight(1), weight(0), weight(1), weight(0),
                                              weight(1), weight(0), weight(1));
    }

    static bool fits(const std::int32_t* ix, const float* ax, std::uint32_t size) {
        for (std::uint32_t i = 0; i < size; ++i) {
            const std::uint32_t pixel = i / CHANNELS;
            const std::uint32_t place =
                pixel / PIXELS * Taps::SRC_PIXELS + Taps::PLACES[pixel % PIXELS];
            if (ix[i] != std::int32_t(place * CHANNELS + i % CHANNELS) || ax[i] != weight(i)) {
                return false;
            }
        }
        return true;
    }

    /// @return elements that are done; some are left, since blocks can pass their end by one
    template <bool AHEAD>
    static std::uint32_t sampleBlocks(const float* __restrict upper,
                                      const float* __restrict lower,
                                      float ay,
                                      std::uint32_t size,
                                      float* __restrict dst) {
        const __m256 horizontal = weights();
        const __m256 vertical = _mm256_set1_ps(ay);
        std::uint32_t left = size;
        for (; left > BLOCKS * STEP; left -= BLOCKS * STEP) {
            if constexpr (AHEAD) {
                __builtin_prefetch(upper + SRC_AHEAD);
                __builtin_prefetch(lower + SRC_AHEAD);
            }
            __builtin_prefetch(dst + DST_AHEAD);
            for (std::uint32_t i = 0; i < BLOCKS; ++i) {
                store<CHANNELS>(mix(Taps::load(upper).mixed(horizontal),
                                    Taps::load(lower).mixed(horizontal), vertical),
                                dst);
                upper += SRC_STEP;
                lower += SRC_STEP;
                dst += STEP;
            }
        }
        return size - left;
    }

    template <bool AHEAD>
    static void sample(const float* upper,
                       const float* lower,
                       std::uint32_t step,
                       const std::int32_t* ix,
                       const float* ax,
                       float ay,
                       std::uint32_t size,
                       float* dst) {
        const std::uint32_t done = sampleBlocks<AHEAD>(upper, lower, ay, size, dst);
        Avx2::sample<Scattered<CHANNELS>, false>(upper, lower, step, ix + done, ax + done, ay,
                                                 size - done, dst + done);
    }
};

template <std::size_t CHANNELS, template <std::size_t> class Ratio>
constexpr FloatForm PERIODIC_FORM = {{FORM<Scattered<CHANNELS>>.rows.interpolate, blendFused<float>,
                                      Periods<CHANNELS, Ratio>::template sample<false>},
                                     Periods<CHANNELS, Ratio>::template sample<true>,
                                     FORM<Scattered<CHANNELS>>.sampleTwo};

const FloatForm* periodicForm(std::uint32_t channels,
                              const std::int32_t* ix,
                              const float* ax,
                              std::uint32_t size) {
    struct Entry {
        std::uint32_t channels;
        bool (*fits)(const std::int32_t* ix, const float* ax, std::uint32_t size);
        const FloatForm* form;
    };
    constexpr Entry ENTRIES[] = {
        {1, Periods<1, TwoThirds>::fits, &PERIODIC_FORM<1, TwoThirds>},
        {3, Periods<3, TwoThirds>::fits, &PERIODIC_FORM<3, TwoThirds>},
        {1, Periods<1, Third>::fits, &PERIODIC_FORM<1, Third>},
        {3, Periods<3, Third>::fits, &PERIODIC_FORM<3, Third>},
    };
    for (const Entry& entry : ENTRIES) {
        if (entry.channels == channels && entry.fits(ix, ax, size)) {
            return entry.form;
        }
    }
    return nullptr;
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
    if (const FloatForm* const form = periodicForm(channels, ix, ax, size)) {
        return *form;
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
