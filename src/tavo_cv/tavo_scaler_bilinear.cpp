#include "tavo_cv/tavo_scaler_bilinear.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <vector>

#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_impl_samples.h"
#include "tavo_cv/tavo_impl_scaled_planes.h"
#include "tavo_cv/tavo_impl_state.h"
#include "tavo_cv/tavo_row_window.h"

namespace tavo {
namespace {

using impl::Element;
using impl::loadSample;
using impl::storeSample;

constexpr int SHIFT = 16;
constexpr std::uint32_t ONE = 1u << SHIFT;
constexpr int MAX_AXIS = 0x7fff;  // a longer axis in 16.16 exceeds 31 bits

void assertTable(bool condition, const char* text) {
    if (!condition) {
        throw Exception(nullptr, TAVO_STATUS_ASSERTION_FAILED, "_reuse", TAVO_SOURCE, __LINE__,
                        "Assertion failed: %s", text);
    }
}

/// For each output index the 16.16 source position of its centre, not left of the first sample.
void buildTable(std::vector<std::int32_t>& table, int src_length, int dst_length) {
    table.resize(std::size_t(dst_length));
    const int step = (src_length << SHIFT) / dst_length;
    std::int64_t position = (step - int(ONE)) / 2;  // the last step may exceed 31 bits
    for (std::int32_t& entry : table) {
        entry = std::int32_t(std::max<std::int64_t>(position, 0));
        position += step;
    }
}

constexpr int wholePart(std::int32_t position) {
    return position >> SHIFT;
}
constexpr std::uint32_t fraction(std::int32_t position) {
    return std::uint32_t(position) & (ONE - 1);
}

/// The value between a and b at fraction @p f, truncated. A sum of two 16-bit samples weighted to
/// 0x10000 just fits 32 bits; 32-bit samples need 64.
template <class T>
inline T blend(T a, T b, std::uint32_t f) {
    using Sum = std::conditional_t<(sizeof(T) < 4), std::uint32_t, std::uint64_t>;
    return T((Sum(f) * b + Sum(ONE - f) * a) >> SHIFT);
}

/// Leading outputs that have a right neighbour in a source row of @p width elements. Positions
/// never fall, and never pass the last element: not in the half-wide planes that share the table
/// either.
std::ptrdiff_t countInside(const std::int32_t* xs, std::ptrdiff_t count, int width) {
    while (count > 0 && wholePart(xs[count - 1]) >= width - 1) {
        --count;
    }
    return count;
}

template <class T, int Channels>
void scaleX(const std::int32_t* __restrict xs,
            std::ptrdiff_t count,
            const unsigned char* __restrict src,
            int width,
            unsigned char* __restrict dst) {
    const std::ptrdiff_t inside = countInside(xs, count, width);
    for (std::ptrdiff_t i = 0; i < inside; ++i) {
        const std::ptrdiff_t left = std::ptrdiff_t(wholePart(xs[i])) * Channels;
        const std::uint32_t fx = fraction(xs[i]);
        for (int c = 0; c < Channels; ++c) {
            storeSample<T>(
                dst, i * Channels + c,
                blend(loadSample<T>(src, left + c), loadSample<T>(src, left + Channels + c), fx));
        }
    }
    constexpr auto ELEMENT_BYTES = std::ptrdiff_t(Channels * sizeof(T));
    for (std::ptrdiff_t i = inside; i < count; ++i) {
        std::memcpy(dst + i * ELEMENT_BYTES, src + (width - 1) * ELEMENT_BYTES, ELEMENT_BYTES);
    }
}

template <class T>
void scaleY(const unsigned char* __restrict first,
            const unsigned char* __restrict second,
            std::uint32_t fy,
            std::ptrdiff_t samples,
            unsigned char* __restrict dst) {
    for (std::ptrdiff_t i = 0; i < samples; ++i) {
        storeSample<T>(dst, i, blend(loadSample<T>(first, i), loadSample<T>(second, i), fy));
    }
}

template <class T, int Channels>
void scaleXY(const std::int32_t* __restrict xs,
             std::ptrdiff_t count,
             const unsigned char* __restrict first,
             const unsigned char* __restrict second,
             int width,
             std::uint32_t fy,
             unsigned char* __restrict dst) {
    const std::ptrdiff_t inside = countInside(xs, count, width);
    for (std::ptrdiff_t i = 0; i < inside; ++i) {
        const std::ptrdiff_t left = std::ptrdiff_t(wholePart(xs[i])) * Channels;
        const std::uint32_t fx = fraction(xs[i]);
        for (int c = 0; c < Channels; ++c) {
            const std::ptrdiff_t a = left + c;
            const std::ptrdiff_t b = a + Channels;
            const T top = blend(loadSample<T>(first, a), loadSample<T>(first, b), fx);
            const T bottom = blend(loadSample<T>(second, a), loadSample<T>(second, b), fx);
            storeSample<T>(dst, i * Channels + c, blend(top, bottom, fy));
        }
    }
    for (std::ptrdiff_t i = inside; i < count; ++i) {
        for (int c = 0; c < Channels; ++c) {
            const std::ptrdiff_t a = std::ptrdiff_t(width - 1) * Channels + c;
            storeSample<T>(dst, i * Channels + c,
                           blend(loadSample<T>(first, a), loadSample<T>(second, a), fy));
        }
    }
}

struct Kernels {
    int samples;  // of an element
    decltype(&scaleX<std::uint8_t, 1>) x;
    decltype(&scaleY<std::uint8_t>) y;
    decltype(&scaleXY<std::uint8_t, 1>) xy;
};

template <class T, int Channels>
constexpr Kernels kernelsOf() {
    return {Channels, scaleX<T, Channels>, scaleY<T>, scaleXY<T, Channels>};
}

constexpr Kernels KERNELS[impl::ELEMENT_KINDS] = {
    kernelsOf<std::uint8_t, 1>(), kernelsOf<std::uint8_t, 2>(),  kernelsOf<std::uint8_t, 3>(),
    kernelsOf<std::uint8_t, 4>(), kernelsOf<std::uint16_t, 1>(), kernelsOf<std::uint32_t, 1>(),
};

/// What tells the three scalers apart.
struct Axes {
    bool x;
    bool y;
    const char* x_table_text;
    const char* y_table_text;
    const char* unsupported_text;
};

/// Source rows that a scaler of the height looks at: two, or two chroma rows apart.
int windowSize(const FrameLayout& layout) {
    const bool subsampled =
        layout.plane_count > 1 && layout.plane[0].height != layout.plane[1].height;
    return subsampled ? 4 : 2;
}

int limitWindow(int size, const Frame& frame) {
    return std::min(size, frame.height());
}
int limitWindow(int size, const IRowProducer&) {
    return size;
}

/// The common part of the three scalers.
struct Bilinear {
    explicit Bilinear(const Axes& axes) : _axes(axes) {}

