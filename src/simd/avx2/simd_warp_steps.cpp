// Blocks of the affine warp in vectors of eight columns: first where the samples of all are, then
// their weighted sums. Single loads fetch the samples, since gathering instructions are very slow
// on many processors. Where the last columns of a block do not fill a vector, positions behind them
// are computed, too, but not used.

#include "simd/simd_warp_steps.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/avx2/simd_vectors.h"
#include "simd/avx2/simd_warp_vectors.h"

namespace Simd {
namespace Avx2 {
namespace {

constexpr std::uint32_t COLUMNS = 8;  ///< of a vector
static_assert(COLUMNS <= WARP_LEAST, "a vector needs as many columns");

/// Bytes from the first pixel of the source.
template <int CHANNELS>
inline __m256i offsetOf(__m256i ix, __m256i iy, __m256i stride) {
    const __m256i pixel = CHANNELS == 3 ? _mm256_add_epi32(ix, _mm256_slli_epi32(ix, 1))
                                        : _mm256_slli_epi32(ix, CHANNELS / 2);
    return _mm256_add_epi32(_mm256_mullo_epi32(iy, stride), pixel);
}

/// Positions of vector after vector.
class Positions {
public:
    Positions(const WarpLine& line, std::int32_t column)
        : m_x(line.x),
          m_y(line.y),
          m_columns(_mm256_add_epi32(_mm256_set1_epi32(column),
                                     _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7))) {}

