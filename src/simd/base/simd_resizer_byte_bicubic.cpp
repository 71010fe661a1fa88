// Four-tap cubic scaling of bytes. With d the distance from the second tap, the weights are those
// of the cubic polynomial through four samples, times -128: (2 - d)(1 - d) d / 6 and so on, which
// add up to -128 within their rounding. Both passes together scale by 16384.
//
// The magnitudes of a set of weights add up to at most 170. A horizontal sum stays below 170 * 255,
// a vertical one below 170 * 170 * 255 < 2^23.

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "simd/simd_resizer.h"

namespace Simd {
namespace Base {
namespace {

constexpr std::uint32_t TAPS = 4;
constexpr float SCALE = 128.0f;
constexpr int SHIFT = 14;
constexpr std::int32_t ROUND = 1 << (SHIFT - 1);

inline std::int32_t nearest(float value) {
    return std::int32_t(value + (value >= 0 ? 0.5f : -0.5f));
}

inline void setWeights(float d, std::int32_t* weights) {
    weights[0] = nearest((2.0f - d) * SCALE * (1.0f - d) * d / 6.0f);
    weights[1] = nearest((1.0f - d) * ((d - 2.0f) * SCALE * (d + 1.0f)) * 0.5f);
    weights[2] = nearest(d * ((d - 2.0f) * SCALE * (d + 1.0f)) * 0.5f);
    weights[3] = nearest((d + 1.0f) * SCALE * (1.0f - d) * d / 6.0f);
}

/// The second tap and the weights of each of @p dst places in @p src samples, @p step apart.
void estimate(std::uint32_t src,
              std::uint32_t dst,
              std::uint32_t step,
              std::int32_t* index,
              std::int32_t* weights) {
    const float scale = float(src) / float(dst);
    const std::int32_t last = std::int32_t(src) - 1;
    for (std::uint32_t i = 0; i < dst; ++i, weights += TAPS) {
        const float x = std::fmaf(float(i) + 0.5f, scale, -0.5f);
        const std::int32_t floor = std::int32_t(std::floor(x));
        const std::int32_t tap = floor < 0 ? 0 : floor;
        // All weight falls on the third tap where that is the last sample.
        const bool inside = tap < last;
        index[i] = std::int32_t(step) * (inside ? tap : last - 1);
        setWeights(!inside ? 1.0f : floor < 0 ? 0.0f : x - float(floor), weights);
    }
}

/// Calls @p visit(column, first, fourth) from left to right with the offsets of the outer taps from
/// the second. Where they would leave the row they are those of the nearest tap inside.
template <std::int32_t CHANNELS, class Visit>
inline void forEachColumn(std::uint32_t leftEnd,
                          std::uint32_t rightBegin,
                          std::uint32_t width,
                          Visit visit) {
    std::uint32_t x = 0;
    for (; x < leftEnd; ++x) {
        visit(x, 0, 2 * CHANNELS);
    }
    for (; x < rightBegin; ++x) {
        visit(x, -CHANNELS, 2 * CHANNELS);
    }
    for (; x < width; ++x) {
        visit(x, -CHANNELS, CHANNELS);
    }
}

/// A set of weights by value, so that the compiler need not expect a store to change it.
struct Weights {
    std::int32_t first;
    std::int32_t second;
    std::int32_t third;
    std::int32_t fourth;

    Weights(const std::int32_t* table, std::size_t index)
        : first(table[index * TAPS]),
          second(table[index * TAPS + 1]),
          third(table[index * TAPS + 2]),
          fourth(table[index * TAPS + 3]) {}

