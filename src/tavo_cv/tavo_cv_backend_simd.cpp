#include "tavo_cv/tavo_cv_backend_simd.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "simd/simd.h"
#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_cv_helpers.h"
#include "tavo_cv/tavo_impl_color_routes.h"
#include "tavo_cv/tavo_impl_float_rows.h"
#include "tavo_cv/tavo_impl_views.h"

namespace tavo {
namespace {

constexpr const char* UNALIGNED = "Samples of 32 bits are not at multiples of 4 bytes.";

/// What a ResizeMethod means to the kernels, by its number.
struct Method {
    const char* name;
    Simd::ResizerMethod resizer;
    std::uint32_t warp_flags;
};

constexpr Method METHODS[] = {
    {"nearest", Simd::ResizerMethodNearest, 0},
    {"bilinear", Simd::ResizerMethodBilinear, Simd::WarpAffineInterpBilinear},
    {"area", Simd::ResizerMethodArea, Simd::WarpAffineInterpBilinear},
};

bool isMethod(std::int32_t value) {
    return value == ResizeBilinear || value == ResizeArea || value == ResizeNearestNeighbour;
}

const Method& methodOf(std::int32_t property) {
    return METHODS[isMethod(property) ? property : ResizeBilinear];
}

bool isFloat(FrameFormat format) {
    return format == FRAME_GRAY_32F || format == FRAME_BGR_32F || format == FRAME_PLANAR_32F;
}

/// Rows that are not aligned are walked at a stride rounded down, which must not lead out of a
/// bottom-up plane.
bool walksInside(const Frame& frame) {
    const FrameLayout& layout = frame.layout();
    bool inside = impl::samplesAligned(frame);
    for (int p = 0; p < layout.plane_count; ++p) {
        inside = inside && (layout.plane[p].stride >= 0 || layout.plane[p].stride % 4 == 0);
    }
    return inside;
}

/// A source of one column or row has nothing to interpolate between.
Simd::ResizerMethod methodFor(const Size& size, Simd::ResizerMethod method) {
    return size.width == 1 || size.height == 1 ? Simd::ResizerMethodNearest : method;
}

std::unique_ptr<Simd::Resizer> makeResizer(const PlaneLayout& src,
                                           const PlaneLayout& dst,
                                           Simd::ResizerChannelType type,
                                           Simd::ResizerMethod method) {
    const auto create = Simd::Neon::Enable   ? Simd::Neon::ResizerInit
                        : Simd::Avx2::Enable ? Simd::Avx2::ResizerInit
                                             : Simd::Base::ResizerInit;
    return std::unique_ptr<Simd::Resizer>(
        create(std::uint32_t(src.width), std::uint32_t(src.height), std::uint32_t(dst.width),
               std::uint32_t(dst.height), src.channels, type,
               methodFor(Size(src.width, src.height), method)));
}

}  // namespace

CvBackendSimd::CvBackendSimd() = default;
CvBackendSimd::~CvBackendSimd() = default;

int CvBackendSimd::setIntProperty(int id, int value) {
    if (id != CV_PROPERTY_RESIZE_METHOD && id != CV_PROPERTY_WARP_METHOD) {
        return 0;
    }
    TAVO_ASSERT_TEXT(
        isMethod(value),
        "value == ResizeBilinear || value == ResizeArea || value == ResizeNearestNeighbour");
    (id == CV_PROPERTY_RESIZE_METHOD ? m_resize_method : m_warp_method) = value;
    return 1;
}

int CvBackendSimd::getIntProperty(int id) const {
    switch (id) {
        case CV_PROPERTY_RESIZE_METHOD:
            return m_resize_method;
        case CV_PROPERTY_WARP_METHOD:
            return m_warp_method;
        default:
            return -1;
    }
}

DeviceContext CvBackendSimd::getDeviceContext() const {
    return DeviceContext();
}

void CvBackendSimd::resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) {
    TAVO_ASSERT(src.initialized() && src.format() == dst.format());
    TAVO_ASSERT_TEXT(impl::onCpu(src, dst), impl::CPU_FRAMES);
    const int bits_per_channel = src.layout().plane[0].bits_per_channel;
    TAVO_ASSERT(bits_per_channel == 8 || bits_per_channel == 32);
    const auto type = bits_per_channel == 8 ? Simd::ResizerChannelByte : Simd::ResizerChannelFloat;
    const Method& method = methodOf(m_resize_method);
    const Frame src_view = impl::viewOf(src, src_roi);
    Frame dst_view = impl::viewOf(dst, dst_roi);
    if (!impl::rowsAligned(src_view) || !impl::rowsAligned(dst_view)) {
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "%s", UNALIGNED);
    }
    for (int p = 0; p < src.layout().plane_count; ++p) {
        const PlaneLayout& from = src_view.layout().plane[p];
        const PlaneLayout& to = dst_view.layout().plane[p];
        try {
            const auto resizer =
                makeResizer(from, to, type, methodFor(src_view.size(), method.resizer));
            if (!resizer) {
                TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED,
                           "resize: Unsupported method %s for samples of %d bits, %dx%d to %dx%d.",
                           method.name, bits_per_channel, from.width, from.height, to.width,
                           to.height);
            }
            resizer->Run(src_view.planeData(p), std::uint32_t(from.stride), dst_view.planeData(p),
                         std::uint32_t(to.stride));
        } catch (const std::bad_alloc& error) {
            TAVO_RAISE(TAVO_STATUS_OUT_OF_MEMORY, "resize: %s", error.what());
        }
    }
}

