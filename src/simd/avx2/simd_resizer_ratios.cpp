// Linear interpolation of bytes by ratios whose taps repeat, both directions at once.
//
// Weights are halves or quarters of 16 here. With the common factors left out a pixel is
//
//     half      (p00 + p01 + p10 + p11 + 2) >> 2
//     double    (9 p00 + 3 p01 + 3 p10 + p11 + 8) >> 4,  or turned
//
// so that 12 bits hold the sums. A rounding product shifts them. Means of 3 x 3 are those of area
// scaling.

#include "simd/simd_resizer_ratios.h"

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_area_sums.h"
#include "simd/avx2/simd_vectors.h"
#include "simd/simd_blocks.h"

namespace Simd {
namespace Avx2 {
namespace {

constexpr std::size_t SUMS = LANE / 2;  // of 16 bits, in a lane

// ---- Half ---------------------------------------------------------------------------------------

/// Brings bytes of neighbouring pixels together, as far as whole pairs of pixels reach.
/// @param shift of the source within its lane
constexpr Shuffle shuffleOfHalf(std::size_t channels, std::size_t shift = 0) {
    Shuffle shuffle = {};
    for (std::size_t i = 0; i < SUMS; ++i) {
        const bool whole = i < SUMS / channels * channels;
        const std::size_t left = i / channels * 2 * channels + i % channels + shift;
        shuffle.from[2 * i] = whole ? std::uint8_t(left) : Shuffle::ZERO;
        shuffle.from[2 * i + 1] = whole ? std::uint8_t(left + channels) : Shuffle::ZERO;
    }
    return shuffle;
}

/// Means of 2 x 2 bytes that stand side by side.
inline __m256i means(__m256i upper, __m256i lower) {
    const __m256i ones = _mm256_set1_epi8(1);
    return roundedShift<2>(
        _mm256_add_epi16(_mm256_maddubs_epi16(upper, ones), _mm256_maddubs_epi16(lower, ones)));
}

template <std::size_t CHANNELS>
struct HalfBlock {
    static constexpr std::size_t BYTES = VECTOR;

    static __m256i sideBySide(__m256i bytes) {
        static constexpr Shuffle ORDER = shuffleOfHalf(CHANNELS);
        return CHANNELS == 1 ? bytes : shuffle(bytes, ORDER);
    }

    static __m256i half(const std::uint8_t* upper, const std::uint8_t* lower) {
        return means(sideBySide(load(upper)), sideBySide(load(lower)));
    }

    void operator()(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* dst) const {
        const __m256i lanes =
            _mm256_packus_epi16(half(upper, lower), half(upper + VECTOR, lower + VECTOR));
        store(dst, _mm256_permute4x64_epi64(lanes, _MM_SHUFFLE(3, 1, 2, 0)));
    }
};

/// Two destination pixels to a lane, eight in all. The last lane's source ends with the row.
template <>
struct HalfBlock<3> {
    static constexpr std::size_t BYTES = 24;

    static __m256i half(const std::uint8_t* upper,
                        const std::uint8_t* lower,
                        std::size_t distance,
                        __m256i order) {
        return means(_mm256_shuffle_epi8(loadLanes(upper, distance), order),
                     _mm256_shuffle_epi8(loadLanes(lower, distance), order));
    }

