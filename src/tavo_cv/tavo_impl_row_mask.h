// How the rows of a subsampled plane relate to image rows: shared by the cursors and the window.
#pragma once

#include "tavo_core/tavo_frame.h"

namespace tavo::impl {

/// Image rows per row of the plane, minus 1. Odd heights count as the next even one, because
/// subsampled planes round up.
inline std::int32_t rowMask(const FrameLayout& layout, int plane) {
    const std::int32_t height = layout.size.height + (layout.size.height & 1);
    return height / layout.plane[plane].height - 1;
}

/// True when a plane moves on as image row @p row is left.
inline bool leavesRow(std::int32_t mask, std::int32_t row) {
    return (mask & ~row) == 0;
}

}  // namespace tavo::impl
