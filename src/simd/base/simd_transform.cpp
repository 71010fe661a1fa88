// Image transforms: pixels change their places and nothing else. The walk (simd_transform.h) knows
// where they go, so that only three loops are left: rows are copied, reversed, or become columns.

#include "simd/simd_transform.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "simd/simd_kernels.h"

namespace Simd {
namespace Base {
namespace {

template <std::size_t PIXEL_SIZE>
void copyRows(Walk<PIXEL_SIZE> walk, std::uint32_t width, std::uint32_t height) {
    for (; height != 0; --height, walk = walk.at(0, 1)) {
        std::memcpy(walk.dst, walk.src, width * PIXEL_SIZE);
    }
}

// Rows that are moved together, column by column. A fixed count lets the compiler join the pixels
// of a column, which are neighbours in the target; and so few lines of the source stay in the cache
// even when the stride maps all of them to one set.
constexpr std::uint32_t BAND = 8;

template <std::size_t PIXEL_SIZE>
inline void transposeBand(Walk<PIXEL_SIZE> walk, std::uint32_t width, std::uint32_t height) {
    for (; width != 0; --width, walk = walk.at(1, 0)) {
        moveLine<PIXEL_SIZE>(walk.src, walk.srcStep, height, walk.dst, PIXEL_SIZE);
    }
}

template <std::size_t PIXEL_SIZE>
void transposeRows(Walk<PIXEL_SIZE> walk, std::uint32_t width, std::uint32_t height) {
    for (; height >= BAND; height -= BAND, walk = walk.at(0, BAND)) {
        transposeBand(walk, width, BAND);
    }
    transposeBand(walk, width, height);
}

template <std::size_t PIXEL_SIZE, std::uint32_t MODE>
constexpr TransformFunction* entry() {
    constexpr Symmetry symmetry = SYMMETRIES[MODE];
    constexpr auto move = symmetry.transposes       ? transposeRows<PIXEL_SIZE>
                          : symmetry.mirrorsColumns ? movePixels<PIXEL_SIZE>
                                                    : copyRows<PIXEL_SIZE>;
    return transform<PIXEL_SIZE, MODE, move>;
}

template <std::size_t... INDEX>
const TransformTable& tableOf(std::index_sequence<INDEX...>) {
    static const TransformTable table = {
        {entry<INDEX / TRANSFORM_MODES + 1, INDEX % TRANSFORM_MODES>()...}};
    return table;
}

}  // namespace

const TransformTable& Transforms() {
    return tableOf(std::make_index_sequence<std::size_t{4} * TRANSFORM_MODES>());
}

void ImageTransform(const std::uint8_t* src,
                    std::uint32_t srcStride,
                    std::uint32_t width,
                    std::uint32_t height,
                    std::uint32_t pixelSize,
                    std::uint32_t mode,
                    std::uint8_t* dst,
                    std::uint32_t dstStride) {
    runTransform(Transforms(), src, srcStride, width, height, pixelSize, mode, dst, dstStride);
}

}  // namespace Base
}  // namespace Simd
