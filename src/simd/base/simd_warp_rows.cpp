// The affine warp of rows. With whole-number rounding r and the position
//
//     sx = fmaf(x, inv[0], y inv[1]) + inv[2],  sy = fmaf(x, inv[3], y inv[4]) + inv[5]
//
// nearest takes the pixel (r(sx), r(sy)), limited to the source. Bilinear mixes the four pixels
// around the position with weights of 5 fractional bits; the weights of all four add up to 1024.
// Each row is cut into what lies outside, where tests are needed, and the long rest without tests.
// The rests of neighbouring rows are warped block by block: what a block of a row reads lies next
// to what the same block of the next row reads, in lines and pages that are at hand then.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "simd/simd_fused.h"
#include "simd/simd_platform.h"
#include "simd/simd_warp_rows.h"
#include "simd/simd_warp_steps.h"

namespace Simd {
namespace Base {
namespace {

/// The stride of a bottom-up image is negative and arrives wrapped.
inline std::ptrdiff_t stepOf(std::uint32_t stride) {
    return std::int32_t(stride);
}

inline float positionAt(const WarpAxis& axis, std::int32_t column) {
    return fused(float(column), axis.slope, axis.start) + axis.shift;
}

/// The largest indices that a test-free block may have. There are none where an offset could exceed
/// 31 bits.
struct Reach {
    std::int32_t x;
    std::int32_t y;

    /// @param columns that are read of a row
    /// @param rows    that are read
    Reach(const WarpAffineParam& param, std::uint32_t columns, std::uint32_t rows)
        : x(std::int32_t(param.srcW - columns)), y(std::int32_t(param.srcH - rows)) {
        const std::int64_t step = std::abs(std::int64_t(stepOf(param.srcS)));
        if (std::int64_t(param.srcW) * param.channels + step * param.srcH > INT32_MAX) {
            x = -1;
        }
    }
};

template <std::size_t CHANNELS>
inline std::ptrdiff_t bytesOf(std::int32_t pixels) {
    return std::ptrdiff_t(pixels) * std::ptrdiff_t(CHANNELS);
}

template <std::size_t BYTES>
inline void copy(const std::uint8_t* src, std::uint8_t* dst) {
    std::memcpy(dst, src, BYTES);
}

/// Gives the columns @p first to @p last - 1 of @p row the border, unless it is transparent.
template <std::size_t CHANNELS>
void fillBorder(const WarpAffineParam& param,
                std::uint8_t* row,
                std::int32_t first,
                std::int32_t last) {
    if ((param.flags & WarpAffineBorderTransparent) || first >= last) {
        return;
    }
    const std::uint8_t* const border = param.border;
    std::uint8_t* const begin = row + bytesOf<CHANNELS>(first);
    std::uint8_t* const end = row + bytesOf<CHANNELS>(last);
    if (std::count(border, border + CHANNELS, border[0]) == CHANNELS) {
        std::memset(begin, border[0], std::size_t(end - begin));
        return;
    }
    for (std::uint8_t* pixel = begin; pixel != end; pixel += CHANNELS) {
        copy<CHANNELS>(border, pixel);
    }
}

/// Rows that a prefetch has for its way.
constexpr float ROWS_AHEAD = 8.0f;

inline std::int32_t bytesAhead(const WarpAffineParam& param) {
    const float x = ROWS_AHEAD * param.inv[1];
    const float y = ROWS_AHEAD * param.inv[4];
    const bool near = std::fabs(x) < float(param.srcW) && std::fabs(y) < float(param.srcH);
    const std::int64_t bytes =
        near ? round(y) * std::int64_t(stepOf(param.srcS)) + round(x) * std::int64_t(param.channels)
             : 0;
    return std::int32_t(bytes);
}

/// What the lines of all rows have in common.
WarpLine lineThrough(const WarpAffineParam& param, const std::uint8_t* source) {
    return {{param.inv[0], 0, param.inv[2]},
            {param.inv[3], 0, param.inv[5]},
            source,
            std::int32_t(stepOf(param.srcS)),
            std::int32_t(param.srcW),
            std::int32_t(param.srcH),
            bytesAhead(param)};
}

/// One destination row and what it is made of. A sampler adds how: `within(column)` tells whether a
/// column needs no tests, and `sample(column)` does one with tests.
struct Row {
    const WarpAffineParam& param;
    const Reach& reach;
    WarpLine line;
    std::uint8_t* const dst;

