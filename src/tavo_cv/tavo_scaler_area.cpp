#include "tavo_cv/tavo_scaler_area.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "tavo_core/tavo_buffer.h"
#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_impl_area_kernels.h"
#include "tavo_cv/tavo_impl_scaled_planes.h"
#include "tavo_cv/tavo_impl_state.h"
#include "tavo_cv/tavo_row_window.h"

namespace tavo {
namespace {

using impl::AreaRowEntry;
using impl::AreaTableEntry;
using impl::Element;

/// The planes that these scalers handle: R, G, B order is left out.
impl::ScaledPlanes areaPlanes(FrameFormat format) {
    const bool left_out = format == FRAME_RGB24 || format == FRAME_RGB_PLANAR;
    return impl::scaledPlanes(left_out ? FRAME_INVALID : format);
}

/// Rows of 32-bit samples are written, and refused all the same.
bool isRefused(const impl::ScaledPlanes& planes) {
    return planes.first == Element::NONE || planes.first == Element::DOUBLE_WORD;
}

/// All outputs of an axis, and one entry more where the source ends.
struct AreaTable {
    std::vector<AreaTableEntry> entries;
    std::uint16_t full_weight = 0;  // of a source sample, at most one

    static bool fits(int src_length, int dst_length, int shift);
    void build(int src_length, int dst_length, int shift);
};

/// Positions have 16 bits, and a length in units of one has to fit 31.
bool AreaTable::fits(int src_length, int dst_length, int shift) {
    return src_length <= std::numeric_limits<std::uint16_t>::max() &&
           dst_length <= std::numeric_limits<std::int32_t>::max() >> shift;
}

void AreaTable::build(int src_length, int dst_length, int shift) {
    const int one = 1 << shift;
    const int step = (dst_length << shift) / src_length;
    full_weight = std::uint16_t(std::min(one, step));
    entries.resize(std::size_t(dst_length) + 1);
    for (int i = 0; i < dst_length; ++i) {
        const int pos = int(std::int64_t(i) * src_length / dst_length);
        const int weight = step * (pos + 1) - i * one;
        entries[std::size_t(i)] = {std::uint16_t(pos), std::uint16_t(std::clamp(weight, 0, one))};
    }
    entries.back() = {std::uint16_t(src_length), full_weight};
}

/// The common part of the scalers of one axis.
struct AreaAxis {
    AreaAxis(std::int32_t Size::*length, const char* unsupported_text)
        : _length(length), _unsupported_text(unsupported_text) {}

    template <class Source>
    void reuse(Source& source,
               const FrameLayout& src_layout,
               Size dst_size,
               ScalerPrecision precision);
    void clear();
    bool scales() const { return _src_layout.size.*_length != _layout.size.*_length; }
    bool shrinks() const { return _layout.size.*_length < _src_layout.size.*_length; }
    int _prepareRows();

    std::int32_t Size::*const _length;
    const char* const _unsupported_text;
    FrameLayout _src_layout;
    FrameLayout _layout;
    RowWindow _window;
    AreaTable _table;
    int _shift = 16;

    // Of the height alone.
    int _row = 0;
    std::vector<const unsigned char*> _rows;
    Buffer _accumulator;  // one row of sums
    bool _subsampled_rows = false;
};

template <class Source>
void AreaAxis::reuse(Source& source,
                     const FrameLayout& src_layout,
                     Size dst_size,
                     ScalerPrecision precision) {
    TAVO_ASSERT(precision == TAVO_SCALER_FIXED_POINT_8S ||
                precision == TAVO_SCALER_FIXED_POINT_16S);
    const int shift = precision - 1;
    const int src_length = src_layout.size.*_length;
    const int dst_length = dst_size.*_length;
    // The precision deliberately plays no part: a table outlives a change of it.
    const bool keeps_table =
        src_length == _src_layout.size.*_length && dst_length == _layout.size.*_length;
    if (!keeps_table && !AreaTable::fits(src_length, dst_length, shift)) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE,
                   "Scaling from %d to %d exceeds the range of fixed point.", src_length,
                   dst_length);
    }
    try {
        const FrameLayout layout(src_layout.format, dst_size, 64);
        if (!keeps_table) {
            _table.build(src_length, dst_length, shift);
        }
        _shift = shift;
        _src_layout = src_layout;
        _layout = layout;
        _row = 0;
        _window.reuse(source, _length == &Size::height ? _prepareRows() : 1);
    } catch (const Exception& error) {
        clear();
        TAVO_TRANSLATE(error, "%s", error.what());
    } catch (const std::exception& error) {
        clear();
        TAVO_RAISE(TAVO_STATUS_OUT_OF_MEMORY, "%s", error.what());
    }
}

