// Words of AVX2 that its kernels share.
//
// Shuffles, packs and unpacks work on the two 128-bit lanes of a vector apart. Blocks are therefore
// loaded a half to each lane, as far apart as their halves lie in memory: what is computed in a
// lane then needs no move to the other one, and packs come out in the order of memory.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace Simd {
namespace Avx2 {
// Compiled into each kernel apart: nothing that is built for AVX2 may serve other code.
namespace {

constexpr std::size_t LANE = 16;          ///< bytes
constexpr std::size_t VECTOR = 2 * LANE;  ///< bytes

// ---- Memory, without any alignment --------------------------------------------------------------

inline __m256i load(const void* src) {
    return _mm256_loadu_si256(static_cast<const __m256i_u*>(src));
}

inline __m128i loadLane(const void* src) {
    return _mm_loadu_si128(static_cast<const __m128i_u*>(src));
}

inline __m256i lanesOf(__m128i low, __m128i high) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

/// A lane from @p src and one from @p distance bytes on.
inline __m256i loadLanes(const std::uint8_t* src, std::size_t distance) {
    return lanesOf(loadLane(src), loadLane(src + distance));
}

inline void store(void* dst, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i_u*>(dst), value);
}

inline void storeLane(void* dst, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i_u*>(dst), value);
}

inline __m128i lowLane(__m256i value) {
    return _mm256_castsi256_si128(value);
}

inline __m128i highLane(__m256i value) {
    return _mm256_extracti128_si256(value, 1);
}

/// Keeps the compiler from moving stores from one side to the other.
inline void scheduleInOrder() {
    asm volatile("");
}

// ---- Lanes --------------------------------------------------------------------------------------

inline __m256i lowLanes(__m256i a, __m256i b) {
    return _mm256_permute2x128_si256(a, b, 0x20);
}

inline __m256i highLanes(__m256i a, __m256i b) {
    return _mm256_permute2x128_si256(a, b, 0x31);
}

/// The low lane of @p a, the high lane of @p b.
inline __m256i lowThenHigh(__m256i a, __m256i b) {
    return _mm256_blend_epi32(a, b, 0xF0);
}

inline __m256i highThenLow(__m256i a, __m256i b) {
    return _mm256_permute2x128_si256(a, b, 0x21);
}

// ---- Bytes and 16-bit lanes ---------------------------------------------------------------------

/// For each byte of a lane, which byte of the source's lane goes there.
struct Shuffle {
    static constexpr std::uint8_t ZERO = 0x80;  ///< goes where no byte goes

    std::uint8_t from[LANE];
};

inline __m256i shuffle(__m256i bytes, const Shuffle& order) {
    return _mm256_shuffle_epi8(bytes, _mm256_broadcastsi128_si256(loadLane(order.from)));
}

/// In each 16-bit lane the bytes @p even and @p odd, signed, for `_mm256_maddubs_epi16`.
inline __m256i bytePairs(int even, int odd) {
    return _mm256_set1_epi16(
        std::int16_t(std::uint16_t(even & 255) | std::uint16_t((odd & 255) << 8)));
}

/// Signed 16-bit lanes, (value + half) >> SHIFT.
template <int SHIFT>
inline __m256i roundedShift(__m256i value) {
    return _mm256_mulhrs_epi16(value, _mm256_set1_epi16(1 << (15 - SHIFT)));
}

// ---- Pixels of two bytes ------------------------------------------------------------------------

/// 32 pairs, the first and the second bytes apart.
struct Pairs {
    __m256i first;
    __m256i second;
};

inline Pairs loadPairs(const std::uint8_t* src) {
    const __m256i low = loadLanes(src, 2 * LANE);
    const __m256i high = loadLanes(src + LANE, 2 * LANE);
    const __m256i byte = _mm256_set1_epi16(255);
    return {_mm256_packus_epi16(_mm256_and_si256(low, byte), _mm256_and_si256(high, byte)),
            _mm256_packus_epi16(_mm256_srli_epi16(low, 8), _mm256_srli_epi16(high, 8))};
}

inline void storePairs(std::uint8_t* dst, Pairs pairs) {
    const __m256i low = _mm256_unpacklo_epi8(pairs.first, pairs.second);
    const __m256i high = _mm256_unpackhi_epi8(pairs.first, pairs.second);
    store(dst, lowLanes(low, high));
    store(dst + 2 * LANE, highLanes(low, high));
}

/// 16 pairs.
inline __m256i joinPairs(__m128i first, __m128i second) {
    return lanesOf(_mm_unpacklo_epi8(first, second), _mm_unpackhi_epi8(first, second));
}

// ---- Pixels of three bytes: 16 of them are three lanes ------------------------------------------

constexpr std::size_t PIXELS_BYTES = 3 * LANE;

/// 32 pixels as they lie in memory: the 48 bytes of the first 16 are the low lanes of the three
/// vectors, those of the last 16 the high lanes.
struct PackedPixels {
    __m256i part[3];
};

/// 32 pixels, channel by channel.
struct Channels {
    __m256i channel[3];
};