    std::int32_t sum(std::int32_t a, std::int32_t b, std::int32_t c, std::int32_t d) const {
        return first * a + second * b + third * c + fourth * d;
    }
};

inline std::uint8_t byteOfSum(std::int32_t sum) {
    const std::int32_t value = (sum + ROUND) >> SHIFT;
    return std::uint8_t(value < 0 ? 0 : value > 255 ? 255 : value);
}

inline void blendRows(const std::int32_t* __restrict first,
                      const std::int32_t* __restrict second,
                      const std::int32_t* __restrict third,
                      const std::int32_t* __restrict fourth,
                      Weights weights,
                      std::uint32_t size,
                      std::uint8_t* __restrict dst) {
    for (std::size_t i = 0; i < size; ++i) {
        dst[i] = byteOfSum(weights.sum(first[i], second[i], third[i], fourth[i]));
    }
}

/// The row that stands for @p row in an image of @p height rows.
inline std::size_t clampRow(std::int32_t row, std::uint32_t height) {
    const std::int32_t last = std::int32_t(height) - 1;
    return std::size_t(row < 0 ? 0 : row > last ? last : row);
}

}  // namespace

ResizerByteBicubic::ResizerByteBicubic(const ResizerParam& parameters) : Resizer(parameters) {}

ResizerByteBicubic::~ResizerByteBicubic() = default;

void ResizerByteBicubic::Run(const std::uint8_t* src,
                             std::uint32_t srcStride,
                             std::uint8_t* dst,
                             std::uint32_t dstStride) {
    switch (param.channels) {
        case 1:
            return RunChannels<1>(src, srcStride, dst, dstStride);
        case 2:
            return RunChannels<2>(src, srcStride, dst, dstStride);
        case 3:
            return RunChannels<3>(src, srcStride, dst, dstStride);
        case 4:
            return RunChannels<4>(src, srcStride, dst, dstStride);
        default:
            return;
    }
}

void ResizerByteBicubic::EstimateTaps() {
    const std::uint32_t alignment = param.alignment;
    iy.Resize(param.dstHeight, alignment);
    ay.Resize(param.dstHeight * TAPS, alignment);
    ix.Resize(param.dstWidth, alignment);
    ax.Resize(param.dstWidth * TAPS, alignment);
    estimate(param.srcHeight, param.dstHeight, 1, iy.data, ay.data);
    estimate(param.srcWidth, param.dstWidth, param.channels, ix.data, ax.data);

    sxl = param.channels * (param.srcWidth - 2);
    xn = 0;
    while (xn < param.dstWidth && ix.data[xn] == 0) {
        ++xn;
    }
    xt = param.dstWidth;
    while (xt > xn && ix.data[xt - 1] == std::int32_t(sxl)) {
        --xt;
    }
}

template <std::int32_t CHANNELS>
void ResizerByteBicubic::RunChannels(const std::uint8_t* src,
                                     std::uint32_t srcStride,
                                     std::uint8_t* dst,
                                     std::uint32_t dstStride) {
    if (iy.data == nullptr) {
        EstimateTaps();
    }
    // Rows that are hardly shared are not worth a pass of their own.
    if (4.0 * param.dstHeight <= param.srcHeight) {
        SumDirectly<CHANNELS>(src, srcStride, dst, dstStride);
    } else {
        SumThroughRing<CHANNELS>(src, srcStride, dst, dstStride);
    }
}

template <std::int32_t CHANNELS>
void ResizerByteBicubic::SumDirectly(const std::uint8_t* src,
                                     std::uint32_t srcStride,
                                     std::uint8_t* dst,
                                     std::uint32_t dstStride) const {
    for (std::uint32_t y = 0; y < param.dstHeight; ++y, dst += dstStride) {
        const auto sourceRow = [&](std::int32_t tap) {
            return src + clampRow(iy.data[y] + tap, param.srcHeight) * srcStride;
        };
        const std::uint8_t* const rows[TAPS] = {sourceRow(-1), sourceRow(0), sourceRow(1),
                                                sourceRow(2)};
        const Weights vertical(ay.data, y);
        const auto sample = [&](std::uint32_t x, std::int32_t first, std::int32_t fourth) {
            const Weights horizontal(ax.data, x);
            const std::int32_t second = ix.data[x];
            std::uint8_t* const pixel = dst + std::size_t(x) * CHANNELS;
            for (std::int32_t c = 0; c < CHANNELS; ++c) {
                const auto sumOf = [&](const std::uint8_t* row) {
                    const std::uint8_t* const tap = row + second + c;
                    return horizontal.sum(tap[first], tap[0], tap[CHANNELS], tap[fourth]);
                };
                pixel[c] = byteOfSum(
                    vertical.sum(sumOf(rows[0]), sumOf(rows[1]), sumOf(rows[2]), sumOf(rows[3])));
            }
        };
        forEachColumn<CHANNELS>(xn, xt, param.dstWidth, sample);
    }
}

template <std::int32_t CHANNELS>
void ResizerByteBicubic::SumThroughRing(const std::uint8_t* src,
                                        std::uint32_t srcStride,
                                        std::uint8_t* dst,
                                        std::uint32_t dstStride) {
    const std::uint32_t size = param.dstWidth * CHANNELS;
    for (Array<std::int32_t>& row : bx) {
        row.Resize(size, param.alignment);
    }
    const auto ringRow = [this](std::int32_t row) { return bx[std::uint32_t(row) % TAPS].data; };
    const auto sumRow = [this](const std::uint8_t* row, std::int32_t* sums) {
        const auto sumColumn = [&](std::uint32_t x, std::int32_t first, std::int32_t fourth) {
            const Weights weights(ax.data, x);
            const std::uint8_t* tap = row + ix.data[x];
            for (std::int32_t c = 0; c < CHANNELS; ++c, ++tap) {
                *sums++ = weights.sum(tap[first], tap[0], tap[CHANNELS], tap[fourth]);
            }
        };
        forEachColumn<CHANNELS>(xn, xt, param.dstWidth, sumColumn);
    };

    std::int32_t next = iy.data[0] - 1;
    for (std::uint32_t y = 0; y < param.dstHeight; ++y, dst += dstStride) {
        const std::int32_t top = iy.data[y] - 1;
        for (; next < top + std::int32_t(TAPS); ++next) {
            sumRow(src + clampRow(next, param.srcHeight) * srcStride, ringRow(next));
        }
        blendRows(ringRow(top), ringRow(top + 1), ringRow(top + 2), ringRow(top + 3),
                  Weights(ay.data, y), size, dst);
    }
}

}  // namespace Base
}  // namespace Simd
