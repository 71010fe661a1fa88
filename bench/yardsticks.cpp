#include "yardsticks.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench {
namespace {

using std::ptrdiff_t;

unsigned char* rowOf(const Frame& frame, int plane, int row) {
    return frame.planeData(plane) + ptrdiff_t(row) * frame.layout().plane[plane].stride;
}

unsigned char colour(int sum) {
    return static_cast<unsigned char>(std::min(std::max(sum, 0) >> 8, 255));
}

void nv12ToBgr(const Frame& src, Frame& dst) {
    for (int row = 0; row < dst.height(); ++row) {
        const unsigned char* __restrict const y = rowOf(src, 0, row);
        const unsigned char* __restrict const uv = rowOf(src, 1, row / 2);
        unsigned char* __restrict const bgr = rowOf(dst, 0, row);
        for (ptrdiff_t x = 0; x < dst.width(); x += 2) {
            const int u = uv[x] - 128;
            const int v = uv[x + 1] - 128;
            const int b = 516 * u;
            const int g = -100 * u - 207 * v;
            const int r = 408 * v;
            for (ptrdiff_t i = x; i < x + 2; ++i) {
                const int luma = 297 * (y[i] - 16);
                bgr[3 * i] = colour(luma + b);
                bgr[3 * i + 1] = colour(luma + g);
                bgr[3 * i + 2] = colour(luma + r);
            }
        }
    }
}

/// The neighbours of a target sample, and its distance from the first.
struct BilinearPosition {
    ptrdiff_t first;
    ptrdiff_t second;
    std::uint32_t fraction;
};

std::vector<BilinearPosition> bilinearPositions(int src_length, int dst_length) {
    const int step = (src_length << 16) / dst_length;
    std::vector<BilinearPosition> positions;
    for (int i = 0; i < dst_length; ++i) {
        const int position = std::max((step - 0x10000) / 2 + i * step, 0);
        const int first = position >> 16;
        positions.push_back(
            {first, std::min(first + 1, src_length - 1), std::uint32_t(position & 0xffff)});
    }
    return positions;
}

std::uint32_t between(std::uint32_t a, std::uint32_t b, std::uint32_t fraction) {
    return (fraction * b + (0x10000 - fraction) * a) >> 16;
}

void scaleBilinear(const Frame& src, Frame& dst) {
    const std::vector<BilinearPosition> xs = bilinearPositions(src.width(), dst.width());
    const std::vector<BilinearPosition> ys = bilinearPositions(src.height(), dst.height());
    for (int row = 0; row < dst.height(); ++row) {
        const BilinearPosition& y = ys[std::size_t(row)];
        const unsigned char* __restrict const first = rowOf(src, 0, int(y.first));
        const unsigned char* __restrict const second = rowOf(src, 0, int(y.second));
        unsigned char* __restrict const out = rowOf(dst, 0, row);
        for (std::size_t i = 0; i < xs.size(); ++i) {
            const BilinearPosition& x = xs[i];
            for (ptrdiff_t c = 0; c < 3; ++c) {
                const ptrdiff_t a = 3 * x.first + c;
                const ptrdiff_t b = 3 * x.second + c;
                const std::uint32_t top = between(first[a], first[b], x.fraction);
                const std::uint32_t bottom = between(second[a], second[b], x.fraction);
                out[3 * ptrdiff_t(i) + c] =
                    static_cast<unsigned char>(between(top, bottom, y.fraction));
            }
        }
    }
}

/// Where a target sample begins, and what its first source sample weighs.
struct AreaEdge {
    int first;
    std::uint32_t weight;
};

struct AreaAxis {
    std::uint32_t whole;  // weight of a source sample; a target sample has 1 << 15
    std::vector<AreaEdge> edges;

    AreaAxis(int src_length, int dst_length) {
        const int step = (dst_length << 15) / src_length;
        whole = std::uint32_t(step);
        for (int i = 0; i < dst_length; ++i) {
            const int first = int(std::int64_t(i) * src_length / dst_length);
            const int weight = step * (first + 1) - (i << 15);
            edges.push_back({first, std::uint32_t(std::clamp(weight, 0, 1 << 15))});
        }
        edges.push_back({src_length, whole});
    }
};

/// One row, horizontally.
void averageColumns(const AreaAxis& axis,
                    const unsigned char* __restrict src,
                    ptrdiff_t src_width,
                    unsigned char* __restrict dst) {
    for (std::size_t i = 0; i + 1 < axis.edges.size(); ++i) {
        const AreaEdge& edge = axis.edges[i];
        const AreaEdge& next = axis.edges[i + 1];
        const ptrdiff_t last = std::min(ptrdiff_t(next.first), src_width - 1);
        std::uint32_t inner[3] = {};
        for (ptrdiff_t k = edge.first + 1; k < next.first; ++k) {
            for (ptrdiff_t c = 0; c < 3; ++c) {
                inner[c] += src[3 * k + c];
            }
        }
        for (ptrdiff_t c = 0; c < 3; ++c) {
            const std::uint32_t sum = axis.whole * inner[c] +
                                      edge.weight * src[3 * ptrdiff_t(edge.first) + c] +
                                      (axis.whole - next.weight) * src[3 * last + c];
            dst[3 * ptrdiff_t(i) + c] = static_cast<unsigned char>(sum >> 15);
        }
    }
}

void addRow(std::uint32_t weight,
            const unsigned char* __restrict src,
            std::vector<std::uint32_t>& sums) {
    std::uint32_t* __restrict const out = sums.data();
    for (std::size_t i = 0; i < sums.size(); ++i) {
        out[i] += weight * src[i];
    }
}

/// Horizontally into a picture of the source's height, then vertically.
void scaleArea(const Frame& src, Frame& dst) {
    const AreaAxis across(src.width(), dst.width());
    const AreaAxis down(src.height(), dst.height());
    const auto row_bytes = std::size_t(dst.width()) * 3;
    static std::vector<unsigned char> narrow;
    static std::vector<std::uint32_t> sums;
    narrow.resize(row_bytes * std::size_t(src.height()));
    const auto narrowRow = [&](int y) { return narrow.data() + std::size_t(y) * row_bytes; };
    for (int y = 0; y < src.height(); ++y) {
        averageColumns(across, rowOf(src, 0, y), src.width(), narrowRow(y));
    }
    for (int row = 0; row < dst.height(); ++row) {
        const AreaEdge& edge = down.edges[std::size_t(row)];
        const AreaEdge& next = down.edges[std::size_t(row) + 1];
        sums.assign(row_bytes, 0);
        addRow(edge.weight, narrowRow(edge.first), sums);
        for (int y = edge.first + 1; y < next.first; ++y) {
            addRow(down.whole, narrowRow(y), sums);
        }
        if (next.first < src.height()) {
            addRow(down.whole - next.weight, narrowRow(next.first), sums);
        }
        unsigned char* __restrict const out = rowOf(dst, 0, row);
        for (std::size_t i = 0; i < row_bytes; ++i) {
            out[i] = static_cast<unsigned char>(sums[i] >> 15);
        }
    }
}

}  // namespace

Run nv12ToBgrYardstick() {
    return nv12ToBgr;
}
Run bilinearYardstick() {
    return scaleBilinear;
}
Run areaYardstick() {
    return scaleArea;
}

}  // namespace bench
