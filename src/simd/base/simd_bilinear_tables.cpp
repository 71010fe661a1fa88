// What the short and the float bilinear resizer share.

#include <cstddef>
#include <cstdint>

#include "simd/simd_bilinear_rows.h"
#include "simd/simd_resizer.h"
#include "simd/simd_resizer_tables.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Base {
namespace {

/// @param tapOf called with a destination index
template <class TapOf>
void estimate(
    TapOf tapOf, std::uint32_t count, std::uint32_t channels, std::int32_t* index, float* weight) {
    for (std::uint32_t i = 0; i < count; ++i) {
        const Tap tap = tapOf(i);
        for (std::uint32_t c = 0; c < channels; ++c) {
            *index++ = std::int32_t(std::uint32_t(tap.index) * channels + c);
            *weight++ = tap.weight;
        }
    }
}

void estimate(std::uint32_t method,
              std::uint32_t src,
              std::uint32_t dst,
              std::uint32_t channels,
              std::int32_t* index,
              float* weight) {
    if (method != ResizerMethodBilinearCorner && method != ResizerMethodBilinearTopLeft) {
        const auto centred = [=](std::uint32_t i) { return centredTap(i, src, dst); };
        estimate(centred, dst, channels, index, weight);
        return;
    }
    // The first and the last pixels of both images coincide, or the top left edges of the pixels.
    const bool corners = method == ResizerMethodBilinearCorner;
    const float scale = !corners  ? float(src) / float(dst)
                        : dst < 2 ? 0.0f
                                  : float(src - 1) / float(dst - 1);
    const auto scaled = [=](std::uint32_t i) { return tapAt(float(i) * scale, src); };
    estimate(scaled, dst, channels, index, weight);
}

}  // namespace

BilinearTables::BilinearTables(const ResizerParam& parameters, std::uint32_t padding) {
    const std::uint32_t size = parameters.dstWidth * parameters.channels + padding;
    const std::uint32_t alignment = parameters.alignment;
    ix.Resize(size, alignment);
    iy.Resize(parameters.dstHeight, alignment);
    ax.Resize(size, alignment);
    ay.Resize(parameters.dstHeight, alignment);
    bx[0].Resize(size, alignment);
    bx[1].Resize(size, alignment);
    estimate(parameters.method, parameters.srcWidth, parameters.dstWidth, parameters.channels,
             ix.data, ax.data);
    estimate(parameters.method, parameters.srcHeight, parameters.dstHeight, 1, iy.data, ay.data);
}

BilinearTables::~BilinearTables() = default;

template <class T>
void BilinearTables::Scale(const ResizerParam& parameters,
                           const BilinearRows<T>& functions,
                           const T* src,
                           std::uint32_t srcStride,
                           T* dst,
                           std::uint32_t dstStride) {
    const std::uint32_t channels = parameters.channels;
    const std::uint32_t size = parameters.dstWidth * channels;
    const auto interpolate = [&](std::int32_t row, float* place) {
        functions.interpolate(src + row * RowStep(srcStride), channels, ix.data, ax.data, size,
                              place);
    };
    RowPair<float*> rows = {bx[0].data, bx[1].data};
    for (std::uint32_t y = 0; y < parameters.dstHeight; ++y, dst += RowStep(dstStride)) {
        rows.moveTo(iy.data[y], interpolate);
        functions.blend(rows.upper, rows.lower, ay.data[y], size, dst);
    }
}

template <class T>
void BilinearTables::Sample(const ResizerParam& parameters,
                            const BilinearRows<T>& functions,
                            const T* src,
                            std::uint32_t srcStride,
                            T* dst,
                            std::uint32_t dstStride) {
    const std::uint32_t channels = parameters.channels;
    const std::uint32_t size = parameters.dstWidth * channels;
    for (std::uint32_t y = 0; y < parameters.dstHeight; ++y, dst += RowStep(dstStride)) {
        const T* const upper = src + iy.data[y] * RowStep(srcStride);
        functions.sample(upper, upper + RowStep(srcStride), channels, ix.data, ax.data, ay.data[y],
                         size, dst);
    }
}

template void BilinearTables::Scale(const ResizerParam&,
                                    const BilinearRows<float>&,
                                    const float*,
                                    std::uint32_t,
                                    float*,
                                    std::uint32_t);
template void BilinearTables::Scale(const ResizerParam&,
                                    const BilinearRows<std::uint16_t>&,
                                    const std::uint16_t*,
                                    std::uint32_t,
                                    std::uint16_t*,
                                    std::uint32_t);
template void BilinearTables::Sample(const ResizerParam&,
                                     const BilinearRows<std::uint16_t>&,
                                     const std::uint16_t*,
                                     std::uint32_t,
                                     std::uint16_t*,
                                     std::uint32_t);

}  // namespace Base
}  // namespace Simd
