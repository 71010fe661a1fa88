// The choice among the portable resizers.

#include "simd/simd_resizer.h"

#include <cstdint>

#include "simd/simd_resizer_rules.h"

namespace Simd {

template class Array<std::int32_t>;
template class Array<std::uint32_t>;
template class Array<std::uint8_t>;
template class Array<float>;
template class Array<GatherBlock>;
template class Table<std::int32_t>;
template class Table<std::uint32_t>;
template class Table<std::uint8_t>;
template class Table<float>;
template class Table<GatherBlock>;

Resizer::Resizer(const ResizerParam& parameters) : param(parameters) {}

Resizer::~Resizer() = default;

namespace Base {
namespace {

constexpr std::uint32_t ALIGNMENT = 4;

constexpr ResizerRule RULES[] = {
    {[](const ResizerParam& p) {
         return p.srcWidth == 1 || p.srcHeight == 1 || p.method == ResizerMethodNearest ||
                p.method == ResizerMethodNearestCorner;
     },
     create<ResizerNearest>},
    {[](const ResizerParam& p) { return isBytes(p, ResizerMethodBilinear); },
     create<ResizerByteBilinear>},
    {isBicubicOfTwo, create<ResizerByteBilinear>},
    {[](const ResizerParam& p) { return isBytes(p, ResizerMethodBicubic); },
     create<ResizerByteBicubic>},
    {[](const ResizerParam& p) {
         return p.type == ResizerChannelShort && p.method == ResizerMethodBilinear;
     },
     create<ResizerShortBilinear>},
    {isBilinearFloat, create<ResizerFloatBilinear>},
    {[](const ResizerParam& p) { return isBytes(p, ResizerMethodAreaFast) && halvesBoth(p); },
     create<ResizerByteArea2x2>},
    {[](const ResizerParam& p) { return isBytes(p, ResizerMethodArea); },
     create<ResizerByteArea1x1>},
    {[](const ResizerParam& p) { return isBytes(p, ResizerMethodAreaFast); },
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
    return createByRules(
        RULES, {type, method, srcWidth, srcHeight, dstWidth, dstHeight, channels, ALIGNMENT});
}

}  // namespace Base
}  // namespace Simd
