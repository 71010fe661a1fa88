// How a vector variant does the image transforms: tiles are transposed in registers, or blocks of a
// row are reversed; the walk knows the rest of a mode. What remains is less than a tile or block,
// so one more is done that overlaps the last. Images smaller than that are moved pixel by pixel.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/simd_kernels.h"
#include "simd/simd_transform.h"

namespace Simd {
// Compiled into each variant apart: code built for a vector unit must not serve other code.
namespace {

/// Calls @p move with the walk at every block of COLUMNS or of ROWS; the other one is 0. When less
/// than a block remains, the last one overlaps what is in front of it.
/// @param count of columns or rows; less than a block only where there are more in front
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

// ---- Columns become rows -----------------------------------------------------------------------

/// Zips the first half of the vectors with the second, log2(COUNT) times. Then the vectors, read as
/// one, hold the first element of each, the second of each, and so on.
/// @param zip of vectors a and b: gives them as `low` and `high`, their elements alternating
template <std::size_t COUNT, class Vector, class Zip>
inline void transpose(Vector (&v)[COUNT], Zip zip) {
#pragma GCC unroll 4
    for (std::size_t stage = COUNT; stage > 1; stage /= 2) {
        Vector zipped[COUNT];
#pragma GCC unroll 8
        for (std::size_t i = 0; i < COUNT / 2; ++i) {
            const auto both = zip(v[i], v[i + COUNT / 2]);
            zipped[2 * i] = both.low;
            zipped[2 * i + 1] = both.high;
        }
#pragma GCC unroll 16
        for (std::size_t i = 0; i < COUNT; ++i) {
            v[i] = zipped[i];
        }
    }
}

constexpr std::uint32_t CACHE_LINE = 64;

/// Fetches what comes after some columns: a line of each row whenever a new one has begun, and the
/// lines of the next columns' targets. Each is in another row, so that no machine foresees it.
/// As a function that only prefetches, the compiler would take the call for one without effect.
template <class Tile, std::size_t PIXEL_SIZE>
[[gnu::always_inline]] inline void prefetchAfter(Walk<PIXEL_SIZE> columns, std::uint32_t height) {
    if (reinterpret_cast<std::uintptr_t>(columns.src) % CACHE_LINE < Tile::COLUMNS * PIXEL_SIZE) {
        for (std::uint32_t y = 0; y < height; ++y) {
            __builtin_prefetch(columns.src + CACHE_LINE);
            columns.src += columns.srcStep;
        }
    }
    columns = columns.at(Tile::COLUMNS, 0);
    for (std::uint32_t x = 0; x < Tile::COLUMNS; ++x) {
        // Where the first line is not begun here, the rows above have fetched it.
        for (std::uint32_t i = CACHE_LINE; i <= height * PIXEL_SIZE; i += CACHE_LINE) {
            __builtin_prefetch(columns.dst + i - 1, 1);
        }
        columns.dst += columns.columnStep;
    }
}

template <class Tile, std::size_t PIXEL_SIZE>
inline void transposeBand(Walk<PIXEL_SIZE> walk, std::uint32_t width, std::uint32_t height) {
    forBlocks<Tile::COLUMNS, 0>(walk, width, [height](Walk<PIXEL_SIZE> columns) {
        if constexpr (Tile::IS_PREFETCHED) {
            prefetchAfter<Tile>(columns, height);
        }
        forBlocks<0, Tile::ROWS>(columns, height, [](Walk<PIXEL_SIZE> tile) { Tile::move(tile); });
    });
}

/// A block that goes by way of the stack, so that each line of the images is touched once. For rows
/// that lie a large power of two apart: their lines share so few places of the first cache that
/// they leave it before the next columns need them.
template <class Tile, std::size_t PIXEL_SIZE>
struct StagedBlock {
    static constexpr std::uint32_t COLUMNS = CACHE_LINE;
    static constexpr std::uint32_t ROWS = Tile::STAGED_ROWS;
    static constexpr std::ptrdiff_t ROW_BYTES = COLUMNS * PIXEL_SIZE;
    static constexpr std::ptrdiff_t COLUMN_BYTES = ROWS * PIXEL_SIZE;

    /// Whether 16 lines of a block's rows or columns share each place of the first cache that they
    /// have at all: more than it holds there.
    static bool isFor(Walk<PIXEL_SIZE> walk, std::uint32_t width) {
        constexpr std::ptrdiff_t PLACES_BYTES = 4096;  // after which places repeat
        constexpr std::ptrdiff_t CROWDED = 16 * PLACES_BYTES / std::ptrdiff_t{ROWS};
        return width >= COLUMNS && (walk.srcStep % CROWDED == 0 || walk.columnStep % CROWDED == 0);
    }

    static inline void move(Walk<PIXEL_SIZE> walk) {
        alignas(CACHE_LINE) std::uint8_t rows[ROWS * ROW_BYTES];
        alignas(CACHE_LINE) std::uint8_t columns[COLUMNS * COLUMN_BYTES];
        for (std::uint32_t y = 0; y < ROWS; ++y) {
            copyLines<ROW_BYTES>(walk.src, rows + y * ROW_BYTES);
            prefetchLines<ROW_BYTES>(walk.src + ROW_BYTES);
            walk.src += walk.srcStep;
        }
        const Walk<PIXEL_SIZE> staged = {rows, ROW_BYTES, columns, COLUMN_BYTES, PIXEL_SIZE};
        for (std::uint32_t x = 0; x < COLUMNS; x += Tile::COLUMNS) {
            for (std::uint32_t i = 0; i < Tile::COLUMNS; ++i) {
                prefetchLines<COLUMN_BYTES>(walk.dst + (i + COLUMNS) * walk.columnStep);
            }
            for (std::uint32_t y = 0; y < ROWS; y += Tile::ROWS) {
                Tile::move(staged.at(x, y));
            }
            for (std::uint32_t i = x; i < x + Tile::COLUMNS; ++i) {
                copyLines<COLUMN_BYTES>(columns + i * COLUMN_BYTES, walk.dst);
                walk.dst += walk.columnStep;
            }
        }
    }

private:
    template <std::ptrdiff_t BYTES>
    [[gnu::always_inline]] static inline void copyLines(const std::uint8_t* __restrict src,
                                                        std::uint8_t* __restrict dst) {
        for (std::ptrdiff_t i = 0; i < BYTES; i += CACHE_LINE) {
            Tile::copyLine(src + i, dst + i);
        }
    }

