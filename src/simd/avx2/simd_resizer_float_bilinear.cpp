// Linear interpolation of floats, with rows in vectors.

#include <cstddef>
#include <cstdint>

#include "simd/simd_bilinear_rows.h"
#include "simd/simd_resizer.h"
#include "simd/simd_resizer_ratios.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Avx2 {
namespace {

constexpr std::uint32_t MAX_CHANNELS = 4;
constexpr std::uint32_t HALVE_WIDTH = 8;

}  // namespace

ResizerFloatBilinear::ResizerFloatBilinear(const ResizerParam& parameters)
    : Base::ResizerFloatBilinear(parameters) {}

ResizerFloatBilinear::~ResizerFloatBilinear() = default;

void ResizerFloatBilinear::Run(const float* src,
                               std::uint32_t srcStride,
                               float* dst,
                               std::uint32_t dstStride) {
    const std::uint32_t channels = param.channels;
    HalveFloats* const halve = channels - 1 < MAX_CHANNELS && param.dstWidth >= HALVE_WIDTH
                                   ? FloatHalves[channels - 1]
                                   : nullptr;
    if (halve != nullptr && floatsHalve(ix.data, ax.data, param.dstWidth, channels) &&
        floatsHalve(iy.data, ay.data, param.dstHeight, 1)) {
        for (std::uint32_t y = 0; y < param.dstHeight; ++y, dst += RowStep(dstStride)) {
            const float* const upper = src + iy.data[y] * RowStep(srcStride);
            halve(upper, upper + RowStep(srcStride), param.dstWidth, dst);
        }
    } else if (param.dstHeight <= param.srcHeight) {
        // Rows that are shared by few others cost less than their way through memory.
        Sample(param, FloatRows, src, srcStride, dst, dstStride);
    } else {
        Scale(param, FloatRows, src, srcStride, dst, dstStride);
    }
}

}  // namespace Avx2
}  // namespace Simd
