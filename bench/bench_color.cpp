// Gray, channels, YUV to BGR and back.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "bench_case.h"
#include "peers.h"
#include "simd/simd.h"
#include "yardsticks.h"

namespace bench {
namespace {

struct Row {
    const char* operation;
    FrameFormat src;
    FrameFormat dst;
    Run fast;
    Run portable;
    Run opencv;
    Run libyuv;
    Run yardstick = {};
    double tolerance = 3;
    double bytes = 0;  // per pixel, where the formats have planes that take no part
};

/// Planes as kernels take them.
struct Planes {
    std::uint8_t* at[3];
    std::uint32_t stride[3];
    std::uint32_t width;
    std::uint32_t height;

    explicit Planes(const Frame& frame)
        : width(std::uint32_t(frame.width())), height(std::uint32_t(frame.height())) {
        for (int p = 0; p < 3; ++p) {
            at[p] = frame.planeData(p);
            stride[p] = std::uint32_t(frame.layout().plane[p].stride);
        }
    }
};

template <class Call>
Run onPlanes(Call call) {
    return [=](const Frame& src, Frame& dst) { call(Planes(src), Planes(dst)); };
}

/// Has the job's target read once by whoever comes next.
Run thenRead(const Run& job) {
    return !job ? job : [job](const Frame& src, Frame& dst) {
        job(src, dst);
        std::uint64_t sum = 0;
        const unsigned char* const bytes = dst.planeData(0);  // without gaps
        for (std::uint32_t i = 0; i < dst.layout().plane[0].size_bytes; i += sizeof sum) {
            std::uint64_t word;
            std::memcpy(&word, bytes + i, sizeof word);
            sum += word;
        }
        benchmark::DoNotOptimize(sum);
    };
}

/// A row whose targets are read afterwards.
Row readAfter(Row row, const char* operation) {
    row.operation = operation;
    for (Run* run : {&row.fast, &row.portable, &row.opencv, &row.libyuv}) {
        *run = thenRead(*run);
    }
    return row;
}

// clang-format off
std::vector<Row> rows() {
    const Run backend = onBackend([](tavo::CvBackendSimd& cv, const Frame& src, Frame& dst) { cv.colorCvt(src, dst, Rect()); });
    const auto converter = std::make_shared<tavo::FormatConverter>();
    const Run pipeline = [=](const Frame& src, Frame& dst) { converter->reuse(src, dst.format()); tavo::produceFrame(*converter, dst); };

    const Run split_uv = onPlanes([](const Planes& s, const Planes& d) { Simd::DeinterleaveUv(s.at[0], s.stride[0], s.width, s.height, d.at[0], d.stride[0], d.at[1], d.stride[1]); });
    const Run join_uv = onPlanes([](const Planes& s, const Planes& d) { Simd::InterleaveUv(s.at[0], s.stride[0], s.at[1], s.stride[1], s.width, s.height, d.at[0], d.stride[0]); });
    const Run from_422 = onPlanes([](const Planes& s, const Planes& d) { Simd::Yuv422pToBgr(s.at[0], s.stride[0], s.at[2], s.stride[2], s.at[1], s.stride[1], s.width, s.height, d.at[0], d.stride[0]); });

    std::vector<Row> all = {
        {"BGR to gray", tavo::FRAME_BGR24, tavo::FRAME_GRAY8, backend, pipeline,
            OPENCV(cv::cvtColor(s[0], d[0], cv::COLOR_BGR2GRAY)),
            LIBYUV(libyuv::RGB24ToJ400(s.at[0], s.stride[0], d.at[0], d.stride[0], s.width, s.height))},
        {"gray to BGR", tavo::FRAME_GRAY8, tavo::FRAME_BGR24, backend, pipeline,
            OPENCV(cv::cvtColor(s[0], d[0], cv::COLOR_GRAY2BGR)),
            LIBYUV(libyuv::MergeRGBPlane(s.at[0], s.stride[0], s.at[0], s.stride[0], s.at[0], s.stride[0], d.at[0], d.stride[0], s.width, s.height))},
        {"BGR to RGB", tavo::FRAME_BGR24, tavo::FRAME_RGB24, backend, pipeline,
            OPENCV(cv::cvtColor(s[0], d[0], cv::COLOR_BGR2RGB)),
            LIBYUV(libyuv::RAWToRGB24(s.at[0], s.stride[0], d.at[0], d.stride[0], s.width, s.height))},
        {"split BGR", tavo::FRAME_BGR24, tavo::FRAME_BGR_PLANAR, backend, pipeline,
            OPENCV(cv::split(s[0], d.plane)),
            LIBYUV(libyuv::SplitRGBPlane(s.at[0], s.stride[0], d.at[0], d.stride[0], d.at[1], d.stride[1], d.at[2], d.stride[2], s.width, s.height))},
        {"join BGR", tavo::FRAME_BGR_PLANAR, tavo::FRAME_BGR24, backend, pipeline,
            OPENCV(cv::merge(s.plane, 3, d[0])),
            LIBYUV(libyuv::MergeRGBPlane(s.at[0], s.stride[0], s.at[1], s.stride[1], s.at[2], s.stride[2], d.at[0], d.stride[0], s.width, s.height))},
        // Pairs have no planar format of their own: the planes are the first two of three.
        {"split UV", tavo::FRAME_8U_C2, tavo::FRAME_I444, split_uv, {},
            OPENCV(cv::split(s[0], d.plane)),
            LIBYUV(libyuv::SplitUVPlane(s.at[0], s.stride[0], d.at[0], d.stride[0], d.at[1], d.stride[1], s.width, s.height)), {}, 3, 4},
        {"join UV", tavo::FRAME_I444, tavo::FRAME_8U_C2, join_uv, {},
            OPENCV(cv::merge(s.plane, 2, d[0])),
            LIBYUV(libyuv::MergeUVPlane(s.at[0], s.stride[0], s.at[1], s.stride[1], d.at[0], d.stride[0], s.width, s.height)), {}, 3, 4},
        {"NV12 to BGR", tavo::FRAME_NV12, tavo::FRAME_BGR24, backend, pipeline,
            OPENCV(cv::cvtColorTwoPlane(s[0], s[1], d[0], cv::COLOR_YUV2BGR_NV12)),
            LIBYUV(libyuv::NV12ToRGB24(s.at[0], s.stride[0], s.at[1], s.stride[1], d.at[0], d.stride[0], s.width, s.height)),
            nv12ToBgrYardstick()},
        {"I420 to BGR", tavo::FRAME_I420, tavo::FRAME_BGR24, backend, pipeline,
            OPENCV(cv::cvtColor(s.joined(), d[0], cv::COLOR_YUV2BGR_I420)),
            LIBYUV(libyuv::I420ToRGB24(s.at[0], s.stride[0], s.at[1], s.stride[1], s.at[2], s.stride[2], d.at[0], d.stride[0], s.width, s.height))},
        // Plane 1 is V.
        {"4:2:2 to BGR", tavo::FRAME_YV16, tavo::FRAME_BGR24, from_422, pipeline, {},
            LIBYUV(libyuv::I422ToRGB24(s.at[0], s.stride[0], s.at[2], s.stride[2], s.at[1], s.stride[1], d.at[0], d.stride[0], s.width, s.height))},
        {"4:4:4 to BGR", tavo::FRAME_I444, tavo::FRAME_BGR24, backend, pipeline, {},
            LIBYUV(libyuv::I444ToRGB24(s.at[0], s.stride[0], s.at[1], s.stride[1], s.at[2], s.stride[2], d.at[0], d.stride[0], s.width, s.height))},
        {"BGR to I420", tavo::FRAME_BGR24, tavo::FRAME_I420, backend, pipeline,
            OPENCV(cv::Mat yuv = d.joined(); cv::cvtColor(s[0], yuv, cv::COLOR_BGR2YUV_I420)),
            LIBYUV(libyuv::RGB24ToI420(s.at[0], s.stride[0], d.at[0], d.stride[0], d.at[1], d.stride[1], d.at[2], d.stride[2], s.width, s.height))},
        // The nearest call there is: full range, with red and blue exchanged.
        {"BGR to NV12", tavo::FRAME_BGR24, tavo::FRAME_NV12, backend, pipeline, {},
            LIBYUV(libyuv::RAWToJNV21(s.at[0], s.stride[0], d.at[0], d.stride[0], d.at[1], d.stride[1], s.width, s.height)), {}, 30},
    };
    for (const auto& [operation, name] : {std::pair("join BGR", "join BGR, then read"), std::pair("join UV", "join UV, then read")}) {
        const auto row = std::find_if(all.begin(), all.end(), [&, job = operation](const Row& each) { return std::strcmp(each.operation, job) == 0; });
        all.insert(row + 1, readAfter(*row, name));
    }
    return all;
}
// clang-format on

}  // namespace

std::vector<Case> colorCases() {
    std::vector<Case> cases;
    for (const Row& row : rows()) {
        for (const Size& size : SOURCES) {
            Case entry = pictureCase(row.operation, {row.src, size}, {row.dst, size});
            if (row.bytes != 0) {
                entry.bytes = row.bytes * entry.pixels;
            }
            entry.tolerance = row.tolerance;
            entry.runs[FAST] = row.fast;
            entry.runs[PORTABLE] = row.portable;
            entry.runs[OPENCV] = row.opencv;
            entry.runs[LIBYUV] = row.libyuv;
            entry.runs[YARDSTICK] = row.yardstick;
            cases.push_back(entry);
        }
    }
    return cases;
}

}  // namespace bench
