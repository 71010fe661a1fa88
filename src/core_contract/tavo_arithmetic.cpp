#include "tavo_core/tavo_arithmetic.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "tavo_core/tavo_exception.h"

namespace tavo {
namespace {

struct Rotation {
    double cosine;
    double sine;
};

Rotation rotationOf(float angle) {
    if (!std::isfinite(angle)) {
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "Parameter 'angle' is not finite.");
    }
    constexpr Rotation QUARTERS[4] = {{1.0, 0.0}, {0.0, 1.0}, {-1.0, 0.0}, {0.0, -1.0}};
    const double degrees = std::fmod(double(angle), 360.0);
    const double quarter = degrees / 90.0;
    if (quarter == std::floor(quarter)) {
        return QUARTERS[(int(quarter) + 4) % 4];
    }
    constexpr double RADIANS_PER_DEGREE = 3.14159265358979323846 / 180.0;
    return {std::cos(degrees * RADIANS_PER_DEGREE), std::sin(degrees * RADIANS_PER_DEGREE)};
}

/// Whole-pixel bounds, inclusive.
struct Bounds {
    double min;
    double max;
};

Bounds outwardBounds(const double (&corners)[4]) {
    // The rounding error of a corner that falls on a whole pixel must not grow the box.
    constexpr double HAIR = 1e-6;
    const auto [min, max] = std::minmax_element(corners, corners + 4);
    return {std::floor(*min + HAIR), std::ceil(*max - HAIR)};
}

std::int32_t toInt32(double value) {
    if (!(value >= std::numeric_limits<std::int32_t>::min() &&
          value <= std::numeric_limits<std::int32_t>::max())) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "The rotated rectangle exceeds 32 bits.");
    }
    return std::int32_t(value);
}

/// Strides are signed in 32 bits, also where the interface takes them unsigned: bottom-up planes
/// have negative ones. Applies @p operation(sample, value of its channel) to every sample inside @p
/// roi.
template <int Channels, class Operation>
void forEachSample(const float* values,
                   unsigned char* data,
                   std::ptrdiff_t stride,
                   const Rect& roi,
                   Operation operation) {
    if (!values || !data) {
        TAVO_RAISE(TAVO_STATUS_NULL_POINTER, "Parameter '%s' is null.", values ? "data" : "values");
    }
    if (reinterpret_cast<std::uintptr_t>(data) % alignof(float) != 0 ||
        stride % std::ptrdiff_t(alignof(float)) != 0) {
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "Rows are not aligned for float samples.");
    }
    if (roi.empty()) {
        return;
    }
    float value[Channels];
    std::copy_n(values, Channels, value);
    unsigned char* row =
        data + stride * roi.y + std::ptrdiff_t(roi.x) * Channels * std::ptrdiff_t(sizeof(float));
    for (int y = 0; y < roi.height; ++y, row += stride) {
        auto* const samples = reinterpret_cast<float*>(static_cast<void*>(row));
        for (std::ptrdiff_t x = 0; x < roi.width; ++x) {
            for (int c = 0; c < Channels; ++c) {
                samples[x * Channels + c] = operation(samples[x * Channels + c], value[c]);
            }
        }
    }
}

struct Add {
    float operator()(float sample, float value) const { return sample + value; }
};

struct Multiply {
    float operator()(float sample, float value) const { return sample * value; }
};

}  // namespace

void getRotationMatrix2D(float angle, Point center, float (*matrix)[3], float scale) {
    if (!matrix) {
        TAVO_RAISE(TAVO_STATUS_NULL_POINTER, "Parameter 'matrix' is null.");
    }
    if (!std::isfinite(scale)) {
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "Parameter 'scale' is not finite.");
    }
    const Rotation rotation = rotationOf(angle);
    const double a = double(scale) * rotation.cosine;
    const double b = double(scale) * rotation.sine;
    matrix[0][0] = float(a);
    matrix[0][1] = float(b);
    matrix[0][2] = float((1.0 - a) * center.x - b * center.y);
    matrix[1][0] = float(-b);
    matrix[1][1] = float(a);
    matrix[1][2] = float(b * center.x + (1.0 - a) * center.y);
}

void getRotationRoi(float angle, const Rect& roi, Rect& src_roi, Size& dst_size, Rect& dst_roi) {
    if (roi.empty()) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Parameter 'roi' is empty.");
    }
    const Rotation rotation = rotationOf(angle);
    const Point middle(roi.width / 2, roi.height / 2);
    const double cx = middle.x;
    const double cy = middle.y;
    double xs[4];
    double ys[4];
    for (int corner = 0; corner < 4; ++corner) {
        const double x = (corner & 1) != 0 ? roi.width - 1 : 0;
        const double y = (corner & 2) != 0 ? roi.height - 1 : 0;
        xs[corner] = rotation.cosine * (x - cx) + rotation.sine * (y - cy) + cx;
        ys[corner] = -rotation.sine * (x - cx) + rotation.cosine * (y - cy) + cy;
    }
    const Bounds x = outwardBounds(xs);
    const Bounds y = outwardBounds(ys);
    const double dx = std::max(0.0, -x.min);
    const double dy = std::max(0.0, -y.min);

    const Rect source(toInt32(roi.x - dx), toInt32(roi.y - dy), toInt32(roi.width + dx),
                      toInt32(roi.height + dy));
    const Size size(toInt32(x.max + dx + 1), toInt32(y.max + dy + 1));
    const Rect inside(toInt32(x.min + dx), toInt32(y.min + dy), toInt32(x.max - x.min + 1),
                      toInt32(y.max - y.min + 1));
    src_roi = source;
    dst_size = size;
    dst_roi = inside;
}

void addConstant_32f_C1(float value, unsigned char* data, int stride, Rect roi) {
    forEachSample<1>(&value, data, stride, roi, Add());
}

void addConstant_32f_C3(const float* values, unsigned char* data, unsigned int stride, Rect roi) {
    forEachSample<3>(values, data, std::int32_t(stride), roi, Add());
}

void mulConstant_32f_C1(float value, unsigned char* data, int stride, Rect roi) {
    forEachSample<1>(&value, data, stride, roi, Multiply());
}

void mulConstant_32f_C3(const float* values, unsigned char* data, unsigned int stride, Rect roi) {
    forEachSample<3>(values, data, std::int32_t(stride), roi, Multiply());
}

}  // namespace tavo
