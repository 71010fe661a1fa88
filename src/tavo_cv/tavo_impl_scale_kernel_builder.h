// The table of fixed-point kernels of one axis.
#pragma once

#include <cstddef>
#include <vector>

#include "tavo_core/tavo_buffer.h"

namespace tavo::impl {

/// Fraction bits of a weight. Weights are `signed char` or `short`; the second highest bit is 1.0,
/// so that a weight of 1 fits with its sign, and negative lobes leave room above it.
template <class T>
constexpr int FRACTION_BITS = int(8 * sizeof(T)) - 2;

/// The most taps of a kernel, which is also the fixed-point 1.0 that its weights add up to: with
/// more taps than that they could not all count.
template <class T>
constexpr int maxAperture() {
    return 1 << FRACTION_BITS<T>;
}

/// Collects kernels as rows of one table: inner kernels, each found by its phase, in rows 0 to 15,
/// then border kernels. Rows start at cache lines.
template <class T>
struct ScaleKernelBuilder {
    Buffer data;                // a row holds `aperture` weights, zero behind the last tap
    std::vector<float> phases;  // of the inner kernels, in the order of their rows
    int stride = 0;             // bytes
    int inner_count = 0;
    int inner_capacity = 0;
    int border_count = 0;
    int border_capacity = 0;
    int aperture = 0;

    /// An empty table of kernels of @p weights_per_kernel.
    void reuse(int weights_per_kernel);

    /// The row of the inner kernel for @p phase, or -1.
    int findInnerKernel(float phase) const;

    /// Both copy `aperture` weights and return the row.
    int addInnerKernel(float phase, const T* weights);
    int addBorderKernel(const T* weights);

    const T* row(int kernel_index) const {
        const void* const address = data.data + std::ptrdiff_t(stride) * kernel_index;
        return static_cast<const T*>(address);
    }

private:
    void _store(int row, const T* weights);
};

}  // namespace tavo::impl
