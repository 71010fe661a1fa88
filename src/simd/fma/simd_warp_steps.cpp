// The steps of the affine warp where a fused step is an instruction.

#include "simd/simd_warp_steps_portable.h"

#ifdef __ARM_NEON
#include <arm_neon.h>

#include "simd/neon/simd_addresses.h"
#endif

namespace Simd {
namespace Fma {

#ifdef __ARM_NEON

namespace {

/// Vectors of this processor take subnormals for zero. Positions that differ by less than 2^-40 for
/// that reason are next to zero themselves, and give the same pixels and weights.
void positionVectors(const WarpAxis& axis,
                     std::int32_t column,
                     std::uint32_t size,
                     float* __restrict out) {
    constexpr std::int32_t FIRST[] = {0, 1, 2, 3};
    const float32x4_t slope = vdupq_n_f32(axis.slope);
    const float32x4_t start = vdupq_n_f32(axis.start);
    const float32x4_t shift = vdupq_n_f32(axis.shift);
    int32x4_t x = vaddq_s32(vdupq_n_s32(column), vld1q_s32(FIRST));
    for (std::uint32_t blocks = (size + 15) / 16; blocks != 0; --blocks) {
        for (int i = 0; i < 4; ++i) {
            vst1q_f32(out, vaddq_f32(vfmaq_f32(start, vcvtq_f32_s32(x), slope), shift));
            out = Neon::moved(out, 4);
            x = vaddq_s32(x, vdupq_n_s32(4));
        }
    }
}

constexpr WarpSteps vectorSteps() {
    WarpSteps steps = PORTABLE_STEPS;
    steps.position = positionVectors;
    return steps;
}

}  // namespace

const WarpSteps Steps = vectorSteps();

#else

const WarpSteps Steps = PORTABLE_STEPS;

#endif

}  // namespace Fma
}  // namespace Simd
