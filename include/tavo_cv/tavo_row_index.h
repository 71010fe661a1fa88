/// @file
/// Row numbers per plane, for stages that need no addresses.
#pragma once

#include "tavo_core/tavo_frame.h"
#include "tavo_cv/tavo_cv_export.h"

namespace tavo {

/// Counts image rows, and for each plane the row of that plane. A plane of half height moves on
/// when an odd image row is left.
class TAVO_CV_API RowIndex {
public:
    std::int32_t row[4] = {0, 0, 0, 0};   ///< of each plane; row[0] is the current image row
    std::int32_t mask[4] = {0, 0, 0, 0};  ///< image rows per row of the plane, minus 1
    std::int32_t height = 0;              ///< image rows
    std::int32_t plane_count = 0;         ///< planes that are counted

    /// Starts at row 0.
    /// @param layout of the image
    void reuse(const FrameLayout& layout);

    /// Moves to the next image row.
    /// @return true when there is one; past the last row nothing changes
    bool next();
};

}  // namespace tavo