    Row(const WarpAffineParam& parameters,
        const Reach& limits,
        const WarpLine& common,
        std::uint32_t y,
        std::uint8_t* destination)
        : param(parameters),
          reach(limits),
          line(common),
          dst(destination + std::ptrdiff_t(y) * stepOf(param.dstS)) {
        line.x.start = float(y) * param.inv[1];
        line.y.start = float(y) * param.inv[4];
    }

    std::ptrdiff_t step() const { return line.stride; }
};

/// Columns of a row that need no tests.
struct Span {
    WarpLine line;
    std::uint8_t* dst;  // the row
    std::int32_t begin;
    std::int32_t end;
};

template <class Sampler>
void sampleColumns(const Sampler& sampler, std::int32_t first, std::int32_t last) {
    for (; first < last; ++first) {
        sampler.sample(first);
    }
}

/// Does the columns from @p first to @p last - 1 that need tests. Positions rise or fall along a
/// row, rounding included, so that all between two columns within the source are within it.
/// @return the others
template <class Sampler>
Span sampleEdges(const Sampler& sampler, std::int32_t first, std::int32_t last) {
    for (; first < last && !sampler.within(first); ++first) {
        sampler.sample(first);
    }
    for (; first < last && !sampler.within(last - 1); --last) {
        sampler.sample(last - 1);
    }
    if (last - first < std::int32_t(WARP_LEAST)) {
        sampleColumns(sampler, first, last);
        first = last;
    }
    return {sampler.line, sampler.dst, first, last};
}

/// The last block of a row overlaps the one before where it would be too narrow.
template <std::size_t CHANNELS>
void warpSpans(WarpKernel::Warp* warp, const Span* spans, std::uint32_t count) {
    bool any = true;
    for (std::int32_t done = 0; any; done += std::int32_t(WARP_BLOCK)) {
        any = false;
        for (const Span* span = spans; span != spans + count; ++span) {
            const std::int32_t left = span->end - span->begin - done;
            if (left > 0) {
                const auto size = std::clamp(std::uint32_t(left), WARP_LEAST, WARP_BLOCK);
                const std::int32_t column =
                    std::min(span->begin + done, span->end - std::int32_t(size));
                warp(span->line, column, size, span->dst + bytesOf<CHANNELS>(column));
                any = true;
            }
        }
    }
}

/// Rows whose blocks are warped together.
constexpr std::uint32_t BAND = 16;

/// Calls @p edges(y) for each row, which does what needs tests and returns the others.
template <std::size_t CHANNELS, class Edges>
void warpBands(WarpKernel::Warp* warp, std::uint32_t begin, std::uint32_t end, Edges edges) {
    while (begin < end) {
        Span spans[BAND];
        std::uint32_t count = 0;
        for (; count < BAND && begin < end; ++count, ++begin) {
            spans[count] = edges(begin);
        }
        warpSpans<CHANNELS>(warp, spans, count);
    }
}

/// The kernels that suit this processor and the warp.
const WarpKernels& fastestKernels(const WarpAffineParam& param);

// ---- Nearest ------------------------------------------------------------------------------------

template <std::size_t CHANNELS>
struct Nearest : Row {
    using Row::Row;

    bool within(std::int32_t column) const {
        const std::int32_t ix = truncate(positionAt(line.x, column) + 0.5f);
        const std::int32_t iy = truncate(positionAt(line.y, column) + 0.5f);
        return ix >= 0 && ix <= reach.x && iy >= 0 && iy <= reach.y;
    }

