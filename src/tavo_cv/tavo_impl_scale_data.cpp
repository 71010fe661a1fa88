#include "tavo_cv/tavo_impl_scale_data.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <numeric>

#include "tavo_core/tavo_exception.h"

namespace tavo::impl {
namespace {

constexpr int MAX_LENGTH = 8192;  // index entries have 16 bits
constexpr int MAX_WEIGHTS = 0x3FFFFFFF;
constexpr int MAX_PHASES = 16;
constexpr double MIN_SUM = 0.001;
constexpr float STEP = 0.0625f;  // of the integration, in pixels

template <class T>
bool factorFits(int src_length, int dst_length);
template <>
bool factorFits<signed char>(int src_length, int dst_length) {
    return dst_length <= src_length * 32 && src_length <= dst_length * 32;
}
template <>
bool factorFits<short>(int src_length, int dst_length) {
    return dst_length <= src_length * 8192;
}

/// Conversion that stays defined for what a caller's kernel may return: the nearest int, and 0 for
/// what is not a number.
int toInt(float value) {
    constexpr float LIMIT = 2147483648.0f;
    if (value >= LIMIT) {
        return std::numeric_limits<int>::max();
    }
    if (value < -LIMIT) {
        return std::numeric_limits<int>::min();
    }
    return std::isnan(value) ? 0 : int(value);
}

/// Hands out what rounding left over, one unit at a time from the middle tap outwards: right before
/// left, and an odd kernel's middle tap twice. The walk ends with the last tap.
template <class T>
void distributeResidue(T* weights, int taps) {
    int total = std::accumulate(weights, weights + taps, 0);
    const int step = total < maxAperture<T>() ? 1 : -1;
    const int middle = (taps - 1) / 2;
    const bool odd = taps % 2 != 0;
    for (int i = 0; i < taps && total != maxAperture<T>(); ++i) {
        const int k = odd ? std::max(i - 1, 0) : i;
        const int tap = middle + (k % 2 != 0 ? (k + 1) / 2 : -(k / 2));
        weights[tap] = T(weights[tap] + step);
        total += step;
    }
}

/// The pixel that stands for @p position, which may lie outside an image of @p length pixels: a
/// mirror with the edge pixel repeated.
int mirror(int position, int length) {
    const int distance = std::abs(position < 0 ? position + 1 : position) % (2 * length);
    return distance < length ? distance : 2 * length - 1 - distance;
}

}  // namespace

template <class T>
float ScaleData<T>::_computeIntegral(IKernel* _p_kernel, float phase, float lo, float hi) {
    if (!_p_kernel) {
        TAVO_RAISE(TAVO_STATUS_NULL_POINTER, "Parameter '_p_kernel' is null.");
    }
    const float centre = std::fmaf(_p_kernel->aperture(), 0.5f, phase);
    float acc = 0;
    float last = lo;  // grid point below hi
    float last_value = _p_kernel->value(lo - centre);
    float point = lo + STEP;
    float value = _p_kernel->value(point - centre);
    if (point < hi) {
        do {
            acc += value + last_value;
            last = point;
            last_value = value;
            point = last + STEP;
            value = _p_kernel->value(point - centre);
        } while (hi > point);
        acc *= 0.5f * STEP;
    }
    return std::fmaf((last_value + _p_kernel->value(hi - centre)) * (hi - last), 0.5f, acc);
}

template <class T>
int ScaleData<T>::_computeWeights(
    IKernel* p_kernel, float phase, int weight_capacity, T* p_weights, float* p_weight_buffer) {
    if (!p_weights) {
        TAVO_RAISE(TAVO_STATUS_NULL_POINTER,
                   "Failure in _computeWeights(...): Parameter 'p_weights' is null.");
    }
    if (!p_weight_buffer) {
        TAVO_RAISE(TAVO_STATUS_NULL_POINTER,
                   "Failure in _computeWeights(...): Parameter 'p_weight_buffer' is null.");
    }
    if (weight_capacity < 1 || weight_capacity > MAX_WEIGHTS) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE,
                   "Failure in _computeWeights(...): Parameter 'weight_capacity' is out of range.");
    }
    if (!(phase >= 0.0f && phase < 1.0f)) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE,
                   "Failure in _computeWeights(...): Parameter 'phase' is out of range.");
    }
    const float end = p_kernel->aperture() + phase;
    const int taps = toInt(std::ceil(end));
    if (taps > weight_capacity) {
        TAVO_RAISE(TAVO_STATUS_CAPACITY_EXCEEDED,
                   "Failure in _computeWeights(...): Not enough capacity to fit the kernel.");
    }
    if (taps > maxAperture<T>()) {
        TAVO_RAISE(TAVO_STATUS_CAPACITY_EXCEEDED,
                   "Failure in _computeWeights(...): The kernel aperture is greater than "
                   "MAX_FIXED_POINT_APERTURE");
    }
    std::fill_n(p_weights, weight_capacity, T(0));
    std::fill_n(p_weight_buffer, weight_capacity, 0.0f);
    float sum = 0;
    for (int i = 0; i < taps; ++i) {
        const auto left = float(i);
        const float lo = left < phase ? phase : left;
        const float hi = end < left + 1.0f ? end : left + 1.0f;
        p_weight_buffer[i] = _computeIntegral(p_kernel, phase, lo, hi);
        sum += p_weight_buffer[i];
    }
    if (double(sum) < MIN_SUM) {
        TAVO_RAISE(TAVO_STATUS_NULL_POINTER,
                   "Failure in computeWeights(...): Kernel has zero weight sum.");
    }
    const float factor = float(maxAperture<T>()) / std::fabs(sum);
    for (int i = 0; i < taps; ++i) {
        p_weights[i] = T(toInt(std::round(p_weight_buffer[i] * factor)));
    }
    distributeResidue(p_weights, taps);
    return taps;
}

