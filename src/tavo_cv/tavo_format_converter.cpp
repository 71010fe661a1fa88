#include "tavo_cv/tavo_format_converter.h"

#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_impl_format_converter.h"
#include "tavo_cv/tavo_impl_state.h"

namespace tavo {

FormatConverter::FormatConverter() : _impl(impl::makeState<ImplFormatConverter>()) {}
FormatConverter::~FormatConverter() = default;

template <class Source>
void FormatConverter::_reuse(Source& source,
                             const FrameLayout& src_layout,
                             FrameFormat dst_format) {
    _copier.clear();
    // Until everything has succeeded there is no conversion, also not the one before.
    _converting = false;
    _src_layout = nullptr;

    int window_size = 0;
    _impl->reuse(src_layout.format, dst_format, src_layout.size.width, &window_size);
    _window.reuse(source, window_size);
    _layout = FrameLayout(dst_format, src_layout.size, 64);
    _impl->limitSamples(_layout);
    _row = 0;
    _src_layout = &src_layout;
    _converting = _impl->ready;
}

void FormatConverter::reuse(const Frame& frame, FrameFormat dst_format) {
    if (!frame.initialized()) {
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "Parameter 'frame' is not initialized.");
    }
    if (dst_format == FRAME_INVALID) {
        TAVO_RAISE(TAVO_STATUS_BAD_FORMAT, "Invalid value for parameter 'dst_format'.");
    }
    if (dst_format == frame.format()) {
        _copier.reuse(frame);
        return;
    }
    _reuse(frame, frame.layout(), dst_format);
}

void FormatConverter::reuse(IRowProducer& producer, FrameFormat dst_format) {
    const FrameLayout& src_layout = producer.layout();
    if (src_layout.plane_count == 0) {
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "Parameter 'producer' is not initialized.");
    }
    if (dst_format == FRAME_INVALID) {
        TAVO_RAISE(TAVO_STATUS_BAD_FORMAT, "Invalid value for parameter 'dst_format'.");
    }
    if (dst_format == src_layout.format) {
        _copier.reuse(producer);
        return;
    }
    _reuse(producer, src_layout, dst_format);
}

bool FormatConverter::initialized() const {
    return _copier.initialized() || _converting;
}

const FrameLayout& FormatConverter::layout() const {
    return _copier.initialized() ? _copier.layout() : _layout;
}

void FormatConverter::produce(RowData& row) {
    if (_copier.initialized()) {
        _copier.produce(row);
        return;
    }
    if (!_src_layout) {
        TAVO_RAISE(TAVO_STATUS_INSTANCE_NOT_INITIALIZED,
                   "FormatConverter is not initialized. Call FormatConverter::reuse(...) first.");
    }
    // The window stops at the bottom, so that there the current row is not at its top.
    const int window_size = _window._window_size;
    const int rest = _layout.size.height - _row;
    if (rest <= 0) {
        return;
    }
    const int current = window_size > rest ? window_size - rest : 0;
    for (int i = 0; i < 2; ++i) {
        _rows[i] = current + i < window_size ? _window.rowData(current + i) : nullptr;
    }
    (*_impl)(_rows, row);
}

bool FormatConverter::next() {
    if (_copier.initialized()) {
        return _copier.next();
    }
    if (_row >= _layout.size.height) {
        return false;
    }
    ++_row;
    if (_window._begin + _window._window_size < _window._layout.size.height) {
        ++_window._begin;
    }
    return true;
}

}  // namespace tavo
