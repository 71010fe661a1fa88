// Bytes and floats, constants, half precision.
#include "bench_case.h"
#include "peers.h"

namespace bench {
namespace {

/// Repeated in place for as long as it takes to measure: every second call undoes the one before,
/// so that numbers neither grow nor vanish.
class Alternating {
public:
    Alternating(float value, float undo) : _values{value, undo} {}

    float operator()() { return _values[_next ^= 1]; }

private:
    float _values[2];
    int _next = 1;
};

struct Row {
    const char* operation;
    FrameFormat src;
    FrameFormat dst;
    Run fast;
    Run portable;
    Run opencv;
    Run libyuv;
};

std::uint16_t* halves(const Frame& frame) {
    return static_cast<std::uint16_t*>(static_cast<void*>(frame.planeData(0)));
}
float* floats(const Frame& frame) {
    return static_cast<float*>(static_cast<void*>(frame.planeData(0)));
}
unsigned samples(const Frame& frame) {
    return unsigned(frame.width()) * unsigned(frame.height());
}

// clang-format off
std::vector<Row> rows() {
    const Run backend = onBackend([](tavo::CvBackendSimd& cv, const Frame& src, Frame& dst) { cv.colorCvt(src, dst, Rect()); });
    const auto converter = std::make_shared<tavo::FormatConverter>();
    const Run pipeline = [=](const Frame& src, Frame& dst) { converter->reuse(src, dst.format()); tavo::produceFrame(*converter, dst); };

    const auto base = std::make_shared<tavo::CvBackendBase>();
    Alternating addend(1.0f, -1.0f);
    Alternating factor(0.5f, 2.0f);
    const Run add_fast = onBackend([v = addend](tavo::CvBackendSimd& cv, const Frame&, Frame& dst) mutable { cv.add(dst, v(), Rect()); });
    const Run add_portable = [=, v = addend](const Frame&, Frame& dst) mutable { base->add(dst, v(), Rect()); };
    const Run multiply_fast = onBackend([v = factor](tavo::CvBackendSimd& cv, const Frame&, Frame& dst) mutable { cv.mul(dst, v(), Rect()); });
    const Run multiply_portable = [=, v = factor](const Frame&, Frame& dst) mutable { base->mul(dst, v(), Rect()); };

    return {
        {"byte to float BGR", tavo::FRAME_BGR24, tavo::FRAME_BGR_32F, backend, pipeline,
            OPENCV(s[0].convertTo(d[0], CV_32F)),
            LIBYUV(libyuv::ByteToFloat(s.at[0], floats(dst_frame), 1.0f, 3 * s.width * s.height))},
        {"float to byte BGR", tavo::FRAME_BGR_32F, tavo::FRAME_BGR24, backend, pipeline,
            OPENCV(s[0].convertTo(d[0], CV_8U)), {}},
        {"add to float gray", tavo::FRAME_GRAY_32F, tavo::FRAME_GRAY_32F, add_fast, add_portable,
            OPENCV(d[0].convertTo(d[0], -1, 1.0, addend())), {}},
        {"multiply float gray", tavo::FRAME_GRAY_32F, tavo::FRAME_GRAY_32F, multiply_fast, multiply_portable,
            OPENCV(d[0].convertTo(d[0], -1, factor())), {}},
        {"half to float", tavo::FRAME_16U_C1, tavo::FRAME_GRAY_32F,
            [](const Frame& src, Frame& dst) { tavo::convertFp16ToFp32(halves(src), samples(src), floats(dst)); }, {},
            OPENCV(cv::convertFp16(s[0], d[0])), {}},
        {"float to half", tavo::FRAME_GRAY_32F, tavo::FRAME_16U_C1,
            [](const Frame& src, Frame& dst) { tavo::convertFp32ToFp16(floats(src), samples(src), halves(dst)); }, {},
            OPENCV(cv::convertFp16(s[0], d[0])), {}},
    };
}
// clang-format on

}  // namespace

std::vector<Case> floatCases() {
    std::vector<Case> cases;
    for (const Row& row : rows()) {
        for (const Size& size : SOURCES) {
            Case entry = pictureCase(row.operation, {row.src, size}, {row.dst, size});
            entry.runs[FAST] = row.fast;
            entry.runs[PORTABLE] = row.portable;
            entry.runs[OPENCV] = row.opencv;
            entry.runs[LIBYUV] = row.libyuv;
            cases.push_back(entry);
        }
    }
    return cases;
}

}  // namespace bench