void CvBackendSimd::convert(const Frame& src, Frame& dst, Rect src_roi) {
    TAVO_ASSERT(src.initialized() && dst.initialized());
    TAVO_ASSERT_TEXT(impl::onCpu(src, dst), impl::CPU_FRAMES);
    const Frame view = impl::viewOf(src, src_roi);
    if (view.size() == dst.size()) {
        colorCvt(view, dst, Rect());
    } else if (src.format() == dst.format()) {
        resize(view, dst, Rect(), Rect());
    } else {
        m_convert_frame.reuse(src.format(), dst.size(), DeviceContext(), 0);
        resize(view, m_convert_frame, Rect(), Rect());
        colorCvt(m_convert_frame, dst, Rect());
    }
}

void CvBackendSimd::colorCvt(const Frame& src, Frame& dst, Rect src_roi) {
    TAVO_ASSERT(src.initialized() && dst.initialized());
    TAVO_ASSERT_TEXT(impl::onCpu(src, dst), impl::CPU_FRAMES);
    const Frame view = impl::viewOf(src, src_roi);
    TAVO_ASSERT_TEXT(view.size() == dst.size(), "src_region.size() == dst.size()");
    if (src.format() == dst.format()) {
        view.copyTo(dst);
        return;
    }
    if (impl::needsEvenSides(src.format(), dst.format())) {
        TAVO_ASSERT_TEXT(view.width() % 2 == 0 && view.height() % 2 == 0,
                         "src_region.width() % 2 == 0 && src_region.height() % 2 == 0");
    }
    const impl::ColorRoute* const route = impl::findColorRoute(src.format(), dst.format());
    if (!route) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED, "colorCvt: Unsupported conversion %s -> %s.",
                   toString(src.format()), toString(dst.format()));
    }
    if (!impl::rowsAligned(view) || !impl::rowsAligned(dst)) {
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "%s", UNALIGNED);
    }
    if (route->convert) {
        route->convert({view, dst, m_color_frame, !src_roi.empty()});
        return;
    }
    m_color_frame.reuse(route->via, view.size(), DeviceContext(), 0);
    CvBackendSimd::colorCvt(view, m_color_frame, Rect());
    CvBackendSimd::colorCvt(m_color_frame, dst, Rect());
}

