// The way of a vector kernel through its images: blocks of a row, rows of an image. For kernels
// whose targets are not their sources.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/simd_row_step.h"

namespace Simd {
// Compiled into each kernel apart: code built for a vector unit must not serve other code.
namespace {

/// An image that is walked through; `Byte` is const when it is only read.
/// @tparam BLOCK_BYTES  bytes of it that belong to a block
template <std::size_t BLOCK_BYTES, class Byte>
struct Image {
    static constexpr std::size_t BYTES = BLOCK_BYTES;

    Byte* position;
    RowStep stride;  ///< to the next row that the kernel is called for
};

template <std::size_t BLOCK_BYTES>
using Source = Image<BLOCK_BYTES, const std::uint8_t>;
template <std::size_t BLOCK_BYTES>
using Target = Image<BLOCK_BYTES, std::uint8_t>;

/// For kernels that take COUNT blocks at once.
template <std::size_t COUNT, std::size_t BLOCK_BYTES, class Byte>
constexpr Image<COUNT * BLOCK_BYTES, Byte> times(Image<BLOCK_BYTES, Byte> image) {
    return {image.position, image.stride};
}

template <std::size_t BLOCK, class Kernel, std::size_t... BLOCK_BYTES, class... Byte>
inline void processRow(std::size_t width, Kernel kernel, Image<BLOCK_BYTES, Byte>... image) {
    for (std::size_t blocks = width / BLOCK; blocks != 0; --blocks) {
        kernel(image.position...);
        ((image.position += BLOCK_BYTES), ...);
    }
    // What remains is narrower than a block, so the last block overlaps the one before.
    if (const std::size_t rest = width % BLOCK) {
        ((image.position -= BLOCK_BYTES * (BLOCK - rest) / BLOCK), ...);
        kernel(image.position...);
    }
}

/// Runs @p kernel on blocks of BLOCK pixels of all images. It is called in two places and made part
/// of both, so that its constants stay in registers.
/// @param width in pixels, at least BLOCK; even where two pixels share a chroma sample
/// @param rows  of calls, each of which may take several rows of an image
template <std::size_t BLOCK, class Kernel, class... Image>
[[gnu::flatten]] inline void process(std::size_t width,
                                     std::uint32_t rows,
                                     Kernel kernel,
                                     Image... image) {
    for (; rows != 0; --rows) {
        processRow<BLOCK>(width, kernel, image...);
        ((image.position += image.stride), ...);
    }
}

}  // namespace
}  // namespace Simd
