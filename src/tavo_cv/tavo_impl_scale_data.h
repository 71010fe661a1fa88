// The tables that reduce one axis of one plane.
#pragma once

#include <cstdint>
#include <vector>

#include "tavo_core/tavo_buffer.h"
#include "tavo_cv/tavo_impl_scale_kernel_builder.h"
#include "tavo_cv/tavo_scale_kernel.h"

namespace tavo::impl {

struct ScaleIndexEntry {
    std::uint16_t src_start;     // first source pixel under the taps
    std::uint16_t kernel_index;  // row of the kernel table
};

/// For every destination position, the source pixel where its taps start and the fixed-point
/// weights of the taps.
///
/// Destination pixel i has its centre at source position (i + 1/2) * scale, with scale =
/// src_size / dst_size. The weight of a source pixel is the integral of the kernel over it, the
/// weights of a position normalised to `maxAperture<T>()`. The place of the support within its
/// first pixel is the phase. Positions inside the image share a kernel per phase; beyond 16 phases
/// those are rounded down to sixteenths. A position whose taps could reach over an edge has a
/// kernel of its own, in which the taps outside are mirrored onto the image, the edge pixel
/// repeated.
///
/// All steps are single-precision operations in a fixed order, so that tables are the same on all
/// processors.
template <class T>
struct ScaleData {
    Buffer weight_buffer;  // scratch
    ScaleKernelBuilder<T> builder;
    std::vector<ScaleIndexEntry> index;  // one entry per destination position
    int aperture = 0;                    // most taps of any kernel built
    int src_size = 0;
    int dst_size = 0;

    /// Computes everything anew.
    /// @throws Exception TAVO_STATUS_OUT_OF_RANGE for sizes that are not 1 <= dst <= src <= 8192 or
    ///         a reduction that T cannot hold; the tables then stay as they were. What fails later
    ///         leaves them cleared.
    void reuse(IKernel& kernel, int src_length, int dst_length);

    /// Back to the empty state; memory is kept.
    void clear();

    const T* weights(const ScaleIndexEntry& entry) const { return builder.row(entry.kernel_index); }

    // The steps of `reuse`.

    /// The weights of a kernel whose support starts @p phase into pixel 0.
    /// @param p_weight_buffer scratch; both arrays hold @p weight_capacity elements
    /// @return the number of taps
    static int _computeWeights(
        IKernel* p_kernel, float phase, int weight_capacity, T* p_weights, float* p_weight_buffer);

    /// Mirrors @p taps weights that start at pixel @p start onto an image of @p length pixels.
    /// @param p_borderWieghts @p weight_capacity elements, zero where nothing lands
    /// @return the first pixel under the mirrored weights
    static int _reflectWeights(const T* p_weights,
                               int taps,
                               int start,
                               int length,
                               int weight_capacity,
                               T* p_borderWieghts);

    /// The integral of a kernel whose support starts at @p phase, from @p lo to @p hi, by the
    /// trapezoid rule in steps of 1/16 pixel, the last one shorter.
    static float _computeIntegral(IKernel* _p_kernel, float phase, float lo, float hi);

private:
    void _build(IKernel& kernel, int src_length, int dst_length);
};

}  // namespace tavo::impl