    void operator()(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* dst) const {
        constexpr std::size_t PAIR = 12;  // bytes of the source of two pixels
        constexpr std::size_t SHIFT = 4;
        static constexpr Shuffle FIRST = shuffleOfHalf(3);
        static constexpr Shuffle LAST = shuffleOfHalf(3, SHIFT);
        static constexpr Shuffle CLOSE = {{0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, Shuffle::ZERO,
                                           Shuffle::ZERO, Shuffle::ZERO, Shuffle::ZERO}};
        const __m128i first = loadLane(FIRST.from);
        const __m256i even = half(upper, lower, 2 * PAIR, lanesOf(first, first));
        const __m256i odd =
            half(upper + PAIR, lower + PAIR, 2 * PAIR - SHIFT, lanesOf(first, loadLane(LAST.from)));
        const __m256i bytes = shuffle(_mm256_packus_epi16(even, odd), CLOSE);
        const __m256i closed =
            _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
        storeLane(dst, lowLane(closed));
        _mm_storeu_si64(dst + LANE, highLane(closed));
    }
};

template <std::size_t CHANNELS>
[[gnu::flatten]] void halve(const std::uint8_t* src,
                            std::ptrdiff_t srcStep,
                            std::uint8_t* dst,
                            std::ptrdiff_t,
                            std::uint32_t width) {
    using Block = HalfBlock<CHANNELS>;
    using Bytes = Source<2 * Block::BYTES>;
    processRow<Block::BYTES / CHANNELS>(width, Block(), Bytes{src, 0u}, Bytes{src + srcStep, 0u},
                                        Target<Block::BYTES>{dst, 0u});
}

// ---- Double -------------------------------------------------------------------------------------
//
// Sums along a row, s = 12 near + 4 far, are blended as
//
//     (12 s + 4 t + 128) >> 8  =  (s + (s + t) / 2 + 16) >> 5
//
// where all sums are even. The mean of two rows serves two destination rows, and a row's sums four.

/// Where a block stands in its row. At an edge the pixel itself stands in for its neighbour.
enum class Place { First, Inner, Last };

/// The way of source bytes into a block of destination pixels: for each byte the nearer sample and
/// the farther one. Places in the source count from the block's first pixel on.
template <std::size_t CHANNELS, Place PLACE>
struct DoubleOrder {
    /// Whole lines of memory, where that is a whole number of pixels.
    static constexpr int VECTORS = CHANNELS == 3 ? 3 : 2;
    static constexpr int BYTES = VECTORS * int(VECTOR);  // of a destination row
    static constexpr int PIXEL = int(CHANNELS);

    struct Part {
        std::ptrdiff_t start;  // of the bytes in a row that a lane loads
        std::size_t distance;  // to those of the other lane
        std::uint8_t low[VECTOR];
        std::uint8_t high[VECTOR];
    };

    Part part[VECTORS] = {};

    static constexpr int FIRST = PLACE == Place::First ? 0 : -1;  // pixel that the source has
    static constexpr int LAST = BYTES / PIXEL / 2 - (PLACE == Place::Last ? 1 : 0);

    static constexpr int placeOf(int pixel, int channel) {
        const int there = pixel < FIRST ? FIRST : pixel > LAST ? LAST : pixel;
        return there * PIXEL + channel;
    }

    static constexpr int startOf(int lane) {
        const int first = placeOf(lane * int(LANE) / PIXEL / 2 - 1, 0);
        const int last = (LAST + 1) * PIXEL - int(LANE);
        return first < last ? first : last;
    }

