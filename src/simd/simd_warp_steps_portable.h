// The definition of the steps. Each source that includes this compiles them for its own set of
// instructions, so nothing here may have external linkage.
//
// Positions lie within the source, so that they convert to integers and the offsets fit 31 bits.
// Fractions become weights from 0 to 32. A horizontal sum is at most 32 * 255 = 8160, a vertical
// one at most 261120; with the rounding term and shifted by 10 bits it is a byte again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/simd_fused.h"
#include "simd/simd_warp_steps.h"

namespace Simd {
namespace {

inline void position(const WarpAxis& axis,
                     std::int32_t column,
                     std::uint32_t size,
                     float* __restrict out) {
    const WarpAxis local = axis;
    for (std::uint32_t i = 0; i < size; ++i) {
        const auto x = float(column + std::int32_t(i));
        out[i] = fused(x, local.slope, local.start) + local.shift;
    }
}

inline void locateNearest(WarpBlock& block,
                          std::uint32_t size,
                          std::int32_t stride,
                          std::int32_t pixelSize) {
    for (std::uint32_t i = 0; i < size; ++i) {
        const auto ix = std::int32_t(block.x[i] + 0.5f);
        const auto iy = std::int32_t(block.y[i] + 0.5f);
        block.offset[i] = iy * stride + ix * pixelSize;
    }
}

/// The fraction behind a whole position in units of 1/32, rounded.
inline std::uint8_t weightOf(float position, std::int32_t whole) {
    return std::uint8_t(std::int32_t((position - float(whole)) * 32.0f + 0.5f));
}

inline void locateBilinear(WarpBlock& block,
                           std::uint32_t size,
                           std::int32_t stride,
                           std::int32_t pixelSize) {
    for (std::uint32_t i = 0; i < size; ++i) {
        const auto ix = std::int32_t(block.x[i]);
        const auto iy = std::int32_t(block.y[i]);
        block.offset[i] = iy * stride + ix * pixelSize;
        block.wx[i] = weightOf(block.x[i], ix);
        block.wy[i] = weightOf(block.y[i], iy);
    }
}

/// @p a (32 - @p weight) + @p b weight, with a single product of halfwords.
inline std::int32_t mix(std::int16_t a, std::int16_t b, std::int16_t weight) {
    const auto difference = std::int16_t(b - a);
    return a * 32 + difference * weight;
}

inline std::uint8_t mix(std::uint8_t p00,
                        std::uint8_t p01,
                        std::uint8_t p10,
                        std::uint8_t p11,
                        std::uint8_t wx,
                        std::uint8_t wy) {
    const auto above = std::int16_t(mix(p00, p01, wx));
    const auto below = std::int16_t(mix(p10, p11, wx));
    return std::uint8_t((mix(above, below, wy) + 512) >> 10);
}

inline void blendGray(const WarpBlock& block, std::uint32_t size, std::uint8_t* __restrict dst) {
    const std::uint8_t* const upper = block.samples[0][0];
    const std::uint8_t* const lower = block.samples[1][0];
    for (std::size_t i = 0; i < size; ++i) {
        dst[i] = mix(upper[2 * i], upper[2 * i + 1], lower[2 * i], lower[2 * i + 1], block.wx[i],
                     block.wy[i]);
    }
}

/// Gives each of @p BYTES bytes of a pixel the pixel's weight.
template <std::size_t BYTES>
inline void repeat(const std::uint8_t* __restrict weight,
                   std::uint32_t size,
                   std::uint8_t* __restrict repeated) {
    for (std::size_t i = 0; i < size; ++i) {
        for (std::size_t k = 0; k < BYTES; ++k) {
            repeated[BYTES * i + k] = weight[i];
        }
    }
}

/// Blends pixels of @p BYTES bytes, all bytes alike. @p shift is where right pixels start.
template <std::size_t BYTES>
inline void blendBytes(const WarpBlock& block,
                       std::uint32_t size,
                       std::size_t shift,
                       std::uint8_t* __restrict dst) {
    std::uint8_t wx[BYTES * WARP_BLOCK];
    std::uint8_t wy[BYTES * WARP_BLOCK];
    repeat<BYTES>(block.wx, size, wx);
    repeat<BYTES>(block.wy, size, wy);
    const std::uint8_t* const p00 = block.samples[0][0];
    const std::uint8_t* const p01 = block.samples[0][1] + shift;
    const std::uint8_t* const p10 = block.samples[1][0];
    const std::uint8_t* const p11 = block.samples[1][1] + shift;
    for (std::size_t i = 0; i < BYTES * size - shift; ++i) {
        dst[i] = mix(p00[i], p01[i], p10[i], p11[i], wx[i], wy[i]);
    }
}

inline void blendPairs(const WarpBlock& block, std::uint32_t size, std::uint8_t* dst) {
    blendBytes<2>(block, size, 0, dst);
}

/// Three channels are blended with a byte of no meaning behind each pixel.
inline void blendTriples(const WarpBlock& block, std::uint32_t size, std::uint8_t* __restrict dst) {
    std::uint8_t words[4 * WARP_BLOCK];
    blendBytes<4>(block, size, 1, words);
    for (std::size_t i = 0; i + 1 < size; ++i) {
        std::memcpy(dst + 3 * i, words + 4 * i, 4);
    }
    std::memcpy(dst + 3 * std::size_t(size - 1), words + 4 * std::size_t(size - 1), 3);
}

inline void blendQuads(const WarpBlock& block, std::uint32_t size, std::uint8_t* dst) {
    blendBytes<4>(block, size, 0, dst);
}

constexpr WarpSteps PORTABLE_STEPS = {
    position, locateNearest, locateBilinear, {blendGray, blendPairs, blendTriples, blendQuads}};

}  // namespace
}  // namespace Simd
