/// @file
/// Sizes, points and rectangles of images, in whole pixels.
#pragma once

#include <cstdint>

#include "tavo_core/tavo_export.h"

namespace tavo {

/// Width and height in pixels.
struct Size {
    std::int32_t width = 0;
    std::int32_t height = 0;

    constexpr Size() = default;
    constexpr Size(std::int32_t width_, std::int32_t height_) : width(width_), height(height_) {}

    /// True when there is no pixel: a side is zero or negative.
    constexpr bool empty() const { return width <= 0 || height <= 0; }
};

constexpr bool operator==(Size a, Size b) {
    return a.width == b.width && a.height == b.height;
}
constexpr bool operator!=(Size a, Size b) {
    return !(a == b);
}

/// A pixel position; the origin is the top left pixel, y grows downwards.
struct Point {
    std::int32_t x = 0;
    std::int32_t y = 0;

    constexpr Point() = default;
    constexpr Point(std::int32_t x_, std::int32_t y_) : x(x_), y(y_) {}
};

constexpr bool operator==(Point a, Point b) {
    return a.x == b.x && a.y == b.y;
}
constexpr bool operator!=(Point a, Point b) {
    return !(a == b);
}

/// A rectangle of pixels: the corner nearest to the origin, and the extent.
struct Rect {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;

    constexpr Rect() = default;
    constexpr Rect(std::int32_t x_, std::int32_t y_, std::int32_t width_, std::int32_t height_)
        : x(x_), y(y_), width(width_), height(height_) {}

    /// True when there is no pixel: a side is zero or negative. The position plays no part.
    constexpr bool empty() const { return width <= 0 || height <= 0; }

    /// Cuts the rectangle to the part that lies inside a frame of @p size. A rectangle wholly
    /// outside becomes `Rect()`.
    TAVO_CORE_API void crop(const Size& size);
};

constexpr bool operator==(const Rect& a, const Rect& b) {
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}
constexpr bool operator!=(const Rect& a, const Rect& b) {
    return !(a == b);
}

}  // namespace tavo