    template <class Source>
    void reuse(Source& source, const FrameLayout& src_layout, Size dst_size);
    void clear();
    void produce(RowData& row);
    bool next();

    std::int32_t _positionY() const;
    int _targetRow() const { return _axes.y ? wholePart(_positionY()) : _dst_row; }
    bool _keepsRows() const;
    void _scalePlane(int plane,
                     Element element,
                     const unsigned char* first,
                     const unsigned char* second,
                     unsigned char* dst) const;

    const Axes& _axes;
    FrameLayout _src_layout;
    FrameLayout _dst_layout;
    RowWindow _window;
    std::vector<std::int32_t> _src_xs;
    std::vector<std::int32_t> _src_ys;
    int _dst_row = 0;
};

template <class Source>
void Bilinear::reuse(Source& source, const FrameLayout& src_layout, Size dst_size) {
    const Size src_size = src_layout.size;
    assertTable(!_axes.x || src_size.width <= MAX_AXIS, _axes.x_table_text);
    assertTable(!_axes.y || src_size.height <= MAX_AXIS, _axes.y_table_text);
    try {
        const FrameLayout dst_layout(src_layout.format, dst_size, 64);
        if (src_size != _src_layout.size || dst_size != _dst_layout.size) {
            if (_axes.x) {
                buildTable(_src_xs, src_size.width, dst_size.width);
            }
            if (_axes.y) {
                buildTable(_src_ys, src_size.height, dst_size.height);
            }
        }
        _src_layout = src_layout;
        _dst_layout = dst_layout;
        _dst_row = 0;
        _window.reuse(source, _axes.y ? limitWindow(windowSize(dst_layout), source) : 1);
    } catch (const Exception& error) {
        clear();
        TAVO_TRANSLATE(error, "%s", error.what());
    } catch (const std::exception& error) {
        clear();
        TAVO_RAISE(TAVO_STATUS_OUT_OF_MEMORY, "%s", error.what());
    }
    _window.advanceTo(_targetRow());
}

void Bilinear::clear() {
    _src_layout.clear();
    _dst_layout.clear();
    _window.clear();
    _dst_row = 0;
}

bool Bilinear::next() {
    if (_dst_row >= _dst_layout.size.height - 1) {
        return false;
    }
    ++_dst_row;
    _window.advanceTo(_targetRow());
    return true;
}

/// 16.16 position of the current row; 0 before the first `reuse`.
std::int32_t Bilinear::_positionY() const {
    const auto row = std::size_t(_dst_row);
    return row < _src_ys.size() ? _src_ys[row] : 0;
}

/// A scaler of one axis passes rows on when that axis does not change.
bool Bilinear::_keepsRows() const {
    if (_axes.x && _axes.y) {
        return false;
    }
    return _axes.x ? _src_layout.plane[0].width == _dst_layout.plane[0].width
                   : _src_layout.size.height == _dst_layout.size.height;
}

void Bilinear::_scalePlane(int plane,
                           Element element,
                           const unsigned char* first,
                           const unsigned char* second,
                           unsigned char* dst) const {
    const Kernels& kernels = KERNELS[int(element)];
    const std::ptrdiff_t width = _dst_layout.plane[plane].width;
    const int src_width = _src_layout.plane[plane].width;
    // Blending a row with itself, or with nothing of the other, gives the row.
    const std::uint32_t fy = first == second || !_axes.y ? 0 : fraction(_positionY());
    if (_axes.x && fy != 0) {
        kernels.xy(_src_xs.data(), width, first, second, src_width, fy, dst);
    } else if (_axes.x) {
        kernels.x(_src_xs.data(), width, first, src_width, dst);
    } else if (fy != 0) {
        kernels.y(first, second, fy, width * kernels.samples, dst);
    } else {
        std::memcpy(dst, first, std::size_t(width * impl::elementBytes(element)));
    }
}

void Bilinear::produce(RowData& row) {
    const int window_size = _window._window_size;
    const int window_row = _targetRow() - _window._begin;
    TAVO_ASSERT(0 <= window_row && window_row < window_size);
    if (_keepsRows()) {
        copyRowData(_dst_layout, *_window.rowData(window_row), row);
        return;
    }
    const impl::ScaledPlanes planes = impl::scaledPlanes(_dst_layout.format);
    if (planes.first == Element::NONE) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED, "%s", _axes.unsupported_text);
    }
    for (int i = 0; i < _dst_layout.plane_count; ++i) {
        if (row.plane[i]) {
            // Two image rows share a chroma row, so the next chroma row is two slots on. In a
            // window of two rows there is none, and chroma of full height stays unblended.
            const int next_row = window_row + (i == 0 ? 1 : 2);
            const unsigned char* const first = _window.rowData(window_row)->plane[i];
            const unsigned char* const second =
                next_row < window_size ? _window.rowData(next_row)->plane[i] : first;
            _scalePlane(i, i == 0 ? planes.first : planes.further, first, second, row.plane[i]);
        }
    }
}

