// Linear interpolation of floats, with rows in vectors.

#include <cstdint>

#include "simd/simd_bilinear_rows.h"
#include "simd/simd_float_halves.h"
#include "simd/simd_resizer.h"

namespace Simd {
namespace Avx2 {
namespace {

constexpr std::uint32_t HALVE_WIDTH = 8;

}  // namespace

ResizerFloatBilinear::ResizerFloatBilinear(const ResizerParam& parameters)
    : Base::ResizerFloatBilinear(parameters) {}

ResizerFloatBilinear::~ResizerFloatBilinear() = default;

void ResizerFloatBilinear::Run(const float* src,
                               std::uint32_t srcStride,
                               float* dst,
                               std::uint32_t dstStride) {
    const FloatAxis columns = {ix.data, ax.data};
    const FloatAxis rows = {iy.data, ay.data};
    if (scaleHalves(param, columns, rows, FloatHalves, HALVE_WIDTH, src, srcStride, dst,
                    dstStride)) {
        return;
    }
    if (param.dstHeight <= param.srcHeight) {
        // Rows that are shared by few others cost less than their way through memory.
        Sample(param, FloatRows, src, srcStride, dst, dstStride);
    } else {
        Scale(param, FloatRows, src, srcStride, dst, dstStride);
    }
}

}  // namespace Avx2
}  // namespace Simd