/// Makes room for the rows of an output row and their sums, and returns the size of the window.
int AreaAxis::_prepareRows() {
    int count = scales() ? 2 : 1;
    if (shrinks()) {
        const AreaTableEntry second = _table.entries[1];
        count = second.weight == _table.full_weight ? second.pos : second.pos + 2;
    }
    _rows.resize(std::size_t(count));

    _subsampled_rows =
        _layout.plane_count > 1 && _layout.plane[1].height != _layout.plane[0].height;
    // Interleaved chroma of an odd width has a sample more than luma.
    std::uint64_t samples = 0;
    for (int i = 0; i < _layout.plane_count; ++i) {
        const PlaneLayout& plane = _layout.plane[i];
        samples = std::max(samples, std::uint64_t(plane.width) * plane.channels);
    }
    const std::uint64_t bytes = samples * (_layout.plane[0].bits_per_channel == 8 ? 4 : 8);
    if (bytes > std::numeric_limits<unsigned int>::max()) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Row of sums exceeds 32 bits.");
    }
    _accumulator.resize(unsigned(bytes), false);
    return std::min(_subsampled_rows ? 2 * count : count, _src_layout.size.height);
}

void AreaAxis::clear() {
    _src_layout.clear();
    _layout.clear();
    _window.clear();
    _row = 0;
}

struct AreaX : AreaAxis {
    AreaX()
        : AreaAxis(&Size::width,
                   "Failure in ScalerAreaX::produce(...) : unsupported frame format.") {}
    void produce(RowData& row);
    bool next();
};

void AreaX::produce(RowData& row) {
    const RowData src = *_window.rowData(0);
    const int src_width = _src_layout.plane[0].width;
    if (src_width == _layout.plane[0].width) {
        copyRowData(_layout, src, row);
        return;
    }
    const impl::ScaledPlanes planes = areaPlanes(_layout.format);
    for (int i = 0; i < _layout.plane_count && planes.first != Element::NONE; ++i) {
        if (row.plane[i]) {
            const Element element = i == 0 ? planes.first : planes.further;
            const int width = _layout.plane[i].width;
            // The source width of plane 0 decides for chroma too, which so counts as shrinking on
            // a frame that grows to less than twice its width.
            const impl::AreaColumns columns = {
                _table.entries.data(),
                _table.full_weight,
                _shift,
                width < src_width,
                width,
                impl::elementsInRow(_src_layout.plane[i], element) - 1,
            };
            impl::areaKernels(element).scale_columns(columns, src.plane[i], row.plane[i]);
        }
    }
    if (isRefused(planes)) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED, "%s", _unsupported_text);
    }
}

bool AreaX::next() {
    if (_window._begin + _window._window_size >= _window._layout.size.height) {
        return false;
    }
    ++_window._begin;
    return true;
}

struct AreaY : AreaAxis {
    AreaY()
        : AreaAxis(&Size::height,
                   "Failure in ScalerAreaY::produce(...) : unsupported frame format.") {}
    void produce(RowData& row);
    bool next();

    impl::AreaRows _coveredRows(int plane, int table_row, int row_step);
};

