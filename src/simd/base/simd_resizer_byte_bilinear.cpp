// Linear interpolation of bytes, first along rows, then between two rows.
//
// A weight a of 0..16 stands for a / 16. A row of sums is p (16 - a) + q a, at most 16 * 255 =
// 4080. Between rows the sums are blended alike, with 256 as the scale of both passes:
//
//     (r0 (16 - a) + r1 a + 128) >> 8,  at most (16 * 4080 + 128) >> 8 = 255
//
// 65408 is the largest value on the way, so that 16 bits hold everything without a clamp.

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "simd/simd_resizer.h"
#include "simd/simd_resizer_tables.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Base {
namespace {

constexpr std::int32_t FRACTION = 16;
constexpr int SHIFT = 8;  // of FRACTION * FRACTION
constexpr std::int32_t HALF = 1 << (SHIFT - 1);

void interpolateRow(const std::uint8_t* __restrict src,
                    const std::int32_t* __restrict index,
                    const std::int32_t* __restrict weight,
                    std::size_t size,
                    std::size_t channels,
                    std::int32_t* __restrict row) {
    for (std::size_t j = 0; j < size; ++j) {
        const std::uint8_t* const left = src + index[j];
        row[j] = left[0] * FRACTION + weight[j] * (left[channels] - left[0]);
    }
}

void blendRows(const std::int32_t* __restrict upper,
               const std::int32_t* __restrict lower,
               std::int32_t weight,
               std::size_t size,
               std::uint8_t* __restrict dst) {
    for (std::size_t j = 0; j < size; ++j) {
        const std::int32_t sum = upper[j] * FRACTION + weight * (lower[j] - upper[j]);
        dst[j] = std::uint8_t((sum + HALF) >> SHIFT);
    }
}

}  // namespace

ResizerByteBilinear::ResizerByteBilinear(const ResizerParam& parameters) : Resizer(parameters) {}

ResizerByteBilinear::~ResizerByteBilinear() = default;

void ResizerByteBilinear::EstimateRows() {
    ay.Resize(param.dstHeight, param.alignment);
    iy.Resize(param.dstHeight, param.alignment);
    estimateByteTaps(param.srcHeight, param.dstHeight, iy.data, ay.data);
}

void ResizerByteBilinear::EstimateColumns() {
    const std::uint32_t channels = param.channels;
    const std::uint32_t size = param.dstWidth * channels;
    ax.Resize(size, param.alignment);
    ix.Resize(size, param.alignment);
    bx[0].Resize(size, param.alignment);
    bx[1].Resize(size, param.alignment);
    for (std::uint32_t x = 0, j = 0; x < param.dstWidth; ++x) {
        const Tap tap = centredTap(x, param.srcWidth, param.dstWidth);
        for (std::uint32_t c = 0; c < channels; ++c, ++j) {
            ix.data[j] = tap.index * std::int32_t(channels) + std::int32_t(c);
            ax.data[j] = byteWeight(tap);
        }
    }
}

void ResizerByteBilinear::Run(const std::uint8_t* src,
                              std::uint32_t srcStride,
                              std::uint8_t* dst,
                              std::uint32_t dstStride) {
    if (ax.size == 0) {
        EstimateRows();
        EstimateColumns();
    }
    const auto interpolate = [&](std::int32_t row, std::int32_t* sums) {
        interpolateRow(src + row * RowStep(srcStride), ix.data, ax.data, ix.size, param.channels,
                       sums);
    };
    RowPair<std::int32_t*> rows = {bx[0].data, bx[1].data};
    for (std::uint32_t y = 0; y < param.dstHeight; ++y, dst += RowStep(dstStride)) {
        rows.moveTo(iy.data[y], interpolate);
        blendRows(rows.upper, rows.lower, ay.data[y], ix.size, dst);
    }
}

}  // namespace Base
}  // namespace Simd
