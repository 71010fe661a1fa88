// Linear interpolation of floats, with rows in vectors.

#include <cstdint>

#include "simd/simd_bilinear_rows.h"
#include "simd/simd_float_halves.h"
#include "simd/simd_resizer.h"

namespace Simd {
namespace Neon {

ResizerFloatBilinear::ResizerFloatBilinear(const ResizerParam& parameters)
    : Base::ResizerFloatBilinear(parameters) {}

ResizerFloatBilinear::~ResizerFloatBilinear() = default;

void ResizerFloatBilinear::Run(const float* src,
                               std::uint32_t srcStride,
                               float* dst,
                               std::uint32_t dstStride) {
    const FloatAxis columns = {ix.data, ax.data};
    const FloatAxis rows = {iy.data, ay.data};
    if (!scaleHalves(param, columns, rows, FloatHalves, HALVE_WIDTH, src, srcStride, dst,
                     dstStride)) {
        Scale(param, FloatRows, src, srcStride, dst, dstStride);
    }
}

}  // namespace Neon
}  // namespace Simd