    constexpr DoubleOrder() {
        for (int byte = 0; byte < BYTES; ++byte) {
            const int pixel = byte / PIXEL / 2;
            const int neighbour = byte / PIXEL % 2 == 0 ? pixel - 1 : pixel + 1;
            const int lane = byte / int(LANE);
            Part& to = part[lane / 2];
            std::uint8_t* const pair = (byte % int(LANE) < int(SUMS) ? to.low : to.high) +
                                       lane % 2 * int(LANE) + byte % int(SUMS) * 2;
            pair[0] = std::uint8_t(placeOf(pixel, byte % PIXEL) - startOf(lane));
            pair[1] = std::uint8_t(placeOf(neighbour, byte % PIXEL) - startOf(lane));
        }
        for (int i = 0; i < VECTORS; ++i) {
            part[i].start = startOf(2 * i);
            part[i].distance = std::size_t(startOf(2 * i + 1) - startOf(2 * i));
        }
    }
};

/// Those of 32 destination bytes, in the order in which a pack takes them.
struct DoubledSums {
    __m256i low;
    __m256i high;
};

template <class Part>
inline DoubledSums sumsOf(const std::uint8_t* row, const Part& part) {
    const __m256i weights = bytePairs(12, 4);
    const __m256i bytes = loadLanes(row + part.start, part.distance);
    return {_mm256_maddubs_epi16(_mm256_shuffle_epi8(bytes, load(part.low)), weights),
            _mm256_maddubs_epi16(_mm256_shuffle_epi8(bytes, load(part.high)), weights)};
}

inline __m256i blendDoubled(const DoubledSums& nearer, const DoubledSums& means) {
    return _mm256_packus_epi16(roundedShift<5>(_mm256_add_epi16(nearer.low, means.low)),
                               roundedShift<5>(_mm256_add_epi16(nearer.high, means.high)));
}

/// A block of each of the rows.
template <std::size_t CHANNELS, Place PLACE>
inline void doubleBlock(const std::uint8_t* src,
                        std::ptrdiff_t srcStep,
                        std::uint8_t* dst,
                        std::ptrdiff_t dstStep,
                        std::uint32_t periods) {
    static constexpr DoubleOrder<CHANNELS, PLACE> ORDER;
    constexpr int VECTORS = ORDER.VECTORS;
    DoubledSums upper[VECTORS];
    for (int i = 0; i < VECTORS; ++i) {
        upper[i] = sumsOf(src, ORDER.part[i]);
    }
    for (; periods != 0; --periods, dst += 2 * dstStep) {
        src += srcStep;
        // Stores alternate between rows as seldom as lines of memory allow: it slows them down.
        __m256i second[VECTORS];
        for (int i = 0; i < VECTORS; ++i) {
            const DoubledSums lower = sumsOf(src, ORDER.part[i]);
            const DoubledSums means = {_mm256_avg_epu16(upper[i].low, lower.low),
                                       _mm256_avg_epu16(upper[i].high, lower.high)};
            store(dst + i * std::ptrdiff_t{VECTOR}, blendDoubled(upper[i], means));
            second[i] = blendDoubled(lower, means);
            upper[i] = lower;
        }
        for (int i = 0; i < VECTORS; ++i) {
            store(dst + dstStep + i * std::ptrdiff_t{VECTOR}, second[i]);
        }
    }
}

/// So many that the rows of a band stay in the first cache from block to block.
constexpr std::uint32_t BAND_PERIODS = 8;

/// @param width more than a block
template <std::size_t CHANNELS>
[[gnu::flatten]] void doubleRows(const std::uint8_t* src,
                                 std::ptrdiff_t srcStep,
                                 std::uint8_t* dst,
                                 std::ptrdiff_t dstStep,
                                 std::uint32_t width,
                                 std::uint32_t periods) {
    constexpr int BYTES = DoubleOrder<CHANNELS, Place::Inner>::BYTES;
    const std::ptrdiff_t last = std::ptrdiff_t{width} * std::ptrdiff_t(CHANNELS) - BYTES;
    while (periods != 0) {
        const std::uint32_t count = periods < BAND_PERIODS ? periods : BAND_PERIODS;
        doubleBlock<CHANNELS, Place::First>(src, srcStep, dst, dstStep, count);
        for (std::ptrdiff_t x = BYTES; x < last; x += BYTES) {
            doubleBlock<CHANNELS, Place::Inner>(src + x / 2, srcStep, dst + x, dstStep, count);
        }
        doubleBlock<CHANNELS, Place::Last>(src + last / 2, srcStep, dst + last, dstStep, count);
        src += std::ptrdiff_t(count) * srcStep;
        dst += std::ptrdiff_t{2} * count * dstStep;
        periods -= count;
    }
}

// ---- Means of thirds ----------------------------------------------------------------------------

/// The way of source bytes into vectors of 8 sums, each of which takes four bytes: three neighbours
/// and a zero.
template <std::size_t CHANNELS>
struct ThirdOrder {
    static constexpr std::size_t VECTORS = CHANNELS == 3 ? 3 : 1;
    static constexpr std::size_t BYTES = VECTORS * SUMS;  // of a destination row
    static constexpr std::size_t SOURCE = 3 * BYTES;

    struct Part {
        std::size_t start;     // of the bytes in a row that a lane loads
        std::size_t distance;  // to those of the other lane
        std::uint8_t order[VECTOR];
    };

