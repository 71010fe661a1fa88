// What is measured: cases, each of them one job that several contestants do on the same frames.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tavo_core/tavo_frame.h"
#include "tavo_cv/tavo_cv.h"

namespace bench {

using tavo::Frame;
using tavo::FrameFormat;
using tavo::Rect;
using tavo::Size;

/// Does the job once. The target has its format and size already, and keeps them.
using Run = std::function<void(const Frame& src, Frame& dst)>;

/// Who does the job. A plain copy of as many bytes as the job moves runs beside each case.
enum Contestant : int {
    FAST,       ///< the fast backend, a free function, or the kernels where there is neither
    PORTABLE,   ///< the row pipeline, or the portable backend
    OPENCV,     ///< the nearest call of OpenCV
    LIBYUV,     ///< the nearest call of libyuv
    YARDSTICK,  ///< a plain loop over whole planes with the arithmetic of the row pipeline
    CONTESTANTS,
};
constexpr const char* CONTESTANT_NAMES[CONTESTANTS + 1] = {"fast",   "portable",  "opencv",
                                                           "libyuv", "yardstick", "copy"};

struct Picture {
    FrameFormat format;
    Size size;
};

struct Case {
    std::string operation;
    std::string size;
    Picture src;
    Picture dst;
    double pixels;  ///< that times are divided by: of the target when sizes change
    double bytes;   ///< read and written, without source rows that need not be read
    std::array<Run, CONTESTANTS> runs;
    double tolerance = 3;  ///< mean difference from FAST, in levels
};

/// Bytes of the samples of all planes.
double payload(const Picture& picture);

/// The case of a job that reads all of its source once, from one format to another.
Case pictureCase(const std::string& operation, const Picture& src, const Picture& dst);

constexpr int SOURCE_COUNT = 2;
inline const Size SOURCES[SOURCE_COUNT] = {Size(640, 480), Size(1920, 1080)};

/// "640x480"
std::string nameOf(const Size& size);

/// Frames are shared by all cases: sources hold a smooth picture, targets what was written last.
const Frame& sourceFrame(const Picture& picture);
Frame& targetFrame(const Picture& picture);

/// The families.
std::vector<Case> colorCases();
std::vector<Case> resizeCases();
std::vector<Case> transformCases();
std::vector<Case> floatCases();

/// An operation of the fast backend. @p call is given the backend, the source and the target.
template <class Call>
Run onBackend(Call call) {
    const auto backend = std::make_shared<tavo::CvBackendSimd>();
    return [=](const Frame& src, Frame& dst) mutable { call(*backend, src, dst); };
}

}  // namespace bench
