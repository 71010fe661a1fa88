// The steps of the affine warp on any processor, and the choice among all variants.

#include "simd/simd_platform.h"
#include "simd/simd_warp_steps_portable.h"

namespace Simd {
namespace Base {

const WarpSteps Steps = PORTABLE_STEPS;

}  // namespace Base

namespace {

#ifdef TAVO_NEON
constexpr bool NEON_BUILT = true;
#else
constexpr bool NEON_BUILT = false;
#endif

WarpSteps fastestSteps() {
    WarpSteps steps = Base::Steps;
#ifdef TAVO_FMA
    // On 32-bit ARM with NEON variants that source is built for both.
    const bool has_vectors = Neon::Enable || !NEON_BUILT;
    if (has_vectors && HasFusedMultiplyAdd()) {
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
