// The affine warp of gray by windows. Where a row of the destination crosses few rows of the
// source, the samples of eight columns lie in 16 bytes of each of them. These are loaded as they
// are, and shuffles pick the samples. Such runs of columns are worked on in pairs, one in each
// lane. All of a block are located first: then the rest waits for nothing but its loads.

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_vectors.h"
#include "simd/avx2/simd_warp_vectors.h"
#include "simd/simd_warp_steps.h"

namespace Simd {
namespace Avx2 {
namespace {

constexpr std::int32_t RUN = 8;  ///< columns
static_assert(RUN <= std::int32_t(WARP_LEAST), "the last runs of a block overlap the ones before");
static_assert(WARP_WINDOW == LANE, "a window is loaded into a lane");

/// Two runs that are located. Places are in the windows: 16 times the row, plus the byte.
struct alignas(VECTOR) Runs {
    std::uint8_t places[VECTOR];
    std::uint8_t wx[VECTOR];  ///< weights in 16-bit lanes
    std::uint8_t wy[VECTOR];
    std::int32_t window[VECTOR / 4];  ///< offsets, the same throughout a lane
};

/// Positions along an axis in 16-bit lanes. For nearest they are indices. For bilinear they are
/// rounded to 1/32 and count from the least index of a block, which is exact: the next index with
/// no weight for what is behind means the same as the one before with all of the weight.
template <bool BILINEAR>
class WindowAxis {
public:
    /// @param limit for the first index of a window
    WindowAxis(const WarpAxis& axis, std::int32_t first, std::int32_t last, std::int32_t limit)
        : m_axis(axis),
          m_base(BILINEAR ? indexAt(axis, axis.slope < 0 ? last : first) : 0),
          m_least(_mm256_set1_epi16(axis.slope < 0 ? 0x0F0E : 0x0100)),
          m_limit(_mm256_set1_epi16(std::int16_t(limit - m_base))) {}

    std::int32_t base() const { return m_base; }

    /// @param columns the first four of each run
    __m256i at(__m256i columns) const {
        const __m256i others = _mm256_add_epi32(columns, _mm256_set1_epi32(RUN / 2));
        return _mm256_packs_epi32(scaled(columns), scaled(others));
    }

    /// Where the windows start that have all of the indices.
    __m256i start(__m256i indices) const {
        return _mm256_min_epi16(_mm256_shuffle_epi8(indices, m_least), m_limit);
    }

private:
    Axis m_axis;
    std::int32_t m_base;
    __m256i m_least;  ///< shuffles the least index of a run to all columns
    __m256i m_limit;

    static std::int32_t indexAt(const WarpAxis& axis, std::int32_t column) {
        return std::int32_t(__builtin_fmaf(float(column), axis.slope, axis.start) + axis.shift);
    }

    __m256i scaled(__m256i columns) const {
        constexpr float SCALE = BILINEAR ? 32.0f : 1.0f;
        const __m256 bias = _mm256_set1_ps(0.5f - SCALE * float(m_base));
        const __m256 position = m_axis.at(_mm256_cvtepi32_ps(columns));
        return _mm256_cvttps_epi32(_mm256_fmadd_ps(position, _mm256_set1_ps(SCALE), bias));
    }
};

/// The bytes at those of the @p places that are in row @p ROW of a window, and 0 for the others.
template <int ROW>
inline __m256i pick(__m256i bytes, __m256i places) {
    constexpr int BEYOND = 0x80 - LANE;  // sets the upper bit where any of a row's bits remain
    const __m256i inRow = _mm256_xor_si256(places, _mm256_set1_epi8(std::int8_t(LANE) * ROW));
    return _mm256_shuffle_epi8(bytes, _mm256_adds_epu8(inRow, _mm256_set1_epi8(BEYOND)));
}

/// Sums of two rows, as bytes in 16-bit lanes.
inline __m256i blendRows(__m256i upper, __m256i lower, __m256i wx, __m256i wy) {
    const __m256i whole = _mm256_set1_epi16(32);
    const __m256i left = _mm256_sub_epi16(whole, wx);
    const __m256i pairs = _mm256_or_si256(_mm256_slli_epi16(wx, 8), left);
    const __m256i above = _mm256_maddubs_epi16(upper, pairs);
    const __m256i below = _mm256_maddubs_epi16(lower, pairs);
    const __m256i top = _mm256_sub_epi16(whole, wy);
    return _mm256_packs_epi32(rounded(_mm256_madd_epi16(_mm256_unpacklo_epi16(above, below),
                                                        _mm256_unpacklo_epi16(top, wy))),
                              rounded(_mm256_madd_epi16(_mm256_unpackhi_epi16(above, below),
                                                        _mm256_unpackhi_epi16(top, wy))));
}

template <bool BILINEAR>
class Windows {
public:
    Windows(const WarpLine& line, std::int32_t first, std::int32_t last)
        : m_x(line.x, first, last, line.width - std::int32_t(LANE)),
          m_y(line.y, first, last, line.height - ROWS),
          m_steps(_mm256_set1_epi32(std::int32_t(std::uint32_t(line.stride) << 16 | 1u))),
          m_stride(line.stride),
          m_src(line.src + m_y.base() * m_stride + m_x.base()),
          m_ahead(line.ahead) {}

