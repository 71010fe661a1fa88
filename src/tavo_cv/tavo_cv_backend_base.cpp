#include "tavo_cv/tavo_cv_backend_base.h"

#include <cstdlib>

#include "tavo_core/tavo_arithmetic.h"
#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_cv_helpers.h"
#include "tavo_cv/tavo_impl_views.h"
#include "tavo_cv/tavo_row_producer.h"

namespace tavo {
namespace {

/// True when the chroma rows of NV12, taken at the stride of the luma, lie within the chroma plane.
bool lumaStrideFitsChroma(const FrameLayout& layout) {
    const std::int32_t luma = layout.plane[0].stride;
    const std::int32_t chroma = layout.plane[1].stride;
    return (luma < 0) == (chroma < 0) && std::abs(luma) <= std::abs(chroma);
}

bool convertsDirectly(const Frame& src, const Frame& dst, const Rect& src_roi) {
    return src_roi.empty() && dst.format() == FRAME_BGR24 && src.format() == FRAME_NV12 &&
           lumaStrideFitsChroma(src.layout());
}

using OneChannel = void(float value, unsigned char* data, int stride, Rect roi);
using ThreeChannels = void(const float* values, unsigned char* data, unsigned int stride, Rect roi);

/// Applies @p value to the top left part of that size.
/// @return false for a format without floats
bool applyConstant(
    Frame& frame, float value, const Rect& part, OneChannel one, ThreeChannels three) {
    const FrameLayout& layout = frame.layout();
    const float values[] = {value, value, value};
    switch (frame.format()) {
        case FRAME_GRAY_32F:
        case FRAME_PLANAR_32F:
            for (int p = 0; p < layout.plane_count; ++p) {
                one(value, frame.planeData(p), layout.plane[p].stride, part);
            }
            return true;
        case FRAME_BGR_32F:
            three(values, frame.planeData(0), unsigned(layout.plane[0].stride), part);
            return true;
        default:
            return false;
    }
}

/// The size of what lies within the frame. Its corner is dropped: callers rely on that.
Rect topLeftPart(const Frame& frame, Rect roi) {
    if (roi.empty()) {
        return Rect(0, 0, frame.width(), frame.height());
    }
    roi.crop(frame.size());
    return Rect(0, 0, roi.width, roi.height);
}

}  // namespace

CvBackendBase::CvBackendBase() = default;
CvBackendBase::~CvBackendBase() = default;

void CvBackendBase::colorCvt(const Frame& src, Frame& dst, Rect src_roi) {
    TAVO_ASSERT(src.initialized());
    TAVO_ASSERT_TEXT(impl::onCpu(src, dst), impl::CPU_FRAMES);
    const Frame view = impl::viewOf(src, src_roi);
    TAVO_ASSERT_TEXT(view.size() == dst.size(), "temp.size() == dst.size()");
    if (convertsDirectly(src, dst, src_roi)) {
        NV12toBGR_neon(src.planeData(0), src.planeData(1), dst.planeData(0), dst.width(),
                       dst.height(), src.layout().plane[0].stride, dst.layout().plane[0].stride);
        return;
    }
    _converter.reuse(view, dst.format());
    produceFrame(_converter, dst);
}

void CvBackendBase::resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) {
    TAVO_ASSERT(src.initialized() && src.format() == dst.format());
    TAVO_ASSERT_TEXT(impl::onCpu(src, dst), impl::CPU_FRAMES);
    const Frame src_view = impl::viewOf(src, src_roi);
    Frame dst_view = impl::viewOf(dst, dst_roi);
    _scaler.reuse(src_view, dst_view.size(), ScaleMethod(_resize_method));
    produceFrame(_scaler, dst_view);
}

void CvBackendBase::convert(const Frame& src, Frame& dst, Rect src_roi) {
    TAVO_ASSERT(src.initialized() && dst.initialized());
    TAVO_ASSERT_TEXT(impl::onCpu(src, dst), impl::CPU_FRAMES);
    const Frame view = impl::viewOf(src, src_roi);
    if (view.size() == dst.size()) {
        CvBackendBase::colorCvt(src, dst, src_roi);
        return;
    }
    if (src.format() == dst.format()) {
        CvBackendBase::resize(src, dst, src_roi, Rect());
        return;
    }
    _temp.reuse(src.format(), dst.size(), DeviceContext(), 0);
    _scaler.reuse(view, dst.size(), ScaleMethod(_resize_method));
    produceFrame(_scaler, _temp);
    _converter.reuse(_temp, dst.format());
    produceFrame(_converter, dst);
}

void CvBackendBase::add(Frame& src_dst, float value, Rect src_roi) {
    TAVO_ASSERT(src_dst.initialized());
    TAVO_ASSERT_TEXT(impl::onCpu(src_dst), impl::CPU_FRAME);
    const Rect part = topLeftPart(src_dst, src_roi);
    TAVO_ASSERT_TEXT(!part.empty(), "!src_roi.empty()");
    if (!applyConstant(src_dst, value, part, addConstant_32f_C1, addConstant_32f_C3)) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED, "ADD error, unsupported data type.");
    }
}

void CvBackendBase::mul(Frame& src_dst, float value, Rect src_roi) {
    TAVO_ASSERT(src_dst.initialized());
    TAVO_ASSERT_TEXT(impl::onCpu(src_dst), impl::CPU_FRAME);
    const Rect part = topLeftPart(src_dst, src_roi);
    TAVO_ASSERT_TEXT(!part.empty(), "!src_roi.empty()");
    if (!applyConstant(src_dst, value, part, mulConstant_32f_C1, mulConstant_32f_C3)) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED, "MUL error, unsupported data type.");
    }
}

void CvBackendBase::warpAffine(const Frame&, Frame&, const float (*)[3], Rect, bool) {
    TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED, "Operation is not implemented");
}

int CvBackendBase::setIntProperty(int id, int value) {
    if (id != CV_PROPERTY_RESIZE_METHOD) {
        return 0;
    }
    _resize_method = value;
    return 1;
}

int CvBackendBase::getIntProperty(int id) const {
    return id == CV_PROPERTY_RESIZE_METHOD ? _resize_method : -1;
}

DeviceContext CvBackendBase::getDeviceContext() const {
    return DeviceContext();
}

}  // namespace tavo
