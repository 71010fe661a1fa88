#include "tavo_cv/tavo_scaler_nn.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_impl_scaled_planes.h"
#include "tavo_cv/tavo_impl_state.h"
#include "tavo_cv/tavo_row_window.h"

namespace tavo {
namespace {

using impl::Element;

constexpr int SHIFT = 16;
constexpr int MAX_AXIS = 0x7fff;  // a longer axis in 16.16 exceeds 31 bits

void assertTable(bool condition, const char* text) {
    if (!condition) {
        throw Exception(nullptr, TAVO_STATUS_ASSERTION_FAILED, "_reuse", TAVO_SOURCE, __LINE__,
                        "Assertion failed: %s", text);
    }
}

/// For each output index the source index under its centre.
void buildTable(std::vector<std::uint16_t>& table, int src_length, int dst_length) {
    table.resize(std::size_t(dst_length));
    const int step = (src_length << SHIFT) / dst_length;
    std::int64_t position = step / 2;  // the step behind the last entry may exceed 31 bits
    for (std::uint16_t& entry : table) {
        entry = std::uint16_t(position >> SHIFT);
        position += step;
    }
}

/// Copies element xs[i] to element i. Entries beyond the row, which a table made for plane 0 has
/// for chroma at odd widths, take its last element; the table never falls, so they are at its end.
template <int Bytes>
void pickElements(const std::uint16_t* __restrict xs,
                  std::ptrdiff_t count,
                  const unsigned char* __restrict src,
                  int src_elements,
                  unsigned char* __restrict dst) {
    std::ptrdiff_t inside = count;
    while (inside > 0 && xs[inside - 1] >= src_elements) {
        --inside;
    }
    for (std::ptrdiff_t i = 0; i < inside; ++i) {
        std::memcpy(dst + i * Bytes, src + std::ptrdiff_t(xs[i]) * Bytes, Bytes);
    }
    for (std::ptrdiff_t i = inside; i < count; ++i) {
        std::memcpy(dst + i * Bytes, src + std::ptrdiff_t(src_elements - 1) * Bytes, Bytes);
    }
}

using Kernel =
    void (*)(const std::uint16_t*, std::ptrdiff_t, const unsigned char*, int, unsigned char*);

constexpr Kernel KERNELS[impl::ELEMENT_KINDS] = {
    pickElements<1>, pickElements<2>, pickElements<3>,
    pickElements<4>, pickElements<2>, pickElements<4>,
};

/// The planes that this scaler handles: R, G, B order is left out, unlike in the other scalers.
impl::ScaledPlanes nearestPlanes(FrameFormat format) {
    const bool left_out = format == FRAME_RGB24 || format == FRAME_RGB_PLANAR;
    return impl::scaledPlanes(left_out ? FRAME_INVALID : format);
}

/// The state behind the scaler.
struct Nearest {
    template <class Source>
    void reuse(Source& source, const FrameLayout& src_layout, Size dst_size);
    void clear();
    void produce(RowData& row);

    FrameLayout _layout;
    RowWindow _window;
    std::vector<std::uint16_t> _src_xs;
    std::vector<std::uint16_t> _src_ys;
    int _dst_row = 0;
    FrameLayout _src_layout;
};

template <class Source>
void Nearest::reuse(Source& source, const FrameLayout& src_layout, Size dst_size) {
    const Size src_size = src_layout.size;
    assertTable(src_size.width <= MAX_AXIS, "_src_xs[dst_size.width - 1] < src_size.width");
    assertTable(src_size.height <= MAX_AXIS, "_src_ys[dst_size.height - 1] < src_size.height");
    try {
        const FrameLayout layout(src_layout.format, dst_size, 64);
        if (src_size != _src_layout.size || dst_size != _layout.size) {
            buildTable(_src_xs, src_size.width, dst_size.width);
            buildTable(_src_ys, src_size.height, dst_size.height);
        }
        _layout = layout;
        _src_layout = src_layout;
        _dst_row = 0;
        _window.reuse(source, 1);
    } catch (const Exception& error) {
        clear();
        TAVO_TRANSLATE(error, "%s", error.what());
    } catch (const std::exception& error) {
        clear();
        TAVO_RAISE(TAVO_STATUS_OUT_OF_MEMORY, "%s", error.what());
    }
    _window.advanceTo(_src_ys[0]);
}

void Nearest::clear() {
    _layout.clear();
    _src_layout.clear();
    _window.clear();
    _dst_row = 0;
}

void Nearest::produce(RowData& row) {
    const RowData src = *_window.rowData(0);
    if (_layout.plane[0].width == _src_layout.size.width) {
        // The width of packed 4:2:2 counts pairs of pixels, so the source row may be the shorter.
        FrameLayout common = _layout;
        common.plane[0].row_bytes =
            std::min(_layout.plane[0].row_bytes, _src_layout.plane[0].row_bytes);
        copyRowData(common, src, row);
        return;
    }
    const impl::ScaledPlanes planes = nearestPlanes(_layout.format);
    if (planes.first == Element::NONE) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED,
                   "Failure in ScalerNearestNeighbor::produce(...) : unsupported frame format.");
    }
    for (int i = 0; i < _layout.plane_count; ++i) {
        if (row.plane[i]) {
            const Element element = i == 0 ? planes.first : planes.further;
            KERNELS[int(element)](_src_xs.data(), _layout.plane[i].width, src.plane[i],
                                  impl::elementsInRow(_src_layout.plane[i], element), row.plane[i]);
        }
    }
}

}  // namespace

struct ScalerNearestNeighbor::Impl : Nearest {};

ScalerNearestNeighbor::ScalerNearestNeighbor() : _impl(impl::makeState<Impl>()) {}
ScalerNearestNeighbor::~ScalerNearestNeighbor() = default;

void ScalerNearestNeighbor::reuse(const Frame& src_frame, Size dst_size) {
    TAVO_ASSERT(src_frame.initialized());
    TAVO_ASSERT(!dst_size.empty());
    _impl->reuse(src_frame, src_frame.layout(), dst_size);
}

void ScalerNearestNeighbor::reuse(IRowProducer& src_producer, Size dst_size) {
    TAVO_ASSERT(!src_producer.layout().size.empty());
    TAVO_ASSERT(!dst_size.empty());
    _impl->reuse(src_producer, src_producer.layout(), dst_size);
}

bool ScalerNearestNeighbor::initialized() const {
    return _impl->_window.initialized();
}

const FrameLayout& ScalerNearestNeighbor::layout() const {
    return _impl->_layout;
}

void ScalerNearestNeighbor::produce(RowData& row) {
    _impl->produce(row);
}

bool ScalerNearestNeighbor::next() {
    if (_impl->_dst_row >= _impl->_layout.size.height - 1) {
        return false;
    }
    ++_impl->_dst_row;
    _impl->_window.advanceTo(_impl->_src_ys[std::size_t(_impl->_dst_row)]);
    return true;
}

}  // namespace tavo
