// Image transforms: pixels change their places and nothing else. Tiles are transposed and blocks
// reversed within the lanes of vectors; which rows or columns go to which lane does the rest.

#include "simd/simd_transform.h"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_vectors.h"
#include "simd/simd_kernels.h"
#include "simd/simd_transform_tiles.h"

namespace Simd {
namespace Avx2 {
namespace {

inline __m256i loadLanes(const std::uint8_t* low, const std::uint8_t* high) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(loadLane(low)), loadLane(high), 1);
}

// ---- Tiles -------------------------------------------------------------------------------------

struct Zipped {
    __m256i low;
    __m256i high;
};

/// Elements of two vectors in turn, lane by lane.
template <std::size_t ELEMENT_SIZE>
inline Zipped zip(__m256i a, __m256i b) {
    if constexpr (ELEMENT_SIZE == 1) {
        return {_mm256_unpacklo_epi8(a, b), _mm256_unpackhi_epi8(a, b)};
    } else if constexpr (ELEMENT_SIZE == 2) {
        return {_mm256_unpacklo_epi16(a, b), _mm256_unpackhi_epi16(a, b)};
    } else {
        return {_mm256_unpacklo_epi32(a, b), _mm256_unpackhi_epi32(a, b)};
    }
}

inline void copyLine(const std::uint8_t* src, std::uint8_t* dst) {
    const __m256i front = load(src);
    const __m256i back = load(src + VECTOR);
    store(dst, front);
    store(dst + VECTOR, back);
}

/// The upper half of the rows is in the low lanes, the lower half in the high lanes, so that a
/// vector becomes a column.
template <std::size_t PIXEL_SIZE>
struct Tile {
    static constexpr std::uint32_t COLUMNS = LANE / PIXEL_SIZE;
    static constexpr std::uint32_t ROWS = 2 * COLUMNS;
    static constexpr bool IS_PREFETCHED = true;
    // The way through the stack costs pixels of two and four bytes as much as it gains.
    static constexpr std::uint32_t STAGED_ROWS = PIXEL_SIZE == 1 ? 128 : 0;

    static inline void move(Walk<PIXEL_SIZE> walk) {
        const std::uint8_t* lower = walk.src + std::ptrdiff_t(ROWS / 2) * walk.srcStep;
        __m256i v[ROWS / 2];
#pragma GCC unroll 16
        for (__m256i& rows : v) {
            rows = loadLanes(walk.src, lower);
            walk.src += walk.srcStep;
            lower += walk.srcStep;
        }
        transpose(v, zip<PIXEL_SIZE>);
#pragma GCC unroll 16
        for (const __m256i column : v) {
            store(walk.dst, column);
            walk.dst += walk.columnStep;
        }
    }

    static inline void copyLine(const std::uint8_t* src, std::uint8_t* dst) {
        Avx2::copyLine(src, dst);
    }
};

/// As pixels of four bytes, columns 0 to 3 in the low lanes and 4 to 7 in the high lanes; the upper
/// rows and the lower ones apart.
template <>
struct Tile<3> {
    static constexpr std::uint32_t COLUMNS = 8;
    static constexpr std::uint32_t ROWS = 8;
    static constexpr bool IS_PREFETCHED = true;
    static constexpr std::uint32_t STAGED_ROWS = 64;

    static inline void move(Walk<3> walk) {
        __m256i upper[4];
        __m256i lower[4];
        loadRows(walk.src, walk.srcStep, upper);
        loadRows(walk.src + 4 * walk.srcStep, walk.srcStep, lower);
        transpose(upper, zip<4>);
        transpose(lower, zip<4>);
#pragma GCC unroll 4
        for (std::size_t x = 0; x < 4; ++x) {
            storeColumns(upper[x], lower[x], walk.dst, walk.dst + 4 * walk.columnStep);
            walk.dst += walk.columnStep;
        }
    }

    static inline void copyLine(const std::uint8_t* src, std::uint8_t* dst) {
        Avx2::copyLine(src, dst);
    }

private:
    static constexpr std::uint8_t ZERO = Shuffle::ZERO;

