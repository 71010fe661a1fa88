// The steps of the affine warp on any processor, and the choice among all variants.

#include "simd/simd_platform.h"
#include "simd/simd_warp_steps_portable.h"

namespace Simd {
namespace Base {

const WarpSteps Steps = PORTABLE_STEPS;

}  // namespace Base

namespace {

#ifdef TAVO_FMA

bool fmaEnabled() {
#ifdef __arm__
    constexpr std::uint32_t HARDWARE_CAPABILITIES = 16;
    constexpr std::uint32_t VFPV4 = 1u << 16;
#ifdef TAVO_NEON
    // That variant is built for both.
    return Neon::Enable && AuxvBitSet(HARDWARE_CAPABILITIES, VFPV4);
#else
    return AuxvBitSet(HARDWARE_CAPABILITIES, VFPV4);
#endif
#else
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#endif
}

#endif

WarpSteps fastestSteps() {
    WarpSteps steps = Base::Steps;
#ifdef TAVO_FMA
    if (fmaEnabled()) {
        steps = Fma::Steps;
    }
#endif
#ifdef TAVO_NEON
    if (Neon::Enable) {
        steps.locateNearest = Neon::LocateNearest;
        steps.locateBilinear = Neon::LocateBilinear;
        for (std::size_t i = 0; i < 4; ++i) {
            steps.blend[i] = Neon::Blend[i];
        }
    }
#endif
    return steps;
}

}  // namespace

const WarpSteps& FastestWarpSteps() {
    static const WarpSteps steps = fastestSteps();
    return steps;
}

}  // namespace Simd
