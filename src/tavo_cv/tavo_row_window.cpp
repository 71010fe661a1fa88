#include "tavo_cv/tavo_row_window.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_impl_row_mask.h"

namespace tavo {
namespace {

// Cache lines; also enough for the vector loads of any stage.
constexpr std::uint64_t ROW_ALIGNMENT = 64;

constexpr std::uint64_t alignUp(std::uint64_t value) {
    return (value + ROW_ALIGNMENT - 1) / ROW_ALIGNMENT * ROW_ALIGNMENT;
}

void resize(Buffer& buffer, std::uint64_t bytes) {
    if (bytes > std::numeric_limits<unsigned int>::max()) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Row storage exceeds 32 bits.");
    }
    buffer.resize(unsigned(bytes), false);
}

bool sameShape(const FrameLayout& a, const FrameLayout& b) {
    return a.format == b.format && a.size == b.size;
}

}  // namespace

void RowWindow::_allocateRows(int window_size) {
    const std::uint64_t table_bytes = alignUp(sizeof(RowData) * std::uint64_t(window_size));
    resize(_index_buffer, 2 * table_bytes);
    _rows = new (_index_buffer.data) RowData[std::size_t(window_size)];
    _rows_spare = new (_index_buffer.data + table_bytes) RowData[std::size_t(window_size)];
}

void RowWindow::reuse(IRowProducer& producer, int window_size) {
    const FrameLayout& layout = producer.layout();
    if (layout.plane_count == 0) {
        TAVO_RAISE(TAVO_STATUS_NOT_INITIALIZED, "Row producer is not initialized.");
    }
    if (sameShape(layout, _layout) && _producer && window_size == _window_size) {
        _producer = &producer;
        _begin = 0;
        _end = 0;
        return;
    }
    if (window_size < 1 || window_size > layout.size.height) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Parameter 'window_size' is out of range.");
    }
    try {
        _allocateRows(window_size);
        for (int i = 0; i < layout.plane_count; ++i) {
            const PlaneLayout& plane = layout.plane[i];
            _ring_row[i] = 0;
            _row_mask[i] = impl::rowMask(layout, i);
            // A stride may be negative, and of a single row it says nothing about the row's length.
            const std::uint64_t row_bytes = alignUp(std::uint64_t(
                std::max(std::abs(std::int64_t(plane.stride)), std::int64_t(plane.row_bytes))));
            resize(_plane_buffer[i], row_bytes * std::uint64_t(window_size));
            _plane_buffer[i].setZero();
            _row_stride[i] = std::int32_t(row_bytes);
        }
    } catch (const Exception& error) {
        clear();
        TAVO_TRANSLATE(error, "Data buffer allocation failure: %s", error.what());
    }
    _layout = layout;
    _window_size = window_size;
    _reader.clear();
    _producer = &producer;
    _begin = 0;
    _end = 0;
}

void RowWindow::reuse(const Frame& frame, int window_size) {
    if (!frame.initialized()) {
        TAVO_RAISE(TAVO_STATUS_NOT_INITIALIZED, "Frame is not initialized.");
    }
    if (!sameShape(frame.layout(), _layout) || window_size != _window_size) {
        if (window_size < 1 || window_size > frame.height()) {
            TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Parameter 'window_size' is out of range.");
        }
        try {
            _allocateRows(window_size);
        } catch (const Exception& error) {
            clear();
            TAVO_TRANSLATE(error, "Buffer allocation failure: %s", error.what());
        }
        _layout = frame.layout();
        _window_size = window_size;
    }
    _producer = nullptr;
    _begin = 0;
    _end = 0;
    try {
        _reader.reuse(frame);
    } catch (const Exception& error) {
        clear();
        TAVO_TRANSLATE(error, "%s", error.what());
    }
}

void RowWindow::clear() {
    _producer = nullptr;
    _window_size = 0;
    _rows = nullptr;
    _rows_spare = nullptr;
    _begin = 0;
    _end = 0;
    _layout.clear();
    _reader.clear();
    _index_buffer.clear();
    for (Buffer& buffer : _plane_buffer) {
        buffer.clear();
    }
}

void RowWindow::advanceTo(int source_row) {
    _begin = std::max(_begin, std::min(source_row, _layout.size.height - _window_size));
}

RowData* RowWindow::rowData(int row_index_in_window) {
    TAVO_ASSERT(0 <= row_index_in_window && row_index_in_window < _window_size);
    if (_end <= _begin + _window_size) {
        _update();
    }
    return _rows + row_index_in_window;
}

/// Moves the rows that stay in the window to its lower slots, and returns how many there are. The
/// slots behind them get the entries that fell out, whose ring rows are overwritten next.
int RowWindow::_rotate() {
    const int kept = std::max(_end - _begin, 0);
    const int moved = _window_size - kept;
    if (kept != 0 && moved != 0) {
        std::copy_n(_rows, moved, _rows_spare);
        std::copy(_rows + moved, _rows + _window_size, _rows);
        std::copy_n(_rows_spare, moved, _rows + kept);
    }
    return kept;
}

/// Passes over the source rows above the window without producing them.
void RowWindow::_skip() {
    if (_producer) {
        for (; _pulled < _begin; ++_pulled) {
            _producer->next();
        }
    } else {
        while (_reader.index < _begin && _reader.next()) {
        }
    }
}

void RowWindow::_loadFromProducer(int slot) {
    const int source_row = _begin + slot;
    RowData target;
    for (int i = 0; i < _layout.plane_count; ++i) {
        unsigned char* const ring_row =
            _plane_buffer[i].data + std::ptrdiff_t(_row_stride[i]) * _ring_row[i];
        const int phase = source_row & _row_mask[i];
        _rows[slot].plane[i] = ring_row;
        target.plane[i] = phase == 0 ? ring_row : nullptr;
        if (phase == _row_mask[i]) {
            _ring_row[i] = _ring_row[i] + 1 == _window_size ? 0 : _ring_row[i] + 1;
        }
    }
    _producer->produce(target);
    _producer->next();
    ++_pulled;
}

void RowWindow::_update() {
    TAVO_ASSERT(initialized());
    const int kept = _rotate();
    _skip();
    for (int slot = kept; slot < _window_size; ++slot) {
        if (_producer) {
            _loadFromProducer(slot);
        } else {
            _rows[slot] = _reader.row;
            _reader.next();
        }
    }
    _end = _begin + _window_size;
}

}  // namespace tavo
