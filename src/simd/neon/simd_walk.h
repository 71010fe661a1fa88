// The way of a NEON kernel through its images: as in simd_blocks.h, but the kernel's loads and
// stores move the positions on themselves. So a kernel takes references to them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/neon/simd_addresses.h"
#include "simd/neon/simd_vectors.h"
#include "simd/simd_blocks.h"

namespace Simd {
namespace Neon {
// Compiled into each kernel apart: nothing that is built for NEON may serve other code.
namespace {

inline void prefetch(const std::uint8_t*& src) {
    __builtin_prefetch(src + PREFETCH_DISTANCE);
    advance(src, 0);
}

/// Runs @p kernel on blocks of a row. What remains is narrower than a block, so the last block
/// overlaps what is in front of it.
template <std::size_t BLOCK, class Kernel, std::size_t... BLOCK_BYTES, class... Byte>
inline void walkRow(std::size_t width, Kernel kernel, Image<BLOCK_BYTES, Byte>... image) {
    for (std::size_t blocks = width / BLOCK; blocks != 0; --blocks) {
        kernel(image.position...);
    }
    if (const std::size_t rest = width % BLOCK) {
        ((image.position -= BLOCK_BYTES * (BLOCK - rest) / BLOCK), ...);
        kernel(image.position...);
    }
}

/// Runs @p kernel on blocks of BLOCK pixels of all images.
/// @param width in pixels, at least BLOCK
/// @param rows  of calls, each of which may take several rows of an image
template <std::size_t BLOCK, class Kernel, class... Image>
inline void walk(std::size_t width, std::uint32_t rows, Kernel kernel, Image... image) {
    for (; rows != 0; --rows) {
        walkRow<BLOCK>(width, kernel, image...);
        ((image.position += image.stride), ...);
    }
}

}  // namespace
}  // namespace Neon
}  // namespace Simd
