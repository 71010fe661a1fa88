#include "tavo_cv/tavo_impl_scale_conv_y.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "tavo_core/tavo_exception.h"

namespace tavo::impl {
namespace {

/// The product in the shape of a widening multiplication of 16 bits, which vector units have. It is
/// unsigned, because sums may wrap.
inline std::uint32_t product(unsigned char sample, std::int16_t weight) {
    return std::uint32_t(std::int32_t(std::int16_t(sample)) * std::int32_t(weight));
}

void setSums(const unsigned char* __restrict src,
             std::int16_t weight,
             std::ptrdiff_t count,
             std::uint32_t* __restrict sums) {
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        sums[i] = product(src[i], weight);
    }
}

void addToSums(const unsigned char* __restrict src,
               std::int16_t weight,
               std::ptrdiff_t count,
               std::uint32_t* __restrict sums) {
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        sums[i] += product(src[i], weight);
    }
}

template <int Shift>
void storeSums(const std::uint32_t* __restrict sums,
               std::ptrdiff_t count,
               unsigned char* __restrict dst) {
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        const std::int32_t quotient = std::max(std::int32_t(sums[i]), 0) >> Shift;
        dst[i] = static_cast<unsigned char>(std::min(quotient, 255));
    }
}

bool isSupported(FrameFormat format) {
    return format == FRAME_GRAY8 || format == FRAME_BGR24 ||
           (format >= FRAME_I420 && format <= FRAME_8U_C4);
}

}  // namespace

template <class T>
void ScaleY<T>::_reuseScaleData(IKernel& kernel, const FrameLayout& src, int dst_height) {
    if (initialized() && _kernel == &kernel && src.size.height == _src_layout.size.height &&
        src.format == _src_layout.format && dst_height == _layout.size.height) {
        return;
    }
    _kernel = nullptr;  // until all tables are complete
    if (src.plane_count == 0) {
        TAVO_RAISE(TAVO_STATUS_INSTANCE_NOT_INITIALIZED,
                   "Failure in ScaleY::reuse(...) : source frame is not initialized.");
    }
    try {
        _layout = FrameLayout(src.format, Size(src.size.width, dst_height), 64);
        for (int i = 0; i < src.plane_count; ++i) {
            _scale_data[i].reuse(kernel, src.plane[i].height, _layout.plane[i].height);
        }
    } catch (const Exception& error) {
        TAVO_TRANSLATE(error, "%s", error.what());
    }
    _kernel = &kernel;
}

/// Room for the sums of the widest plane, and as much again.
template <class T>
void ScaleY<T>::_resizeAccumulator() {
    std::int64_t samples = 0;
    for (const PlaneLayout& plane : _src_layout.plane) {
        samples = std::max(samples, std::int64_t(plane.row_bytes));
    }
    const std::int64_t bytes = 8 * samples;
    if (bytes > std::numeric_limits<unsigned int>::max()) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "The sums of a row exceed 32 bits.");
    }
    _accumulator.resize(unsigned(bytes), false);
    _accumulator.setZero();
}

template <class T>
void ScaleY<T>::reuse(IKernel& kernel, IRowProducer& producer, int dst_height) {
    try {
        _reuseScaleData(kernel, producer.layout(), dst_height);
        _row_index.reuse(_layout);
        _src_layout = producer.layout();
        int window_size = 0;
        for (const ScaleData<T>& scale_data : _scale_data) {
            window_size = std::max(window_size, scale_data.aperture);
        }
        _window.reuse(producer, window_size);
        _resizeAccumulator();
    } catch (const Exception& error) {
        clear();
        TAVO_TRANSLATE(error, "%s", error.what());
    }
}

template <class T>
void ScaleY<T>::clear() {
    _row_index = RowIndex();
    _kernel = nullptr;
    _src_layout.clear();
    _layout.clear();
    _window.clear();
    for (ScaleData<T>& scale_data : _scale_data) {
        scale_data.clear();
    }
}

template <class T>
void ScaleY<T>::_scalePlane(int plane, unsigned char* dst) {
    const ScaleData<T>& scale_data = _scale_data[plane];
    // Past the last row, the last one again.
    const int row = std::min(_row_index.row[plane], scale_data.dst_size - 1);
    const T* const weights = scale_data.weights(scale_data.index[std::size_t(row)]);
    // The source may have changed its width while `layout` was kept.
    const std::ptrdiff_t count =
        std::min(_src_layout.plane[plane].row_bytes, _layout.plane[plane].row_bytes);
    auto* const sums = static_cast<std::uint32_t*>(static_cast<void*>(_accumulator.data));
    auto accumulate = setSums;
    for (int k = 0; k < scale_data.aperture; ++k) {
        if (const unsigned char* const src = _window.rowData(k)->plane[plane]) {
            accumulate(src, weights[k], count, sums);
            accumulate = addToSums;
        }
    }
    if (accumulate == setSums) {
        std::fill_n(sums, count, 0u);
    }
    storeSums<FRACTION_BITS<T>>(sums, count, dst);
}

template <class T>
void ScaleY<T>::produce(RowData& row) {
    if (!initialized()) {
        TAVO_RAISE(TAVO_STATUS_INSTANCE_NOT_INITIALIZED, "The scaler is not initialized.");
    }
    if (!isSupported(_layout.format)) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED,
                   "Failure in ScaleY::produce(...) : unsupported frame format.");
    }
    for (int i = 0; i < _layout.plane_count; ++i) {
        if (row.plane[i]) {
            _scalePlane(i, row.plane[i]);
        }
    }
}

template <class T>
bool ScaleY<T>::next() {
    _row_index.next();
    const int row = _row_index.row[0];
    if (row >= _layout.size.height) {
        return false;
    }
    const int start = _scale_data[0].index[std::size_t(row)].src_start;
    _window.advanceTo(_window._begin + start - _last_start);
    _last_start = start;
    return true;
}

template class ScaleY<signed char>;
template class ScaleY<short>;

}  // namespace tavo::impl