    Part part[VECTORS] = {};

    /// Left pixel of a destination byte, as a place in the source.
    static constexpr std::size_t leftOf(std::size_t byte) {
        return byte / CHANNELS * 3 * CHANNELS + byte % CHANNELS;
    }

    static constexpr std::size_t startOf(std::size_t byte) {
        return leftOf(byte) < SOURCE - LANE ? leftOf(byte) : SOURCE - LANE;
    }

    constexpr ThirdOrder() {
        for (std::size_t byte = 0; byte < BYTES; ++byte) {
            const std::size_t lane = byte / 4 * 4;
            const std::size_t left = leftOf(byte) - startOf(lane);
            std::uint8_t* const order = part[byte / SUMS].order + byte % SUMS * 4;
            order[0] = std::uint8_t(left);
            order[1] = std::uint8_t(left + CHANNELS);
            order[2] = std::uint8_t(left + 2 * CHANNELS);
            order[3] = Shuffle::ZERO;
        }
        for (std::size_t i = 0; i < VECTORS; ++i) {
            part[i].start = startOf(i * SUMS);
            part[i].distance = startOf(i * SUMS + 4) - part[i].start;
        }
    }
};

template <std::size_t CHANNELS>
struct MeanBlock {
    using Order = ThirdOrder<CHANNELS>;

    __m256i weight;  // of a cell

    void operator()(const std::uint8_t* first,
                    const std::uint8_t* second,
                    const std::uint8_t* third,
                    std::uint8_t* dst) const {
        static constexpr Order ORDER;
        const __m256i ones = _mm256_set1_epi8(1);
        for (std::size_t i = 0; i < Order::VECTORS; ++i) {
            const typename Order::Part& part = ORDER.part[i];
            const __m256i order = load(part.order);
            const auto pairs = [&](const std::uint8_t* row) {
                const __m256i bytes = loadLanes(row + part.start, part.distance);
                return _mm256_maddubs_epi16(_mm256_shuffle_epi8(bytes, order), ones);
            };
            const __m256i sums =
                _mm256_add_epi16(_mm256_add_epi16(pairs(first), pairs(second)), pairs(third));
            storeArea(_mm256_mullo_epi32(_mm256_madd_epi16(sums, _mm256_set1_epi16(1)), weight),
                      dst + i * SUMS);
        }
    }
};

template <std::size_t CHANNELS>
[[gnu::flatten]] void averageThirds(const std::uint8_t* src,
                                    std::ptrdiff_t srcStep,
                                    std::uint8_t* dst,
                                    std::uint32_t width,
                                    std::uint16_t rowWeight,
                                    std::uint16_t columnWeight) {
    using Order = ThirdOrder<CHANNELS>;
    using Bytes = Source<Order::SOURCE>;
    const std::uint32_t weight = std::uint32_t(rowWeight) * columnWeight;
    processRow<Order::BYTES / CHANNELS>(
        width, MeanBlock<CHANNELS>{_mm256_set1_epi32(std::int32_t(weight))}, Bytes{src, 0u},
        Bytes{src + srcStep, 0u}, Bytes{src + 2 * srcStep, 0u}, Target<Order::BYTES>{dst, 0u});
}

template <std::size_t CHANNELS>
constexpr RatioForm::Function* HALVE = scalePeriods<HALF, halve<CHANNELS>>;

}  // namespace

// The other ratios are as quick by look-ups.
const RatioForm RatioForms[RatioCount] = {
    {HALF, 32, {HALVE<1>, HALVE<2>, HALVE<3>, HALVE<4>}},
    {THIRD, 0, {}},
    {TWO_THIRDS, 0, {}},
    {DOUBLE, 66, {doubleRows<1>, doubleRows<2>, doubleRows<3>, doubleRows<4>}},
};

MeanOfThirds* const MeansOfThirds[4] = {averageThirds<1>, averageThirds<2>, averageThirds<3>,
                                        averageThirds<4>};

}  // namespace Avx2
}  // namespace Simd
