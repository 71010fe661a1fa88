// The other libraries. A row of a table names their call in OPENCV(...) or LIBYUV(...); where the
// library is absent the call is not compiled, and the row has no such contestant.
//
// Inside the brackets `s` and `d` are source and target: arrays of planes as cv::Mat for OpenCV,
// and as addresses, strides and the size of the image for libyuv.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "bench_case.h"

#ifdef BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace bench {

/// The planes of a frame, and all of them as one image where they follow each other in memory.
struct Mats {
    cv::Mat plane[3];

    explicit Mats(const Frame& frame) {
        for (int p = 0; p < frame.layout().plane_count; ++p) {
            const tavo::PlaneLayout& layout = frame.layout().plane[p];
            const int depth = layout.bits_per_channel == 8    ? CV_8U
                              : layout.bits_per_channel == 16 ? CV_16S
                                                              : CV_32F;
            plane[p] =
                cv::Mat(layout.height, layout.width, CV_MAKETYPE(depth, int(layout.channels)),
                        frame.planeData(p), std::size_t(layout.stride));
        }
    }

    cv::Mat& operator[](int p) { return plane[p]; }

    /// Luma and chroma of planar 4:2:0.
    cv::Mat joined() {
        const int rows = plane[0].rows;
        const std::ptrdiff_t luma_bytes = std::ptrdiff_t(rows) * plane[0].cols;
        if (plane[1].data != plane[0].data + luma_bytes ||
            plane[2].data != plane[1].data + luma_bytes / 4) {
            std::abort();  // only sizes whose planes leave no gaps are measured
        }
        return cv::Mat(rows * 3 / 2, plane[0].cols, CV_8UC1, plane[0].data);
    }
};

}  // namespace bench

#define OPENCV(...)                                                      \
    ::bench::Run([=](const Frame& src_frame, Frame& dst_frame) mutable { \
        [[maybe_unused]] ::bench::Mats s(src_frame);                     \
        ::bench::Mats d(dst_frame);                                      \
        __VA_ARGS__;                                                     \
    })
#else
#define OPENCV(...) ::bench::Run()
#endif

#ifdef BENCH_LIBYUV
#include <libyuv.h>
#include <libyuv/scale_rgb.h>

namespace bench {

struct YuvPlanes {
    std::uint8_t* at[3];
    int stride[3];
    int width;
    int height;

    explicit YuvPlanes(const Frame& frame) : width(frame.width()), height(frame.height()) {
        for (int p = 0; p < 3; ++p) {
            at[p] = frame.planeData(p);
            stride[p] = frame.layout().plane[p].stride;
        }
    }
};

}  // namespace bench

#define LIBYUV(...)                                                      \
    ::bench::Run([=](const Frame& src_frame, Frame& dst_frame) mutable { \
        const ::bench::YuvPlanes s(src_frame);                           \
        const ::bench::YuvPlanes d(dst_frame);                           \
        __VA_ARGS__;                                                     \
    })
#else
#define LIBYUV(...) ::bench::Run()
#endif
