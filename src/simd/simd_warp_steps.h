// The affine warp of columns whose samples all lie in the source, as steps on blocks of one
// destination row: where the columns come from, which bytes and weights that means, and, once the
// samples are fetched, their weighted sums. Each step is a plain loop, which can be widened.
#pragma once

#include <cstdint>

namespace Simd {

/// Columns of a block, and of the narrowest one.
constexpr std::uint32_t WARP_BLOCK = 256;
constexpr std::uint32_t WARP_LEAST = 8;

/// A source coordinate along a destination row: `slope` x + `start`, rounded once, plus `shift`.
struct WarpAxis {
    float slope;
    float start;
    float shift;
};

/// The scratch of a block. Vectors may read and write all of it; what stands behind the block's
/// columns means nothing.
struct WarpBlock {
    alignas(16) float x[WARP_BLOCK];  ///< position in the source
    float y[WARP_BLOCK];
    std::int32_t offset[WARP_BLOCK];  ///< bytes from the first source pixel to the upper left one
    std::uint8_t wx[WARP_BLOCK];      ///< weight of the right samples, 0 to 32
    std::uint8_t wy[WARP_BLOCK];      ///< weight of the lower samples, 0 to 32

    /// Samples of the upper and of the lower row. With one channel the first array holds the pixels
    /// of each pair side by side. Otherwise it has the left pixels and the second the right ones.
    /// Three channels take four bytes: the first and the last four of the six of a pair, so that
    /// nothing else is read. There a right pixel starts at the second byte.
    std::uint8_t samples[2][2][4 * WARP_BLOCK];
};

/// A set of steps. Sizes are WARP_LEAST to WARP_BLOCK.
struct WarpSteps {
    /// Positions of the columns from @p column on.
    using Position = void(const WarpAxis& axis,
                          std::int32_t column,
                          std::uint32_t size,
                          float* position);

    /// Offsets, and for bilinear weights, from positions. All samples lie in the source; for
    /// nearest a position may be up to a pixel before those of its first pixel.
    /// @param stride of the source in bytes, negative where it is bottom-up
    using Locate = void(WarpBlock& block,
                        std::uint32_t size,
                        std::int32_t stride,
                        std::int32_t pixelSize);

    /// With weights a = 32 - wx, b = wx, c = 32 - wy, d = wy:
    /// (a c p00 + b c p01 + a d p10 + b d p11 + 512) >> 10
    using Blend = void(const WarpBlock& block, std::uint32_t size, std::uint8_t* dst);

    Position* position;
    Locate* locateNearest;
    Locate* locateBilinear;
    Blend* blend[4];  ///< for 1 to 4 channels
};

namespace Base {
extern const WarpSteps Steps;
}  // namespace Base

/// The same compiled for fused multiply-add as an instruction. Not beside AVX2, which takes no
/// steps.
namespace Fma {
extern const WarpSteps Steps;
}  // namespace Fma

/// All but the positions, which need a fused step.
namespace Neon {
extern WarpSteps::Locate LocateNearest;
extern WarpSteps::Locate LocateBilinear;
extern WarpSteps::Blend* const Blend[4];
}  // namespace Neon

/// The steps in the form that suits this processor.
const WarpSteps& FastestWarpSteps();

/// A destination row's way through the source.
struct WarpLine {
    WarpAxis x;
    WarpAxis y;
    const std::uint8_t* src;  ///< the first pixel
    std::int32_t stride;      ///< of the source in bytes, negative where it is bottom-up
    std::int32_t width;       ///< of the source in pixels
    std::int32_t height;      ///< of the source in rows
    std::int32_t ahead;       ///< bytes to what a row some way on reads in place of a sample, about
};

/// A way to warp a block of columns whose samples all lie in the source.
struct WarpKernel {
    /// @param size columns, WARP_LEAST to WARP_BLOCK
    using Warp = void(const WarpLine& line,
                      std::int32_t column,
                      std::uint32_t size,
                      std::uint8_t* dst);

    Warp* warp;
    std::uint32_t pixels;  ///< that are read of a row, from the position's first one on
};

/// For 1 to 4 channels.
struct WarpKernels {
    WarpKernel nearest[4];
    WarpKernel bilinear[4];
};

/// Bytes of a row in a window.
constexpr std::uint32_t WARP_WINDOW = 16;

namespace Avx2 {
extern const WarpKernels Warps;

/// For one channel, where windows of the source have all samples of eight columns: in three rows,
/// for bilinear in four.
extern const WarpKernels WindowWarps;
}  // namespace Avx2

}  // namespace Simd
