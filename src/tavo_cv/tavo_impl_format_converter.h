// Which row function converts which pair of formats.
#pragma once

#include <limits>

#include "tavo_core/tavo_frame.h"
#include "tavo_cv/tavo_row_producer.h"

namespace tavo {

/// Where the three components of a YUV format lie. In a packed format all are in plane 0.
struct FormatInfo {
    int x_subsampling;  ///< luma pixels per chroma sample, horizontally
    int y_subsampling;  ///< luma rows per chroma row
    int y_plane;
    int v_plane;
    int u_plane;
    int y_offset;  ///< bytes from the start of the row to the first sample
    int v_offset;
    int u_offset;
    int y_step;  ///< bytes from one sample to the next
    int v_step;
    int u_step;
};

/// The most samples of each component that fit a row.
struct SampleLimits {
    int y = std::numeric_limits<int>::max();
    int v = std::numeric_limits<int>::max();
    int u = std::numeric_limits<int>::max();
};

class ImplFormatConverter;

/// Converts one row. @p rows[0] is the current source row, @p rows[1] the next or null; @p width
/// is in pixels. Planes of @p dst that have no row at this image row are null.
using ConvertRowFunction = void (*)(const RowData* const* rows,
                                    RowData& dst,
                                    int width,
                                    const ImplFormatConverter& context);

class ImplFormatConverter {
public:
    FormatInfo src_info = {};
    FormatInfo dst_info = {};
    SampleLimits limits;
    int width = 0;
    bool ready = false;
    ConvertRowFunction function = nullptr;

    /// Selects the row function.
    /// @param width_      of the rows in pixels
    /// @param window_size receives the number of source rows that one output row needs
    /// @throws Exception TAVO_STATUS_BAD_FORMAT for a null @p window_size or a format that has no
    ///         conversions; TAVO_STATUS_NOT_SUPPORTED for a pair that does not exist
    void reuse(FrameFormat src, FrameFormat dst, int width_, int* window_size);

    /// Fills both records and selects `function` and @p window_size.
    void get_context(const FrameFormat& src, const FrameFormat& dst, int* window_size);

    /// Limits the samples of each component to what fits the rows of @p dst. That matters for
    /// destinations that are not YUV: they are written by the record of the last YUV destination,
    /// whose rows may have been longer.
    void limitSamples(const FrameLayout& dst);

    /// Describes a YUV format; for formats that are not YUV @p info stays as it is.
    /// @throws Exception TAVO_STATUS_BAD_FORMAT for a format that has no conversions
    static void getFormatInfo(FrameFormat format, FormatInfo& info);

    /// Converts one row; does nothing when no function is selected.
    void operator()(const RowData* const* rows, RowData& dst) const {
        if (function) {
            function(rows, dst, width, *this);
        }
    }
};

}  // namespace tavo
