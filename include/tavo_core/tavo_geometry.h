/// @file
/// Sizes, points and rectangles of images, in whole pixels.
#pragma once

#include <cstdint>

#include "tavo_core/tavo_export.h"

namespace tavo {

/// Width and height in pixels.
struct Size {
    std::int32_t width = 0;   ///< columns
    std::int32_t height = 0;  ///< rows

    /// 0 x 0.
    constexpr Size() = default;
    /// Any numbers are kept as they are.
    /// @param width_  columns
    /// @param height_ rows
    constexpr Size(std::int32_t width_, std::int32_t height_) : width(width_), height(height_) {}

    /// @return true when there is no pixel: a side is zero or negative
    constexpr bool empty() const { return width <= 0 || height <= 0; }
};

/// @param a a size
/// @param b another
/// @return true when both sides are equal
constexpr bool operator==(Size a, Size b) {
    return a.width == b.width && a.height == b.height;
}
/// @param a a size
/// @param b another
/// @return true when a side differs
constexpr bool operator!=(Size a, Size b) {
    return !(a == b);
}

/// A pixel position; the origin is the top left pixel, y grows downwards.
struct Point {
    std::int32_t x = 0;  ///< column
    std::int32_t y = 0;  ///< row

    /// The origin.
    constexpr Point() = default;
    /// Any numbers are kept as they are.
    /// @param x_ column
    /// @param y_ row
    constexpr Point(std::int32_t x_, std::int32_t y_) : x(x_), y(y_) {}
};

/// @param a a point
/// @param b another
/// @return true when both coordinates are equal
constexpr bool operator==(Point a, Point b) {
    return a.x == b.x && a.y == b.y;
}
/// @param a a point
/// @param b another
/// @return true when a coordinate differs
constexpr bool operator!=(Point a, Point b) {
    return !(a == b);
}

/// A rectangle of pixels: the corner nearest to the origin, and the extent.
struct Rect {
    std::int32_t x = 0;       ///< first column
    std::int32_t y = 0;       ///< first row
    std::int32_t width = 0;   ///< columns
    std::int32_t height = 0;  ///< rows

    /// The empty rectangle at the origin.
    constexpr Rect() = default;
    /// Any numbers are kept as they are.
    /// @param x_      first column
    /// @param y_      first row
    /// @param width_  columns
    /// @param height_ rows
    constexpr Rect(std::int32_t x_, std::int32_t y_, std::int32_t width_, std::int32_t height_)
        : x(x_), y(y_), width(width_), height(height_) {}

    /// @return true when there is no pixel: a side is zero or negative. The position plays no part.
    constexpr bool empty() const { return width <= 0 || height <= 0; }

    /// Cuts the rectangle to the part that lies inside a frame. A rectangle wholly outside becomes
    /// `Rect()`, and so does an empty one.
    /// @param size of the frame
    TAVO_CORE_API void crop(const Size& size);
};

/// @param a a rectangle
/// @param b another
/// @return true when all four numbers are equal; empty rectangles are not all the same
constexpr bool operator==(const Rect& a, const Rect& b) {
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}
/// @param a a rectangle
/// @param b another
/// @return true when one of the four numbers differs
constexpr bool operator!=(const Rect& a, const Rect& b) {
    return !(a == b);
}

}  // namespace tavo
