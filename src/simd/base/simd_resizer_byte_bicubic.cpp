// Four-tap cubic scaling of bytes. With d the distance from the second tap, the weights are those
// of the cubic polynomial through four samples, times -128: (2 - d)(1 - d) d / 6 and so on, which
// add up to -128 within their rounding. Both passes together scale by 16384.
//
// The magnitudes of a set of weights add up to at most 170. A horizontal sum stays below 170 * 255,
// a vertical one below 170 * 170 * 255 < 2^23.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "simd/simd_bicubic_rows.h"
#include "simd/simd_platform.h"
#include "simd/simd_resizer.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Base {
namespace {

constexpr std::uint32_t TAPS = 4;
constexpr float SCALE = 128.0f;
constexpr int SHIFT = 14;
constexpr std::int32_t ROUND = 1 << (SHIFT - 1);

inline std::int32_t nearest(float value) {
    return std::int32_t(value + (value >= 0 ? 0.5f : -0.5f));
}

inline void setWeights(float d, std::int32_t* weights) {
    weights[0] = nearest((2.0f - d) * SCALE * (1.0f - d) * d / 6.0f);
    weights[1] = nearest((1.0f - d) * ((d - 2.0f) * SCALE * (d + 1.0f)) * 0.5f);
    weights[2] = nearest(d * ((d - 2.0f) * SCALE * (d + 1.0f)) * 0.5f);
    weights[3] = nearest((d + 1.0f) * SCALE * (1.0f - d) * d / 6.0f);
}

/// The second tap and the weights of each of @p dst places in @p src samples, @p step apart.
void estimate(std::uint32_t src,
              std::uint32_t dst,
              std::uint32_t step,
              std::int32_t* index,
              std::int32_t* weights) {
    const float scale = float(src) / float(dst);
    const std::int32_t last = std::int32_t(src) - 1;
    for (std::uint32_t i = 0; i < dst; ++i, weights += TAPS) {
        const float x = std::fmaf(float(i) + 0.5f, scale, -0.5f);
        const auto floor = std::int32_t(std::floor(x));
        const std::int32_t tap = floor < 0 ? 0 : floor;
        // All weight falls on the third tap where that is the last sample.
        const bool inside = tap < last;
        index[i] = std::int32_t(step) * (inside ? tap : last - 1);
        setWeights(!inside ? 1.0f : floor < 0 ? 0.0f : x - float(floor), weights);
    }
}

/// Calls @p visit(column, first, fourth) for the columns at the edges with the offsets of the outer
/// taps from the second. Where they would leave the row they are those of the nearest tap inside.
template <std::int32_t CHANNELS, class Visit>
inline void forEachEdgeColumn(std::uint32_t leftEnd,
                              std::uint32_t rightBegin,
                              std::uint32_t width,
                              Visit visit) {
    for (std::uint32_t x = 0; x < leftEnd; ++x) {
        visit(x, 0, 2 * CHANNELS);
    }
    for (std::uint32_t x = rightBegin; x < width; ++x) {
        visit(x, -CHANNELS, CHANNELS);
    }
}

template <std::int32_t CHANNELS, class Visit>
inline void forEachColumn(std::uint32_t leftEnd,
                          std::uint32_t rightBegin,
                          std::uint32_t width,
                          Visit visit) {
    forEachEdgeColumn<CHANNELS>(leftEnd, rightBegin, width, visit);
    for (std::uint32_t x = leftEnd; x < rightBegin; ++x) {
        visit(x, -CHANNELS, 2 * CHANNELS);
    }
}

/// A set of weights by value, so that the compiler need not expect a store to change it.
struct Weights {
    std::int32_t first;
    std::int32_t second;
    std::int32_t third;
    std::int32_t fourth;

    Weights(const std::int32_t* table, std::size_t index)
        : first(table[index * TAPS]),
          second(table[index * TAPS + 1]),
          third(table[index * TAPS + 2]),
          fourth(table[index * TAPS + 3]) {}

