#include "tavo_cv/tavo_scale_kernel.h"

#include <algorithm>
#include <cmath>

namespace tavo {
namespace {

constexpr float BOX_TOLERANCE = 0.001f;
constexpr float LANCZOS_LOBES = 3;
constexpr double PI = 3.14159265358979323846;

/// sin(pi t) by its power series, which stays below the rounding of a double for |u| <= 1/2. The
/// library's sine differs in its last bit from one platform to the next; these steps do not.
double sinPi(double t) {
    const double whole = std::floor(t + 0.5);
    const double u = PI * (t - whole);
    double series = 1;
    for (int k = 22; k > 0; k -= 2) {
        series = 1 - series * u * u / (k * (k + 1));
    }
    const bool odd = std::floor(whole / 2) * 2 != whole;
    return odd ? -u * series : u * series;
}

double sinc(double t) {
    return t == 0 ? 1 : sinPi(t) / (PI * t);
}

}  // namespace

IKernel::~IKernel() = default;

void BoxKernel::configure(float scale) {
    _width = scale;
    _aperture = scale;
}

float BoxKernel::value(float x) {
    const bool inside = std::fmaf(-0.5f, _width, -BOX_TOLERANCE) <= x &&
                        x <= std::fmaf(0.5f, _width, BOX_TOLERANCE);
    return inside ? 1.0f : 0.0f;
}

float BoxKernel::aperture() const {
    return _aperture;
}

void TriangleKernel::configure(float scale) {
    _scale = std::max(1.0f, scale);
}

float TriangleKernel::value(float x) {
    const float distance = std::fabs(x);
    return distance < _scale ? 1.0f - distance / _scale : 0.0f;
}

float TriangleKernel::aperture() const {
    return 2.0f * _scale;
}

void LanczosKernel::configure(float scale) {
    _scale = std::max(1.0f, scale);
}

float LanczosKernel::value(float x) {
    const double distance = std::fabs(x);
    const double support = double(LANCZOS_LOBES) * double(_scale);
    if (!(distance < support)) {
        return 0.0f;
    }
    return float(sinc(distance / double(_scale)) * sinc(distance / support));
}

float LanczosKernel::aperture() const {
    return 2.0f * LANCZOS_LOBES * _scale;
}

}  // namespace tavo