    void take(__m256& x, __m256& y) {
        const __m256 columns = _mm256_cvtepi32_ps(m_columns);
        x = m_x.at(columns);
        y = m_y.at(columns);
        m_columns = _mm256_add_epi32(m_columns, _mm256_set1_epi32(COLUMNS));
    }

private:
    Axis m_x;
    Axis m_y;
    __m256i m_columns;
};

/// Has what later rows read brought near. A turned row leaves each line of memory after a few
/// pixels, so that the processor does not see its way. No address is wrong for a prefetch.
template <int CHANNELS>
inline void prefetch(const WarpLine& line, const std::int32_t* offset, std::uint32_t size) {
    constexpr std::uint32_t STEP = CHANNELS == 1 ? 16 : 8;
    const std::uint8_t* const ahead = line.src + line.ahead;
    for (std::uint32_t i = 0; i < size; i += STEP) {
        __builtin_prefetch(ahead + offset[i]);
    }
}

template <std::size_t BYTES>
inline void copy(const std::uint8_t* src, std::uint8_t* dst) {
    std::memcpy(dst, src, BYTES);
}

// ---- Nearest ------------------------------------------------------------------------------------

template <int CHANNELS>
void warpNearest(const WarpLine& line,
                 std::int32_t column,
                 std::uint32_t size,
                 std::uint8_t* __restrict dst) {
    // Pixels of three bytes are copied with a fourth, which the next one replaces.
    constexpr std::size_t BYTES = CHANNELS == 3 ? 4 : CHANNELS;
    const __m256i stride = _mm256_set1_epi32(line.stride);
    const __m256 half = _mm256_set1_ps(0.5f);
    Positions positions(line, column);
    std::int32_t offset[WARP_BLOCK];
    for (std::uint32_t i = 0; i < size; i += COLUMNS) {
        __m256 x;
        __m256 y;
        positions.take(x, y);
        store(offset + i, offsetOf<CHANNELS>(_mm256_cvttps_epi32(_mm256_add_ps(x, half)),
                                             _mm256_cvttps_epi32(_mm256_add_ps(y, half)), stride));
    }
    prefetch<CHANNELS>(line, offset, size);
    const std::uint8_t* __restrict src = line.src;
    const std::size_t last = size - 1;
#pragma GCC unroll 8
    for (std::size_t i = 0; i < last; ++i) {
        copy<BYTES>(src + offset[i], dst + i * CHANNELS);
    }
    copy<CHANNELS>(src + offset[last], dst + last * CHANNELS);
}

// ---- Bilinear -----------------------------------------------------------------------------------

struct Block {
    std::int32_t offset[WARP_BLOCK];
    std::uint8_t wx[4 * WARP_BLOCK];  ///< bytes (32 - w, w), twice
    std::uint8_t wy[4 * WARP_BLOCK];  ///< 16-bit pairs (32 - w, w)
};

/// The fraction behind a whole position in units of 1/32, rounded. The product is exact, so that a
/// fused step rounds as separate ones do.
inline __m256i weightOf(__m256 position, __m256i whole) {
    const __m256 fraction = _mm256_sub_ps(position, _mm256_cvtepi32_ps(whole));
    return _mm256_cvttps_epi32(
        _mm256_fmadd_ps(fraction, _mm256_set1_ps(32.0f), _mm256_set1_ps(0.5f)));
}

/// Bytes (32 - w, w) in each 16-bit lane.
inline __m256i bytesOfWeights(__m256i weights) {
    constexpr Shuffle REPEAT = {{0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12}};
    return _mm256_add_epi8(_mm256_sign_epi8(shuffle(weights, REPEAT), bytePairs(-1, 1)),
                           bytePairs(32, 0));
}

/// 16-bit lanes (32 - w, w).
inline __m256i lanesOfWeights(__m256i weights) {
    return _mm256_sub_epi32(_mm256_add_epi32(_mm256_slli_epi32(weights, 16), _mm256_set1_epi32(32)),
                            weights);
}

template <int CHANNELS>
inline void locate(Positions& positions, __m256i stride, std::size_t i, Block& block) {
    __m256 x;
    __m256 y;
    positions.take(x, y);
    const __m256i ix = _mm256_cvttps_epi32(x);
    const __m256i iy = _mm256_cvttps_epi32(y);
    store(block.offset + i, offsetOf<CHANNELS>(ix, iy, stride));
    store(block.wx + 4 * i, bytesOfWeights(weightOf(x, ix)));
    store(block.wy + 4 * i, lanesOfWeights(weightOf(y, iy)));
}

/// The source, of which two rows are read at a time.
struct Rows {
    const std::uint8_t* upper;
    const std::uint8_t* lower;
};

/// Columns whose samples fill a lane. With three channels, pairs of pixels are two bytes short.
template <int CHANNELS>
constexpr int LANE_COLUMNS = CHANNELS == 1   ? 4
                             : CHANNELS == 2 ? 2
                                             : 1;

/// The samples of a column, those of the upper row first. With one channel they are four bytes,
/// with two channels eight.
template <int CHANNELS>
inline __m128i fetchColumn(const Rows& rows, std::ptrdiff_t at) {
    const auto load4 = [](const std::uint8_t* src) {
        std::int32_t bytes;
        std::memcpy(&bytes, src, sizeof(bytes));
        return _mm_cvtsi32_si128(bytes);
    };
    const auto load8 = [](const std::uint8_t* src) {
        return _mm_loadl_epi64(static_cast<const __m128i_u*>(static_cast<const void*>(src)));
    };
    if constexpr (CHANNELS == 1) {
        return _mm_unpacklo_epi16(load4(rows.upper + at), load4(rows.lower + at));
    } else if constexpr (CHANNELS == 2) {
        return _mm_unpacklo_epi32(load4(rows.upper + at), load4(rows.lower + at));
    } else {
        return _mm_unpacklo_epi64(load8(rows.upper + at), load8(rows.lower + at));
    }
}

template <int CHANNELS>
inline __m128i fetchLane(const Rows& rows, const std::int32_t* offset) {
    if constexpr (CHANNELS == 1) {
        return _mm_unpacklo_epi64(_mm_unpacklo_epi32(fetchColumn<CHANNELS>(rows, offset[0]),
                                                     fetchColumn<CHANNELS>(rows, offset[1])),
                                  _mm_unpacklo_epi32(fetchColumn<CHANNELS>(rows, offset[2]),
                                                     fetchColumn<CHANNELS>(rows, offset[3])));
    } else if constexpr (CHANNELS == 2) {
        return _mm_unpacklo_epi64(fetchColumn<CHANNELS>(rows, offset[0]),
                                  fetchColumn<CHANNELS>(rows, offset[1]));
    } else {
        return fetchColumn<CHANNELS>(rows, offset[0]);
    }
}

/// Brings what is summed side by side: left and right samples, then upper and lower ones, and these
/// four channel by channel.
template <int CHANNELS>
constexpr Shuffle sidesTogether() {
    constexpr int SIZE = int(LANE) / LANE_COLUMNS<CHANNELS>;
    Shuffle order = {};
    for (int i = 0; i < int(LANE); ++i) {
        const int column = i / SIZE;
        const int channel = i % SIZE / 4;
        const int row = i / 2 % 2;
        const int side = i % 2;
        order.from[i] = std::uint8_t(column * SIZE + row * SIZE / 2 + side * CHANNELS + channel);
    }
    return order;
}

/// Part @p K of the sums of a vector has some of the first four columns in the low lane and those
/// four columns on in the high one. This is what they are multiplied by.
template <int CHANNELS, int K>
inline __m256i weightsFor(__m256i weights) {
    if constexpr (CHANNELS == 1) {
        return weights;
    } else if constexpr (CHANNELS == 2) {
        return K == 0 ? _mm256_unpacklo_epi32(weights, weights)
                      : _mm256_unpackhi_epi32(weights, weights);
    } else {
        return _mm256_shuffle_epi32(weights, 0x55 * K);
    }
}

/// Weighted sums in 32-bit lanes.
template <int CHANNELS, int K>
inline __m256i mix(const Rows& rows, const std::int32_t* offset, __m256i wx, __m256i wy) {
    static constexpr Shuffle ORDER = sidesTogether<CHANNELS>();
    constexpr int FIRST = K * LANE_COLUMNS<CHANNELS>;
    __m256i samples = _mm256_setr_m128i(fetchLane<CHANNELS>(rows, offset + FIRST),
                                        fetchLane<CHANNELS>(rows, offset + FIRST + COLUMNS / 2));
    if constexpr (CHANNELS != 1) {
        samples = shuffle(samples, ORDER);
    }
    const __m256i across = _mm256_maddubs_epi16(samples, weightsFor<CHANNELS, K>(wx));
    return rounded(_mm256_madd_epi16(across, weightsFor<CHANNELS, K>(wy)));
}

/// The first 12 bytes of each lane, four pixels.
inline void storeTriples(std::uint8_t* dst, __m256i quads) {
    constexpr std::uint8_t NONE = Shuffle::ZERO;
    constexpr Shuffle DENSE = {{0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, NONE, NONE, NONE, NONE}};
    const __m256i order = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
    const __m256i bytes = _mm256_permutevar8x32_epi32(shuffle(quads, DENSE), order);
    storeLane(dst, lowLane(bytes));
    storeHalf(dst + LANE, highLane(bytes));
}

template <int CHANNELS>
inline void blendVector(const Rows& rows, const Block& block, std::size_t i, std::uint8_t* dst) {
    const __m256i wx = load(block.wx + 4 * i);
    const __m256i wy = load(block.wy + 4 * i);
    const std::int32_t* const offset = block.offset + i;
    const __m256i first = mix<CHANNELS, 0>(rows, offset, wx, wy);
    if constexpr (CHANNELS == 1) {
        const __m256i words = _mm256_packs_epi32(first, first);
        const __m256i bytes = _mm256_packus_epi16(words, words);
        storeHalf(dst, _mm_unpacklo_epi32(lowLane(bytes), highLane(bytes)));
        return;
    } else {
        const __m256i words = _mm256_packs_epi32(first, mix<CHANNELS, 1>(rows, offset, wx, wy));
        if constexpr (CHANNELS == 2) {
            const __m256i bytes = _mm256_packus_epi16(words, words);
            storeLane(dst, _mm_unpacklo_epi64(lowLane(bytes), highLane(bytes)));
            return;
        } else {
            const __m256i others = _mm256_packs_epi32(mix<CHANNELS, 2>(rows, offset, wx, wy),
                                                      mix<CHANNELS, 3>(rows, offset, wx, wy));
            const __m256i bytes = _mm256_packus_epi16(words, others);
            if constexpr (CHANNELS == 3) {
                storeTriples(dst, bytes);
            } else {
                store(dst, bytes);
            }
        }
    }
}

template <int CHANNELS>
void warpBilinear(const WarpLine& line,
                  std::int32_t column,
                  std::uint32_t size,
                  std::uint8_t* dst) {
    const __m256i stride = _mm256_set1_epi32(line.stride);
    const Rows rows = {line.src, line.src + line.stride};
    Positions positions(line, column);
    Block block;
    for (std::uint32_t i = 0; i < size; i += COLUMNS) {
        locate<CHANNELS>(positions, stride, i, block);
    }
    prefetch<CHANNELS>(line, block.offset, size);
    const std::size_t last = size - COLUMNS;
    for (std::size_t i = 0; i < last; i += COLUMNS) {
        blendVector<CHANNELS>(rows, block, i, dst + i * CHANNELS);
    }
    // It may overlap the one before.
    blendVector<CHANNELS>(rows, block, last, dst + last * CHANNELS);
}

}  // namespace

const WarpKernels Warps = {
    {{warpNearest<1>, 1}, {warpNearest<2>, 1}, {warpNearest<3>, 2}, {warpNearest<4>, 1}},
    {{warpBilinear<1>, 4}, {warpBilinear<2>, 2}, {warpBilinear<3>, 3}, {warpBilinear<4>, 2}}};

}  // namespace Avx2
}  // namespace Simd