constexpr Axes AXES_XY = {
    true,
    true,
    "_src_xs[dst_size.width - 1] < (src_size.width << SHIFT)",
    "_src_ys[dst_size.height - 1] < (src_size.height << SHIFT)",
    "Failure in ScalerBilinearXY::produce(...) : unsupported frame format.",
};
constexpr Axes AXES_X = {
    true,
    false,
    "_src_xs[dst_width - 1] < (src_size.width << SHIFT)",
    "",
    "Failure in ScalerBilinearX::produce(...) : unsupported frame format.",
};
constexpr Axes AXES_Y = {
    false,
    true,
    "",
    "_src_ys[dst_height - 1] < (src_layout.size.height << SHIFT)",
    "Failure in ScalerBilinearY::produce(...) : unsupported frame format.",
};

}  // namespace

struct ScalerBilinearXY::Impl : Bilinear {
    Impl() : Bilinear(AXES_XY) {}
};

ScalerBilinearXY::ScalerBilinearXY() : _impl(impl::makeState<Impl>()) {}
ScalerBilinearXY::~ScalerBilinearXY() = default;

void ScalerBilinearXY::reuse(const Frame& src_frame, Size dst_size) {
    TAVO_ASSERT(src_frame.initialized());
    TAVO_ASSERT(!dst_size.empty());
    _impl->reuse(src_frame, src_frame.layout(), dst_size);
}

