// Linear interpolation of 16-bit elements, with rows in vectors.

#include <cstdint>

#include "simd/simd_bilinear_rows.h"
#include "simd/simd_resizer.h"

namespace Simd {
namespace Avx2 {

ResizerShortBilinear::ResizerShortBilinear(const ResizerParam& parameters)
    : Base::ResizerShortBilinear(parameters) {}

ResizerShortBilinear::~ResizerShortBilinear() = default;

void ResizerShortBilinear::Run(const std::uint16_t* src,
                               std::uint32_t srcStride,
                               std::uint16_t* dst,
                               std::uint32_t dstStride) {
    RunWith(ShortRows, src, srcStride, dst, dstStride);
}

}  // namespace Avx2
}  // namespace Simd
