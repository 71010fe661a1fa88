// Turns by quarters, and the affine warp.
#include "bench_case.h"
#include "peers.h"
#include "tavo_core/tavo_arithmetic.h"

namespace bench {
namespace {

struct Turn {
    const char* name;
    tavo::FixedRotation rotation;
};

constexpr Turn TURNS[] = {{"turn by 90", tavo::ROTATION_90},
                          {"turn by 180", tavo::ROTATION_180},
                          {"turn by 270", tavo::ROTATION_270}};

constexpr FrameFormat PIXELS[] = {tavo::FRAME_GRAY8, tavo::FRAME_8U_C2, tavo::FRAME_BGR24,
                                  tavo::FRAME_8U_C4};

/// Rows of a power of two, of which only a few stay in the cache beside each other.
const Size CROWDED(2048, 1024);

Run opencvTurn([[maybe_unused]] tavo::FixedRotation rotation) {
    // ROTATE_90_CLOCKWISE, ROTATE_180, ROTATE_90_COUNTERCLOCKWISE
    return OPENCV(cv::rotate(s[0], d[0], int(rotation) - 1));
}

Run libyuvTurn([[maybe_unused]] tavo::FixedRotation rotation, std::size_t pixel_bytes) {
    // clang-format off
    switch (pixel_bytes) {
        case 1:
            return LIBYUV(libyuv::RotatePlane(s.at[0], s.stride[0], d.at[0], d.stride[0], s.width, s.height, libyuv::RotationMode(90 * int(rotation))));
        case 2:
            return LIBYUV(libyuv::RotatePlane_16(static_cast<const std::uint16_t*>(static_cast<void*>(s.at[0])), s.stride[0] / 2, static_cast<std::uint16_t*>(static_cast<void*>(d.at[0])), d.stride[0] / 2, s.width, s.height, libyuv::RotationMode(90 * int(rotation))));
        case 4:
            return LIBYUV(libyuv::ARGBRotate(s.at[0], s.stride[0], d.at[0], d.stride[0], s.width, s.height, libyuv::RotationMode(90 * int(rotation))));
        default:
            return {};
    }
    // clang-format on
}

Case turnCase(const Turn& turn, std::size_t pixel_bytes, const Size& size) {
    const FrameFormat format = PIXELS[pixel_bytes - 1];
    const bool quarter = turn.rotation != tavo::ROTATION_180;
    const Size turned = quarter ? Size(size.height, size.width) : size;
    Case entry = pictureCase(std::string(turn.name) + " " + std::to_string(pixel_bytes) + " B",
                             {format, size}, {format, turned});
    const tavo::FixedRotation rotation = turn.rotation;
    entry.runs[FAST] = [=](const Frame& src, Frame& dst) { tavo::rotateFrame(src, rotation, dst); };
    entry.runs[OPENCV] = opencvTurn(turn.rotation);
    entry.runs[LIBYUV] = libyuvTurn(turn.rotation, pixel_bytes);
    return entry;
}

/// By 10 degrees about the middle.
struct Matrix {
    float rows[2][3];

    explicit Matrix(const Size& size) {
        tavo::getRotationMatrix2D(10, tavo::Point(size.width / 2, size.height / 2), rows, 1);
    }
};

struct WarpMethod {
    const char* name;
    tavo::ResizeMethod method;
};

constexpr WarpMethod WARP_METHODS[] = {{"nearest", tavo::ResizeNearestNeighbour},
                                       {"bilinear", tavo::ResizeBilinear}};

Run opencvWarp([[maybe_unused]] tavo::ResizeMethod method) {
    return OPENCV(
        const Matrix matrix(dst_frame.size());
        const cv::Mat map(2, 3, CV_32F, const_cast<float*>(matrix.rows[0]));
        cv::warpAffine(s[0], d[0], map, d[0].size(),
                       method == tavo::ResizeBilinear ? cv::INTER_LINEAR : cv::INTER_NEAREST));
}

Case warpCase(const WarpMethod& method, const char* pixels, FrameFormat format, const Size& size) {
    Case entry = pictureCase(std::string("warp ") + method.name + " " + pixels, {format, size},
                             {format, size});
    entry.runs[FAST] = onBackend([=](tavo::CvBackendSimd& cv, const Frame& src, Frame& dst) {
        cv.setIntProperty(tavo::CV_PROPERTY_WARP_METHOD, method.method);
        cv.warpAffine(src, dst, Matrix(src.size()).rows, Rect(), false);
    });
    entry.runs[OPENCV] = opencvWarp(method.method);
    return entry;
}

}  // namespace

std::vector<Case> transformCases() {
    std::vector<Case> cases;
    for (const Turn& turn : TURNS) {
        for (std::size_t pixel_bytes = 1; pixel_bytes <= 4; ++pixel_bytes) {
            for (const Size& size : SOURCES) {
                cases.push_back(turnCase(turn, pixel_bytes, size));
            }
            if (turn.rotation != tavo::ROTATION_180) {
                cases.push_back(turnCase(turn, pixel_bytes, CROWDED));
            }
        }
    }
    for (const WarpMethod& method : WARP_METHODS) {
        for (const Size& size : SOURCES) {
            cases.push_back(warpCase(method, "gray", tavo::FRAME_GRAY8, size));
            cases.push_back(warpCase(method, "BGR", tavo::FRAME_BGR24, size));
        }
    }
    return cases;
}

}  // namespace bench
