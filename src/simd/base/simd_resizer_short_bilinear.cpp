// Linear interpolation of 16-bit elements.

#include <cstdint>

#include "simd/simd_bilinear_rows.h"
#include "simd/simd_resizer.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Base {
namespace {

constexpr std::uint32_t PADDING = 16;
constexpr std::uint32_t MAX_CHANNELS = 4;

}  // namespace

ResizerShortBilinear::ResizerShortBilinear(const ResizerParam& parameters)
    : Resizer(parameters), BilinearTables(parameters, PADDING) {}

ResizerShortBilinear::~ResizerShortBilinear() = default;

void ResizerShortBilinear::Run(const std::uint8_t* src,
                               std::uint32_t srcStride,
                               std::uint8_t* dst,
                               std::uint32_t dstStride) {
    const void* const from = src;
    void* const to = dst;
    Run(static_cast<const std::uint16_t*>(from), elementStride<std::uint16_t>(srcStride),
        static_cast<std::uint16_t*>(to), elementStride<std::uint16_t>(dstStride));
}

void ResizerShortBilinear::Run(const std::uint16_t* src,
                               std::uint32_t srcStride,
                               std::uint16_t* dst,
                               std::uint32_t dstStride) {
    RunWith(FusedRows<std::uint16_t>(), src, srcStride, dst, dstStride);
}

void ResizerShortBilinear::RunWith(const BilinearRows<std::uint16_t>& functions,
                                   const std::uint16_t* src,
                                   std::uint32_t srcStride,
                                   std::uint16_t* dst,
                                   std::uint32_t dstStride) {
    if (param.channels > MAX_CHANNELS) {
        return;
    }
    // From half the height on, no two destination rows share a source row.
    if (2.0 * param.dstHeight <= param.srcHeight) {
        Sample(param, functions, src, srcStride, dst, dstStride);
    } else {
        Scale(param, functions, src, srcStride, dst, dstStride);
    }
}

}  // namespace Base
}  // namespace Simd