    void sample(std::int32_t column) const;
};

template <std::size_t CHANNELS>
void Nearest<CHANNELS>::sample(std::int32_t column) const {
    const float sx = positionAt(line.x, column);
    const float sy = positionAt(line.y, column);
    if (!std::isfinite(sx) || !std::isfinite(sy)) {
        fillBorder<CHANNELS>(param, dst, column, column + 1);
        return;
    }
    const std::int32_t ix = std::clamp(round(sx), 0, std::int32_t(param.srcW - 1));
    const std::int32_t iy = std::clamp(round(sy), 0, std::int32_t(param.srcH - 1));
    copy<CHANNELS>(line.src + iy * step() + bytesOf<CHANNELS>(ix), dst + bytesOf<CHANNELS>(column));
}

/// Pixels of three bytes are copied with a fourth, which the next one replaces.
template <std::size_t CHANNELS>
void warpBlockNearest(const WarpLine& line,
                      std::int32_t column,
                      std::uint32_t size,
                      std::uint8_t* __restrict dst) {
    constexpr std::size_t BYTES = CHANNELS == 3 ? 4 : CHANNELS;
    const WarpSteps& steps = FastestWarpSteps();
    WarpBlock block;
    steps.position(line.x, column, size, block.x);
    steps.position(line.y, column, size, block.y);
    steps.locateNearest(block, size, line.stride, CHANNELS);
    const std::int32_t* __restrict offset = block.offset;
    const std::uint8_t* __restrict src = line.src;
    const std::size_t last = size - 1;
#pragma GCC unroll 8
    for (std::size_t i = 0; i < last; ++i) {
        copy<BYTES>(src + offset[i], dst + i * CHANNELS);
    }
    copy<CHANNELS>(src + offset[last], dst + last * CHANNELS);
}

template <std::size_t CHANNELS>
void warpNearest(const WarpAffineParam& param,
                 std::uint32_t begin,
                 std::uint32_t end,
                 const WarpRanges& ranges,
                 const std::uint8_t* src,
                 std::uint8_t* dst) {
    const WarpKernel& kernel = fastestKernels(param).nearest[CHANNELS - 1];
    const Reach reach(param, kernel.pixels, 1);
    const WarpLine line = lineThrough(param, src);
    warpBands<CHANNELS>(kernel.warp, begin, end, [&](std::uint32_t y) {
        const Nearest<CHANNELS> row(param, reach, line, y, dst);
        fillBorder<CHANNELS>(param, row.dst, 0, ranges.beg[y]);
        fillBorder<CHANNELS>(param, row.dst, ranges.end[y], std::int32_t(param.dstW));
        return sampleEdges(row, ranges.beg[y], ranges.end[y]);
    });
}

// ---- Bilinear -----------------------------------------------------------------------------------

/// A position as the index of the sample before it and the weight of the one behind.
struct Split {
    std::int32_t index;
    std::int32_t weight;

    /// Positions with no sample among @p size ones, NaN too, are moved next to them.
    Split(float position, std::uint32_t size) {
        const float limit = float(size) + 1.0f;
        const float raised = position > -2.0f ? position : -2.0f;
        const float clamped = raised < limit ? raised : limit;
        index = truncate(clamped);
        index -= clamped < float(index) ? 1 : 0;
        weight = std::int32_t((clamped - float(index)) * 32.0f + 0.5f);
    }
};

template <std::size_t CHANNELS>
struct Bilinear : Row {
    using Row::Row;

    bool within(std::int32_t column) const {
        const float sx = positionAt(line.x, column);
        const float sy = positionAt(line.y, column);
        return sx >= 0 && truncate(sx) <= reach.x && sy >= 0 && truncate(sy) <= reach.y;
    }