    /// Into the second cache, which has places enough. Of lines that begin in front of the bytes
    /// the first one is there already.
    template <std::ptrdiff_t BYTES>
    [[gnu::always_inline]] static inline void prefetchLines(const std::uint8_t* bytes) {
        for (std::ptrdiff_t i = CACHE_LINE; i <= BYTES; i += CACHE_LINE) {
            __builtin_prefetch(bytes + i - 1, 0, 2);
        }
    }
};

/// Whole staged blocks, where they are for such rows.
/// @return rows that are done
template <class Tile, std::size_t PIXEL_SIZE>
[[gnu::noinline]] std::uint32_t transposeStaged(Walk<PIXEL_SIZE> walk,
                                                std::uint32_t width,
                                                std::uint32_t height) {
    using Staged = StagedBlock<Tile, PIXEL_SIZE>;
    std::uint32_t done = 0;
    if (Staged::isFor(walk, width)) {
        for (; height - done >= Staged::ROWS; done += Staged::ROWS) {
            forBlocks<Staged::COLUMNS, 0>(walk.at(0, done), width,
                                          [](Walk<PIXEL_SIZE> block) { Staged::move(block); });
        }
    }
    return done;
}

/// Flattened, so that the blocks of a whole band have constant sizes.
template <class Tile, std::size_t PIXEL_SIZE>
[[gnu::flatten]] void transposeTiles(Walk<PIXEL_SIZE> walk,
                                     std::uint32_t width,
                                     std::uint32_t height) {
    // Rows that are done together: their lines stay at hand for the next columns, and the target
    // gets whole lines. Prefetched ones fill two lines of the target, and no more, so that few
    // leave the cache too early.
    constexpr std::uint32_t BAND =
        Tile::IS_PREFETCHED ? std::size_t{2} * CACHE_LINE / PIXEL_SIZE / Tile::ROWS * Tile::ROWS
                            : 64;
    if (width < Tile::COLUMNS || height < Tile::ROWS) {
        movePixels(walk, width, height);
        return;
    }
    if constexpr (Tile::STAGED_ROWS != 0) {
        const std::uint32_t done = transposeStaged<Tile>(walk, width, height);
        if (done == height) {
            return;
        }
        walk = walk.at(0, done);
        height -= done;
    }
    for (; height > BAND; height -= BAND) {
        transposeBand<Tile>(walk, width, BAND);
        walk = walk.at(0, BAND);
    }
    transposeBand<Tile>(walk, width, height);
}

// ---- Rows --------------------------------------------------------------------------------------

template <class Block, std::size_t PIXEL_SIZE>
void reverseRows(Walk<PIXEL_SIZE> walk, std::uint32_t width, std::uint32_t height) {
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

template <class Tile, class Block, std::size_t PIXEL_SIZE, std::uint32_t MODE>
inline void replace(TransformTable& table) {
    constexpr auto move = SYMMETRIES[MODE].transposes ? transposeTiles<Tile, PIXEL_SIZE>
                                                      : reverseRows<Block, PIXEL_SIZE>;
    table.entry[(PIXEL_SIZE - 1) * TRANSFORM_MODES + MODE] = transform<PIXEL_SIZE, MODE, move>;
}

template <class Tile, class Block, std::size_t PIXEL_SIZE>
inline void replaceModes(TransformTable& table) {
    replace<Tile, Block, PIXEL_SIZE, ImageTransformRotate90>(table);
    replace<Tile, Block, PIXEL_SIZE, ImageTransformRotate180>(table);
    replace<Tile, Block, PIXEL_SIZE, ImageTransformRotate270>(table);
    replace<Tile, Block, PIXEL_SIZE, ImageTransformTranspose>(table);
    replace<Tile, Block, PIXEL_SIZE, ImageTransformFlipHorizontal>(table);
    replace<Tile, Block, PIXEL_SIZE, ImageTransformAntiTranspose>(table);
}

/// The portable table with all but the copies of rows replaced.
/// @tparam Tile  of a pixel size: `move(walk)` makes COLUMNS rows of ROWS pixels from ROWS rows of
///               COLUMNS pixels. Where IS_PREFETCHED, the walk asks for what comes next. Where
///               STAGED_ROWS is not 0, blocks of so many rows may go by way of the stack, by
///               `copyLine(src, dst)`.
/// @tparam Block of a pixel size: `reverse(src, dst)` turns the order of PIXELS pixels
template <template <std::size_t> class Tile, template <std::size_t> class Block>
inline TransformTable vectorTransforms() {
    TransformTable table = Base::Transforms();
    replaceModes<Tile<1>, Block<1>, 1>(table);
    replaceModes<Tile<2>, Block<2>, 2>(table);
    replaceModes<Tile<3>, Block<3>, 3>(table);
    replaceModes<Tile<4>, Block<4>, 4>(table);
    return table;
}

}  // namespace
}  // namespace Simd
