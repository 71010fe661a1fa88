// What both variants of the image transforms build on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/simd_kernels.h"
#include "simd/simd_row_step.h"

namespace Simd {

/// ImageTransform of one pixel size and mode, for images with at least one pixel.
using TransformFunction = void(const std::uint8_t* src,
                               std::uint32_t srcStride,
                               std::uint32_t width,
                               std::uint32_t height,
                               std::uint8_t* dst,
                               std::uint32_t dstStride);

constexpr std::uint32_t TRANSFORM_MODES = 8;

/// Indexed by (pixelSize - 1) * TRANSFORM_MODES + mode.
struct TransformTable {
    TransformFunction* entry[4 * TRANSFORM_MODES];
};

namespace Base {

const TransformTable& Transforms();

}  // namespace Base

// Compiled into each variant apart: code built for NEON must not serve the portable one.
namespace {

/// What a mode does: columns and rows change direction, then columns become rows.
struct Symmetry {
    bool mirrorsColumns;
    bool mirrorsRows;
    bool transposes;
};

// In the order of ImageTransformMode.
constexpr Symmetry SYMMETRIES[TRANSFORM_MODES] = {
    {false, false, false}, {true, false, true},  {true, true, false}, {false, true, true},
    {false, false, true},  {true, false, false}, {true, true, true},  {false, true, false}};

/// The way of the pixels from source to target: pixel (x, y) of the walk is at
/// `src + x * PIXEL_SIZE + y * srcStep` and goes to `dst + x * columnStep + y * rowStep`.
template <std::size_t PIXEL_SIZE>
struct Walk {
    const std::uint8_t* src;
    std::ptrdiff_t srcStep;
    std::uint8_t* dst;
    std::ptrdiff_t columnStep;
    std::ptrdiff_t rowStep;

    /// The walk that starts at (x, y) of this one.
    Walk at(std::ptrdiff_t x, std::ptrdiff_t y) const {
        return {src + x * std::ptrdiff_t(PIXEL_SIZE) + y * srcStep, srcStep,
                dst + x * columnStep + y * rowStep, columnStep, rowStep};
    }
};

/// The walk over the rows of the source, from the last to the first where the mode mirrors rows.
/// So only columns ever run backwards in the target.
template <std::size_t PIXEL_SIZE, std::uint32_t MODE>
inline Walk<PIXEL_SIZE> walkOf(const std::uint8_t* src,
                               std::uint32_t srcStride,
                               std::uint32_t width,
                               std::uint32_t height,
                               std::uint8_t* dst,
                               std::uint32_t dstStride) {
    constexpr Symmetry symmetry = SYMMETRIES[MODE];
    const std::ptrdiff_t srcStep = RowStep(srcStride);
    const std::ptrdiff_t dstStep = RowStep(dstStride);
    const auto pixelStep = std::ptrdiff_t(PIXEL_SIZE);
    Walk<PIXEL_SIZE> walk = {src, srcStep, dst, symmetry.transposes ? dstStep : pixelStep,
                             symmetry.transposes ? pixelStep : dstStep};
    if (symmetry.mirrorsRows) {
        walk.src += std::ptrdiff_t(height - 1) * srcStep;
        walk.srcStep = -srcStep;
    }
    if (symmetry.mirrorsColumns) {
        walk.dst += std::ptrdiff_t(width - 1) * walk.columnStep;
        walk.columnStep = -walk.columnStep;
    }
    return walk;
}

template <std::size_t PIXEL_SIZE>
inline void moveLine(const std::uint8_t* __restrict src,
                     std::ptrdiff_t srcStep,
                     std::uint32_t count,
                     std::uint8_t* __restrict dst,
                     std::ptrdiff_t dstStep) {
    for (; count != 0; --count, src += srcStep, dst += dstStep) {
        std::memcpy(dst, src, PIXEL_SIZE);
    }
}

/// Moves the pixels one by one.
template <std::size_t PIXEL_SIZE>
inline void movePixels(Walk<PIXEL_SIZE> walk, std::uint32_t width, std::uint32_t height) {
    for (; height != 0; --height, walk = walk.at(0, 1)) {
        moveLine<PIXEL_SIZE>(walk.src, PIXEL_SIZE, width, walk.dst, walk.columnStep);
    }
}

/// The table's entry for a mode whose pixels are moved by @p MOVE.
template <std::size_t PIXEL_SIZE,
          std::uint32_t MODE,
          void (*MOVE)(Walk<PIXEL_SIZE>, std::uint32_t width, std::uint32_t height)>
void transform(const std::uint8_t* src,
               std::uint32_t srcStride,
               std::uint32_t width,
               std::uint32_t height,
               std::uint8_t* dst,
               std::uint32_t dstStride) {
    MOVE(walkOf<PIXEL_SIZE, MODE>(src, srcStride, width, height, dst, dstStride), width, height);
}

/// Calls the entry of the size and mode, unless there is no pixel.
inline void runTransform(const TransformTable& table,
                         const std::uint8_t* src,
                         std::uint32_t srcStride,
                         std::uint32_t width,
                         std::uint32_t height,
                         std::uint32_t pixelSize,
                         std::uint32_t mode,
                         std::uint8_t* dst,
                         std::uint32_t dstStride) {
    if (width != 0 && height != 0) {
        TransformFunction* const entry = table.entry[(pixelSize - 1) * TRANSFORM_MODES + mode];
        entry(src, srcStride, width, height, dst, dstStride);
    }
}

}  // namespace
}  // namespace Simd
