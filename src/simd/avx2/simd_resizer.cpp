// The choice among the vector resizers. What they don't take goes to the portable ones.

#include "simd/simd_resizer.h"

#include <cstdint>

#include "simd/simd_platform.h"
#include "simd/simd_resizer_rules.h"

namespace Simd {
namespace Avx2 {
namespace {

constexpr std::uint32_t WINDOW = 16;  // bytes of a source row that are loaded at once
constexpr std::uint32_t MAX_CHANNELS = 4;
constexpr std::uint32_t FLOAT_LIMIT = 1u << 22;

/// A source of one column or row is always nearest.
bool isPlane(const ResizerParam& p) {
    return p.srcWidth > 1 && p.srcHeight > 1;
}

/// Whether the rows of bytes are wide enough for vectors.
bool isWide(const ResizerParam& p) {
    return isPlane(p) && p.dstWidth >= A && p.srcWidth * p.channels >= WINDOW &&
           p.channels <= MAX_CHANNELS;
}

bool isBilinearByte(const ResizerParam& p) {
    return isBytes(p, ResizerMethodBilinear) || isBicubicOfTwo(p);
}

/// Whether a pixel's centre is that of an odd number of source pixels, so that linear interpolation
/// copies the one in the middle. Up to the limit floats hold the centres.
bool isCopied(std::uint32_t src, std::uint32_t dst) {
    return src % dst == 0 && src / dst % 2 == 1 && src <= FLOAT_LIMIT;
}

/// Whether areas are 2 x 2 whole pixels, whose mean is what linear interpolation takes halfway.
bool isHalved(const ResizerParam& p) {
    return p.srcWidth == 2 * p.dstWidth && p.srcHeight == 2 * p.dstHeight &&
           p.srcWidth <= FLOAT_LIMIT && p.srcHeight <= FLOAT_LIMIT;
}

/// Whether areas of pixels lie within a source pixel, and are that. For these ratios the weights
/// are free of rounding.
bool isRepeated(std::uint32_t src, std::uint32_t dst) {
    const std::uint32_t times = dst / src;
    return dst % src == 0 && (times & (times - 1)) == 0 && dst <= FLOAT_LIMIT;
}

bool isArea(const ResizerParam& p) {
    return isPlane(p) && p.channels >= 1 && p.channels <= MAX_CHANNELS &&
           (isBytes(p, ResizerMethodArea) || isBytes(p, ResizerMethodAreaFast));
}

/// Whether sums of 2 x 2 pixels take the place of pixels.
bool isFastArea(const ResizerParam& p) {
    return isArea(p) && p.method == ResizerMethodAreaFast && halvesBoth(p);
}

Resizer* createNearest(const ResizerParam& p) {
    ResizerParam nearest = p;
    nearest.method = ResizerMethodNearest;
    return new Base::ResizerNearest(nearest);
}

constexpr ResizerRule RULES[] = {
    {[](const ResizerParam& p) {
         return isPlane(p) && isBilinearByte(p) && isCopied(p.srcWidth, p.dstWidth) &&
                isCopied(p.srcHeight, p.dstHeight);
     },
     createNearest},
    {[](const ResizerParam& p) { return isWide(p) && isBilinearByte(p); },
     create<ResizerByteBilinear>},
    {[](const ResizerParam& p) {
         return isPlane(p) && p.type == ResizerChannelShort && p.method == ResizerMethodBilinear;
     },
     create<ResizerShortBilinear>},
    {[](const ResizerParam& p) { return isPlane(p) && isBilinearFloat(p); },
     create<ResizerFloatBilinear>},
    {isFastArea, create<ResizerByteArea2x2>},
    {[](const ResizerParam& p) { return isArea(p) && isWide(p) && isHalved(p); },
     create<ResizerByteBilinear>},
    {[](const ResizerParam& p) {
         return isArea(p) && isRepeated(p.srcWidth, p.dstWidth) &&
                isRepeated(p.srcHeight, p.dstHeight);
     },
     createNearest},
    {isArea, create<ResizerByteArea1x1>},
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

}  // namespace Avx2
}  // namespace Simd