    std::int32_t sum(std::int32_t a, std::int32_t b, std::int32_t c, std::int32_t d) const {
        return first * a + second * b + third * c + fourth * d;
    }
};

/// Horizontal sums of one column, @p offset added.
template <std::int32_t CHANNELS, class T>
inline void sumColumn(const std::uint8_t* tap,
                      Weights weights,
                      std::int32_t first,
                      std::int32_t fourth,
                      std::int32_t offset,
                      T* sums) {
    for (std::int32_t c = 0; c < CHANNELS; ++c, ++tap) {
        sums[c] = T(weights.sum(tap[first], tap[0], tap[CHANNELS], tap[fourth]) + offset);
    }
}

inline std::uint8_t byteOfSum(std::int32_t sum) {
    const std::int32_t value = (sum + ROUND) >> SHIFT;
    return std::uint8_t(value < 0 ? 0 : value > 255 ? 255 : value);
}

inline void blendRows(const std::int32_t* __restrict first,
                      const std::int32_t* __restrict second,
                      const std::int32_t* __restrict third,
                      const std::int32_t* __restrict fourth,
                      Weights weights,
                      std::uint32_t size,
                      std::uint8_t* __restrict dst) {
    for (std::size_t i = 0; i < size; ++i) {
        dst[i] = byteOfSum(weights.sum(first[i], second[i], third[i], fourth[i]));
    }
}

/// The row that stands for @p row in an image of @p height rows.
inline std::ptrdiff_t clampRow(std::int32_t row, std::uint32_t height) {
    const std::int32_t last = std::int32_t(height) - 1;
    return std::ptrdiff_t(row < 0 ? 0 : row > last ? last : row);
}

/// Where rows are in a ring of as many as there are taps.
using Places = std::uint32_t[TAPS];

/// Keeps a ring of summed rows. Calls @p sum(row, place) once for each row that is needed, and then
/// @p blend(y, places) for each destination row.
template <class Sum, class Blend>
inline void walkRows(const Table<std::int32_t>& taps, Sum sum, Blend blend) {
    const auto place = [](std::int32_t row) { return std::uint32_t(row) % TAPS; };
    std::int32_t next = taps.data[0] - 1;
    for (std::uint32_t y = 0; y < taps.size; ++y) {
        const std::int32_t top = taps.data[y] - 1;
        for (next = next < top ? top : next; next < top + std::int32_t(TAPS); ++next) {
            sum(next, place(next));
        }
        blend(y, {place(top), place(top + 1), place(top + 2), place(top + 3)});
    }
}

/// Row functions in vectors; null where the processor has none.
const BicubicRows* vectorRows() {
#ifdef TAVO_NEON
    if (Neon::Enable) {
        return &Neon::BicubicVectors;
    }
#endif
#ifdef TAVO_AVX2
    if (Avx2::Enable) {
        return &Avx2::BicubicVectors;
    }
#endif
    return nullptr;
}

}  // namespace

ResizerByteBicubic::ResizerByteBicubic(const ResizerParam& parameters) : Resizer(parameters) {}

ResizerByteBicubic::~ResizerByteBicubic() = default;

void ResizerByteBicubic::Run(const std::uint8_t* src,
                             std::uint32_t srcStride,
                             std::uint8_t* dst,
                             std::uint32_t dstStride) {
    switch (param.channels) {
        case 1:
            return RunChannels<1>(src, srcStride, dst, dstStride);
        case 2:
            return RunChannels<2>(src, srcStride, dst, dstStride);
        case 3:
            return RunChannels<3>(src, srcStride, dst, dstStride);
        case 4:
            return RunChannels<4>(src, srcStride, dst, dstStride);
        default:
            return;
    }
}

