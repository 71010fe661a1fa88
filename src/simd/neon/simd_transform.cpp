// Image transforms: pixels change their places and nothing else. Either tiles are transposed in
// registers or blocks of a row are reversed; the walk (simd_transform.h) knows the rest of a mode.
// What remains is less than a tile or block, so one more is done that overlaps the last. Images
// smaller than a tile or block are moved pixel by pixel.

#include "simd/simd_transform.h"

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "simd/simd_kernels.h"

namespace Simd {
namespace Neon {
namespace {

/// Calls @p move with the walk at every block of COLUMNS or of ROWS; the other one is 0. When less
/// than a block remains, the last one overlaps what is in front of it.
template <std::uint32_t COLUMNS, std::uint32_t ROWS, std::size_t PIXEL_SIZE, class Move>
inline void forBlocks(Walk<PIXEL_SIZE> walk, std::uint32_t count, Move move) {
    constexpr std::uint32_t BLOCK = COLUMNS + ROWS;
    for (std::uint32_t blocks = count / BLOCK; blocks != 0; --blocks) {
        move(walk);
        walk = walk.at(COLUMNS, ROWS);
    }
    if (const std::uint32_t rest = count % BLOCK) {
        const std::ptrdiff_t back = std::ptrdiff_t(rest) - std::ptrdiff_t(BLOCK);
        move(walk.at(COLUMNS != 0 ? back : 0, ROWS != 0 ? back : 0));
    }
}

// ---- Vectors of pixels -------------------------------------------------------------------------

/// The bytes of 8 pixels of 3 bytes.
struct Bytes24 {
    uint8x16_t front;
    uint8x8_t back;
};

template <class Vector>
struct Zipped {
    Vector low;
    Vector high;
};

inline Zipped<uint8x16_t> zip(uint8x16_t a, uint8x16_t b) {
    const uint8x16x2_t zipped = vzipq_u8(a, b);
    return {zipped.val[0], zipped.val[1]};
}

inline Zipped<uint16x8_t> zip(uint16x8_t a, uint16x8_t b) {
    const uint16x8x2_t zipped = vzipq_u16(a, b);
    return {zipped.val[0], zipped.val[1]};
}

// The parts are zipped apart.
inline Zipped<Bytes24> zip(Bytes24 a, Bytes24 b) {
    const uint8x16x2_t front = vzipq_u8(a.front, b.front);
    const uint8x8x2_t back = vzip_u8(a.back, b.back);
    return {{front.val[0], back.val[0]}, {front.val[1], back.val[1]}};
}

inline Zipped<uint32x4_t> zip(uint32x4_t a, uint32x4_t b) {
    const uint32x4x2_t zipped = vzipq_u32(a, b);
    return {zipped.val[0], zipped.val[1]};
}

inline void load(const std::uint8_t* src, uint8x16_t& v) {
    v = vld1q_u8(src);
}

inline void load(const std::uint8_t* src, uint16x8_t& v) {
    v = vreinterpretq_u16_u8(vld1q_u8(src));
}

inline void load(const std::uint8_t* src, Bytes24& v) {
    v = {vld1q_u8(src), vld1_u8(src + 16)};
}

inline void load(const std::uint8_t* src, uint32x4_t& v) {
    v = vreinterpretq_u32_u8(vld1q_u8(src));
}

// Stores a transposed tile. A vector has the pixels of one column, or of two when they are bytes;
// each column goes to a row of the target.

inline void store(const uint8x16_t (&v)[8], std::uint8_t* dst, std::ptrdiff_t step) {
#pragma GCC unroll 8
    for (const uint8x16_t twoColumns : v) {
        vst1_u8(dst, vget_low_u8(twoColumns));
        dst += step;
        vst1_u8(dst, vget_high_u8(twoColumns));
        dst += step;
    }
}

inline void store(const uint16x8_t (&v)[8], std::uint8_t* dst, std::ptrdiff_t step) {
#pragma GCC unroll 8
    for (const uint16x8_t column : v) {
        vst1q_u8(dst, vreinterpretq_u8_u16(column));
        dst += step;
    }
}

// Three columns of bytes are one of pixels.
inline void store(const Bytes24 (&v)[8], std::uint8_t* dst, std::ptrdiff_t step) {
    uint8x8_t bytes[24];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < 8; ++i) {
        bytes[2 * i] = vget_low_u8(v[i].front);
        bytes[2 * i + 1] = vget_high_u8(v[i].front);
        bytes[16 + i] = v[i].back;
    }
#pragma GCC unroll 8
    for (std::size_t i = 0; i < 24; i += 3) {
        const uint8x8x3_t column = {{bytes[i], bytes[i + 1], bytes[i + 2]}};
        vst3_u8(dst, column);
        dst += step;
    }
}

inline void store(const uint32x4_t (&v)[4], std::uint8_t* dst, std::ptrdiff_t step) {
#pragma GCC unroll 4
    for (const uint32x4_t column : v) {
        vst1q_u8(dst, vreinterpretq_u8_u32(column));
        dst += step;
    }
}

// ---- Tiles -------------------------------------------------------------------------------------

/// ROWS rows of COLUMNS pixels, which become COLUMNS rows of ROWS pixels.
template <std::size_t PIXEL_SIZE>
struct Tile;

template <>
struct Tile<1> {
    using Vector = uint8x16_t;
    static constexpr std::uint32_t ROWS = 8;
    static constexpr std::uint32_t COLUMNS = 16;
};

template <>
struct Tile<2> {
    using Vector = uint16x8_t;
    static constexpr std::uint32_t ROWS = 8;
    static constexpr std::uint32_t COLUMNS = 8;
};

template <>
struct Tile<3> {
    using Vector = Bytes24;
    static constexpr std::uint32_t ROWS = 8;
    static constexpr std::uint32_t COLUMNS = 8;
};

template <>
struct Tile<4> {
    using Vector = uint32x4_t;
    static constexpr std::uint32_t ROWS = 4;
    static constexpr std::uint32_t COLUMNS = 4;
};

/// Zips the first half of the vectors with the second, log2(COUNT) times. Then the vectors, read as
/// one, hold the first lane of each, the second of each, and so on.
template <std::size_t COUNT, class Vector>
inline void transpose(Vector (&v)[COUNT]) {
#pragma GCC unroll 3
    for (std::size_t stage = COUNT; stage > 1; stage /= 2) {
        Vector zipped[COUNT];
#pragma GCC unroll 4
        for (std::size_t i = 0; i < COUNT / 2; ++i) {
            const auto both = zip(v[i], v[i + COUNT / 2]);
            zipped[2 * i] = both.low;
            zipped[2 * i + 1] = both.high;
        }
#pragma GCC unroll 8
        for (std::size_t i = 0; i < COUNT; ++i) {
            v[i] = zipped[i];
        }
    }
}

template <std::size_t PIXEL_SIZE>
inline void moveTile(Walk<PIXEL_SIZE> walk) {
    using Tile = Tile<PIXEL_SIZE>;
    typename Tile::Vector v[Tile::ROWS];
#pragma GCC unroll 8
    for (std::size_t y = 0; y < Tile::ROWS; ++y) {
        load(walk.src, v[y]);
        walk.src += walk.srcStep;
    }
    transpose(v);
    store(v, walk.dst, walk.columnStep);
}

template <std::size_t PIXEL_SIZE>
inline void transposeBand(Walk<PIXEL_SIZE> walk, std::uint32_t width, std::uint32_t height) {
    using Tile = Tile<PIXEL_SIZE>;
    forBlocks<Tile::COLUMNS, 0>(walk, width, [height](Walk<PIXEL_SIZE> columns) {
        forBlocks<0, Tile::ROWS>(columns, height, [](Walk<PIXEL_SIZE> tile) { moveTile(tile); });
    });
}

// Rows that are done together. Their cache lines stay at hand for the next columns, and the target
// gets whole lines.
constexpr std::uint32_t BAND = 64;

template <std::size_t PIXEL_SIZE>
void transposeTiles(Walk<PIXEL_SIZE> walk, std::uint32_t width, std::uint32_t height) {
    if (width < Tile<PIXEL_SIZE>::COLUMNS || height < Tile<PIXEL_SIZE>::ROWS) {
        movePixels(walk, width, height);
        return;
    }
    for (; height > BAND; height -= BAND) {
        transposeBand(walk, width, BAND);
        walk = walk.at(0, BAND);
    }
    transposeBand(walk, width, height);
}

// ---- Rows --------------------------------------------------------------------------------------

/// Reverses 8 groups of 4 bytes, and the pixels within them.
template <std::size_t PIXEL_SIZE>
struct Block {
    static constexpr std::uint32_t PIXELS = 32 / PIXEL_SIZE;