/// The rows of a plane that output @p table_row of the table covers, @p row_step image rows apart.
impl::AreaRows AreaY::_coveredRows(int plane, int table_row, int row_step) {
    const AreaTableEntry entry = _table.entries[std::size_t(table_row)];
    const AreaTableEntry next = _table.entries[std::size_t(table_row) + 1];
    int slot = row_step * entry.pos - _window._begin;
    for (const unsigned char*& row : _rows) {
        row = slot < _window._window_size ? _window.rowData(slot)->plane[plane] : nullptr;
        slot += row_step;
    }
    // At whole ratios there is no row at `last`, nor a weight for it. When all weights are 0, there
    // may be fewer rows than the output covers.
    const int last = shrinks() ? next.pos - entry.pos : 1;
    const int count = std::min(last, int(_rows.size()));
    const bool has_last = last < int(_rows.size()) && _rows[std::size_t(last)] != nullptr;
    const int rest = _table.full_weight - (shrinks() ? next.weight : entry.weight);
    return {
        _rows[0],
        _rows.data() + 1,
        count - 1,
        has_last ? _rows[std::size_t(last)] : _rows[0],
        entry.weight,
        _table.full_weight,
        std::uint16_t(has_last ? rest : 0),
        _shift,
    };
}

/// Samples of an element that ScalerAreaY computes: one of packed pairs and fours.
int scaledSamples(int plane, Element element) {
    const bool packed = element == Element::BYTES_2 || element == Element::BYTES_4;
    return plane == 0 && packed ? 1 : impl::areaKernels(element).samples;
}

void AreaY::produce(RowData& row) {
    TAVO_ASSERT_TEXT(_window.initialized(), "initialized()");
    const int first = _table.entries[std::size_t(_row)].pos - _window._begin;
    if (!scales()) {
        copyRowData(_layout, *_window.rowData(first), row);
        return;
    }
    const impl::ScaledPlanes planes = areaPlanes(_layout.format);
    const bool half_planes = _layout.format == FRAME_I420 || _layout.format == FRAME_YV12;
    for (int i = 0; i < _layout.plane_count && planes.first != Element::NONE; ++i) {
        if (row.plane[i]) {
            const Element element = i == 0 ? planes.first : planes.further;
            const int row_step = i > 0 && half_planes ? 2 : 1;
            const impl::AreaRows rows = _coveredRows(i, _row / row_step, row_step);
            impl::areaKernels(element).scale_rows(
                rows, std::ptrdiff_t(_layout.plane[i].width) * scaledSamples(i, element),
                _accumulator.data, row.plane[i]);
        }
    }
    if (isRefused(planes)) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED, "%s", _unsupported_text);
    }
}

bool AreaY::next() {
    if (_row >= _layout.size.height - 1) {
        return false;
    }
    ++_row;
    const auto pos = [this](int row) { return int(_table.entries[std::size_t(row)].pos); };
    _window.advanceTo(_subsampled_rows ? 2 * pos(_row / 2) : pos(_row));
    return true;
}

constexpr int SHIFT = 16;
constexpr std::uint32_t ONE = 1u << SHIFT;
constexpr std::uint32_t MASK = ONE - 1;
constexpr int MAX_AXIS = 0x7fff;  // a longer axis in 16.16 exceeds 31 bits

bool hasHalfChroma(FrameFormat format) {
    return FRAME_I420 <= format && format <= FRAME_NV21;
}

/// The state behind scaleAreaXY.
struct AreaXY {
    void reuse(const Frame& src_frame, Size dst_size, ScalerPrecision precision);
    void clear();
    void produce(RowData& row);
    bool next();

    int _firstRow() const;
    std::ptrdiff_t _collectRows(int plane);

    FrameLayout _src_layout;
    FrameLayout _layout;
    RowWindow _window;
    std::uint32_t _step_x = 0;
    std::uint32_t _step_y = 0;
    std::uint32_t _chroma_step_y = 0;  // 0 unless chroma has half the height
    int _row = 0;
    std::vector<AreaRowEntry> _rows;
};

