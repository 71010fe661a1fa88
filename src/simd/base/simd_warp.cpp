// Making an affine warp, and finding the columns of each destination row that lie in the source.

#include "simd/simd_warp.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "simd/simd_parallel.h"
#include "simd/simd_platform.h"
#include "simd/simd_warp_rows.h"

namespace Simd {

WarpAffine::WarpAffine(const WarpAffineParam& parameters)
    : param(parameters), threads(GetThreadCount()) {}

WarpAffine::~WarpAffine() = default;

WarpAffineQuad WarpAffine::ToDestination(float left, float top, float right, float bottom) const {
    const float xs[] = {left, right, right, left};
    const float ys[] = {top, top, bottom, bottom};
    const float* const m = param.mat;
    WarpAffineQuad quad;
    for (std::uint32_t i = 0; i < 4; ++i) {
        quad.x[i] = std::fmaf(xs[i], m[0], ys[i] * m[1]) + m[2];
        quad.y[i] = std::fmaf(xs[i], m[3], ys[i] * m[4]) + m[5];
    }
    return quad;
}

namespace Base {
namespace {

/// The inverse of @p mat, in which all factors are 0 when there is none.
void invert(const float (&mat)[6], float (&inv)[6]) {
    const float determinant = std::fmaf(mat[0], mat[4], -(mat[3] * mat[1]));
    const double scale = determinant != 0 ? 1.0 / double(determinant) : 0.0;
    const double a11 = double(mat[4]) * scale;
    const double a12 = double(-mat[1]) * scale;
    const double a21 = double(-mat[3]) * scale;
    const double a22 = double(mat[0]) * scale;
    const double b1 = std::fma(-a11, double(mat[2]), -(double(mat[5]) * a12));
    const double b2 = std::fma(-a21, double(mat[2]), -(double(mat[5]) * a22));
    const double inverse[] = {a11, a12, b1, a21, a22, b2};
    std::transform(inverse, inverse + 6, inv, [](double value) { return float(value); });
}

/// The line from a corner to the next one, as far as it crosses rows of the destination.
struct Edge {
    float slope;  // columns per row
    float origin;
    float low;  // rows from `low` to `high`
    float high;
    bool valid;  // false for a line along a row, and where numbers are too large

    Edge(const WarpAffineQuad& quad, std::uint32_t corner, std::uint32_t rows) {
        const std::uint32_t next = (corner + 1) & 3;
        const float y0 = quad.y[corner];
        const float y1 = quad.y[next];
        slope = y0 != y1 ? (quad.x[next] - quad.x[corner]) / (y1 - y0) : NAN;
        origin = std::fmaf(-y0, slope, quad.x[corner]);
        low = std::max(std::min(y0, y1), 0.0f);
        high = std::min(float(rows), std::max(y0, y1));
        valid = std::isfinite(origin);
    }

    float at(float row) const { return std::fmaf(slope, row, origin); }