inline PackedPixels loadPixels(const std::uint8_t* src) {
    const __m256i first = load(src);
    const __m256i second = load(src + 2 * LANE);
    const __m256i third = load(src + 4 * LANE);
    return {{lowThenHigh(first, second), highThenLow(first, third), lowThenHigh(second, third)}};
}

inline void storePixels(std::uint8_t* dst, PackedPixels pixels) {
    store(dst, lowLanes(pixels.part[0], pixels.part[1]));
    store(dst + 2 * LANE, lowThenHigh(pixels.part[2], pixels.part[0]));
    store(dst + 4 * LANE, highLanes(pixels.part[1], pixels.part[2]));
}

/// The same for loops that wait for arithmetic: lanes are not exchanged. With twice the stores,
/// loops that wait for memory are slower.
inline void storePixelsByLanes(std::uint8_t* dst, PackedPixels pixels) {
    for (std::size_t i = 0; i < 3; ++i) {
        storeLane(dst + i * LANE, lowLane(pixels.part[i]));
        storeLane(dst + PIXELS_BYTES + i * LANE, highLane(pixels.part[i]));
    }
}

/// `from[i][j]` is the way of bytes from the j-th source vector to the i-th target vector.
struct Shuffle3 {
    Shuffle from[3][3];
};

inline __m256i gather(const __m256i (&parts)[3], const Shuffle (&from)[3]) {
    return _mm256_or_si256(_mm256_or_si256(shuffle(parts[0], from[0]), shuffle(parts[1], from[1])),
                           shuffle(parts[2], from[2]));
}

/// Where a channel of pixel @p x of 16 stands in the lanes of three vectors.
using SamplePlace = int(int channel, int x);

/// Channel by channel.
constexpr int inOrder(int channel, int x) {
    return int(LANE) * channel + x;
}

/// Likewise, as `_mm256_packus_epi16(even columns, odd columns)` leaves them.
constexpr int evenThenOdd(int channel, int x) {
    return int(LANE) * channel + x / 2 + x % 2 * 8;
}

/// The first two channels of the left 8 pixels, then of the right ones, then the third channel: so
/// two of the parts are joined from two vectors.
constexpr int leftThenRight(int channel, int x) {
    return channel == 2 ? 2 * int(LANE) + x : int(LANE) * (x / 8) + 8 * channel + x % 8;
}

/// Where byte @p byte of three lanes stands in the lane @p part, if it does.
constexpr std::uint8_t placeIn(int part, int byte) {
    const int place = byte - int(LANE) * part;
    return place >= 0 && place < int(LANE) ? std::uint8_t(place) : Shuffle::ZERO;
}

constexpr Shuffle3 shuffleOfSplit() {
    Shuffle3 shuffle = {};
    for (int channel = 0; channel < 3; ++channel) {
        for (int x = 0; x < int(LANE); ++x) {
            for (int part = 0; part < 3; ++part) {
                shuffle.from[channel][part].from[x] = placeIn(part, 3 * x + channel);
            }
        }
    }
    return shuffle;
}

constexpr Shuffle3 shuffleOfJoin(SamplePlace* placeOf) {
    Shuffle3 shuffle = {};
    for (int part = 0; part < 3; ++part) {
        for (int i = 0; i < int(LANE); ++i) {
            const int byte = int(LANE) * part + i;
            for (int from = 0; from < 3; ++from) {
                shuffle.from[part][from].from[i] = placeIn(from, placeOf(byte % 3, byte / 3));
            }
        }
    }
    return shuffle;
}

constexpr bool isEmpty(const Shuffle& shuffle) {
    // NOLINTNEXTLINE(readability-use-anyofallof): that is no constant expression
    for (const std::uint8_t from : shuffle.from) {
        if (from != Shuffle::ZERO) {
            return false;
        }
    }
    return true;
}

inline Channels split(const PackedPixels& pixels) {
    static constexpr Shuffle3 SPLIT = shuffleOfSplit();
    return {{gather(pixels.part, SPLIT.from[0]), gather(pixels.part, SPLIT.from[1]),
             gather(pixels.part, SPLIT.from[2])}};
}

template <SamplePlace PLACE>
constexpr Shuffle3 JOIN = shuffleOfJoin(PLACE);

/// As `gather`, but nothing is done with a vector that has no byte here.
template <SamplePlace PLACE, int PART>
inline __m256i joinPart(const __m256i (&vectors)[3]) {
    constexpr const Shuffle(&FROM)[3] = JOIN<PLACE>.from[PART];
    __m256i bytes = shuffle(vectors[2], FROM[2]);
    if constexpr (!isEmpty(FROM[1])) {
        bytes = _mm256_or_si256(bytes, shuffle(vectors[1], FROM[1]));
    }
    if constexpr (!isEmpty(FROM[0])) {
        bytes = _mm256_or_si256(bytes, shuffle(vectors[0], FROM[0]));
    }
    return bytes;
}

/// @tparam PLACE  where in @p all the channels are
template <SamplePlace PLACE = inOrder>
inline PackedPixels join(const Channels& all) {
    return {{joinPart<PLACE, 0>(all.channel), joinPart<PLACE, 1>(all.channel),
             joinPart<PLACE, 2>(all.channel)}};
}

}  // namespace
}  // namespace Avx2
}  // namespace Simd
