// The horizontal pass of area scaling on the 32-bit sums of columns: a pixel is a vector of four
// elements, whatever its channels.
//
// With b the sum of a column, C their running sum up to a cell, and for each edge k
//
//     E(k) = ax[k] b[ix[k]] - ax[0] C[ix[k]]
//
// the sum of pixel k is E(k) - E(k + 1), in arithmetic modulo 2^32: the share behind the first
// edge, the whole cells up to the second, less the share behind that. E(0) is 0. So a pixel takes
// two products however many cells it covers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/simd_area_tables.h"

namespace Simd {
// Compiled into each variant apart: code built for a vector unit must not serve the portable one.
namespace {

/// @tparam Words vectors of four 32-bit elements: the type `Quad`, and functions `zero`, `load`,
///               `repeat` an element in memory, `add`, `subtract`, `multiply`, and
///               `subtractProduct(a, b, c)`, a - b c
template <std::size_t CHANNELS, class Words>
class ColumnSummer {
public:
    using Quad = typename Words::Quad;

    ColumnSummer(const std::uint32_t* sums, const AreaAxis& columns)
        : _sums(sums),
          _edge(columns.index),
          _weight(columns.weight),
          _full(Words::repeat(columns.weight)),
          _cell(Words::load(sums)),
          _running(_cell),
          _before(Words::zero()),
          _begin(*columns.index) {}

    /// The sum of the next pixel. Elements beyond the channels mean nothing.
    Quad next() {
        const std::int32_t end = *++_edge;
        for (std::int32_t cells = end - _begin; cells != 0; --cells) {
            _sums += CHANNELS;
            _cell = Words::load(_sums);
            _running = Words::add(_running, _cell);
        }
        _begin = end;
        ++_weight;
        const Quad share = Words::multiply(_cell, Words::repeat(_weight));
        const Quad edgeSum = Words::subtractProduct(share, _running, _full);
        const Quad pixel = Words::subtract(_before, edgeSum);
        _before = edgeSum;
        return pixel;
    }

private:
    const std::uint32_t* __restrict _sums;
    const std::int32_t* __restrict _edge;
    const std::int32_t* __restrict _weight;
    Quad _full;
    Quad _cell;
    Quad _running;
    Quad _before;
    std::int32_t _begin;
};

/// @tparam Words those of the class, and `store(first, second, to, next)`, which rounds two pixels
///               and stores four bytes of each
/// @param sums   may be read up to three elements beyond the last one
template <std::size_t CHANNELS, class Words>
inline void sumColumns(const std::uint32_t* sums,
                       const AreaAxis& columns,
                       std::uint32_t width,
                       std::uint8_t* __restrict dst) {
    ColumnSummer<CHANNELS, Words> pixels(sums, columns);
    // Four bytes are stored at once; what is too much the next pixel writes over.
    constexpr std::uint32_t NARROWEST = (sizeof(std::uint32_t) - 1) / CHANNELS + 2;
    for (; width >= NARROWEST; width -= 2, dst += 2 * CHANNELS) {
        const auto first = pixels.next();
        Words::store(first, pixels.next(), dst, dst + CHANNELS);
    }
    for (; width != 0; --width, dst += CHANNELS) {
        const auto last = pixels.next();
        std::uint8_t bytes[sizeof(std::uint32_t)];
        Words::store(last, last, bytes, bytes);
        std::memcpy(dst, bytes, CHANNELS);
    }
}

}  // namespace
}  // namespace Simd
