#include "tavo_cv/tavo_impl_color_routes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "simd/simd_dispatch.h"
#include "tavo_cv/tavo_cv_helpers.h"
#include "tavo_cv/tavo_impl_float_rows.h"

namespace tavo {
namespace impl {
namespace {

/// A plane as kernels take it.
struct KernelPlane {
    std::uint8_t* data;
    std::uint32_t stride;  // bytes; of bottom-up memory negative and wrapped
    std::uint32_t width;
    std::uint32_t height;
};

KernelPlane planeOf(const Frame& frame, int plane) {
    const PlaneLayout& layout = frame.layout().plane[plane];
    return {frame.planeData(plane), std::uint32_t(layout.stride), std::uint32_t(layout.width),
            std::uint32_t(layout.height)};
}

// ---- One kernel ---------------------------------------------------------------------------------

/// From packed pixels to packed pixels, or gray ones.
template <const auto& KERNEL>
void convertPacked(const ColorJob& job) {
    const KernelPlane src = planeOf(job.src, 0);
    const KernelPlane dst = planeOf(job.dst, 0);
    KERNEL(src.data, src.width, src.height, src.stride, dst.data, dst.stride);
}

/// Three bytes of each pixel to three planes, in this order.
void splitPixels(const ColorJob& job) {
    const KernelPlane src = planeOf(job.src, 0);
    const KernelPlane a = planeOf(job.dst, 0);
    const KernelPlane b = planeOf(job.dst, 1);
    const KernelPlane c = planeOf(job.dst, 2);
    Simd::DeinterleaveBgr(src.data, src.stride, src.width, src.height, a.data, a.stride, b.data,
                          b.stride, c.data, c.stride);
}

void joinPixels(const ColorJob& job) {
    const KernelPlane a = planeOf(job.src, 0);
    const KernelPlane b = planeOf(job.src, 1);
    const KernelPlane c = planeOf(job.src, 2);
    const KernelPlane dst = planeOf(job.dst, 0);
    Simd::InterleaveBgr(a.data, a.stride, b.data, b.stride, c.data, c.stride, dst.width, dst.height,
                        dst.data, dst.stride);
}

void copyLuma(const ColorJob& job) {
    const KernelPlane src = planeOf(job.src, 0);
    const KernelPlane dst = planeOf(job.dst, 0);
    Simd::Base::CopyPlane(src.data, src.stride, src.width, src.height, 1, dst.data, dst.stride);
}

template <const auto& KERNEL>
void convertYuvPlanes(const Frame& luma, const Frame& chroma, Frame& dst) {
    const KernelPlane y = planeOf(luma, 0);
    const KernelPlane u = planeOf(chroma, 1);
    const KernelPlane v = planeOf(chroma, 2);
    const KernelPlane out = planeOf(dst, 0);
    KERNEL(y.data, y.stride, u.data, u.stride, v.data, v.stride, y.width, y.height, out.data,
           out.stride);
}

template <const auto& KERNEL>
void convertPlanarYuv(const ColorJob& job) {
    convertYuvPlanes<KERNEL>(job.src, job.src, job.dst);
}

// ---- Chroma in pairs ----------------------------------------------------------------------------

/// The bytes of each chroma pair go to plane @p first and to the other chroma plane.
void splitPairs(const Frame& src, Frame& dst, int first) {
    const KernelPlane uv = planeOf(src, 1);
    const KernelPlane a = planeOf(dst, first);
    const KernelPlane b = planeOf(dst, 3 - first);
    Simd::DeinterleaveUv(uv.data, uv.stride, uv.width, uv.height, a.data, a.stride, b.data,
                         b.stride);
}

void joinChroma(const ColorJob& job) {
    const KernelPlane u = planeOf(job.src, 1);
    const KernelPlane v = planeOf(job.src, 2);
    const KernelPlane uv = planeOf(job.dst, 1);
    copyLuma(job);
    Simd::InterleaveUv(u.data, u.stride, v.data, v.stride, uv.width, uv.height, uv.data, uv.stride);
}

/// @p FIRST is the plane of the first byte of each pair.
template <int FIRST>
void splitChroma(const ColorJob& job) {
    copyLuma(job);
    splitPairs(job.src, job.dst, FIRST);
}

void swapChroma(const ColorJob& job) {
    copyLuma(job);
    const PlaneLayout& src = job.src.layout().plane[1];
    const PlaneLayout& dst = job.dst.layout().plane[1];
    for (std::ptrdiff_t row = 0; row < src.height; ++row) {
        const std::uint8_t* __restrict in = job.src.planeData(1) + row * src.stride;
        std::uint8_t* __restrict out = job.dst.planeData(1) + row * dst.stride;
        for (std::ptrdiff_t x = 0; x < std::ptrdiff_t{2} * src.width; x += 2) {
            out[x] = in[x + 1];
            out[x + 1] = in[x];
        }
    }
}

/// By way of chroma planes; luma is read where it is.
template <const auto& KERNEL, FrameFormat PLANAR, int FIRST>
void convertPairs(const ColorJob& job) {
    job.temp.reuse(PLANAR, job.src.size(), DeviceContext(), 0);
    splitPairs(job.src, job.temp, FIRST);
    convertYuvPlanes<KERNEL>(job.src, job.temp, job.dst);
}

void convertNv12ToBgr(const ColorJob& job) {
    const std::int32_t stride = job.src.layout().plane[0].stride;
    if (job.has_region || stride != job.src.layout().plane[1].stride) {
        convertPairs<Simd::Yuv420pToBgr, FRAME_I420, 1>(job);
        return;
    }
    NV12toBGR_neon(job.src.planeData(0), job.src.planeData(1), job.dst.planeData(0),
                   job.dst.width(), job.dst.height(), stride, job.dst.layout().plane[0].stride);
}

// ---- From BGR to YUV ----------------------------------------------------------------------------

template <const auto& KERNEL>
void convertToYuvPlanes(const ColorJob& job, std::uint32_t width, std::uint32_t height) {
    const KernelPlane bgr = planeOf(job.src, 0);
    const KernelPlane y = planeOf(job.dst, 0);
    const KernelPlane u = planeOf(job.dst, 1);
    const KernelPlane v = planeOf(job.dst, 2);
    KERNEL(bgr.data, width, height, bgr.stride, y.data, y.stride, u.data, u.stride, v.data,
           v.stride);
}

/// Chroma in pairs.
template <const auto& KERNEL>
void convertToYuvPairs(const ColorJob& job, std::uint32_t width, std::uint32_t height) {
    const KernelPlane bgr = planeOf(job.src, 0);
    const KernelPlane y = planeOf(job.dst, 0);
    const KernelPlane uv = planeOf(job.dst, 1);
    KERNEL(bgr.data, width, height, bgr.stride, y.data, y.stride, uv.data, uv.stride);
}

void convertBgrToI444(const ColorJob& job) {
    const KernelPlane src = planeOf(job.src, 0);
    convertToYuvPlanes<Simd::BgrToYuv444p>(job, src.width, src.height);
}

void convertBgrToNv16(const ColorJob& job) {
    const KernelPlane src = planeOf(job.src, 0);
    convertToYuvPairs<Simd::BgrToNv16>(job, src.width, src.height);
}

/// Chroma of a 4:2:0 frame, in planes of its own or in pairs.
struct ChromaRows {
    std::uint8_t* u;
    std::uint8_t* v;
    std::ptrdiff_t u_stride;
    std::ptrdiff_t v_stride;
    int step;  // bytes from one sample to the next