    /// @param columns the first four of each run
    void locate(__m256i columns, Runs& runs) const {
        const __m256i x = m_x.at(columns);
        const __m256i y = m_y.at(columns);
        const __m256i ix = BILINEAR ? _mm256_srli_epi16(x, 5) : x;
        const __m256i iy = BILINEAR ? _mm256_srli_epi16(y, 5) : y;
        const __m256i left = m_x.start(ix);
        const __m256i top = m_y.start(iy);
        store(runs.window, _mm256_madd_epi16(_mm256_blend_epi16(left, top, 0xAA), m_steps));
        const __m256i places = _mm256_add_epi16(_mm256_slli_epi16(_mm256_sub_epi16(iy, top), 4),
                                                _mm256_sub_epi16(ix, left));
        if constexpr (BILINEAR) {
            constexpr Shuffle TWICE = {{0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14}};
            const __m256i fraction = _mm256_set1_epi16(31);
            store(runs.places, _mm256_add_epi8(shuffle(places, TWICE), bytePairs(0, 1)));
            store(runs.wx, _mm256_and_si256(x, fraction));
            store(runs.wy, _mm256_and_si256(y, fraction));
        } else {
            store(runs.places, _mm256_packus_epi16(places, places));
        }
    }

    void warp(const Runs& runs, std::uint8_t* first, std::uint8_t* second) const {
        const std::uint8_t* const low = m_src + runs.window[0];
        const std::uint8_t* const high = m_src + runs.window[LANE / 4];
        __builtin_prefetch(low + m_ahead);
        const auto row = [&](int y) {
            return lanesOf(loadLane(low + y * m_stride), loadLane(high + y * m_stride));
        };
        const __m256i places = load(runs.places);
        const auto three = [&](__m256i a, __m256i b, __m256i c) {
            return _mm256_or_si256(_mm256_or_si256(pick<0>(a, places), pick<1>(b, places)),
                                   pick<2>(c, places));
        };
        __m256i bytes = three(row(0), row(1), row(2));
        if constexpr (BILINEAR) {
            // At the end of the source its last row may be the upper one, with all of the weight.
            const __m256i upper = _mm256_or_si256(bytes, pick<3>(row(3), places));
            const __m256i lower = three(row(1), row(2), row(3));
            bytes = blendRows(upper, lower, load(runs.wx), load(runs.wy));
            bytes = _mm256_packus_epi16(bytes, bytes);
        }
        storeHalf(first, lowLane(bytes));
        storeHalf(second, highLane(bytes));
    }

private:
    static constexpr int ROWS = BILINEAR ? 4 : 3;

    WindowAxis<BILINEAR> m_x;
    WindowAxis<BILINEAR> m_y;
    __m256i m_steps;
    std::ptrdiff_t m_stride;
    const std::uint8_t* m_src;
    std::int32_t m_ahead;
};

template <bool BILINEAR>
void warpWindows(const WarpLine& line, std::int32_t column, std::uint32_t size, std::uint8_t* dst) {
    const auto width = std::int32_t(size);
    const Windows<BILINEAR> windows(line, column, column + width - 1);
    const std::int32_t rest = (width - 1) / (2 * RUN) * (2 * RUN);
    const std::int32_t second = width - RUN;
    const std::int32_t first = rest < second ? rest : second;
    Runs block[WARP_BLOCK / (2 * RUN)];
    Runs* runs = block;
    __m256i columns =
        _mm256_add_epi32(_mm256_set1_epi32(column), _mm256_setr_epi32(0, 1, 2, 3, 8, 9, 10, 11));
    for (std::int32_t i = 0; i < rest; i += 2 * RUN) {
        windows.locate(columns, *runs++);
        columns = _mm256_add_epi32(columns, _mm256_set1_epi32(2 * RUN));
    }
    columns = lanesOf(_mm_set1_epi32(column + first), _mm_set1_epi32(column + second));
    windows.locate(_mm256_add_epi32(columns, _mm256_setr_epi32(0, 1, 2, 3, 0, 1, 2, 3)), *runs);
    runs = block;
    for (std::int32_t i = 0; i < rest; i += 2 * RUN) {
        windows.warp(*runs++, dst + i, dst + i + RUN);
    }
    windows.warp(*runs, dst + first, dst + second);
}

}  // namespace

const WarpKernels WindowWarps = {{{warpWindows<false>, 1}}, {{warpWindows<true>, 2}}};

}  // namespace Avx2
}  // namespace Simd
