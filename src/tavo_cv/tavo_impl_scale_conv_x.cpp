#include "tavo_cv/tavo_impl_scale_conv_x.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_impl_samples.h"
#include "tavo_cv/tavo_impl_scaled_planes.h"

namespace tavo::impl {
namespace {

/// A sample times a weight in 32 bits, the low ones of a 32-bit sample's product.
template <class Sample, class T>
std::int32_t product(Sample sample, T weight) {
    if constexpr (sizeof(Sample) < 4) {
        return std::int32_t(sample) * weight;
    } else {
        return std::int32_t(sample * std::uint32_t(std::int32_t(weight)));
    }
}

/// One output pixel: the weighted sum of the pixels `pixelAt(0)`, `pixelAt(1)` and so on.
template <class Sample, int Channels, class T, class PixelAt>
inline void convolve(
    const unsigned char* src, const T* weights, int taps, PixelAt pixelAt, unsigned char* dst) {
    // Sums are unsigned, because they may wrap.
    using Sum = std::conditional_t<(sizeof(Sample) < 4), std::uint32_t, std::uint64_t>;
    using SignedSum = std::make_signed_t<Sum>;
    Sum sums[Channels] = {};
    for (int j = 0; j < taps; ++j) {
        const std::ptrdiff_t pixel = pixelAt(j);
        for (int c = 0; c < Channels; ++c) {
            const auto sample = loadSample<Sample>(src, pixel * Channels + c);
            sums[c] += Sum(SignedSum(product(sample, weights[j])));
        }
    }
    constexpr SignedSum LARGEST = std::numeric_limits<Sample>::max();
    for (int c = 0; c < Channels; ++c) {
        const SignedSum quotient = std::max(SignedSum(sums[c]), SignedSum(0)) >> FRACTION_BITS<T>;
        storeSample<Sample>(dst, c, Sample(std::min(quotient, LARGEST)));
    }
}

/// @param width   pixels of the source row. Taps that reach beyond it take its last pixel: they are
///                zero, or belong to a table made for a wider source.
/// @param inside  leading outputs whose taps do not reach that far
template <class Sample, int Channels, class T>
void scaleRow(const ScaleData<T>& scale_data,
              const unsigned char* __restrict src,
              int width,
              int inside,
              unsigned char* __restrict dst) {
    constexpr int PIXEL_BYTES = Channels * int(sizeof(Sample));
    const ScaleIndexEntry* const index = scale_data.index.data();
    const int taps = scale_data.aperture;
    const int last = width - 1;
    for (int i = 0; i < inside; ++i) {
        const int start = index[i].src_start;
        convolve<Sample, Channels>(
            src, scale_data.weights(index[i]), taps, [start](int j) { return start + j; },
            dst + std::ptrdiff_t(i) * PIXEL_BYTES);
    }
    for (int i = inside; i < scale_data.dst_size; ++i) {
        const int start = index[i].src_start;
        convolve<Sample, Channels>(
            src, scale_data.weights(index[i]), taps,
            [start, last](int j) { return std::min(start + j, last); },
            dst + std::ptrdiff_t(i) * PIXEL_BYTES);
    }
}

template <class T>
using RowLoop = void (*)(const ScaleData<T>&, const unsigned char*, int, int, unsigned char*);

template <class T>
constexpr RowLoop<T> ROW_LOOPS[ELEMENT_KINDS] = {
    scaleRow<std::uint8_t, 1, T>, scaleRow<std::uint8_t, 2, T>,  scaleRow<std::uint8_t, 3, T>,
    scaleRow<std::uint8_t, 4, T>, scaleRow<std::uint16_t, 1, T>, scaleRow<std::uint32_t, 1, T>,
};

/// The planes that this stage handles; it leaves out packed 4:2:2 and most orders of R, G and B.
ScaledPlanes convolvedPlanes(FrameFormat format) {
    switch (format) {
        case FRAME_RGB24:
        case FRAME_RGB_PLANAR:
        case FRAME_BGR_PLANAR:
        case FRAME_YUYV:
        case FRAME_UYVY:
            return scaledPlanes(FRAME_INVALID);
        default:
            return scaledPlanes(format);
    }
}

/// Leading outputs whose taps all lie within @p width pixels.
template <class T>
int countInside(const ScaleData<T>& scale_data, int width) {
    const auto reachesOut = [&](const ScaleIndexEntry& entry) {
        return int(entry.src_start) + scale_data.aperture > width;
    };
    const auto& index = scale_data.index;
    return int(std::find_if(index.begin(), index.end(), reachesOut) - index.begin());
}

}  // namespace

template <class T>
void ScaleX<T>::_reuseScaleData(IKernel& kernel, const FrameLayout& src, int dst_width) {
    if (initialized() && _kernel == &kernel && src.format == _src_format &&
        dst_width == _layout.size.width) {
        return;
    }
    _kernel = nullptr;  // until all tables are complete
    _src_format = src.format;
    if (src.plane_count == 0) {
        TAVO_RAISE(TAVO_STATUS_INSTANCE_NOT_INITIALIZED,
                   "Failure in ScaleX::reuse(...) : source frame is not initialized.");
    }
    try {
        _layout = FrameLayout(src.format, Size(dst_width, src.size.height), 64);
        for (int i = 0; i < src.plane_count; ++i) {
            _scale_data[i].reuse(kernel, src.plane[i].width, _layout.plane[i].width);
        }
    } catch (const Exception& error) {
        TAVO_TRANSLATE(error, "%s", error.what());
    }
    _kernel = &kernel;
}

template <class T>
template <class Source>
void ScaleX<T>::_reuse(IKernel& kernel, Source& source, const FrameLayout& src, int dst_width) {
    _reuseScaleData(kernel, src, dst_width);
    _window.reuse(source, 1);
    for (int i = 0; i < _layout.plane_count; ++i) {
        _inside[i] = countInside(_scale_data[i], _window._layout.plane[i].width);
    }
}

template <class T>
void ScaleX<T>::reuse(IKernel& kernel, const Frame& frame, int dst_width) {
    try {
        _reuse(kernel, frame, frame.layout(), dst_width);
    } catch (const Exception& error) {
        clear();
        TAVO_TRANSLATE(error, "%s", error.what());
    }
}

template <class T>
void ScaleX<T>::reuse(IKernel& kernel, IRowProducer& producer, int dst_width) {
    try {
        _reuse(kernel, producer, producer.layout(), dst_width);
    } catch (const Exception& error) {
        clear();
        TAVO_TRANSLATE(error, "%s", error.what());
    }
}

template <class T>
void ScaleX<T>::clear() {
    _kernel = nullptr;
    _src_format = FRAME_INVALID;
    _layout.clear();
    _window.clear();
    for (ScaleData<T>& scale_data : _scale_data) {
        scale_data.clear();
    }
}

template <class T>
void ScaleX<T>::produce(RowData& row) {
    if (!initialized()) {
        TAVO_RAISE(TAVO_STATUS_INSTANCE_NOT_INITIALIZED,
                   "Failure in ScaleX::produce(...): the scaler is not initialized.");
    }
    const ScaledPlanes planes = convolvedPlanes(_layout.format);
    if (planes.first == Element::NONE) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED,
                   "Failure in ScaleX::produce(...) : unsupported format.");
    }
    for (int i = 0; i < _layout.plane_count; ++i) {
        if (row.plane[i]) {
            const Element element = i == 0 ? planes.first : planes.further;
            const RowLoop<T> scale = ROW_LOOPS<T>[int(element)];
            scale(_scale_data[i], _window.rowData(0)->plane[i], _window._layout.plane[i].width,
                  _inside[i], row.plane[i]);
        }
    }
}

template <class T>
bool ScaleX<T>::next() {
    if (_window._begin + _window._window_size >= _window._layout.size.height) {
        return false;
    }
    ++_window._begin;
    return true;
}

template class ScaleX<signed char>;
template class ScaleX<short>;

}  // namespace tavo::impl
