// Conversions of floats from their formulas, one number at a time.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace support {

template <class To, class From>
To bitCast(const From& from) {
    To to;
    std::memcpy(&to, &from, sizeof(to));
    return to;
}

/// The pattern in single precision of a pattern in half precision.
inline std::uint32_t singleOfHalf(unsigned half) {
    const unsigned sign = (half & 0x8000) << 16;
    const int exponent = int(half >> 10 & 31), mantissa = int(half & 1023);
    if (exponent == 31) {
        return sign | 0x7F800000 | unsigned(mantissa) << 13;
    }
    const double value =
        exponent == 0 ? std::ldexp(mantissa, -24) : std::ldexp(1024 + mantissa, exponent - 25);
    return sign | bitCast<std::uint32_t>(float(value));
}

/// The nearest value in half precision that is no further from zero, infinity above the largest.
inline unsigned halfOfSingle(std::uint32_t single) {
    static const std::vector<std::uint32_t> finite = [] {
        std::vector<std::uint32_t> patterns(0x7C00);
        for (unsigned half = 0; half < patterns.size(); ++half) {
            patterns[half] = singleOfHalf(half);
        }
        return patterns;
    }();
    const unsigned sign = single >> 16 & 0x8000, magnitude = single & 0x7FFFFFFF;
    if (std::isnan(bitCast<float>(single))) {
        return sign | 0x7C00 | std::max(magnitude >> 13 & 1023, 1u);
    }
    // Patterns of positive numbers have the order of the numbers.
    const auto above = std::upper_bound(finite.begin(), finite.end(), magnitude);
    return sign | (magnitude > finite.back() ? 0x7C00 : unsigned(above - finite.begin() - 1));
}

/// (value, limited to lower and upper, - lower) 255 / (upper - lower), truncated; a NaN counts as
/// lower.
inline unsigned char byteOfFloat(float value, float lower, float upper) {
    const float scale = 255.0f / (upper - lower);
    const float raised = lower < value ? value : lower;
    const float distance = upper > raised ? raised - lower : upper - lower;
    return static_cast<unsigned char>(distance * scale);
}

}  // namespace support
