#include "tavo_cv/tavo_impl_scale_kernel_builder.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "tavo_core/tavo_exception.h"

namespace tavo::impl {
namespace {

constexpr std::int64_t ROW_ALIGNMENT = 64;
constexpr int INNER_KERNELS = 16;
constexpr double SAME_PHASE = 0.001;

}  // namespace

template <class T>
void ScaleKernelBuilder<T>::reuse(int weights_per_kernel) {
    if (weights_per_kernel < 1) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Parameter 'aperture' is out of range.");
    }
    phases.clear();
    inner_count = 0;
    border_count = 0;
    inner_capacity = INNER_KERNELS;
    try {
        const std::int64_t row_bytes = std::int64_t(weights_per_kernel) * std::int64_t(sizeof(T));
        const std::int64_t aligned =
            (row_bytes + ROW_ALIGNMENT - 1) / ROW_ALIGNMENT * ROW_ALIGNMENT;
        const std::int64_t rows = std::int64_t(weights_per_kernel) + INNER_KERNELS;
        if (aligned > std::numeric_limits<unsigned int>::max() / rows) {
            TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "The kernel table exceeds 32 bits.");
        }
        data.resize(unsigned(aligned * rows), false);
        aperture = weights_per_kernel;
        border_capacity = weights_per_kernel;
        stride = int(aligned);
    } catch (const Exception& error) {
        TAVO_TRANSLATE(error, "Failed to allocate kernel data due to: %s", error.what());
    }
}

template <class T>
int ScaleKernelBuilder<T>::findInnerKernel(float phase) const {
    const auto found = std::find_if(phases.begin(), phases.end(), [phase](float known) {
        return double(std::fabs(known - phase)) < SAME_PHASE;
    });
    return found == phases.end() ? -1 : int(found - phases.begin());
}

template <class T>
void ScaleKernelBuilder<T>::_store(int row, const T* weights) {
    std::memcpy(data.data + std::ptrdiff_t(stride) * row, weights,
                std::size_t(aperture) * sizeof(T));
}

template <class T>
int ScaleKernelBuilder<T>::addInnerKernel(float phase, const T* weights) {
    if (inner_count >= inner_capacity) {
        TAVO_RAISE(TAVO_STATUS_ASSERTION_FAILED,
                   "Failure in ScaleKernelBuilder::addInnerKernel(...), buffer has already filled");
    }
    phases.push_back(phase);
    _store(inner_count, weights);
    return inner_count++;
}

template <class T>
int ScaleKernelBuilder<T>::addBorderKernel(const T* weights) {
    if (border_count >= border_capacity) {
        TAVO_RAISE(
            TAVO_STATUS_ASSERTION_FAILED,
            "Failure in ScaleKernelBuilder::addBorderKernel(...), buffer has already filled");
    }
    const int row_index = inner_capacity + border_count;
    _store(row_index, weights);
    ++border_count;
    return row_index;
}

template struct ScaleKernelBuilder<signed char>;
template struct ScaleKernelBuilder<short>;

}  // namespace tavo::impl
