// Shrinking of bytes by the mean of the area that a destination pixel covers.
//
// In units of a destination pixel a source cell is 1 / scale wide; edge k of the destination lies
// in cell ix[k], of which the share ax[k] = range (1 - fraction) / scale lies behind the edge. A
// pixel sums the cells from one edge to the next in whole and then gives back what lies behind the
// second edge. The weights of a row, and those of a column, sum to the range: 2048, or 1024 for
// sums of 2 x 2 pixels, which are 4 times a pixel. So column sums have 20 bits and the total 30,
// when shrinking; when enlarging, single products may wrap, but not their sum.

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "simd/simd_resizer.h"
#include "simd/simd_resizer_tables.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Base {
namespace {

constexpr std::uint32_t RANGE_1X1 = 2048;
constexpr std::uint32_t RANGE_2X2 = 1024;
constexpr int SHIFT = 22;
constexpr std::uint32_t HALF = 1u << (SHIFT - 1);
constexpr std::uint32_t TABLE_ALIGNMENT = 16;
constexpr std::uint32_t PAIR_MARGIN = 16;

std::uint32_t half(std::uint32_t size) {
    return (size + 1) >> 1;
}

std::uint32_t alignUp(std::uint32_t value, std::uint32_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

/// Both tables have an entry for each edge, one more than @p dst.
void estimateEdges(std::uint32_t src,
                   std::uint32_t dst,
                   std::uint32_t range,
                   std::int32_t* weight,
                   std::int32_t* index) {
    const float scale = float(src) / float(dst);
    for (std::uint32_t i = 0; i <= dst; ++i) {
        const float edge = float(i) * scale;
        const auto cell = std::uint32_t(edge);
        const bool isEnd = cell == src;
        const float share = (1.0f - (edge - float(cell))) * float(range) / scale;
        weight[i] = isEnd ? 0 : std::int32_t(share);
        index[i] = std::int32_t(isEnd ? src - 1 : cell);
    }
}

inline void put(std::int32_t product, std::false_type, std::int32_t& sum) {
    sum = product;
}

inline void put(std::int32_t product, std::true_type, std::int32_t& sum) {
    sum += product;
}

/// The rows of the vertical pass are those of the image.
struct PlainRows {
    const std::uint8_t* src;
    RowStep stride;
    std::size_t size;  // bytes of a row

    template <class IsSum>
    void weigh(std::int32_t row, std::int32_t weight, IsSum isSum, std::int32_t* sums) const {
        const std::uint8_t* __restrict bytes = src + row * stride;
        std::int32_t* __restrict target = sums;
        for (std::size_t i = 0; i < size; ++i) {
            put(weight * bytes[i], isSum, target[i]);
        }
    }
};

/// The rows of the vertical pass are pairs, and its elements sums of 2 x 2 pixels. A last row or
/// column without a partner counts twice.
template <std::size_t CHANNELS>
struct PairedRows {
    const std::uint8_t* src;
    RowStep stride;
    std::uint32_t width;
    std::uint32_t height;

    template <class IsSum>
    void weigh(std::int32_t pair, std::int32_t weight, IsSum isSum, std::int32_t* sums) const {
        const std::uint32_t row = 2 * std::uint32_t(pair);
        const std::uint8_t* __restrict upper = src + std::ptrdiff_t(row) * stride;
        const std::uint8_t* __restrict lower = row + 1 < height ? upper + stride : upper;
        std::int32_t* __restrict target = sums;
        for (std::size_t i = width / 2; i != 0; --i) {
            for (std::size_t c = 0; c < CHANNELS; ++c) {
                const std::int32_t sum =
                    upper[c] + upper[c + CHANNELS] + lower[c] + lower[c + CHANNELS];
                put(weight * sum, isSum, target[c]);
            }
            upper += 2 * CHANNELS;
            lower += 2 * CHANNELS;
            target += CHANNELS;
        }
        for (std::size_t c = 0; c < width % 2 * CHANNELS; ++c) {
            put(weight * (2 * (upper[c] + lower[c])), isSum, target[c]);
        }
    }
};

/// The vertical pass from one edge to the next; @p full is the weight of a whole row.
template <class Rows>
void sumRows(const Rows& rows,
             const std::int32_t* edge,
             const std::int32_t* weight,
             std::int32_t full,
             std::int32_t* sums) {
    constexpr std::false_type FIRST;
    constexpr std::true_type NEXT;
    if (edge[0] == edge[1]) {
        rows.weigh(edge[0], weight[0] - weight[1], FIRST, sums);
        return;
    }
    rows.weigh(edge[0], weight[0], FIRST, sums);
    for (std::int32_t row = edge[0] + 1; full != 0 && row < edge[1]; ++row) {
        rows.weigh(row, full, NEXT, sums);
    }
    if (full != weight[1]) {
        rows.weigh(edge[1], full - weight[1], NEXT, sums);
    }
}

/// The horizontal pass.
template <std::size_t CHANNELS>
void sumColumns(const std::int32_t* __restrict sums,
                const std::int32_t* __restrict edge,
                const std::int32_t* __restrict weight,
                std::size_t width,
                std::uint8_t* __restrict dst) {
    const auto full = std::uint32_t(weight[0]);
    for (std::size_t x = 0; x < width; ++x) {
        const std::size_t end = std::size_t(edge[x + 1] - edge[x]) * CHANNELS;
        for (std::size_t c = 0; c < CHANNELS; ++c) {
            auto last = std::uint32_t(sums[c]);
            std::uint32_t total = last * std::uint32_t(weight[x]);
            for (std::size_t k = CHANNELS; k <= end; k += CHANNELS) {
                last = std::uint32_t(sums[k + c]);
                total += last * full;
            }
            total -= last * std::uint32_t(weight[x + 1]);
            dst[x * CHANNELS + c] = std::uint8_t((total + HALF) >> SHIFT);
        }
        sums += end;
    }
}

}  // namespace

ResizerByteArea::ResizerByteArea(const ResizerParam& parameters) : Resizer(parameters) {
    ax.Resize(param.dstWidth + 1, TABLE_ALIGNMENT);
    ix.Resize(param.dstWidth + 1, TABLE_ALIGNMENT);
    ay.Resize(param.dstHeight + 1, TABLE_ALIGNMENT);
    iy.Resize(param.dstHeight + 1, TABLE_ALIGNMENT);
}

ResizerByteArea::~ResizerByteArea() = default;

template <std::size_t CHANNELS, class Rows>
void ResizerByteArea::RunRows(const Rows& rows, std::uint8_t* dst, std::uint32_t dstStride) {
    for (std::uint32_t y = 0; y < param.dstHeight; ++y, dst += RowStep(dstStride)) {
        sumRows(rows, iy.data + y, ay.data + y, ay.data[0], by.data);
        sumColumns<CHANNELS>(by.data, ix.data, ax.data, param.dstWidth, dst);
    }
}

ResizerByteArea1x1::ResizerByteArea1x1(const ResizerParam& parameters)
    : ResizerByteArea(parameters) {
    estimateEdges(param.srcWidth, param.dstWidth, RANGE_1X1, ax.data, ix.data);
    estimateEdges(param.srcHeight, param.dstHeight, RANGE_1X1, ay.data, iy.data);
    by.Resize(alignUp(param.channels * param.srcWidth, param.alignment), param.alignment);
}

ResizerByteArea1x1::~ResizerByteArea1x1() = default;

void ResizerByteArea1x1::Run(const std::uint8_t* src,
                             std::uint32_t srcStride,
                             std::uint8_t* dst,
                             std::uint32_t dstStride) {
    withChannels(param.channels, [&](auto channels) {
        const PlainRows rows = {src, srcStride, std::size_t{param.srcWidth} * channels};
        RunRows<channels>(rows, dst, dstStride);
    });
}

ResizerByteArea2x2::ResizerByteArea2x2(const ResizerParam& parameters)
    : ResizerByteArea(parameters) {
    const std::uint32_t width = half(param.srcWidth);
    estimateEdges(width, param.dstWidth, RANGE_2X2, ax.data, ix.data);
    estimateEdges(half(param.srcHeight), param.dstHeight, RANGE_2X2, ay.data, iy.data);
    by.Resize(alignUp(param.channels * width, param.alignment) + PAIR_MARGIN, param.alignment);
}

ResizerByteArea2x2::~ResizerByteArea2x2() = default;

void ResizerByteArea2x2::Run(const std::uint8_t* src,
                             std::uint32_t srcStride,
                             std::uint8_t* dst,
                             std::uint32_t dstStride) {
    withChannels(param.channels, [&](auto channels) {
        const PairedRows<channels> rows = {src, srcStride, param.srcWidth, param.srcHeight};
        RunRows<channels>(rows, dst, dstStride);
    });
}

}  // namespace Base
}  // namespace Simd