    explicit ChromaRows(const Frame& frame) {
        const PlaneLayout* const plane = frame.layout().plane;
        const bool pairs = plane[1].channels == 2;
        u = frame.planeData(1);
        v = pairs ? u + 1 : frame.planeData(2);
        u_stride = plane[1].stride;
        v_stride = pairs ? u_stride : plane[2].stride;
        step = pairs ? 2 : 1;
    }
};

/// One column or row of an odd 4:2:0 frame. Its chroma are the samples at even positions.
void convertStrip(const ColorJob& job, const Rect& strip) {
    if (strip.empty()) {
        return;
    }
    Frame src = job.src;
    roiToYuv444(src, strip, job.temp);
    Frame target = getRegion(job.dst, strip);
    copyLuma({job.temp, target, job.temp, false});
    ChromaRows chroma(target);
    const KernelPlane u = planeOf(job.temp, 1);
    const KernelPlane v = planeOf(job.temp, 2);
    for (std::size_t y = 0; y < u.height; y += 2) {
        for (std::size_t x = 0; x < u.width; x += 2) {
            chroma.u[x / 2 * std::size_t(chroma.step)] = u.data[y * u.stride + x];
            chroma.v[x / 2 * std::size_t(chroma.step)] = v.data[y * v.stride + x];
        }
        chroma.u += chroma.u_stride;
        chroma.v += chroma.v_stride;
    }
}

void convertStrips(const ColorJob& job) {
    const Size size = job.src.size();
    const Size even(size.width & ~1, size.height & ~1);
    if (even.width != size.width) {
        convertStrip(job, Rect(even.width, 0, 1, even.height));
    }
    if (even.height != size.height) {
        convertStrip(job, Rect(0, even.height, size.width, 1));
    }
}

void convertBgrToI420(const ColorJob& job) {
    const KernelPlane src = planeOf(job.src, 0);
    convertToYuvPlanes<Simd::BgrToYuv420p>(job, src.width & ~1u, src.height & ~1u);
    convertStrips(job);
}

void convertBgrToNv12(const ColorJob& job) {
    const KernelPlane src = planeOf(job.src, 0);
    convertToYuvPairs<Simd::BgrToNv12>(job, src.width & ~1u, src.height & ~1u);
    convertStrips(job);
}

// ---- Floats: a byte keeps its value, a float is clamped and truncated ---------------------------

constexpr float LOWER = 0.0f;
constexpr float UPPER = 255.0f;

std::uint8_t* byteRow(const Frame& frame, int plane, int row) {
    return frame.planeData(plane) + std::ptrdiff_t(row) * frame.layout().plane[plane].stride;
}

void bytesToFloats(const ColorJob& job) {
    const bool contiguous = isContiguous(job.src) && isContiguous(job.dst);
    walkRuns(job.src.layout(), contiguous, [&](int plane, int row, std::uint32_t samples) {
        Simd::Uint8ToFloat32(byteRow(job.src, plane, row), samples, &LOWER, &UPPER,
                             floatRow(job.dst, plane, row));
    });
}

void floatsToBytes(const ColorJob& job) {
    const bool contiguous = isContiguous(job.src) && isContiguous(job.dst);
    walkRuns(job.src.layout(), contiguous, [&](int plane, int row, std::uint32_t samples) {
        Simd::Float32ToUint8(floatRow(job.src, plane, row), samples, &LOWER, &UPPER,
                             byteRow(job.dst, plane, row));
    });
}

// ---- The matrix ---------------------------------------------------------------------------------

constexpr bool EVEN = true;
constexpr bool ANY = false;

// clang-format off
constexpr ColorRoute ROUTES[] = {
    {FRAME_GRAY8,      FRAME_BGR24,      ANY,  convertPacked<Simd::GrayToBgr>},

    {FRAME_RGB24,      FRAME_RGB_PLANAR, ANY,  splitPixels},
    {FRAME_RGB24,      FRAME_BGR24,      ANY,  convertPacked<Simd::BgrToRgb>},
    {FRAME_RGB24,      FRAME_BGR_32F,    ANY,  bytesToFloats},
    {FRAME_RGB24,      FRAME_PLANAR_32F, ANY,  nullptr, FRAME_RGB_PLANAR},

    {FRAME_RGB_PLANAR, FRAME_RGB24,      ANY,  joinPixels},
    {FRAME_RGB_PLANAR, FRAME_BGR_32F,    ANY,  nullptr, FRAME_RGB24},
    {FRAME_RGB_PLANAR, FRAME_PLANAR_32F, ANY,  bytesToFloats},

    {FRAME_BGR24,      FRAME_GRAY8,      ANY,  convertPacked<Simd::BgrToGray>},
    {FRAME_BGR24,      FRAME_RGB24,      ANY,  convertPacked<Simd::BgrToRgb>},
    {FRAME_BGR24,      FRAME_BGR_PLANAR, ANY,  splitPixels},
    {FRAME_BGR24,      FRAME_I420,       ANY,  convertBgrToI420},
    {FRAME_BGR24,      FRAME_NV12,       ANY,  convertBgrToNv12},
    {FRAME_BGR24,      FRAME_NV16,       EVEN, convertBgrToNv16},
    {FRAME_BGR24,      FRAME_YUV444,     ANY,  nullptr, FRAME_I444},
    {FRAME_BGR24,      FRAME_I444,       ANY,  convertBgrToI444},
    {FRAME_BGR24,      FRAME_BGR_32F,    ANY,  bytesToFloats},
    {FRAME_BGR24,      FRAME_PLANAR_32F, ANY,  nullptr, FRAME_BGR_PLANAR},

    {FRAME_BGR_PLANAR, FRAME_BGR24,      ANY,  joinPixels},
    {FRAME_BGR_PLANAR, FRAME_BGR_32F,    ANY,  nullptr, FRAME_BGR24},
    {FRAME_BGR_PLANAR, FRAME_PLANAR_32F, ANY,  bytesToFloats},

    {FRAME_I420,       FRAME_GRAY8,      EVEN, copyLuma},
    {FRAME_I420,       FRAME_RGB24,      EVEN, convertPlanarYuv<Simd::Yuv420pToRgb>},
    {FRAME_I420,       FRAME_BGR24,      EVEN, convertPlanarYuv<Simd::Yuv420pToBgr>},
    {FRAME_I420,       FRAME_NV12,       EVEN, joinChroma},

    {FRAME_NV12,       FRAME_GRAY8,      EVEN, copyLuma},
    {FRAME_NV12,       FRAME_RGB24,      EVEN, convertPairs<Simd::Yuv420pToRgb, FRAME_I420, 1>},
    {FRAME_NV12,       FRAME_BGR24,      EVEN, convertNv12ToBgr},
    {FRAME_NV12,       FRAME_I420,       EVEN, splitChroma<1>},
    {FRAME_NV12,       FRAME_NV21,       EVEN, swapChroma},

    {FRAME_NV21,       FRAME_GRAY8,      EVEN, copyLuma},
    {FRAME_NV21,       FRAME_RGB24,      EVEN, convertPairs<Simd::Yuv420pToRgb, FRAME_I420, 2>},
    {FRAME_NV21,       FRAME_BGR24,      EVEN, convertPairs<Simd::Yuv420pToBgr, FRAME_I420, 2>},
    {FRAME_NV21,       FRAME_I420,       EVEN, splitChroma<2>},
    {FRAME_NV21,       FRAME_NV12,       EVEN, swapChroma},

    {FRAME_NV16,       FRAME_GRAY8,      EVEN, copyLuma},
    {FRAME_NV16,       FRAME_RGB24,      EVEN, convertPairs<Simd::Yuv422pToRgb, FRAME_YV16, 1>},
    {FRAME_NV16,       FRAME_BGR24,      EVEN, convertPairs<Simd::Yuv422pToBgr, FRAME_YV16, 1>},
    {FRAME_NV16,       FRAME_YV16,       EVEN, splitChroma<1>},

    {FRAME_YUV444,     FRAME_GRAY8,      ANY,  nullptr, FRAME_I444},
    {FRAME_YUV444,     FRAME_BGR24,      ANY,  nullptr, FRAME_I444},
    {FRAME_YUV444,     FRAME_I444,       ANY,  splitPixels},

    {FRAME_I444,       FRAME_GRAY8,      ANY,  copyLuma},
    {FRAME_I444,       FRAME_BGR24,      ANY,  convertPlanarYuv<Simd::Yuv444pToBgr>},
    {FRAME_I444,       FRAME_YUV444,     ANY,  joinPixels},

    {FRAME_BGR_32F,    FRAME_RGB24,      ANY,  floatsToBytes},
    {FRAME_BGR_32F,    FRAME_BGR24,      ANY,  floatsToBytes},
    {FRAME_BGR_32F,    FRAME_RGB_PLANAR, ANY,  nullptr, FRAME_RGB24},
    {FRAME_BGR_32F,    FRAME_BGR_PLANAR, ANY,  nullptr, FRAME_BGR24},

    {FRAME_PLANAR_32F, FRAME_RGB24,      ANY,  nullptr, FRAME_RGB_PLANAR},
    {FRAME_PLANAR_32F, FRAME_RGB_PLANAR, ANY,  floatsToBytes},
    {FRAME_PLANAR_32F, FRAME_BGR24,      ANY,  nullptr, FRAME_BGR_PLANAR},
    {FRAME_PLANAR_32F, FRAME_BGR_PLANAR, ANY,  floatsToBytes},
};
// clang-format on

}  // namespace

const ColorRoute* findColorRoute(FrameFormat src, FrameFormat dst) {
    const auto* const route = std::find_if(
        std::begin(ROUTES), std::end(ROUTES),
        [&](const ColorRoute& candidate) { return candidate.src == src && candidate.dst == dst; });
    return route != std::end(ROUTES) ? route : nullptr;
}

bool needsEvenSides(FrameFormat src, FrameFormat dst) {
    if (const ColorRoute* const route = findColorRoute(src, dst)) {
        return route->even;
    }
    const auto from = [&](const ColorRoute& route) { return route.src == src; };
    const auto even = [&](const ColorRoute& route) { return route.src != src || route.even; };
    return std::any_of(std::begin(ROUTES), std::end(ROUTES), from) &&
           std::all_of(std::begin(ROUTES), std::end(ROUTES), even);
}

void roiToYuv444(Frame& src, const Rect& roi, Frame& yuv) {
    const Frame region = getRegion(src, roi);
    yuv.reuse(FRAME_I444, region.size(), DeviceContext(), 0);
    convertBgrToI444({region, yuv, yuv, false});
}

}  // namespace impl
}  // namespace tavo
