// Image transforms: pixels change their places and nothing else. Tiles are transposed by zips, and
// blocks reversed as they are loaded and stored channel by channel.

#include "simd/simd_transform.h"

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "simd/simd_kernels.h"
#include "simd/simd_transform_tiles.h"

namespace Simd {
namespace Neon {
namespace {

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

template <class Vector>
inline void load(const std::uint8_t* src, Vector& v) {
    v = reinterpret_cast<Vector>(vld1q_u8(src));
}

inline void load(const std::uint8_t* src, Bytes24& v) {
    v = {vld1q_u8(src), vld1_u8(src + 16)};
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

template <class Vector, std::size_t COUNT>
inline void store(const Vector (&v)[COUNT], std::uint8_t* dst, std::ptrdiff_t step) {
#pragma GCC unroll 8
    for (const Vector column : v) {
        vst1q_u8(dst, reinterpret_cast<uint8x16_t>(column));
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

// ---- Tiles -------------------------------------------------------------------------------------

/// @tparam PIXELS  of a vector, which holds those of a row
template <std::size_t PIXEL_SIZE, class Vector, std::uint32_t PIXELS>
struct VectorTile {
    static constexpr std::uint32_t COLUMNS = PIXELS;
    static constexpr std::uint32_t ROWS = PIXELS < 8 ? PIXELS : 8;
    static constexpr bool IS_PREFETCHED = false;
    static constexpr std::uint32_t STAGED_ROWS = 0;

    static inline void move(Walk<PIXEL_SIZE> walk) {
        Vector v[ROWS];
#pragma GCC unroll 8
        for (std::size_t y = 0; y < ROWS; ++y) {
            load(walk.src, v[y]);
            walk.src += walk.srcStep;
        }
        transpose(v, [](Vector a, Vector b) { return zip(a, b); });
        store(v, walk.dst, walk.columnStep);
    }
};

template <std::size_t PIXEL_SIZE>
struct Tile;
template <>
struct Tile<1> : VectorTile<1, uint8x16_t, 16> {};
template <>
struct Tile<2> : VectorTile<2, uint16x8_t, 8> {};
template <>
struct Tile<3> : VectorTile<3, Bytes24, 8> {};
template <>
struct Tile<4> : VectorTile<4, uint32x4_t, 4> {};

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

}  // namespace

void ImageTransform(const std::uint8_t* src,
                    std::uint32_t srcStride,
                    std::uint32_t width,
                    std::uint32_t height,
                    std::uint32_t pixelSize,
                    std::uint32_t mode,
                    std::uint8_t* dst,
                    std::uint32_t dstStride) {
    static const TransformTable table = vectorTransforms<Tile, Block>();
    runTransform(table, src, srcStride, width, height, pixelSize, mode, dst, dstStride);
}

}  // namespace Neon
}  // namespace Simd
