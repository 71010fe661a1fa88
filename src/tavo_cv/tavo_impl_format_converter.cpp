#include "tavo_cv/tavo_impl_format_converter.h"

#include <algorithm>

#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_impl_row_functions.h"

namespace tavo {
namespace {

struct Conversion {
    FrameFormat src;
    FrameFormat dst;
    ConvertRowFunction function;
    int window_size;
};

// All pairs but the two families of `findConversion`.
constexpr Conversion CONVERSIONS[] = {
    {FRAME_GRAY8, FRAME_BGR24, impl::rowGrayToBgr, 1},
    {FRAME_RGB24, FRAME_BGR24, impl::rowSwapFirstThird, 1},
    {FRAME_RGB24, FRAME_RGB_PLANAR, impl::rowDeinterleave, 1},
    {FRAME_RGB24, FRAME_PLANAR_32F, impl::rowDeinterleaveToFloat, 1},
    {FRAME_RGB_PLANAR, FRAME_RGB24, impl::rowInterleave, 1},
    {FRAME_BGR24, FRAME_GRAY8, impl::rowBgrToGray, 1},
    {FRAME_BGR24, FRAME_RGB24, impl::rowSwapFirstThird, 1},
    {FRAME_BGR24, FRAME_BGR_PLANAR, impl::rowDeinterleave, 1},
    {FRAME_BGR24, FRAME_I420, impl::rowBgrToPlanar420, 2},
    {FRAME_BGR24, FRAME_YV12, impl::rowBgrToPlanar420, 2},
    {FRAME_BGR24, FRAME_NV12, impl::rowBgrToSemiPlanar420, 2},
    {FRAME_BGR24, FRAME_NV21, impl::rowBgrToSemiPlanar420, 2},
    {FRAME_BGR24, FRAME_YV16, impl::rowBgrToYv16, 1},
    {FRAME_BGR24, FRAME_YUYV, impl::rowBgrToPacked422, 1},
    {FRAME_BGR24, FRAME_UYVY, impl::rowBgrToPacked422, 1},
    {FRAME_BGR24, FRAME_NV16, impl::rowBgrToNv16, 1},
    {FRAME_BGR24, FRAME_YUV444, impl::rowBgrToYuv444, 1},
    {FRAME_BGR24, FRAME_I444, impl::rowBgrToI444, 1},
    {FRAME_BGR24, FRAME_BGR_32F, impl::rowBytesToFloat, 1},
    {FRAME_BGR24, FRAME_PLANAR_32F, impl::rowDeinterleaveToFloat, 1},
    {FRAME_BGR_PLANAR, FRAME_BGR24, impl::rowInterleave, 1},
    {FRAME_BGR_32F, FRAME_BGR24, impl::rowFloatToBytes, 1},
    {FRAME_I420, FRAME_BGR24, impl::rowPlanar420ToBgr, 1},
    {FRAME_YV12, FRAME_BGR24, impl::rowPlanar420ToBgr, 1},
    {FRAME_NV12, FRAME_BGR24, impl::rowSemiPlanar420ToBgr, 1},
    {FRAME_NV21, FRAME_BGR24, impl::rowSemiPlanar420ToBgr, 1},
    {FRAME_YV16, FRAME_BGR24, impl::rowYv16ToBgr, 1},
    {FRAME_YUYV, FRAME_BGR24, impl::rowPacked422ToBgr, 1},
    {FRAME_UYVY, FRAME_BGR24, impl::rowPacked422ToBgr, 1},
    {FRAME_NV16, FRAME_BGR24, impl::rowNv16ToBgr, 1},
    {FRAME_YUV444, FRAME_BGR24, impl::rowYuv444ToBgr, 1},
    {FRAME_I444, FRAME_BGR24, impl::rowI444ToBgr, 1},
};

struct DescribedFormat {
    FrameFormat format;
    FormatInfo info;
};

// clang-format off
constexpr DescribedFormat YUV_FORMATS[] = {
    //            subsampling  planes   offsets  steps
    //               x  y     Y  V  U   Y  V  U  Y  V  U
    {FRAME_I420,   { 2, 2,    0, 2, 1,  0, 0, 0, 1, 1, 1}},
    {FRAME_YV12,   { 2, 2,    0, 1, 2,  0, 0, 0, 1, 1, 1}},
    {FRAME_NV12,   { 2, 2,    0, 1, 1,  0, 1, 0, 1, 2, 2}},
    {FRAME_NV21,   { 2, 2,    0, 1, 1,  0, 0, 1, 1, 2, 2}},
    {FRAME_YV16,   { 2, 1,    0, 1, 2,  0, 0, 0, 1, 1, 1}},
    {FRAME_YUYV,   { 2, 1,    0, 0, 0,  0, 3, 1, 2, 4, 4}},
    {FRAME_UYVY,   { 2, 1,    0, 0, 0,  1, 2, 0, 2, 4, 4}},
    {FRAME_NV16,   { 2, 1,    0, 1, 1,  0, 1, 0, 1, 2, 2}},
    {FRAME_YUV444, { 1, 1,    0, 0, 0,  0, 2, 1, 3, 3, 3}},
    {FRAME_I444,   { 1, 1,    0, 2, 1,  0, 0, 0, 1, 1, 1}},
};
// clang-format on

constexpr bool isYuv(FrameFormat format) {
    return format >= FRAME_I420 && format <= FRAME_I444;
}

/// The conversion of a pair; without a function when there is none.
Conversion findConversion(FrameFormat src, FrameFormat dst, const FormatInfo& dst_info) {
    for (const Conversion& conversion : CONVERSIONS) {
        if (conversion.src == src && conversion.dst == dst) {
            return conversion;
        }
    }
    if (src == FRAME_GRAY8 && isYuv(dst)) {
        return {src, dst, impl::rowGrayToYuv, 1};
    }
    if (isYuv(src)) {
        return dst == FRAME_GRAY8 ? Conversion{src, dst, impl::rowYuvToGray, 1}
                                  : Conversion{src, dst, impl::rowYuvToYuv, dst_info.y_subsampling};
    }
    return {src, dst, nullptr, 0};
}

constexpr bool isSource(FrameFormat format) {
    return (format >= FRAME_GRAY8 && format <= FRAME_I444) || format == FRAME_BGR_32F;
}

}  // namespace

void ImplFormatConverter::reuse(FrameFormat src, FrameFormat dst, int width_, int* window_size) {
    if (!window_size) {
        TAVO_RAISE(TAVO_STATUS_BAD_FORMAT,
                   "Failure in ImplFormatConverter::reuse(...) : Null pointer to window size.");
    }
    function = nullptr;
    limits = SampleLimits();
    get_context(src, dst, window_size);
    width = width_;
    ready = true;
}

void ImplFormatConverter::get_context(const FrameFormat& src,
                                      const FrameFormat& dst,
                                      int* window_size) {
    getFormatInfo(src, src_info);
    getFormatInfo(dst, dst_info);
    const Conversion conversion = findConversion(src, dst, dst_info);
    if (!conversion.function) {
        TAVO_RAISE(isSource(src) ? TAVO_STATUS_NOT_SUPPORTED : TAVO_STATUS_BAD_FORMAT,
                   "Failure in ImplFormatConverter::get_context(...) : unsupported format.");
    }
    function = conversion.function;
    *window_size = conversion.window_size;
}

void ImplFormatConverter::limitSamples(const FrameLayout& dst) {
    const auto room = [&dst](int plane, int offset, int step) {
        const int bytes = std::max(dst.plane[plane].row_bytes - offset, 0);
        return bytes / step + (bytes % step != 0 ? 1 : 0);
    };
    if (function == impl::rowYuvToYuv) {
        limits.y = room(dst_info.y_plane, dst_info.y_offset, dst_info.y_step);
        limits.v = room(dst_info.v_plane, dst_info.v_offset, dst_info.v_step);
        limits.u = room(dst_info.u_plane, dst_info.u_offset, dst_info.u_step);
    }
}

void ImplFormatConverter::getFormatInfo(FrameFormat format, FormatInfo& info) {
    const bool is_rgb = (format >= FRAME_GRAY8 && format <= FRAME_BGR_PLANAR) ||
                        format == FRAME_BGR_32F || format == FRAME_PLANAR_32F;
    if (is_rgb) {
        return;
    }
    for (const DescribedFormat& described : YUV_FORMATS) {
        if (described.format == format) {
            info = described.info;
            return;
        }
    }
    TAVO_RAISE(TAVO_STATUS_BAD_FORMAT,
               "Failure in ImplFormatConverter::get_context(...) : unsupported format.");
}

}  // namespace tavo
