// Linear interpolation of floats.

#include <cstdint>

#include "simd/simd_bilinear_rows.h"
#include "simd/simd_resizer.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Base {

ResizerFloatBilinear::ResizerFloatBilinear(const ResizerParam& parameters)
    : Resizer(parameters), BilinearTables(parameters, 0) {}

ResizerFloatBilinear::~ResizerFloatBilinear() = default;

void ResizerFloatBilinear::Run(const std::uint8_t* src,
                               std::uint32_t srcStride,
                               std::uint8_t* dst,
                               std::uint32_t dstStride) {
    const void* const from = src;
    void* const to = dst;
    Run(static_cast<const float*>(from), elementStride<float>(srcStride), static_cast<float*>(to),
        elementStride<float>(dstStride));
}

void ResizerFloatBilinear::Run(const float* src,
                               std::uint32_t srcStride,
                               float* dst,
                               std::uint32_t dstStride) {
    Scale(param, FusedRows<float>(), src, srcStride, dst, dstStride);
}

}  // namespace Base
}  // namespace Simd