    static inline void loadRows(const std::uint8_t* src, std::ptrdiff_t step, __m256i (&v)[4]) {
        // The high lane ends with the last column, and begins within the low one.
        static constexpr std::size_t HIGH = std::size_t{8} * 3 - LANE;
        static constexpr Shuffle WIDEN[2] = {
            {{0, 1, 2, ZERO, 3, 4, 5, ZERO, 6, 7, 8, ZERO, 9, 10, 11, ZERO}},
            {{4, 5, 6, ZERO, 7, 8, 9, ZERO, 10, 11, 12, ZERO, 13, 14, 15, ZERO}}};
#pragma GCC unroll 4
        for (__m256i& row : v) {
            row = _mm256_shuffle_epi8(loadLanes(src, src + HIGH), load(WIDEN));
            src += step;
        }
    }

    /// A column is 24 bytes: 12 of the upper rows, then 4 and 8 of the lower ones.
    static inline void storeColumns(__m256i upper,
                                    __m256i lower,
                                    std::uint8_t* dstLow,
                                    std::uint8_t* dstHigh) {
        static constexpr Shuffle UPPER = {
            {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, ZERO, ZERO, ZERO, ZERO}};
        static constexpr Shuffle LOWER = {
            {5, 6, 8, 9, 10, 12, 13, 14, ZERO, ZERO, ZERO, ZERO, 0, 1, 2, 4}};
        const __m256i back = shuffle(lower, LOWER);
        const __m256i front = _mm256_blend_epi32(shuffle(upper, UPPER), back, 0b10001000);
        storeLane(dstLow, lowLane(front));
        storeHalfLane(dstLow + LANE, lowLane(back));
        storeLane(dstHigh, highLane(front));
        storeHalfLane(dstHigh + LANE, highLane(back));
    }

    static inline void storeHalfLane(void* dst, __m128i value) {
        _mm_storel_epi64(static_cast<__m128i_u*>(dst), value);
    }
};

// ---- Rows --------------------------------------------------------------------------------------

template <std::size_t PIXEL_SIZE>
constexpr Shuffle shuffleOfReversal() {
    Shuffle shuffle = {};
    for (std::size_t i = 0; i < LANE; ++i) {
        const std::size_t byte = i % PIXEL_SIZE;
        shuffle.from[i] = std::uint8_t(LANE - PIXEL_SIZE - (i - byte) + byte);
    }
    return shuffle;
}

constexpr Shuffle3 shuffleOfPixelReversal() {
    Shuffle3 shuffle = {};
    for (int i = 0; i < int(PIXELS_BYTES); ++i) {
        const int from = int(PIXELS_BYTES) - 3 - (i - i % 3) + i % 3;
        for (int part = 0; part < 3; ++part) {
            const int place = from - int(LANE) * part;
            const bool here = place >= 0 && place < int(LANE);
            shuffle.from[i / int(LANE)][part].from[i % int(LANE)] =
                here ? std::uint8_t(place) : Shuffle::ZERO;
        }
    }
    return shuffle;
}

// The halves change lanes as they are loaded.

template <std::size_t PIXEL_SIZE>
struct Block {
    static constexpr std::uint32_t PIXELS = A / PIXEL_SIZE;

    static inline void reverse(const std::uint8_t* __restrict src, std::uint8_t* __restrict dst) {
        static constexpr Shuffle REVERSAL = shuffleOfReversal<PIXEL_SIZE>();
        store(dst, shuffle(loadLanes(src + LANE, src), REVERSAL));
    }
};

template <>
struct Block<3> {
    static constexpr std::uint32_t PIXELS = A;

    static inline void reverse(const std::uint8_t* __restrict src, std::uint8_t* __restrict dst) {
        static constexpr Shuffle3 REVERSAL = shuffleOfPixelReversal();
        const std::uint8_t* const half = src + PIXELS_BYTES;
        const __m256i parts[3] = {loadLanes(half, src), loadLanes(half + LANE, src + LANE),
                                  loadLanes(half + 2 * LANE, src + 2 * LANE)};
        storePixels(dst, {{gather(parts, REVERSAL.from[0]), gather(parts, REVERSAL.from[1]),
                           gather(parts, REVERSAL.from[2])}});
    }
};

}  // namespace

void ImageTransform(const std::uint8_t* src,
                    std::uint32_t srcStride,
                    std::uint32_t width,
                    std::uint32_t height,
                    std::uint32_t pixelSize,
                    std::uint32_t mode,
                    std::uint8_t* dst,
                    std::uint32_t dstStride) {
    static const TransformTable table = vectorTransforms<Tile, Block>();
    runTransform(table, src, srcStride, width, height, pixelSize, mode, dst, dstStride);
}

}  // namespace Avx2
}  // namespace Simd