void CvBackendSimd::roiToYuv444(Frame& src, const Rect& roi) {
    impl::roiToYuv444(src, roi, m_color_frame);
}

void CvBackendSimd::add(Frame& src_dst, float value, Rect src_roi) {
    TAVO_ASSERT(src_dst.initialized());
    TAVO_ASSERT_TEXT(impl::onCpu(src_dst), impl::CPU_FRAME);
    const Frame view = impl::viewOf(src_dst, src_roi);
    if (!isFloat(view.format())) {
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED, "add: Unsupported src format %s.",
                   toString(view.format()));
    }
    if (!walksInside(view)) {
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "%s", UNALIGNED);
    }
    impl::walkRuns(view.layout(), impl::isContiguous(view),
                   [&](int plane, int row, std::uint32_t samples) {
                       Simd::AddValue(&value, impl::floatRow(view, plane, row), samples);
                   });
}

void CvBackendSimd::mul(Frame& src_dst, float value, Rect src_roi) {
    TAVO_ASSERT(src_dst.initialized());
    TAVO_ASSERT_TEXT(impl::onCpu(src_dst), impl::CPU_FRAME);
    Frame view = impl::viewOf(src_dst, src_roi);
    if (!isFloat(view.format())) {
        view.setZero();  // callers see a zeroed frame after this failure, and rely on it
        TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED, "mul: Unsupported src format %s.",
                   toString(view.format()));
    }
    if (!walksInside(view)) {
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "%s", UNALIGNED);
    }
    if (impl::rowsAligned(view)) {
        impl::walkRuns(view.layout(), impl::isContiguous(view),
                       [&](int plane, int row, std::uint32_t samples) {
                           Simd::MultiplyValue(&value, impl::floatRow(view, plane, row), samples);
                       });
        return;
    }
    // Products of samples at whole strides go to where strides that are rounded down lead.
    m_color_frame.reuse(view.format(), view.size(), DeviceContext(), 0);
    view.copyTo(m_color_frame);
    view.setZero();
    impl::walkRuns(view.layout(), false, [&](int plane, int row, std::uint32_t samples) {
        Simd::AddProduct(impl::floatRow(m_color_frame, plane, row), samples, &value,
                         impl::floatRow(view, plane, row));
    });
}

void CvBackendSimd::warpAffine(
    const Frame& src, Frame& dst, const float (*matrix)[3], Rect roi, bool invert) {
    TAVO_ASSERT(src.initialized() && src.format() == dst.format());
    TAVO_ASSERT_TEXT(impl::onCpu(src, dst), impl::CPU_FRAMES);
    const std::uint32_t flags = methodOf(m_warp_method).warp_flags;
    const Frame view = impl::viewOf(src, roi);
    float forward[6];
    std::memcpy(forward, matrix, sizeof(forward));
    if (invert) {
        invertAffineTransform(forward, forward);
    }
    for (int p = 0; p < src.layout().plane_count; ++p) {
        const PlaneLayout& from = view.layout().plane[p];
        const PlaneLayout& to = dst.layout().plane[p];
        try {
            const std::unique_ptr<Simd::WarpAffine> warp(Simd::Base::WarpAffineInit(
                std::uint32_t(from.width), std::uint32_t(from.height), std::uint32_t(from.stride),
                std::uint32_t(to.width), std::uint32_t(to.height), std::uint32_t(to.stride),
                to.channels, forward, flags, nullptr));
            if (!warp) {
                TAVO_RAISE(TAVO_STATUS_NOT_SUPPORTED, "warpAffine: Can't create context.");
            }
            warp->Run(view.planeData(p), dst.planeData(p));
        } catch (const std::bad_alloc& error) {
            TAVO_RAISE(TAVO_STATUS_OUT_OF_MEMORY, "warpAffine: %s", error.what());
        }
    }
}

}  // namespace tavo