void ResizerByteBicubic::EstimateTaps() {
    const std::uint32_t alignment = param.alignment;
    iy.Resize(param.dstHeight, alignment);
    ay.Resize(std::uint64_t{param.dstHeight} * TAPS, alignment);
    ix.Resize(param.dstWidth, alignment);
    ax.Resize(std::uint64_t{param.dstWidth} * TAPS, alignment);
    estimate(param.srcHeight, param.dstHeight, 1, iy.data, ay.data);
    estimate(param.srcWidth, param.dstWidth, param.channels, ix.data, ax.data);

    sxl = param.channels * (param.srcWidth - 2);
    xn = 0;
    while (xn < param.dstWidth && ix.data[xn] == 0) {
        ++xn;
    }
    xt = param.dstWidth;
    while (xt > xn && ix.data[xt - 1] == std::int32_t(sxl)) {
        --xt;
    }
}

void ResizerByteBicubic::CutIntoBlocks(std::uint32_t window) {
    const std::uint32_t channels = param.channels;
    const std::uint32_t lastWindow = param.srcWidth * channels - window;
    const std::uint32_t reach = window - (TAPS - 1) * channels;  // first taps, so that others fit
    blocks.Resize(param.dstWidth, param.alignment);              // one each at the worst
    std::uint32_t element = xn * channels;
    BicubicBlock* block = nullptr;
    for (std::uint32_t x = xn; x < xt; ++x) {
        const std::uint32_t tap = std::uint32_t(ix.data[x]) - channels;
        for (std::uint32_t c = 0; c < channels; ++c, ++element) {
            if (block == nullptr || element - block->dst >= BICUBIC_BLOCK ||
                tap + c - block->src >= reach) {
                block = &blocks.data[blockCount++];
                std::memset(block, 0, sizeof(*block));
                block->src = tap < lastWindow ? tap : lastWindow;
                block->dst = element;
            }
            const std::uint32_t i = element - block->dst;
            block->position[i] = std::uint8_t(tap + c - block->src);
            for (std::uint32_t k = 0; k < TAPS; ++k) {
                block->weights[i][k] = std::uint8_t(std::abs(ax.data[x * TAPS + k]));
            }
        }
    }
}

void ResizerByteBicubic::ChooseRows() {
    const std::uint32_t srcSize = param.srcWidth * param.channels;
    const BicubicRows* const rows = vectorRows();
    if (rows == nullptr || srcSize < BicubicRows::WINDOW[0] ||
        param.dstWidth * param.channels < BicubicRows::BLEND_SIZE) {
        return;
    }
    // The wider window where the narrow one does not fill a block.
    const std::uint32_t reach =
        TAPS * param.channels + BICUBIC_BLOCK * param.srcWidth / param.dstWidth;
    const std::uint32_t wide =
        reach > BicubicRows::WINDOW[0] && srcSize >= BicubicRows::WINDOW[1] ? 1 : 0;
    CutIntoBlocks(BicubicRows::WINDOW[wide]);
    sumBlocks = rows->sum[wide];
    blendSums = rows->blend;
}

template <std::int32_t CHANNELS>
void ResizerByteBicubic::RunChannels(const std::uint8_t* src,
                                     std::uint32_t srcStride,
                                     std::uint8_t* dst,
                                     std::uint32_t dstStride) {
    if (iy.data == nullptr) {
        EstimateTaps();
        ChooseRows();
    }
    if (blendSums != nullptr) {
        return SumInVectors<CHANNELS>(src, srcStride, dst, dstStride);
    }
    // Rows that are hardly shared are not worth a pass of their own.
    if (4.0 * param.dstHeight <= param.srcHeight) {
        SumDirectly<CHANNELS>(src, srcStride, dst, dstStride);
    } else {
        SumThroughRing<CHANNELS>(src, srcStride, dst, dstStride);
    }
}

