// Scaling by copies of the nearest pixel.
//
// Destination index i stands for source index trunc((i + 0.5) src / dst), in single precision, or
// for the quotient (i src) / dst. Both are clamped to the source, because the product may be
// rounded up to its size, or wrap.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/simd_resizer.h"

namespace Simd {
namespace Base {
namespace {

std::uint32_t elementSize(std::uint32_t type) {
    return type == ResizerChannelByte ? 1 : type == ResizerChannelShort ? 2 : 4;
}

void estimateCentred(std::uint32_t src, std::uint32_t dst, std::uint32_t* index) {
    const std::int32_t last = std::int32_t(src) - 1;
    const float scale = float(src) / float(dst);
    for (std::uint32_t i = 0; i < dst; ++i) {
        const std::int32_t nearest = std::int32_t((float(i) + 0.5f) * scale);
        index[i] = std::uint32_t(nearest < last ? nearest : last);
    }
}

void estimateCorner(std::uint32_t src, std::uint32_t dst, std::uint32_t* index) {
    std::uint32_t product = 0;
    for (std::uint32_t i = 0; i < dst; ++i, product += src) {
        const std::uint32_t nearest = product / dst;
        index[i] = nearest < src ? nearest : src - 1;
    }
}

void estimate(std::uint32_t method, std::uint32_t src, std::uint32_t dst, std::uint32_t* index) {
    if (method == ResizerMethodNearest) {
        estimateCentred(src, dst, index);
    } else if (method == ResizerMethodNearestCorner) {
        estimateCorner(src, dst, index);
    } else if (dst != 0) {
        std::memset(index, 0, dst * sizeof(*index));
    }
}

/// Copies the pixels of one row, whose size is known to the compiler.
template <std::uint32_t SIZE>
void gatherRow(const std::uint8_t* __restrict src,
               const std::uint32_t* __restrict offset,
               std::uint32_t width,
               std::uint32_t,
               std::uint8_t* __restrict dst) {
    for (std::size_t x = 0; x < width; ++x) {
        std::memcpy(dst + x * SIZE, src + offset[x], SIZE);
    }
}

void gatherRowOfAny(const std::uint8_t* __restrict src,
                    const std::uint32_t* __restrict offset,
                    std::uint32_t width,
                    std::uint32_t size,
                    std::uint8_t* __restrict dst) {
    for (std::size_t x = 0; x < width; ++x) {
        std::memcpy(dst + x * size, src + offset[x], size);
    }
}

constexpr decltype(&gatherRowOfAny) GATHER_ROW[] = {
    gatherRowOfAny, gatherRow<1>,   gatherRow<2>,   gatherRow<3>, gatherRow<4>,
    gatherRowOfAny, gatherRow<6>,   gatherRowOfAny, gatherRow<8>, gatherRowOfAny,
    gatherRowOfAny, gatherRowOfAny, gatherRow<12>};

constexpr std::uint32_t LARGEST_FIXED_SIZE = 12;

}  // namespace

ResizerNearest::ResizerNearest(const ResizerParam& parameters) : Resizer(parameters) {}

ResizerNearest::~ResizerNearest() = default;

void ResizerNearest::EstimateIndices() {
    pixelSize = param.channels * elementSize(param.type);
    iy.Resize(param.dstHeight, param.alignment);
    ix.Resize(param.dstWidth, param.alignment);
    estimate(param.method, param.srcHeight, param.dstHeight, iy.data);
    estimate(param.method, param.srcWidth, param.dstWidth, ix.data);
    for (std::uint32_t i = 0; i < ix.size; ++i) {
        ix.data[i] *= pixelSize;
    }
}

void ResizerNearest::Run(const std::uint8_t* src,
                         std::uint32_t srcStride,
                         std::uint8_t* dst,
                         std::uint32_t dstStride) {
    if (pixelSize == 0) {
        EstimateIndices();
    }
    const auto gather = pixelSize <= LARGEST_FIXED_SIZE ? GATHER_ROW[pixelSize] : gatherRowOfAny;
    for (std::uint32_t y = 0; y < param.dstHeight; ++y, dst += dstStride) {
        gather(src + std::size_t{iy.data[y]} * srcStride, ix.data, param.dstWidth, pixelSize, dst);
    }
}

}  // namespace Base
}  // namespace Simd