    void sample(std::int32_t column) const;
};

template <std::size_t CHANNELS>
void Bilinear<CHANNELS>::sample(std::int32_t column) const {
    const Split x(positionAt(line.x, column), param.srcW);
    const Split y(positionAt(line.y, column), param.srcH);
    std::uint8_t* const pixel = dst + bytesOf<CHANNELS>(column);
    std::uint8_t substitute[CHANNELS];
    copy<CHANNELS>((param.flags & WarpAffineBorderTransparent) ? pixel : param.border, substitute);
    const auto sampleAt = [&](std::int32_t ix, std::int32_t iy) {
        const bool inside = ix >= 0 && std::uint32_t(ix) < param.srcW &&  //
                            iy >= 0 && std::uint32_t(iy) < param.srcH;
        return inside ? line.src + iy * step() + bytesOf<CHANNELS>(ix) : substitute;
    };
    const std::uint8_t* const p00 = sampleAt(x.index, y.index);
    const std::uint8_t* const p01 = sampleAt(x.index + 1, y.index);
    const std::uint8_t* const p10 = sampleAt(x.index, y.index + 1);
    const std::uint8_t* const p11 = sampleAt(x.index + 1, y.index + 1);
    for (std::size_t c = 0; c < CHANNELS; ++c) {
        const std::int32_t above = (32 - x.weight) * p00[c] + x.weight * p01[c];
        const std::int32_t below = (32 - x.weight) * p10[c] + x.weight * p11[c];
        pixel[c] = std::uint8_t(((32 - y.weight) * above + y.weight * below + 512) >> 10);
    }
}

/// Fetches the samples of a block as WarpBlock tells.
template <std::size_t CHANNELS>
void gather(const WarpLine& line, std::uint32_t size, WarpBlock& block) {
    constexpr std::size_t BYTES = CHANNELS < 3 ? 2 : 4;
    constexpr std::size_t SECOND = 2 * CHANNELS - BYTES;
    const std::uint8_t* const src = line.src;
    const std::ptrdiff_t step = line.stride;
    const std::int32_t* __restrict offset = block.offset;
    std::uint8_t(*__restrict upper)[4 * WARP_BLOCK] = block.samples[0];
    std::uint8_t(*__restrict lower)[4 * WARP_BLOCK] = block.samples[1];
#pragma GCC unroll 4
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint8_t* const above = src + offset[i];
        const std::uint8_t* const below = above + step;
        copy<BYTES>(above, upper[0] + BYTES * i);
        copy<BYTES>(below, lower[0] + BYTES * i);
        if constexpr (CHANNELS > 1) {
            copy<BYTES>(above + SECOND, upper[1] + BYTES * i);
            copy<BYTES>(below + SECOND, lower[1] + BYTES * i);
        }
    }
}

template <std::size_t CHANNELS>
void warpBlockBilinear(const WarpLine& line,
                       std::int32_t column,
                       std::uint32_t size,
                       std::uint8_t* dst) {
    const WarpSteps& steps = FastestWarpSteps();
    WarpBlock block;
    steps.position(line.x, column, size, block.x);
    steps.position(line.y, column, size, block.y);
    steps.locateBilinear(block, size, line.stride, CHANNELS);
    gather<CHANNELS>(line, size, block);
    steps.blend[CHANNELS - 1](block, size, dst);
}

template <std::size_t CHANNELS>
void warpBilinear(const WarpAffineParam& param,
                  std::uint32_t begin,
                  std::uint32_t end,
                  const WarpRanges& ranges,
                  const std::uint8_t* src,
                  std::uint8_t* dst) {
    const WarpKernel& kernel = fastestKernels(param).bilinear[CHANNELS - 1];
    const Reach reach(param, kernel.pixels, 2);
    const WarpLine line = lineThrough(param, src);
    warpBands<CHANNELS>(kernel.warp, begin, end, [&](std::uint32_t y) {
        const Bilinear<CHANNELS> row(param, reach, line, y, dst);
        fillBorder<CHANNELS>(param, row.dst, 0, ranges.lo[y]);
        fillBorder<CHANNELS>(param, row.dst, ranges.hi[y], std::int32_t(param.dstW));
        sampleColumns(row, ranges.lo[y], ranges.beg[y]);
        sampleColumns(row, ranges.end[y], ranges.hi[y]);
        return sampleEdges(row, ranges.beg[y], ranges.end[y]);
    });
}

// ---- Choice -------------------------------------------------------------------------------------

constexpr WarpKernels STEPS = {{{warpBlockNearest<1>, 1},
                                {warpBlockNearest<2>, 1},
                                {warpBlockNearest<3>, 2},
                                {warpBlockNearest<4>, 1}},
                               {{warpBlockBilinear<1>, 2},
                                {warpBlockBilinear<2>, 2},
                                {warpBlockBilinear<3>, 2},
                                {warpBlockBilinear<4>, 2}}};

#ifdef TAVO_AVX2
/// Whether windows have the samples of any eight columns, and indices and strides fit 16 bits. With
/// shifts up to LARGEST_SHIFT positions are off their line by less than 1/60. Rounding to weights
/// takes another 1/32 from one column to another.
bool fitsWindows(const WarpAffineParam& param) {
    constexpr float LARGEST_X = 1.9f;   // up to 15 indices, and one more sample
    constexpr float LARGEST_Y = 0.27f;  // up to 3
    constexpr float LARGEST_SHIFT = 262144.0f;
    constexpr std::uint32_t LEAST_ROWS = 4;
    const float* const inv = param.inv;
    return param.channels == 1 && std::abs(stepOf(param.srcS)) <= INT16_MAX &&
           param.srcW >= WARP_WINDOW && param.srcH >= LEAST_ROWS && param.srcH <= INT16_MAX &&
           std::fabs(inv[0]) <= LARGEST_X && std::fabs(inv[2]) <= LARGEST_SHIFT &&
           std::fabs(inv[3]) <= LARGEST_Y && std::fabs(inv[5]) <= LARGEST_SHIFT;
}
#endif

const WarpKernels& fastestKernels([[maybe_unused]] const WarpAffineParam& param) {
#ifdef TAVO_AVX2
    if (Avx2::Enable) {
        return fitsWindows(param) ? Avx2::WindowWarps : Avx2::Warps;
    }
#endif
    return STEPS;
}

}  // namespace

WarpRowFunction* const WarpNearestRows[4] = {warpNearest<1>, warpNearest<2>, warpNearest<3>,
                                             warpNearest<4>};

WarpRowFunction* const WarpBilinearRows[4] = {warpBilinear<1>, warpBilinear<2>, warpBilinear<3>,
                                              warpBilinear<4>};

}  // namespace Base
}  // namespace Simd