template <class T>
int ScaleData<T>::_reflectWeights(
    const T* p_weights, int taps, int start, int length, int weight_capacity, T* p_borderWieghts) {
    if (!p_borderWieghts) {
        TAVO_RAISE(TAVO_STATUS_NULL_POINTER,
                   "Failure in _reflectWeights(...) : Parameter 'p_borderWieghts' is null.");
    }
    if (taps > maxAperture<T>()) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE,
                   "Failure in _reflectWeights(...) : Parameter 'aperture' is out of range.");
    }
    const int new_start = std::max(start + taps > length ? length - taps : start, 0);
    // Behind the taps as well: rows are stored whole, and shorter kernels follow longer ones.
    std::fill_n(p_borderWieghts, weight_capacity, T(0));
    for (int i = 0; i < taps; ++i) {
        T& weight = p_borderWieghts[mirror(start + i, length) - new_start];
        weight = T(weight + p_weights[i]);
    }
    return new_start;
}

template <class T>
void ScaleData<T>::_build(IKernel& kernel, int src_length, int dst_length) {
    index.clear();
    index.reserve(std::size_t(dst_length));
    aperture = 0;
    const float scale = float(src_length) / float(dst_length);
    const int phase_count = dst_length / std::gcd(src_length, dst_length);
    kernel.configure(scale);
    const float width = kernel.aperture();
    const int capacity = toInt(std::ceil(width + 1.0f));
    builder.reuse(capacity);
    // Floats first, so that each array is aligned for its type.
    weight_buffer.resize(unsigned(capacity) * unsigned(2 * sizeof(T) + sizeof(float)), false);
    weight_buffer.setZero();
    auto* const floats = static_cast<float*>(static_cast<void*>(weight_buffer.data));
    auto* const weights = static_cast<T*>(static_cast<void*>(floats + capacity));
    T* const mirrored = weights + capacity;

    const float offset = -(0.5f * width);
    for (int i = 0; i < dst_length; ++i) {
        const float left = std::fmaf(scale, float(i) + 0.5f, offset);
        const float whole = std::floor(left);
        int start = int(whole);
        float phase = left - whole;
        const bool inner = start >= 0 && src_length >= capacity + start;
        if (inner && phase_count > MAX_PHASES) {
            phase = std::floor(phase * float(MAX_PHASES)) * (1.0f / float(MAX_PHASES));
        }
        int row = inner ? builder.findInnerKernel(phase) : -1;
        if (row < 0) {
            const int taps = _computeWeights(&kernel, phase, capacity, weights, floats);
            if (inner) {
                row = builder.addInnerKernel(phase, weights);
            } else {
                start = _reflectWeights(weights, taps, start, src_length, capacity, mirrored);
                row = builder.addBorderKernel(mirrored);
            }
            aperture = std::max(aperture, taps);
        }
        index.push_back({std::uint16_t(start), std::uint16_t(row)});
    }
    src_size = src_length;
    dst_size = dst_length;
}

template <class T>
void ScaleData<T>::reuse(IKernel& kernel, int src_length, int dst_length) {
    if (src_length < 1 || src_length > MAX_LENGTH) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE,
                   "Failure in ScaleData::reuse(...), parameter 'src_size' is out of range.");
    }
    if (dst_length < 1 || dst_length > src_length) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE,
                   "Failure in ScaleData::reuse(...), parameter 'dst_size' is out of range.");
    }
    if (!factorFits<T>(src_length, dst_length)) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE,
                   "Failure in ScaleData::reuse(...), scale factor is out of range.");
    }
    try {
        _build(kernel, src_length, dst_length);
    } catch (const Exception& error) {
        clear();
        TAVO_TRANSLATE(error, "%s", error.what());
    } catch (const std::bad_alloc& error) {
        clear();
        TAVO_RAISE(TAVO_STATUS_OUT_OF_MEMORY, "%s", error.what());
    } catch (const std::exception& error) {
        clear();
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "%s", error.what());
    } catch (...) {
        clear();
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "The kernel has failed.");
    }
}

template <class T>
void ScaleData<T>::clear() {
    index.clear();
    aperture = 0;
    src_size = 0;
    dst_size = 0;
}

template struct ScaleData<signed char>;
template struct ScaleData<short>;

}  // namespace tavo::impl