void AreaXY::reuse(const Frame& src_frame, Size dst_size, ScalerPrecision precision) {
    TAVO_ASSERT(precision == TAVO_SCALER_FIXED_POINT_8S ||
                precision == TAVO_SCALER_FIXED_POINT_16S);
    const FrameLayout& src = src_frame.layout();
    if (src.size.height < dst_size.height || src.size.width < dst_size.width) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED,
                   "Failure in scaleAreaXY::reuse(...) : the area method is implemented for "
                   "down-scaling only.");
    }
    if (src.size.width > MAX_AXIS || src.size.height > MAX_AXIS) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE,
                   "A source of %d x %d exceeds the range of fixed point.", src.size.width,
                   src.size.height);
    }
    const auto step = [](int src_length, int dst_length) {
        return (std::uint32_t(src_length) << SHIFT) / std::uint32_t(dst_length);
    };
    try {
        const FrameLayout layout(src.format, dst_size, 64);
        _step_x = step(src.size.width, dst_size.width);
        _step_y = step(src.size.height, dst_size.height);
        _chroma_step_y =
            hasHalfChroma(src.format) ? step(src.plane[1].height, layout.plane[1].height) : 0;
        _src_layout = src;
        _layout = layout;
        _row = 0;
        const int count = int(_step_y >> SHIFT) + ((_step_y & MASK) != 0 ? 2 : 0);
        _rows.resize(std::size_t(count));
        _window.reuse(src_frame, _chroma_step_y != 0 ? 3 * count : count);
    } catch (const Exception& error) {
        clear();
        TAVO_TRANSLATE(error, "%s", error.what());
    } catch (const std::exception& error) {
        clear();
        TAVO_RAISE(TAVO_STATUS_OUT_OF_MEMORY, "%s", error.what());
    }
}

void AreaXY::clear() {
    _src_layout.clear();
    _layout.clear();
    _window.clear();
    _row = 0;
}

/// Lists the rows of a plane that the current output row covers; rows that the source does not
/// have are absent.
std::ptrdiff_t AreaXY::_collectRows(int plane) {
    const bool chroma = plane > 0 && _chroma_step_y != 0;
    const std::uint32_t pos =
        chroma ? _chroma_step_y * std::uint32_t(_row / 2) : _step_y * std::uint32_t(_row);
    const std::uint32_t end = pos + _step_y;  // the luma step for chroma too
    const int row_step = chroma ? 2 : 1;
    int slot = row_step * int(pos >> SHIFT) - _window._begin;
    std::uint32_t source_row = pos >> SHIFT;
    std::uint32_t weight = ONE - (pos & MASK);
    std::ptrdiff_t count = 0;
    for (std::size_t k = 0; k < _rows.size(); ++k) {
        if (weight != 0 && slot < _window._window_size) {
            _rows[std::size_t(count)] = {weight, _window.rowData(slot)->plane[plane]};
            ++count;
        }
        slot += row_step;
        ++source_row;
        weight = source_row < end >> SHIFT ? ONE : source_row == end >> SHIFT ? end & MASK : 0;
    }
    return count;
}

void AreaXY::produce(RowData& row) {
    TAVO_ASSERT_TEXT(_window.initialized(), "initialized()");
    const impl::ScaledPlanes planes = areaPlanes(_layout.format);
    const impl::AreaDivider divider(_step_x, _step_y);
    for (int i = 0; i < _layout.plane_count && planes.first != Element::NONE; ++i) {
        if (row.plane[i]) {
            const Element element = i == 0 ? planes.first : planes.further;
            const impl::AreaRectangles area = {
                _rows.data(),
                _collectRows(i),
                _step_x,
                divider,
                _layout.plane[i].width,
                impl::elementsInRow(_src_layout.plane[i], element) - 1,
            };
            impl::areaKernels(element).average_rectangles(area, row.plane[i]);
        }
    }
    if (isRefused(planes)) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED,
                   "Failure in scaleAreaXY::produce(...) : unsupported frame format.");
    }
}

