// Rows of the bicubic resizer in vectors. With the magnitudes of the weights, which are at most 128
// and so bytes, a horizontal sum is
//
//     h = w0 p(-1) - w1 p(0) - w2 p(1) + w3 p(2)
//
// w0 + w3 = 64 d (1 - d) <= 16 and w1 + w2 = 64 (2 - d)(1 + d) <= 144 before they are rounded, so
// that h lies within -145 * 255 and 17 * 255. Not h, but h + 2^14 fits 16 bits with a sign. It is
// stored in place of h, and a vertical sum, shifted by 14 bits, then takes the sum of its weights
// back. 16-bit lanes may wrap on the way to h + 2^14; vertical sums stay below 2^22.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Simd {

constexpr std::uint32_t BICUBIC_BLOCK = 8;        ///< elements that a block writes
constexpr std::int32_t BICUBIC_OFFSET = 1 << 14;  ///< of stored horizontal sums

/// Neighbouring elements of a row of sums whose taps lie within a window of the source row.
struct BicubicBlock {
    std::uint8_t weights[BICUBIC_BLOCK][4];  ///< magnitudes, of the taps of each element
    std::uint8_t position[BICUBIC_BLOCK];    ///< of each first tap in the window. Elements that
                                             ///< come with a later block have any.
    std::uint32_t src;                       ///< first byte of the window
    std::uint32_t dst;                       ///< first element that is written
};

/// Row functions of one set of instructions.
struct BicubicRows {
    /// Writes blocks of h + BICUBIC_OFFSET in their order. Nothing outside of the windows is read.
    /// @param channels distance of the taps
    using Sum = void(const std::uint8_t* src,
                     std::uint32_t channels,
                     const BicubicBlock* blocks,
                     std::uint32_t count,
                     std::int16_t* sums);

    /// Sums four rows.
    /// @param weights of the rows, with their signs
    /// @param size    elements, at least BLEND_SIZE
    using Blend = void(const std::int16_t* const (&rows)[4],
                       const std::int32_t* weights,
                       std::uint32_t size,
                       std::uint8_t* dst);

    static constexpr std::uint32_t WINDOWS = 2;
    static constexpr std::uint32_t WINDOW[WINDOWS] = {16, 32};  ///< bytes of the windows
    static constexpr std::uint32_t BLEND_SIZE = 16;

    Sum* sum[WINDOWS];
    Blend* blend;
};

namespace Neon {
extern const BicubicRows BicubicVectors;
}  // namespace Neon

namespace Avx2 {
extern const BicubicRows BicubicVectors;
}  // namespace Avx2

}  // namespace Simd