    float atClamped(float row) const { return at(std::max(std::min(row, high), low)); }
};

/// True when all corners lie on one row, at columns that are numbers.
bool isLevel(const WarpAffineQuad& quad) {
    return std::equal(quad.y, quad.y + 3, quad.y + 1) &&
           std::all_of(quad.x, quad.x + 4, [](float x) { return std::isfinite(x); });
}

constexpr std::uint32_t alignUp(std::uint32_t value, std::uint32_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

}  // namespace

WarpAffine* WarpAffineInit(std::uint32_t srcW,
                           std::uint32_t srcH,
                           std::uint32_t srcS,
                           std::uint32_t dstW,
                           std::uint32_t dstH,
                           std::uint32_t dstS,
                           std::uint32_t channels,
                           const float* mat,
                           std::uint32_t flags,
                           const std::uint8_t* border) {
    if (channels < 1 || channels > 4) {
        return nullptr;
    }
    WarpAffineParam param = {flags, {}, {}, {}, srcW, srcH, srcS, dstW, dstH, dstS, channels, 1};
    std::memcpy(param.mat, mat, sizeof(param.mat));
    if (border && (flags & (WarpAffineBorderTransparent | WarpAffineChannelBit)) == 0) {
        std::memcpy(param.border, border, channels);
    }
    invert(param.mat, param.inv);
    if (param.inv[0] == 0 && param.inv[1] == 0 && param.inv[3] == 0 && param.inv[4] == 0) {
        return nullptr;
    }
    if ((flags & WarpAffineInterpBilinear) == 0) {
        return new WarpAffineNearest(param);
    }
    return (flags & WarpAffineChannelBit) != 0 ? nullptr : new WarpAffineByteBilinear(param);
}

// ---- Nearest ------------------------------------------------------------------------------------

WarpAffineNearest::WarpAffineNearest(const WarpAffineParam& parameters)
    : WarpAffine(parameters), run(WarpNearestRows[parameters.channels - 1]) {}

WarpAffineNearest::~WarpAffineNearest() = default;

void WarpAffineNearest::Run(const std::uint8_t* src, std::uint8_t* dst) {
    if (first) {
        Prepare();
    }
    const WarpRanges ranges = {beg.data, end.data, nullptr, nullptr};
    Parallel(
        0, param.dstH,
        [&](std::uint32_t, std::uint32_t rowBegin, std::uint32_t rowEnd) {
            run(param, rowBegin, rowEnd, ranges, src, dst);
        },
        threads, 1);
    first = false;
}

void WarpAffineNearest::Prepare() {
    beg.Resize(param.dstH);
    end.Resize(param.dstH);
    stride = (alignUp(param.dstW, param.align) + param.align) * 4;
    buffer.Resize(std::uint64_t(threads) * stride);
    SetRange(ToDestination(0, 0, float(param.srcW - 1), float(param.srcH - 1)));
}

void WarpAffineNearest::SetRange(const WarpAffineQuad& quad) {
    const auto width = std::int32_t(param.dstW);
    const auto height = std::int32_t(param.dstH);
    std::fill_n(beg.data, param.dstH, width);
    std::fill_n(end.data, param.dstH, 0);
    const auto include = [&](std::int32_t y, float xa, float xb) {
        beg.data[y] = std::min(beg.data[y], std::max(round(std::min(xa, xb)), 0));
        end.data[y] = std::max(end.data[y], std::min(round(std::max(xa, xb)), width - 1) + 1);
    };
    for (std::uint32_t i = 0; i < 4; ++i) {
        const Edge edge(quad, i, param.dstH);
        if (!edge.valid) {
            continue;
        }
        const bool shallow = std::abs(edge.slope) > 1;  // crosses several columns within a row
        const std::int32_t last = std::min(round(edge.high), height - 1);
        for (std::int32_t y = round(edge.low); y <= last; ++y) {
            const auto row = float(y);
            const float xa = shallow ? edge.atClamped(row - 0.5f) : edge.at(row);
            const float xb = shallow ? edge.atClamped(row + 0.5f) : xa;
            include(y, xa, xb);
        }
    }
    // A row or column of pixels that comes to lie along a row has level edges only.
    const std::int32_t row = round(quad.y[0]);
    if (isLevel(quad) && row >= 0 && row < height) {
        const auto [left, right] = std::minmax_element(quad.x, quad.x + 4);
        include(row, *left, *right);
    }
}

// ---- Bilinear -----------------------------------------------------------------------------------

WarpAffineByteBilinear::WarpAffineByteBilinear(const WarpAffineParam& parameters)
    : WarpAffine(parameters), run(WarpBilinearRows[parameters.channels - 1]) {}

WarpAffineByteBilinear::~WarpAffineByteBilinear() = default;

void WarpAffineByteBilinear::Run(const std::uint8_t* src, std::uint8_t* dst) {
    if (first) {
        Prepare();
    }
    const WarpRanges ranges = {beg, end, lo, hi};
    Parallel(
        0, param.dstH,
        [&](std::uint32_t, std::uint32_t rowBegin, std::uint32_t rowEnd) {
            run(param, rowBegin, rowEnd, ranges, src, dst);
        },
        threads, 1);
    first = false;
}

void WarpAffineByteBilinear::Prepare() {
    range.Resize(std::uint64_t(4) * param.dstH);
    beg = range.data;
    end = beg + param.dstH;
    lo = end + param.dstH;
    hi = lo + param.dstH;
    const std::uint32_t columnSize = param.channels == 3 ? 26 : 4 * param.channels + 10;
    stride = std::max(columnSize * (alignUp(param.dstW, param.align) + param.align),
                      std::uint32_t(2 * sizeof(float)) * param.dstH);
    buffer.Resize(std::uint64_t{threads} * stride);

    // Up to almost a pixel outside there is a sample inside.
    constexpr float OUTER = -0.9999f;
    constexpr float HAIR = 0.0001f;
    SetRange(ToDestination(OUTER, OUTER, float(param.srcW) - HAIR, float(param.srcH) - HAIR), lo,
             hi, nullptr);
    SetRange(ToDestination(HAIR, HAIR, float(param.srcW - 1) - HAIR, float(param.srcH - 1) - HAIR),
             beg, end, hi);
}

void WarpAffineByteBilinear::SetRange(const WarpAffineQuad& quad,
                                      std::int32_t* begColumns,
                                      std::int32_t* endColumns,
                                      const std::int32_t* limits) {
    const auto width = float(param.dstW);
    void* const scratch = buffer.data;
    auto* const minX = static_cast<float*>(scratch);
    float* const maxX = minX + param.dstH;
    std::fill_n(minX, param.dstH, width);
    std::fill_n(maxX, param.dstH, 0.0f);
    for (std::uint32_t i = 0; i < 4; ++i) {
        const Edge edge(quad, i, param.dstH);
        if (!edge.valid) {
            continue;
        }
        const std::int32_t behind =
            std::min(truncate(std::ceil(edge.high)), std::int32_t(param.dstH));
        for (std::int32_t y = truncate(std::ceil(edge.low)); y < behind; ++y) {
            const float x = edge.atClamped(float(y));
            minX[y] = std::min(minX[y], std::max(x, 0.0f));
            maxX[y] = std::max(maxX[y], std::min(x, width));
        }
    }
    for (std::uint32_t y = 0; y < param.dstH; ++y) {
        // Floats can't hold every large width.
        const std::int32_t limit = limits ? limits[y] : std::int32_t(param.dstW);
        const std::int32_t low = truncate(std::ceil(minX[y]));
        const std::int32_t high = std::max(truncate(std::ceil(maxX[y])), low);
        begColumns[y] = std::min(low, limit);
        endColumns[y] = std::min(high, limit);
    }
}

}  // namespace Base
}  // namespace Simd
