// Changes of size: per pixel of the target.
#include "bench_case.h"
#include "peers.h"
#include "simd/simd.h"
#include "yardsticks.h"

#ifdef BENCH_OPENCV
#define OPENCV_FILTER(name) cv::name
#else
#define OPENCV_FILTER(name) 0
#endif
#ifdef BENCH_LIBYUV
#define LIBYUV_FILTER(name) int(libyuv::name)
#else
#define LIBYUV_FILTER(name) 0
#endif

namespace bench {
namespace {

constexpr int NONE = -1;

struct Method {
    const char* name;
    int source_rows;  // that a row of the target needs; NONE: all that it covers
    int backend;      // a ResizeMethod; NONE where the kernels have more than the backends
    Simd::ResizerMethod kernel;
    int opencv;
    int libyuv;
};

constexpr Method METHODS[] = {
    {"nearest", 1, tavo::ResizeNearestNeighbour, Simd::ResizerMethodNearest,
     OPENCV_FILTER(INTER_NEAREST), LIBYUV_FILTER(kFilterNone)},
    {"bilinear", 2, tavo::ResizeBilinear, Simd::ResizerMethodBilinear, OPENCV_FILTER(INTER_LINEAR),
     LIBYUV_FILTER(kFilterBilinear)},
    {"area", NONE, tavo::ResizeArea, Simd::ResizerMethodArea, OPENCV_FILTER(INTER_AREA),
     LIBYUV_FILTER(kFilterBox)},
    {"bicubic", 4, NONE, Simd::ResizerMethodBicubic, OPENCV_FILTER(INTER_CUBIC), NONE},
};
constexpr const Method& BILINEAR = METHODS[1];

struct Format {
    const char* name;
    FrameFormat format;
};

constexpr Format BYTES[] = {
    {"gray", tavo::FRAME_GRAY8}, {"BGR", tavo::FRAME_BGR24}, {"NV12", tavo::FRAME_NV12}};
constexpr Format FLOATS[] = {{"float gray", tavo::FRAME_GRAY_32F},
                             {"float BGR", tavo::FRAME_BGR_32F}};

struct Scaling {
    Size src;
    Size dst;
};

const Scaling SCALINGS[] = {
    {Size(1920, 1080), Size(1280, 720)}, {Size(1920, 1080), Size(960, 540)},
    {Size(1920, 1080), Size(640, 360)},  {Size(1920, 1080), Size(300, 300)},
    {Size(640, 480), Size(1280, 960)},
};

void resizeByKernel(const Frame& src, Frame& dst, Simd::ResizerMethod method) {
    const auto create = Simd::Neon::Enable   ? Simd::Neon::ResizerInit
                        : Simd::Avx2::Enable ? Simd::Avx2::ResizerInit
                                             : Simd::Base::ResizerInit;
    for (int p = 0; p < src.layout().plane_count; ++p) {
        const tavo::PlaneLayout& from = src.layout().plane[p];
        const tavo::PlaneLayout& to = dst.layout().plane[p];
        const std::unique_ptr<Simd::Resizer> resizer(
            create(std::uint32_t(from.width), std::uint32_t(from.height), std::uint32_t(to.width),
                   std::uint32_t(to.height), from.channels, Simd::ResizerChannelByte, method));
        resizer->Run(src.planeData(p), std::uint32_t(from.stride), dst.planeData(p),
                     std::uint32_t(to.stride));
    }
}

Run fast(const Method& method) {
    if (method.backend == NONE) {
        return [=](const Frame& src, Frame& dst) { resizeByKernel(src, dst, method.kernel); };
    }
    return onBackend([=](tavo::CvBackendSimd& cv, const Frame& src, Frame& dst) {
        cv.setIntProperty(tavo::CV_PROPERTY_RESIZE_METHOD, method.backend);
        cv.resize(src, dst, Rect(), Rect());
    });
}

/// Floats are not scaled row by row.
Run portable(const Method& method, FrameFormat format) {
    if (method.backend == NONE || format == tavo::FRAME_GRAY_32F || format == tavo::FRAME_BGR_32F) {
        return {};
    }
    const auto scaler = std::make_shared<tavo::Scaler>();
    return [=](const Frame& src, Frame& dst) {
        scaler->reuse(src, dst.size(), tavo::ScaleMethod(method.backend));
        tavo::produceFrame(*scaler, dst);
    };
}

Run opencv([[maybe_unused]] const Method& method, FrameFormat format) {
    if (format == tavo::FRAME_NV12) {
        return OPENCV(cv::resize(s[0], d[0], d[0].size(), 0, 0, method.opencv);
                      cv::resize(s[1], d[1], d[1].size(), 0, 0, method.opencv));
    }
    return OPENCV(cv::resize(s[0], d[0], d[0].size(), 0, 0, method.opencv));
}

/// Its box filter takes means at one half, of single channels below that, too; elsewhere it is
/// bilinear or takes single samples. Its nearest chroma pairs at one half repeat every second one.
bool libyuvDoesTheSame(const Method& method, FrameFormat format, const Scaling& size) {
    const bool halves = size.dst.width * 2 == size.src.width;
    const bool shrinks_more = size.dst.width * 2 < size.src.width;
    if (method.source_rows == NONE) {
        return halves || (shrinks_more && format == tavo::FRAME_GRAY8);
    }
    return !(method.source_rows == 1 && halves && format == tavo::FRAME_NV12);
}

Run libyuv(const Method& method, FrameFormat format, const Scaling& size) {
    if (method.libyuv == NONE || !libyuvDoesTheSame(method, format, size)) {
        return {};
    }
    // clang-format off
    switch (format) {
        case tavo::FRAME_GRAY8:
            return LIBYUV(libyuv::ScalePlane(s.at[0], s.stride[0], s.width, s.height, d.at[0], d.stride[0], d.width, d.height, libyuv::FilterMode(method.libyuv)));
        case tavo::FRAME_BGR24:
            return LIBYUV(libyuv::RGBScale(s.at[0], s.stride[0], s.width, s.height, d.at[0], d.stride[0], d.width, d.height, libyuv::FilterMode(method.libyuv)));
        case tavo::FRAME_NV12:
            return LIBYUV(libyuv::NV12Scale(s.at[0], s.stride[0], s.at[1], s.stride[1], s.width, s.height, d.at[0], d.stride[0], d.at[1], d.stride[1], d.width, d.height, libyuv::FilterMode(method.libyuv)));
        default:
            return {};
    }
    // clang-format on
}

Run yardstick(const Method& method, FrameFormat format, const Size& size) {
    if (format != tavo::FRAME_BGR24) {
        return {};
    }
    if (method.backend == tavo::ResizeBilinear && size == Size(1280, 720)) {
        return bilinearYardstick();
    }
    if (method.backend == tavo::ResizeArea && size == Size(300, 300)) {
        return areaYardstick();
    }
    return {};
}

Case resizeCase(const Method& method, const Format& format, const Scaling& size) {
    Case entry = pictureCase(std::string("resize ") + method.name + " " + format.name,
                             {format.format, size.src}, {format.format, size.dst});
    entry.size += " to " + nameOf(size.dst);
    entry.pixels = double(size.dst.width) * size.dst.height;
    const double source_rows =
        method.source_rows == NONE
            ? 1
            : std::min(1.0, double(method.source_rows) * size.dst.height / size.src.height);
    entry.bytes = payload(entry.src) * source_rows + payload(entry.dst);
    entry.runs[FAST] = fast(method);
    entry.runs[PORTABLE] = portable(method, format.format);
    entry.runs[OPENCV] = opencv(method, format.format);
    entry.runs[LIBYUV] = libyuv(method, format.format, size);
    entry.runs[YARDSTICK] = yardstick(method, format.format, size.dst);
    if (method.source_rows == 1) {
        entry.tolerance = 8;  // OpenCV takes the pixel at the corner, we take that at the centre
    }
    return entry;
}

}  // namespace

std::vector<Case> resizeCases() {
    std::vector<Case> cases;
    for (const Method& method : METHODS) {
        for (const Format& format : BYTES) {
            for (const Scaling& size : SCALINGS) {
                cases.push_back(resizeCase(method, format, size));
            }
        }
    }
    for (const Format& format : FLOATS) {
        for (const Scaling& size : SCALINGS) {
            cases.push_back(resizeCase(BILINEAR, format, size));
        }
    }
    return cases;
}

}  // namespace bench
