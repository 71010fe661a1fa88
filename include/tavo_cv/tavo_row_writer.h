/// @file
/// A cursor that writes a frame row by row.
#pragma once

#include "tavo_cv/tavo_row_producer.h"

namespace tavo {

/// Shows where the current row of every plane goes. Unlike a reader it shows null for a subsampled
/// plane on the image rows that start no row of it, so that each of its rows is written once.
class TAVO_CV_API RowWriter {
public:
    RowData row;  ///< addresses inside the frame
    unsigned char* current[4] = {nullptr, nullptr, nullptr, nullptr};  ///< latest row of each plane
    std::int32_t stride[4] = {0, 0, 0, 0};  ///< bytes from one row to the next
    std::int32_t mask[4] = {0, 0, 0, 0};    ///< image rows per row of the plane, minus 1
    std::int32_t index = 0;                 ///< current image row
    std::int32_t height = 0;                ///< image rows

    /// Starts at the top of a frame.
    /// @param frame must outlive the cursor's use
    /// @throws Exception TAVO_STATUS_NOT_INITIALIZED for an uninitialized frame
    void reuse(Frame& frame);

    /// Forgets the frame; `row` and `current` stay as they stand.
    void clear();

    /// Moves to the next image row.
    /// @return true when there is one; past the end all of `row` is null
    bool next();
};

}  // namespace tavo