template <std::int32_t CHANNELS>
void ResizerByteBicubic::SumDirectly(const std::uint8_t* src,
                                     std::uint32_t srcStride,
                                     std::uint8_t* dst,
                                     std::uint32_t dstStride) const {
    for (std::uint32_t y = 0; y < param.dstHeight; ++y, dst += RowStep(dstStride)) {
        const auto sourceRow = [&](std::int32_t tap) {
            return src + clampRow(iy.data[y] + tap, param.srcHeight) * RowStep(srcStride);
        };
        const std::uint8_t* const rows[TAPS] = {sourceRow(-1), sourceRow(0), sourceRow(1),
                                                sourceRow(2)};
        const Weights vertical(ay.data, y);
        const auto sample = [&](std::uint32_t x, std::int32_t first, std::int32_t fourth) {
            const Weights horizontal(ax.data, x);
            const std::int32_t second = ix.data[x];
            std::uint8_t* const pixel = dst + std::size_t(x) * CHANNELS;
            for (std::int32_t c = 0; c < CHANNELS; ++c) {
                const auto sumOf = [&](const std::uint8_t* row) {
                    const std::uint8_t* const tap = row + second + c;
                    return horizontal.sum(tap[first], tap[0], tap[CHANNELS], tap[fourth]);
                };
                pixel[c] = byteOfSum(
                    vertical.sum(sumOf(rows[0]), sumOf(rows[1]), sumOf(rows[2]), sumOf(rows[3])));
            }
        };
        forEachColumn<CHANNELS>(xn, xt, param.dstWidth, sample);
    }
}

template <std::int32_t CHANNELS>
void ResizerByteBicubic::SumThroughRing(const std::uint8_t* src,
                                        std::uint32_t srcStride,
                                        std::uint8_t* dst,
                                        std::uint32_t dstStride) {
    const std::uint32_t size = param.dstWidth * CHANNELS;
    for (Table<std::int32_t>& row : bx) {
        row.Resize(size, param.alignment);
    }
    const auto sumRow = [&](std::int32_t row, std::uint32_t place) {
        const std::uint8_t* const line = src + clampRow(row, param.srcHeight) * RowStep(srcStride);
        std::int32_t* const to = bx[place].data;
        const auto visit = [&](std::uint32_t x, std::int32_t first, std::int32_t fourth) {
            sumColumn<CHANNELS>(line + ix.data[x], Weights(ax.data, x), first, fourth, 0,
                                to + std::size_t{x} * CHANNELS);
        };
        forEachColumn<CHANNELS>(xn, xt, param.dstWidth, visit);
    };
    walkRows(iy, sumRow, [&](std::uint32_t y, const Places& places) {
        blendRows(bx[places[0]].data, bx[places[1]].data, bx[places[2]].data, bx[places[3]].data,
                  Weights(ay.data, y), size, dst);
        dst += RowStep(dstStride);
    });
}

template <std::int32_t CHANNELS>
void ResizerByteBicubic::SumInVectors(const std::uint8_t* src,
                                      std::uint32_t srcStride,
                                      std::uint8_t* dst,
                                      std::uint32_t dstStride) {
    const std::uint32_t size = param.dstWidth * CHANNELS;
    for (Table<std::int16_t>& row : sums) {
        row.Resize(size + BICUBIC_BLOCK, param.alignment);
    }
    const auto sumRow = [&](std::int32_t row, std::uint32_t place) {
        const std::uint8_t* const line = src + clampRow(row, param.srcHeight) * RowStep(srcStride);
        std::int16_t* const to = sums[place].data;
        const auto visit = [&](std::uint32_t x, std::int32_t first, std::int32_t fourth) {
            sumColumn<CHANNELS>(line + ix.data[x], Weights(ax.data, x), first, fourth,
                                BICUBIC_OFFSET, to + std::size_t{x} * CHANNELS);
        };
        // The last block may write beyond its columns.
        sumBlocks(line, CHANNELS, blocks.data, blockCount, to);
        forEachEdgeColumn<CHANNELS>(xn, xt, param.dstWidth, visit);
    };
    walkRows(iy, sumRow, [&](std::uint32_t y, const Places& places) {
        blendSums({sums[places[0]].data, sums[places[1]].data, sums[places[2]].data,
                   sums[places[3]].data},
                  ay.data + std::size_t{y} * TAPS, size, dst);
        dst += RowStep(dstStride);
    });
}

}  // namespace Base
}  // namespace Simd
