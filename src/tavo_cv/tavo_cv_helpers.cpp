#include "tavo_cv/tavo_cv_helpers.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "simd/simd_dispatch.h"
#include "tavo_core/tavo_arithmetic.h"
#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_cv_backend_simd.h"
#include "tavo_cv/tavo_impl_views.h"

namespace tavo {
namespace {

/// A frame of that format and size that takes over from @p target when it is done: written into the
/// target's own pixels where they match, unless they are the source's.
Frame prepareTarget(const Frame& src, const Frame& target, FrameFormat format, Size size) {
    Frame result = target;
    if (result.planeData(0) == src.planeData(0)) {
        result.clear();
    }
    result.reuse(format, size, DeviceContext(), 0);
    return result;
}

/// Planes that are turned must fit the same format.
bool turnsByQuarters(FrameFormat format) {
    return format != FRAME_YV16 && format != FRAME_NV16 && format != FRAME_YUYV &&
           format != FRAME_UYVY;
}

/// Kernel modes are named counter-clockwise.
constexpr Simd::ImageTransformMode TRANSFORMS[] = {
    Simd::ImageTransformCopy,
    Simd::ImageTransformRotate270,
    Simd::ImageTransformRotate180,
    Simd::ImageTransformRotate90,
};

/// The region with black margins on the left and at the top. What stands in it is the top left part
/// of the source, wherever the region lies: callers rely on that.
Frame withMargin(const Frame& src, const Rect& roi, const Rect& src_roi) {
    Frame region;
    region.reuse(src.format(), Size(src_roi.width, src_roi.height), DeviceContext(), 0);
    region.setZero();
    const int width = std::min(roi.width, src.width());
    const int height = std::min(roi.height, src.height());
    const int dx = src_roi.width - roi.width;
    const int dy = src_roi.height - roi.height;
    Frame part = getRegion(region, Rect(dx, dy, width, height));
    impl::viewOf(src, Rect(0, 0, width, height)).copyTo(part);
    return region;
}

}  // namespace

const Rect& emptyRoi() {
    static const Rect roi;
    return roi;
}

const Frame& emptyFrame() {
    static const Frame frame;
    return frame;
}

void resizeFrame(const Frame& src, const Size& size, Frame& dst, ResizeMethod method) {
    if (!src.initialized() || size.empty()) {
        dst.clear();
        return;
    }
    if (size == src.size()) {
        src.copyTo(dst);
        return;
    }
    CvBackendSimd backend;
    backend.setIntProperty(CV_PROPERTY_RESIZE_METHOD, method);
    Frame result = prepareTarget(src, dst, src.format(), size);
    backend.resize(src, result, Rect(), Rect());
    dst = std::move(result);
}

void colorConvert(const Frame& src, FrameFormat format, Frame& dst) {
    if (format == FRAME_INVALID || !src.initialized()) {
        dst.clear();
        return;
    }
    if (format == src.format()) {
        src.copyTo(dst);
        return;
    }
    CvBackendSimd backend;
    Frame result = prepareTarget(src, dst, format, src.size());
    backend.colorCvt(src, result, Rect());
    dst = std::move(result);
}

void rotateFrame(const Frame& src, FixedRotation rotation, Frame& dst) {
    TAVO_ASSERT(src.initialized());
    TAVO_ASSERT(src.deviceContext() == DeviceContext::cpuContext());
    TAVO_ASSERT(src.layout().plane[0].bits_per_channel == 8);
    if (rotation < ROTATION_0 || rotation > ROTATION_270) {
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "Invalid fixed rotation %d", int(rotation));
    }
    if (rotation == ROTATION_0) {
        src.copyTo(dst);
        return;
    }
    const bool quarter = rotation != ROTATION_180;
    if (quarter && !turnsByQuarters(src.format())) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED,
                   "rotateFrame: Unsupported format %s for a quarter turn.",
                   toString(src.format()));
    }
    const Size size = quarter ? Size(src.height(), src.width()) : src.size();
    Frame result = prepareTarget(src, dst, src.format(), size);
    for (int p = 0; p < src.layout().plane_count; ++p) {
        const PlaneLayout& plane = src.layout().plane[p];
        Simd::ImageTransform(src.planeData(p), std::uint32_t(plane.stride),
                             std::uint32_t(plane.width), std::uint32_t(plane.height),
                             plane.channels, TRANSFORMS[rotation], result.planeData(p),
                             std::uint32_t(result.layout().plane[p].stride));
    }
    dst = std::move(result);
}