    static inline void reverse(const std::uint8_t* __restrict src, std::uint8_t* __restrict dst) {
        constexpr std::size_t FLIP = 4 - PIXEL_SIZE;
        const uint8x8x4_t v = vld4_u8(src);
        const uint8x8x4_t reversed = {{vrev64_u8(v.val[0 ^ FLIP]), vrev64_u8(v.val[1 ^ FLIP]),
                                       vrev64_u8(v.val[2 ^ FLIP]), vrev64_u8(v.val[3 ^ FLIP])}};
        vst4_u8(dst, reversed);
    }
};

template <>
struct Block<3> {
    static constexpr std::uint32_t PIXELS = 8;

    static inline void reverse(const std::uint8_t* __restrict src, std::uint8_t* __restrict dst) {
        const uint8x8x3_t v = vld3_u8(src);
        const uint8x8x3_t reversed = {
            {vrev64_u8(v.val[0]), vrev64_u8(v.val[1]), vrev64_u8(v.val[2])}};
        vst3_u8(dst, reversed);
    }
};

template <std::size_t PIXEL_SIZE>
void reverseRows(Walk<PIXEL_SIZE> walk, std::uint32_t width, std::uint32_t height) {
    using Block = Block<PIXEL_SIZE>;
    if (width < Block::PIXELS) {
        movePixels(walk, width, height);
        return;
    }
    for (; height != 0; --height, walk = walk.at(0, 1)) {
        forBlocks<Block::PIXELS, 0>(walk, width, [](Walk<PIXEL_SIZE> block) {
            // The last pixel of a block comes first in the target.
            Block::reverse(block.src, block.dst - PIXEL_SIZE * (Block::PIXELS - 1));
        });
    }
}

// ---- Table -------------------------------------------------------------------------------------

template <std::size_t PIXEL_SIZE, std::uint32_t MODE>
void replace(TransformTable& table) {
    constexpr auto move =
        SYMMETRIES[MODE].transposes ? transposeTiles<PIXEL_SIZE> : reverseRows<PIXEL_SIZE>;
    table.entry[(PIXEL_SIZE - 1) * TRANSFORM_MODES + MODE] = transform<PIXEL_SIZE, MODE, move>;
}

template <std::size_t PIXEL_SIZE>
void replaceModes(TransformTable& table) {
    replace<PIXEL_SIZE, ImageTransformRotate90>(table);
    replace<PIXEL_SIZE, ImageTransformRotate180>(table);
    replace<PIXEL_SIZE, ImageTransformRotate270>(table);
    replace<PIXEL_SIZE, ImageTransformTranspose>(table);
    replace<PIXEL_SIZE, ImageTransformFlipHorizontal>(table);
    replace<PIXEL_SIZE, ImageTransformAntiTranspose>(table);
}

// The copies of rows stay as they are.
TransformTable transforms() {
    TransformTable table = Base::Transforms();
    replaceModes<1>(table);
    replaceModes<2>(table);
    replaceModes<3>(table);
    replaceModes<4>(table);
    return table;
}

}  // namespace

void ImageTransform(const std::uint8_t* src,
                    std::uint32_t srcStride,
                    std::uint32_t width,
                    std::uint32_t height,
                    std::uint32_t pixelSize,
                    std::uint32_t mode,
                    std::uint8_t* dst,
                    std::uint32_t dstStride) {
    static const TransformTable table = transforms();
    runTransform(table, src, srcStride, width, height, pixelSize, mode, dst, dstStride);
}

}  // namespace Neon
}  // namespace Simd