/// The first source row of the current output row. At odd source heights the chroma rows may run
/// ahead of the luma rows, which have to stay in the window.
int AreaXY::_firstRow() const {
    const std::uint32_t luma = (_step_y * std::uint32_t(_row)) >> SHIFT;
    const std::uint32_t chroma = 2 * ((_chroma_step_y * std::uint32_t(_row / 2)) >> SHIFT);
    return int(_chroma_step_y != 0 ? std::min(luma, chroma) : luma);
}

bool AreaXY::next() {
    if (_row >= _layout.size.height - 1) {
        return false;
    }
    ++_row;
    _window.advanceTo(_firstRow());
    return true;
}

}  // namespace

struct ScalerAreaX::Impl : AreaX {};

ScalerAreaX::ScalerAreaX() : _impl(impl::makeState<Impl>()) {}
ScalerAreaX::~ScalerAreaX() = default;

void ScalerAreaX::reuse(const Frame& src_frame, int dst_width, ScalerPrecision precision) {
    TAVO_ASSERT(src_frame.initialized());
    TAVO_ASSERT(0 < dst_width);
    _impl->reuse(src_frame, src_frame.layout(), Size(dst_width, src_frame.height()), precision);
}

void ScalerAreaX::reuse(IRowProducer& src_producer, int dst_width, ScalerPrecision precision) {
    TAVO_ASSERT(!src_producer.layout().size.empty());
    TAVO_ASSERT(0 < dst_width);
    const FrameLayout& src_layout = src_producer.layout();
    _impl->reuse(src_producer, src_layout, Size(dst_width, src_layout.size.height), precision);
}

bool ScalerAreaX::initialized() const {
    return _impl->_window.initialized();
}
const FrameLayout& ScalerAreaX::layout() const {
    return _impl->_layout;
}
void ScalerAreaX::produce(RowData& row) {
    _impl->produce(row);
}
bool ScalerAreaX::next() {
    return _impl->next();
}

struct ScalerAreaY::Impl : AreaY {};

ScalerAreaY::ScalerAreaY() : _impl(impl::makeState<Impl>()) {}
ScalerAreaY::~ScalerAreaY() = default;

void ScalerAreaY::reuse(const Frame& src_frame, int dst_height, ScalerPrecision precision) {
    TAVO_ASSERT(src_frame.initialized());
    TAVO_ASSERT(0 < dst_height);
    _impl->reuse(src_frame, src_frame.layout(), Size(src_frame.width(), dst_height), precision);
}

void ScalerAreaY::reuse(IRowProducer& src_producer, int dst_height, ScalerPrecision precision) {
    TAVO_ASSERT(!src_producer.layout().size.empty());
    TAVO_ASSERT(0 < dst_height);
    const FrameLayout& src_layout = src_producer.layout();
    _impl->reuse(src_producer, src_layout, Size(src_layout.size.width, dst_height), precision);
}

bool ScalerAreaY::initialized() const {
    return _impl->_window.initialized();
}
const FrameLayout& ScalerAreaY::layout() const {
    return _impl->_layout;
}
void ScalerAreaY::produce(RowData& row) {
    _impl->produce(row);
}
bool ScalerAreaY::next() {
    return _impl->next();
}

struct scaleAreaXY::Impl : AreaXY {};

scaleAreaXY::scaleAreaXY() : _impl(impl::makeState<Impl>()) {}
scaleAreaXY::~scaleAreaXY() = default;

void scaleAreaXY::reuse(const Frame& src_frame, Size dst_size, ScalerPrecision precision) {
    TAVO_ASSERT(src_frame.initialized());
    TAVO_ASSERT(!dst_size.empty());
    _impl->reuse(src_frame, dst_size, precision);
}

bool scaleAreaXY::initialized() const {
    return _impl->_window.initialized();
}
const FrameLayout& scaleAreaXY::layout() const {
    return _impl->_layout;
}
void scaleAreaXY::produce(RowData& row) {
    _impl->produce(row);
}
bool scaleAreaXY::next() {
    return _impl->next();
}

}  // namespace tavo
