// The choice among the vector resizers. What they don't take goes to the portable ones.

#include "simd/simd_resizer.h"

#include <cstdint>

#include "simd/simd_platform.h"
#include "simd/simd_resizer_rules.h"

namespace Simd {
namespace Neon {
namespace {

constexpr std::uint32_t BLOCK = A;  // narrowest destination of the byte bilinear resizer

constexpr ResizerRule RULES[] = {
    {[](const ResizerParam& p) {
         return p.type == ResizerChannelShort && p.method == ResizerMethodBilinear &&
                p.channels == 1;
     },
     create<ResizerShortBilinear>},
    {isBilinearFloat, create<ResizerFloatBilinear>},
    {[](const ResizerParam& p) { return isBytes(p, ResizerMethodBilinear) && p.dstWidth >= BLOCK; },
     create<ResizerByteBilinear>},
    {[](const ResizerParam& p) { return isBicubicOfTwo(p) && p.dstWidth >= BLOCK; },
     create<ResizerByteBilinear>},
    {[](const ResizerParam& p) { return isBytes(p, ResizerMethodArea); },
     create<ResizerByteArea1x1>},
    {[](const ResizerParam& p) { return isBytes(p, ResizerMethodAreaFast) && !halvesBoth(p); },
     create<ResizerByteArea1x1>},
};

}  // namespace

Resizer* ResizerInit(std::uint32_t srcWidth,
                     std::uint32_t srcHeight,
                     std::uint32_t dstWidth,
                     std::uint32_t dstHeight,
                     std::uint32_t channels,
                     std::uint32_t type,
                     std::uint32_t method) {
    Resizer* resizer =
        createByRules(RULES, {type, method, srcWidth, srcHeight, dstWidth, dstHeight, channels, A});
    return resizer != nullptr ? resizer
                              : Base::ResizerInit(srcWidth, srcHeight, dstWidth, dstHeight,
                                                  channels, type, method);
}

}  // namespace Neon
}  // namespace Simd
