// Rows of the nearest resizer in vectors. The tables of the object decide which form serves: table
// look-ups in windows of the source row, every second pixel, or copies of single pixels.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Simd {

constexpr std::uint32_t NEAREST_BLOCK = 16;  ///< bytes that a block writes, unless told otherwise
constexpr std::uint32_t NEAREST_WORD = 4;    ///< bytes that are moved at once where pixels allow

/// Neighbouring bytes of a destination row whose sources lie within a window of the source row.
struct NearestBlock {
    std::uint32_t src;  ///< first byte of the window
    std::uint32_t dst;  ///< first byte that is written
};

/// Row functions of one set of instructions. Nothing outside of the windows is read.
struct NearestRows {
    /// Writes blocks in their order.
    /// @param next      the source row that is wanted next; is not read
    /// @param positions of each byte of the blocks in the window, as many to a block as it writes
    ///                  or as `spread` leaves them; anything for bytes that come later
    using Gather = void(const std::uint8_t* src,
                        const std::uint8_t* next,
                        const NearestBlock* blocks,
                        const std::uint8_t* positions,
                        std::uint32_t count,
                        std::uint8_t* dst);

    /// Spreads positions where they lie, so that there are as many to a block as bytes in a window.
    using Spread = void(std::uint8_t* positions, std::uint32_t count);

    /// Copies the second of each two pixels.
    /// @param width of the destination, at least `halveWidth`
    using Halve = void(const std::uint8_t* src,
                       const std::uint8_t* next,
                       std::uint32_t width,
                       std::uint8_t* dst);

    /// One way to write blocks.
    struct Form {
        Gather* gather;
        Spread* spread;        ///< null where `gather` takes the positions as they are
        std::uint32_t block;   ///< bytes that a block writes
        std::uint32_t window;  ///< bytes of a window
        std::uint32_t least;   ///< bytes that a row has to have
        bool words;            ///< Whether it moves whole words, and wants all blocks full.
        float cost;            ///< pixels that are copied in the time of a block
    };

    static constexpr std::uint32_t HALVE_SIZE = 4;  ///< bytes of the largest pixel

    const Form* forms;
    std::uint32_t formCount;

    Halve* halve[HALVE_SIZE];  ///< for pixels of 1 to 4 bytes; null where blocks are as quick
    std::uint32_t halveWidth;  ///< least width that is halved, in pixels
};

namespace Neon {
extern const NearestRows NearestVectors;
}  // namespace Neon

namespace Avx2 {
extern const NearestRows NearestVectors;
}  // namespace Avx2

}  // namespace Simd
