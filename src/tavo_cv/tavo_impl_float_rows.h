// Walking through frames of floats, in one run per plane where rows follow one another.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tavo_core/tavo_frame.h"

namespace tavo {
namespace impl {

/// True when no plane has padding between its rows.
inline bool isContiguous(const Frame& frame) {
    const FrameLayout& layout = frame.layout();
    for (int p = 0; p < layout.plane_count; ++p) {
        const PlaneLayout& plane = layout.plane[p];
        if (plane.stride != (plane.bits_per_channel >> 3) * plane.width * plane.channels) {
            return false;
        }
    }
    return true;
}

/// True unless samples of 32 bits lie at addresses that are not multiples of 4.
inline bool samplesAligned(const Frame& frame) {
    const FrameLayout& layout = frame.layout();
    bool aligned = true;
    for (int p = 0; p < layout.plane_count; ++p) {
        const auto address = reinterpret_cast<std::uintptr_t>(frame.planeData(p));
        aligned = aligned && (layout.plane[p].bits_per_channel != 32 || address % 4 == 0);
    }
    return aligned;
}

/// The same for all rows.
inline bool rowsAligned(const Frame& frame) {
    const FrameLayout& layout = frame.layout();
    bool aligned = samplesAligned(frame);
    for (int p = 0; p < layout.plane_count; ++p) {
        const PlaneLayout& plane = layout.plane[p];
        aligned = aligned && (plane.bits_per_channel != 32 || plane.stride % 4 == 0);
    }
    return aligned;
}

/// The stride rounded down to whole floats: callers rely on it where rows are not aligned.
inline float* floatRow(const Frame& frame, int plane, int row) {
    const std::ptrdiff_t stride = frame.layout().plane[plane].stride & ~3;
    void* const address = frame.planeData(plane) + row * stride;
    return static_cast<float*>(address);
}

/// Calls run(plane, row, samples) for all samples of all planes of @p shape.
/// @param contiguous true for one run per plane, false for one per row
template <class Run>
void walkRuns(const FrameLayout& shape, bool contiguous, Run run) {
    for (int p = 0; p < shape.plane_count; ++p) {
        const PlaneLayout& plane = shape.plane[p];
        const auto samples = std::uint32_t(plane.width * plane.channels);
        if (contiguous) {
            run(p, 0, samples * std::uint32_t(plane.height));
            continue;
        }
        for (int row = 0; row < plane.height; ++row) {
            run(p, row, samples);
        }
    }
}

}  // namespace impl
}  // namespace tavo
