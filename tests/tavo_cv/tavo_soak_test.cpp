// A long stream of frames of changing shapes through the same objects. TAVO_SOAK_FRAMES in the
// environment says how many frames, and has the resident memory told.

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>

#include "support/allocations.h"
#include "support/frames.h"
#include "tavo_cv/tavo_cv.h"

namespace {

using namespace tavo;

constexpr int LARGEST = 40;  // side of a frame
constexpr int PASS_FRAMES = 500;
constexpr long DEFAULT_PASSES = 10;
constexpr long ROUNDING = 32;  // bytes; blocks of one size are not always rounded up alike

long residentKilobytes() {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

/// One object of each kind, and pictures for them. A pass is always the same jobs in the same
/// order.
class Stream {
public:
    Stream() {
        for (const FrameFormat format : support::allFormats()) {
            _sources[format] = support::randomFrame(format, {LARGEST, LARGEST}, 3);
            _targets[format] = support::flatFrame(format, {LARGEST, LARGEST}, 0);
        }
    }

    /// @return how many of the jobs could be done
    int pass() {
        _random.seed(5);
        int done = 0;
        for (int i = 0; i < PASS_FRAMES; ++i) {
            try {
                runJob();
                ++done;
            } catch (const Exception& error) {
                EXPECT_NE(error.status, TAVO_STATUS_OUT_OF_MEMORY);
            }
        }
        return done;
    }

private:
    int below(int end) { return int(_random() % unsigned(end)); }

    FrameFormat anyFormat() {
        const auto& formats = support::allFormats();
        return formats[std::size_t(below(int(formats.size())))];
    }

    /// Even sizes, which all formats have; one in eight is odd.
    Size anySize() {
        const int odd = below(8) == 0 ? 1 : 0;
        return {2 * (1 + below(LARGEST / 2 - 1)) + odd, 2 * (1 + below(LARGEST / 2 - 1)) + odd};
    }

    static Frame part(Frame& frame, Size size) {
        return getRegion(frame, Rect(0, 0, size.width, size.height));
    }

    void runJob() {
        const FrameFormat from = anyFormat();
        const FrameFormat to = anyFormat();
        const Size size = anySize();
        const Size other = anySize();
        const auto method = ResizeMethod(below(3));
        const Size smaller(std::min(size.width, other.width), std::min(size.height, other.height));
        const Frame src = part(_sources[from], size);
        ICvBackend& backend = below(2) == 0 ? static_cast<ICvBackend&>(_portable) : _fast;
        backend.setIntProperty(CV_PROPERTY_RESIZE_METHOD, method);
        backend.setIntProperty(CV_PROPERTY_WARP_METHOD, method);
        switch (below(9)) {
            case 0: {
                Frame dst = part(_targets[to], size);
                return backend.colorCvt(src, dst, Rect());
            }
            case 1: {
                Frame dst = part(_targets[to], other);
                return backend.convert(src, dst, Rect());
            }
            case 2: {
                Frame dst = part(_targets[from], other);
                return backend.resize(src, dst, Rect(), Rect());
            }
            case 3: {
                Frame dst = part(_targets[from], other);
                const float matrix[2][3] = {{0.8f, 0.3f, 1}, {-0.3f, 0.8f, 5}};
                return backend.warpAffine(src, dst, matrix, Rect(), false);
            }
            case 4:
                _scaler.reuse(src, other, ScaleMethod(method));
                return produceFrame(_scaler, _dst);
            case 5:
                _convolution.reuse(
                    _kernel, src, smaller,
                    method == 0 ? TAVO_SCALER_FIXED_POINT_8S : TAVO_SCALER_FIXED_POINT_16S);
                return produceFrame(_convolution, _dst);
            case 6:
                _scaler.reuse(src, other, ScaleMethod(method));
                _converter.reuse(_scaler, to);
                return produceFrame(_converter, _dst);
            case 7:
                resizeFrame(src, other, _dst, method);
                return colorConvert(src, to, _dst);
            default: {
                rotateFrame(src, FixedRotation(below(4)), _dst);
                Rect turned;
                return rotateFrame(src, Rect(0, 0, size.width, size.height), float(below(360)),
                                   _dst, turned);
            }
        }
    }

    std::mt19937 _random;
    std::map<FrameFormat, Frame> _sources;
    std::map<FrameFormat, Frame> _targets;
    CvBackendBase _portable;
    CvBackendSimd _fast;
    Scaler _scaler;
    TriangleKernel _kernel;
    ScalerConvolutional _convolution;
    FormatConverter _converter;
    Frame _dst;
};

TEST(Soak, MemoryStaysWhereTheFirstPassesLeftIt) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
    const char* const frames = std::getenv("TAVO_SOAK_FRAMES");
    const long passes =
        frames ? std::max(std::strtol(frames, nullptr, 10) / PASS_FRAMES, 3L) : DEFAULT_PASSES;
    Stream stream;
    EXPECT_GT(stream.pass(), PASS_FRAMES / 2);
    stream.pass();
    const support::HeapUse settled = support::heapUse();
    const long resident = residentKilobytes();
    for (long i = 2; i < passes && !HasFailure(); ++i) {
        stream.pass();
        const support::HeapUse now = support::heapUse();
        EXPECT_EQ(now.blocks, settled.blocks) << "after pass " << i;
        EXPECT_LE(now.bytes, settled.bytes + ROUNDING * settled.blocks) << "after pass " << i;
    }
    if (frames) {
        std::printf("%ld frames; %ld blocks of %ld bytes; resident memory %ld KB, then %ld KB\n",
                    passes * PASS_FRAMES, settled.blocks, settled.bytes, resident,
                    residentKilobytes());
    }
}

}  // namespace