void ScalerBilinearXY::reuse(IRowProducer& src_producer, Size dst_size) {
    TAVO_ASSERT(!src_producer.layout().size.empty());
    TAVO_ASSERT(!dst_size.empty());
    _impl->reuse(src_producer, src_producer.layout(), dst_size);
}

bool ScalerBilinearXY::initialized() const {
    return _impl->_window.initialized();
}
const FrameLayout& ScalerBilinearXY::layout() const {
    return _impl->_dst_layout;
}
void ScalerBilinearXY::produce(RowData& row) {
    _impl->produce(row);
}
bool ScalerBilinearXY::next() {
    return _impl->next();
}

struct ScalerBilinearX::Impl : Bilinear {
    Impl() : Bilinear(AXES_X) {}
};

ScalerBilinearX::ScalerBilinearX() : _impl(impl::makeState<Impl>()) {}
ScalerBilinearX::~ScalerBilinearX() = default;

void ScalerBilinearX::reuse(const Frame& src_frame, int dst_width) {
    TAVO_ASSERT(src_frame.initialized());
    TAVO_ASSERT(0 < dst_width);
    _impl->reuse(src_frame, src_frame.layout(), Size(dst_width, src_frame.height()));
}

void ScalerBilinearX::reuse(IRowProducer& src_producer, int dst_width) {
    TAVO_ASSERT(!src_producer.layout().size.empty());
    TAVO_ASSERT(0 < dst_width);
    const FrameLayout& src_layout = src_producer.layout();
    _impl->reuse(src_producer, src_layout, Size(dst_width, src_layout.size.height));
}

bool ScalerBilinearX::initialized() const {
    return _impl->_window.initialized();
}
const FrameLayout& ScalerBilinearX::layout() const {
    return _impl->_dst_layout;
}
void ScalerBilinearX::produce(RowData& row) {
    _impl->produce(row);
}
bool ScalerBilinearX::next() {
    return _impl->next();
}

struct ScalerBilinearY::Impl : Bilinear {
    Impl() : Bilinear(AXES_Y) {}
};

ScalerBilinearY::ScalerBilinearY() : _impl(impl::makeState<Impl>()) {}
ScalerBilinearY::~ScalerBilinearY() = default;

void ScalerBilinearY::reuse(const Frame& src_frame, int dst_height) {
    TAVO_ASSERT(!src_frame.size().empty());
    TAVO_ASSERT(0 < dst_height);
    _impl->reuse(src_frame, src_frame.layout(), Size(src_frame.width(), dst_height));
}

void ScalerBilinearY::reuse(IRowProducer& src_producer, int dst_height) {
    TAVO_ASSERT(!src_producer.layout().size.empty());
    TAVO_ASSERT(0 < dst_height);
    const FrameLayout& src_layout = src_producer.layout();
    _impl->reuse(src_producer, src_layout, Size(src_layout.size.width, dst_height));
}

bool ScalerBilinearY::initialized() const {
    return _impl->_window.initialized();
}
const FrameLayout& ScalerBilinearY::layout() const {
    return _impl->_dst_layout;
}
void ScalerBilinearY::produce(RowData& row) {
    _impl->produce(row);
}
bool ScalerBilinearY::next() {
    return _impl->next();
}

}  // namespace tavo
