// Linear interpolation of floats, with rows in vectors.

#include <cstdint>

#include "simd/simd_bilinear_rows.h"
#include "simd/simd_float_halves.h"
#include "simd/simd_resizer.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Avx2 {
namespace {

constexpr std::uint32_t HALVE_WIDTH = 8;
constexpr std::uint32_t MAX_CHANNELS = 4;

// Source rows that so many destination rows lie between are kept; others cost less anew than their
// way through memory.
constexpr std::uint32_t MAX_SHARED = 3;

constexpr double NEAR_ELEMENTS = 1 << 18;  // of a source that stays in the cache

/// Whether a source row is followed by what is read next, and that comes from afar.
bool readsOn(const ResizerParam& p) {
    return p.srcHeight > p.dstHeight && p.srcHeight / 2 <= p.dstHeight &&
           double(p.srcWidth) * p.channels * p.srcHeight > NEAR_ELEMENTS;
}

void sampleRows(const ResizerParam& p,
                const FloatForm& form,
                FloatAxis columns,
                FloatAxis rows,
                const float* src,
                RowStep srcStep,
                float* dst,
                RowStep dstStep) {
    const std::uint32_t size = p.dstWidth * p.channels;
    const auto sample = readsOn(p) ? form.sampleAhead : form.rows.sample;
    for (std::uint32_t y = 0; y < p.dstHeight;) {
        const float* const upper = src + rows.index[y] * srcStep;
        const float* const lower = upper + srcStep;
        float* const to = dst + y * dstStep;
        if (y + 1 < p.dstHeight && rows.index[y + 1] == rows.index[y]) {
            form.sampleTwo(upper, lower, p.channels, columns.index, columns.weight, rows.weight + y,
                           size, to, dstStep);
            y += 2;
        } else {
            sample(upper, lower, p.channels, columns.index, columns.weight, rows.weight[y], size,
                   to);
            ++y;
        }
    }
}

}  // namespace

ResizerFloatBilinear::ResizerFloatBilinear(const ResizerParam& parameters)
    : Base::ResizerFloatBilinear(parameters) {}

ResizerFloatBilinear::~ResizerFloatBilinear() = default;

void ResizerFloatBilinear::Run(const float* src,
                               std::uint32_t srcStride,
                               float* dst,
                               std::uint32_t dstStride) {
    const FloatAxis columns = {ix.data, ax.data};
    const FloatAxis rows = {iy.data, ay.data};
    if (scaleHalves(param, columns, rows, FloatHalves, HALVE_WIDTH, src, srcStride, dst,
                    dstStride)) {
        return;
    }
    if (param.channels > MAX_CHANNELS) {
        return Base::ResizerFloatBilinear::Run(src, srcStride, dst, dstStride);
    }
    const FloatForm& form =
        FloatFormOf(param.channels, ix.data, ax.data, param.dstWidth * param.channels);
    if (param.dstHeight / MAX_SHARED >= param.srcHeight) {
        Scale(param, form.rows, src, srcStride, dst, dstStride);
    } else {
        sampleRows(param, form, columns, rows, src, srcStride, dst, dstStride);
    }
}

}  // namespace Avx2
}  // namespace Simd