void rotateFrame(const Frame& src, const Rect& roi, float angle, Frame& dst, Rect& dst_roi) {
    TAVO_ASSERT(src.initialized());
    TAVO_ASSERT(src.deviceContext() == DeviceContext::cpuContext());
    Rect src_roi;
    Size dst_size;
    Rect turned_roi;
    getRotationRoi(angle, roi, src_roi, dst_size, turned_roi);
    const bool inside = src_roi.x >= 0 && src_roi.y >= 0;
    const Frame region = inside ? impl::viewOf(src, src_roi) : withMargin(src, roi, src_roi);
    const Point center(src_roi.width - roi.width + roi.width / 2,
                       src_roi.height - roi.height + roi.height / 2);
    float matrix[2][3] = {};
    getRotationMatrix2D(angle, center, matrix, 1.0f);
    Frame result = prepareTarget(src, dst, src.format(), dst_size);
    CvBackendSimd backend;
    backend.warpAffine(region, result, matrix, Rect(), false);
    dst = std::move(result);
    dst_roi = turned_roi;
}

void tensorFp16ToFp32(const Tensor& src, Tensor& dst) {
    TAVO_ASSERT_TEXT(src.initialized() && src.layout().dataType == TENSOR_FLOAT_16,
                     "src.initialized() && src.layout().dataType() == TENSOR_FLOAT_16");
    TAVO_ASSERT(src.deviceContext() == DeviceContext::cpuContext() &&
                src.deviceContext() == dst.deviceContext());
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the target may be the source
    const Tensor source = src;
    const TensorLayout& layout = source.layout();
    TensorSize strides = layout.strides;
    for (int i = 0; i < strides.count; ++i) {
        if (strides.dim[i] > std::numeric_limits<int>::max() / 2) {
            TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Stride %d can't be doubled.", strides.dim[i]);
        }
        strides.dim[i] *= 2;
    }
    dst.reuse(
        TensorLayout(TENSOR_FLOAT_32, layout.format, layout.size, strides, TensorChannelOrder(0)),
        DeviceContext());
    const void* const halves = source.data();
    void* const floats = dst.data();
    convertFp16ToFp32(static_cast<const unsigned short*>(halves), layout.size_bytes / 2,
                      static_cast<float*>(floats));
}

bool invertAffineTransform(const float* matrix, float* inverse) {
    const float a = matrix[0];
    const float b = matrix[1];
    const double c = matrix[2];
    const float d = matrix[3];
    const float e = matrix[4];
    const double f = matrix[5];
    const float determinant = std::fmaf(a, e, -(d * b));
    const double scale = determinant != 0 ? 1.0 / double(determinant) : 0.0;
    const double across = double(e) * scale;      // of x in the inverse's x
    const double down = double(-b) * scale;       // of y in x
    const double downwards = double(-d) * scale;  // of x in y
    const double along = double(a) * scale;       // of y in y
    const double x = std::fma(-across, c, -(f * down));
    const double y = std::fma(-downwards, c, -(f * along));
    const double result[] = {across, down, x, downwards, along, y};
    for (int i = 0; i < 6; ++i) {
        inverse[i] = float(result[i]);
    }
    return determinant != 0;
}

void NV12toBGR_neon(const std::uint8_t* y,
                    const std::uint8_t* uv,
                    std::uint8_t* bgr,
                    int width,
                    int height,
                    int stride,
                    int bgrStride) {
    const auto convert = Simd::Neon::Enable   ? Simd::Neon::Nv12ToBgr
                         : Simd::Avx2::Enable ? Simd::Avx2::Nv12ToBgr
                                              : Simd::Base::Nv12ToBgr;
    convert(y, uv, bgr, width, height, stride, bgrStride);
}

void convertFp16ToFp32(const unsigned short* src, unsigned int count, float* dst) {
    Simd::Float16ToFloat32(src, count, dst);
}

void convertFp32ToFp16(const float* src, unsigned int count, unsigned short* dst) {
    Simd::Float32ToFloat16(src, count, dst);
}

}  // namespace tavo
