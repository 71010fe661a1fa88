// Views of frames, as every operation of the backends begins with one.
#pragma once

#include "tavo_core/tavo_exception.h"
#include "tavo_core/tavo_frame.h"

namespace tavo {
namespace impl {

// What failures show; callers know these texts.
constexpr const char* CPU_FRAME = "src_dst.deviceContext() == DeviceContext::cpuContext()";
constexpr const char* CPU_FRAMES =
    "src.deviceContext() == DeviceContext::cpuContext() && "
    "src.deviceContext() == dst.deviceContext()";

/// The frame, or a region of it; an empty rectangle stands for the whole.
inline Frame viewOf(const Frame& frame, const Rect& roi) {
    Frame view = frame;
    return roi.empty() ? view : getRegion(view, roi);
}

inline bool onCpu(const Frame& frame) {
    return frame.deviceContext() == DeviceContext::cpuContext();
}

inline bool onCpu(const Frame& src, const Frame& dst) {
    return onCpu(src) && src.deviceContext() == dst.deviceContext();
}

}  // namespace impl
}  // namespace tavo
