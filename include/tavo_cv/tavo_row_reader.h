/// @file
/// A cursor that reads a frame row by row.
#pragma once

#include "tavo_cv/tavo_row_producer.h"

namespace tavo {

/// Shows the current row of every plane; a subsampled plane shows one row for several image rows.
/// The frame must outlive the cursor's use.
class TAVO_CV_API RowReader {
public:
    RowData row;                            ///< addresses inside the frame
    std::int32_t stride[4] = {0, 0, 0, 0};  ///< bytes from one row to the next
    std::int32_t mask[4] = {0, 0, 0, 0};    ///< image rows per row of the plane, minus 1
    std::int32_t index = 0;                 ///< current image row
    std::int32_t height = 0;                ///< image rows

    /// Starts at the top of a frame.
    /// @param frame must outlive the cursor's use
    /// @throws Exception TAVO_STATUS_NOT_INITIALIZED for an uninitialized frame
    void reuse(const Frame& frame);

    /// Forgets the frame; `row` stays as it stands.
    void clear();

    /// Moves to the next image row.
    /// @return true when there is one; past the end nothing changes
    bool next();
};

}  // namespace tavo
