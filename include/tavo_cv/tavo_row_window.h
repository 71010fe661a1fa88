/// @file
/// The input side of a stage: random access to a few consecutive source rows.
#pragma once

#include "tavo_core/tavo_buffer.h"
#include "tavo_cv/tavo_row_producer.h"
#include "tavo_cv/tavo_row_reader.h"

namespace tavo {

/// Shows `_window_size` consecutive source rows from `_begin` on. Rows of a frame are shown in
/// place; rows of a producer are written straight into a ring of rows that the window owns. Rows
/// are fetched when `rowData` asks for one, and rows that the window has jumped over never are.
class TAVO_CV_API RowWindow {
public:
    /// An empty window.
    RowWindow() = default;
    /// @cond
    RowWindow(const RowWindow&) = delete;
    RowWindow& operator=(const RowWindow&) = delete;
    /// @endcond

    /// Shows rows of a stage, from its first. The same shape again allocates nothing.
    /// @param producer    prepared; must outlive the use
    /// @param window_size rows, 1 to the source height
    /// @throws Exception TAVO_STATUS_NOT_INITIALIZED for a producer without a layout,
    ///         TAVO_STATUS_OUT_OF_RANGE for a bad @p window_size; both leave the window as it was.
    ///         What the allocation throws; the window is then empty.
    void reuse(IRowProducer& producer, int window_size);

    /// Shows rows of a frame, from its first.
    /// @param frame       must outlive the use
    /// @param window_size rows, 1 to the source height
    /// @throws Exception as above
    void reuse(const Frame& frame, int window_size);

    /// Back to the empty state; gives all memory back.
    void clear();

    /// @return true once a `reuse` has succeeded
    bool initialized() const { return _rows != nullptr; }

    /// Moves the window down until it starts at a row or ends with the source; never up.
    /// @param source_row counted from the top of the source
    void advanceTo(int source_row);

    /// The rows of a slot; slot 0 is source row `_begin`. The pointer stays valid until the next
    /// call after `_begin` has changed.
    /// @param row_index_in_window the slot, 0 to `_window_size - 1`
    /// @return addresses of the row's planes
    /// @throws Exception TAVO_STATUS_ASSERTION_FAILED for a slot outside the window; what the
    ///         producer throws, after which the window has to be prepared anew
    RowData* rowData(int row_index_in_window);

private:
    IRowProducer* _producer = nullptr;
    // Source row that the producer stands on. It is deliberately never reset: on a later pass over
    // a producer, rows before the window are then no longer skipped with `next`.
    std::int32_t _pulled = 0;
    RowReader _reader;

public:
    FrameLayout _layout;            ///< of the source rows
    std::int32_t _window_size = 0;  ///< rows shown

private:
    RowData* _rows = nullptr;        // entry i holds source row _begin + i
    RowData* _rows_spare = nullptr;  // scratch of the rotation

public:
    /// Source row in slot 0. Consumers move it, and keep
    /// `_begin + _window_size <= _layout.size.height`.
    std::int32_t _begin = 0;

private:
    TAVO_CV_LOCAL void _allocateRows(int window_size);
    TAVO_CV_LOCAL int _rotate();
    TAVO_CV_LOCAL void _skip();
    TAVO_CV_LOCAL void _loadFromProducer(int slot);
    TAVO_CV_LOCAL void _update();

    std::int32_t _end = 0;  // one past the last source row in _rows; 0 when nothing is loaded
    Buffer _index_buffer;   // both tables
    Buffer _plane_buffer[4];
    std::int32_t _row_stride[4] = {0, 0, 0, 0};  // bytes of a ring row
    std::int32_t _ring_row[4] = {0, 0, 0, 0};    // next free ring row
    std::int32_t _row_mask[4] = {0, 0, 0, 0};
};

}  // namespace tavo
