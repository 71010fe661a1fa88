// The fast backend: which kernel gets which plane; and what both backends have in common.

#include "tavo_cv/tavo_cv_backend_simd.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>

#include "simd/simd.h"
#include "support/frames.h"
#include "tavo_cv/tavo_cv_backend_base.h"
#include "tavo_cv/tavo_cv_helpers.h"

namespace {

using namespace tavo;
using support::flatFrame, support::GuardedFrame, support::randomFrame, support::samePixels;
using Number = std::uint32_t;
using Action = std::function<void()>;
const Rect ALL;
const char* const SOURCE_FILE = "src/tavo_cv/tavo_cv_backend_simd";

Frame copyOf(const Frame& frame) {
    Frame copy;
    frame.copyTo(copy);
    return copy;
}

Frame part(Frame frame, Rect roi) {
    return roi.empty() ? frame : getRegion(frame, roi);
}

Frame floatsAt(unsigned char* first, int stride, Size size) {
    FrameLayout layout(FRAME_GRAY_32F, size, 0);
    layout.plane[0].stride = stride;
    return Frame(layout, &first);
}

Status statusOf(const Action& action) {
    try {
        action();
    } catch (const Exception& error) {
        return error.status;
    }
    return Status(0);
}

testing::AssertionResult unsupported(const std::string& text, const char* name, const Action& a) {
    return support::throwsFailure(a, TAVO_STATUS_NOT_SUPPORTED, text, name, SOURCE_FILE);
}

testing::AssertionResult holds(GuardedFrame& guarded, const Frame& expected) {
    const testing::AssertionResult same = samePixels(guarded.frame(), expected);
    return same ? guarded.sentinelsIntact() : same;
}

/// Each plane by a resizer of its own; thin ones by the nearest neighbour.
void scale(const Frame& source, Frame& target, int method) {
    const Number methods[] = {Simd::ResizerMethodNearest, Simd::ResizerMethodBilinear,
                              Simd::ResizerMethodArea};
    for (int p = 0; p < source.layout().plane_count; ++p) {
        const PlaneLayout &from = source.layout().plane[p], &to = target.layout().plane[p];
        const bool thin = from.width == 1 || from.height == 1, bytes = from.bits_per_channel == 8;
        // Floats differ in the last bit.
        const auto init =
            Simd::Neon::Enable && !bytes ? Simd::Neon::ResizerInit : Simd::Base::ResizerInit;
        const std::unique_ptr<Simd::Resizer> resizer(
            init(Number(from.width), Number(from.height), Number(to.width), Number(to.height),
                 from.channels, bytes ? Simd::ResizerChannelByte : Simd::ResizerChannelFloat,
                 methods[thin ? 0 : method]));
        resizer->Run(source.planeData(p), Number(from.stride), target.planeData(p),
                     Number(to.stride));
    }
}

TEST(CvBackendSimd, TestsItsProperties) {
    CvBackendSimd b;
    const auto words =
        "value == ResizeBilinear || value == ResizeArea || value == "
        "ResizeNearestNeighbour";
    for (const int key : {1, 2}) {
        EXPECT_EQ(b.getIntProperty(key), 1);
        for (const int value : {0, 2}) {
            EXPECT_EQ(b.setIntProperty(key, value), 1);
            EXPECT_EQ(b.getIntProperty(key), value);
            EXPECT_EQ(b.getIntProperty(3 - key), key == 1 ? 1 : 2);
        }
        for (const int value : {3, -1}) {
            EXPECT_TRUE(support::throwsAssertion([&] { b.setIntProperty(key, value); }, words,
                                                 "setIntProperty", SOURCE_FILE));
        }
        EXPECT_EQ(b.getIntProperty(key), 2);
    }
    EXPECT_EQ(b.setIntProperty(3, 99), 0);
    EXPECT_EQ(b.getIntProperty(3), -1);
    EXPECT_TRUE(b.getDeviceContext() == DeviceContext::cpuContext());
}

TEST(CvBackends, CheckTheirFrames) {
    CvBackendBase base;
    CvBackendSimd simd;
    const float matrix[2][3] = {{1, 0, 0}, {0, 1, 0}};
    Frame gray = randomFrame(FRAME_GRAY8, Size(4, 4), 1), device, none;
    Frame words = randomFrame(FRAME_16U_C1, Size(4, 4), 3), small = part(words, Rect(0, 0, 3, 3));
    device.reuse(FRAME_GRAY8, Size(4, 4), DeviceContext(1, 0), 0);
    const std::string equal = "src.initialized() && src.format() == dst.format()",
                      both = "src.initialized() && dst.initialized()",
                      on_cpu = "deviceContext() == DeviceContext::cpuContext()",
                      same = "src." + on_cpu + " && src.deviceContext() == dst.deviceContext()";
    std::string file = "src/tavo_cv/tavo_cv_backend_base";
    const auto asserts = [&](const std::string& text, const char* name, const Action& action) {
        EXPECT_TRUE(support::throwsAssertion(action, text, name, file));
        EXPECT_TRUE(samePixels(gray, randomFrame(FRAME_GRAY8, Size(4, 4), 1)));
    };
    for (ICvBackend* const b : {static_cast<ICvBackend*>(&base), static_cast<ICvBackend*>(&simd)}) {
        asserts(equal, "resize", [&] { b->resize(none, none, ALL, ALL); });
        asserts(equal, "resize", [&] { b->resize(words, gray, ALL, ALL); });
        asserts(equal, "resize", [&] { b->resize(gray, none, ALL, ALL); });
        asserts(same, "resize", [&] { b->resize(device, gray, ALL, ALL); });
        asserts(both, "convert", [&] { b->convert(none, gray, ALL); });
        asserts(both, "convert", [&] { b->convert(gray, none, ALL); });
        asserts(same, "convert", [&] { b->convert(device, gray, ALL); });
        asserts("src_dst.initialized()", "add", [&] { b->add(none, 1, ALL); });
        asserts("src_dst.initialized()", "mul", [&] { b->mul(none, 1, ALL); });
        asserts("src_dst." + on_cpu, "add", [&] { b->add(device, 1, ALL); });
        asserts("src_dst." + on_cpu, "mul", [&] { b->mul(device, 1, ALL); });
        file = SOURCE_FILE;
    }
    asserts("bits_per_channel == 8 || bits_per_channel == 32", "resize",
            [&] { simd.resize(words, small, ALL, ALL); });
    asserts(equal, "warpAffine", [&] { simd.warpAffine(none, none, matrix, ALL, false); });
    asserts(equal, "warpAffine", [&] { simd.warpAffine(words, gray, matrix, ALL, false); });
    asserts(same, "warpAffine", [&] { simd.warpAffine(device, gray, matrix, ALL, false); });
}

TEST(CvBackendSimd, ScalesRegionsOfAnyFormatIntoRegions) {
    std::mt19937 dice(1);
    const auto pick = [&](int sides) { return int(dice() % unsigned(sides)); };
    CvBackendSimd backend;
    for (const FrameFormat format : support::allFormats()) {
        for (int n = 0; n < 300 && format != FRAME_16U_C1; ++n) {
            const int unit = n % 31 == 30 ? 9 : 1, method = n / 25 % 3;
            const int margin = format < FRAME_32U_C1 ? 7 : 8;
            const Rect from(pick(4), pick(4), unit * (1 + n % 5), unit * (1 + n / 5 % 5));
            const Rect to(pick(4), pick(4), unit * (1 + pick(5)), unit * (1 + pick(5)));
            GuardedFrame source(format, Size(from.width + 4, from.height + 3), margin, n % 2);
            GuardedFrame target(format, Size(to.width + 3, to.height + 4), margin, n % 3 == 0);
            support::fillRandom(source.frame(), Number(n));
            support::fillRandom(target.frame(), Number(-n));
            const bool thin = from.width == 1 || from.height == 1;
            const bool fits = format < FRAME_32U_C1 || method != ResizeArea || thin;
            Frame expected = copyOf(target.frame()), view = part(expected, to);
            if (fits) {
                scale(copyOf(part(source.frame(), from)), view, method);
            }
            backend.setIntProperty(1, method);
            EXPECT_EQ(statusOf([&] { backend.resize(source.frame(), target.frame(), from, to); }),
                      fits ? Status(0) : TAVO_STATUS_NOT_SUPPORTED);
            ASSERT_TRUE(holds(target, expected)) << "method " << method << ", " << n;
        }
    }
}

TEST(CvBackendSimd, RefusesMisalignedFloatsBeforeItWrites) {
    alignas(16) unsigned char memory[400];
    std::fill_n(memory, 400, 1);
    unsigned char* const planes[4] = {memory, memory + 60, memory + 122};
    const Size size(5, 3);
    const Frame odd_frames[] = {floatsAt(memory + 1, 24, size), floatsAt(memory + 2, 20, size),
                                floatsAt(memory, 22, size), floatsAt(memory + 60, -22, size),
                                Frame(FrameLayout(FRAME_PLANAR_32F, size, 0), planes)};
    for (Frame odd : odd_frames) {
        CvBackendSimd b;
        const Frame before = randomFrame(odd.format(), Size(3, 4), 1);
        Frame good = copyOf(before);
        const auto refuses = [](const Action& action) {
            return statusOf(action) == TAVO_STATUS_INVALID_PARAMETER;
        };
        const bool rounded = odd.layout().plane[0].stride == 22;
        EXPECT_TRUE(refuses([&] { b.resize(good, odd, ALL, ALL); }));
        EXPECT_TRUE(refuses([&] { b.resize(odd, good, ALL, ALL); }));
        EXPECT_TRUE(rounded || refuses([&] { b.add(odd, 1, ALL); }));
        EXPECT_TRUE(rounded || refuses([&] { b.mul(odd, 0, ALL); }));
        EXPECT_TRUE(samePixels(good, before));
    }
    EXPECT_EQ(std::count(memory, memory + 400, 1), 400);
}

/// By `resize` and `colorCvt`, as `convert` should.
void convertBySteps(const Frame& source, Frame& target) {
    CvBackendSimd steps;
    steps.setIntProperty(1, ResizeNearestNeighbour);
    if (source.size() == target.size()) {
        return steps.colorCvt(source, target, ALL);
    }
    if (source.format() == target.format()) {
        return steps.resize(source, target, ALL, ALL);
    }
    Frame scaled = flatFrame(source.format(), target.size(), 0);
    steps.resize(source, scaled, ALL, ALL);
    steps.colorCvt(scaled, target, ALL);
}

TEST(CvBackendSimd, ConvertsByScalingFirstAndWithoutARegion) {
    const Rect roi(2, 1, 20, 12);
    for (const FrameFormat from : support::allFormats()) {
        for (const FrameFormat to : support::allFormats()) {
            for (const Size size : {Size(20, 12), Size(30, 10), Size(13, 9)}) {
                GuardedFrame source(from, Size(26, 14), 8, to % 3 == 0);
                GuardedFrame target(to, size, 8, from % 2 == 0);
                Frame &src = source.frame(), &dst = target.frame();
                support::fillRandom(src, 1);
                support::fillRandom(dst, 2);
                Frame expected = copyOf(dst);
                CvBackendSimd backend;
                backend.setIntProperty(1, ResizeNearestNeighbour);
                EXPECT_EQ(statusOf([&] { convertBySteps(part(src, roi), expected); }),
                          statusOf([&] { backend.convert(src, dst, roi); }));
                ASSERT_TRUE(holds(target, expected)) << toString(from) << size.width;
            }
        }
    }
}

/// Each float x of a frame becomes factor * x + addend.
void change(const Frame& frame, float factor, float addend) {
    for (int p = 0; p < frame.layout().plane_count; ++p) {
        const PlaneLayout& plane = frame.layout().plane[p];
        for (int i = 0; i < plane.height * plane.row_bytes; i += 4) {
            void* const at =
                frame.planeData(p) + i / plane.row_bytes * plane.stride + i % plane.row_bytes;
            float sample;
            std::memcpy(&sample, at, 4);
            sample = sample * factor + addend;
            std::memcpy(at, &sample, 4);
        }
    }
}

TEST(CvBackendSimd, AddsAndMultipliesInsideTheRegion) {
    CvBackendSimd backend;
    for (int n = 0; n < 3 * 3 * 3; ++n) {
        const Rect roi = n % 3 == 0 ? ALL : n % 3 == 1 ? Rect(2, 1, 3, 3) : Rect(0, 1, 21, 3);
        GuardedFrame target(FrameFormat(FRAME_GRAY_32F + n / 3 % 3), Size(21, 5), n / 9 * 8,
                            n > 17);
        support::fillRandom(target.frame(), Number(n));
        const Frame expected = copyOf(target.frame()), view = part(expected, roi);
        change(view, 1, 12.3f);
        backend.add(target.frame(), 12.3f, roi);
        EXPECT_TRUE(holds(target, expected)) << n;
        for (const float factor : {-0.7f, 1.0f, 0.0f}) {
            change(view, factor, 0);
            backend.mul(target.frame(), factor, roi);
            EXPECT_TRUE(holds(target, expected)) << n;
        }
    }
}

TEST(CvBackendSimd, AddsAndMultipliesByStridesCutToWholeFloats) {
    const Frame values = randomFrame(FRAME_GRAY_32F, Size(5, 4), 1);
    for (const int stride : {21, 22, 23}) {
        alignas(16) unsigned char memory[92] = {}, expected[92] = {};
        Frame frame = floatsAt(memory, stride, Size(5, 4)),
              cut = floatsAt(expected, 20, Size(5, 4));
        values.copyTo(cut);
        std::memcpy(memory, expected, 92);
        change(cut, 1, 1.5f);
        CvBackendSimd().add(frame, 1.5f, ALL);
        EXPECT_EQ(std::memcmp(memory, expected, 92), 0) << stride;

        std::fill_n(memory, 92, 0);  // products come from whole strides and go to cut ones
        values.copyTo(frame);
        values.copyTo(cut);
        change(cut, -2.5f, 0);
        CvBackendSimd().mul(frame, -2.5f, ALL);
        EXPECT_EQ(std::memcmp(memory, expected, 92), 0) << stride;
    }
}

TEST(CvBackendSimd, ZeroesWhatItCannotMultiply) {
    CvBackendSimd b;
    for (int number = FRAME_GRAY8; number <= FRAME_32U_C1; ++number) {
        const FrameFormat format = FrameFormat(number);
        const Rect roi = number % 2 == 0 ? ALL : Rect(1, 1, 3, 3);
        const std::string text = std::string(": Unsupported src format ") + toString(format) + ".";
        GuardedFrame target(format, Size(7, 5), number < FRAME_32U_C1 ? 7 : 8, number % 3 == 0);
        support::fillRandom(target.frame(), 1);
        Frame expected = copyOf(target.frame()), view = part(expected, roi);
        EXPECT_TRUE(unsupported("add" + text, "add", [&] { b.add(target.frame(), 2, roi); }));
        EXPECT_TRUE(holds(target, expected));
        flatFrame(format, view.size(), 0).copyTo(view);
        EXPECT_TRUE(unsupported("mul" + text, "mul", [&] { b.mul(target.frame(), 2, roi); }));
        EXPECT_TRUE(holds(target, expected));
    }
}

TEST(CvBackendSimd, WarpsEveryPlaneByTheSameMatrix) {
    const float matrix[2][3] = {{0.9f, 0.3f, 1.5f}, {-0.25f, 1.1f, -0.7f}};
    const float singular[][2][3] = {{{0, 0, 5}, {0, 0, 5}}, {{1, 2, 0}, {2, 4, 0}}};
    float inverse[6];
    ASSERT_TRUE(invertAffineTransform(matrix[0], inverse));
    CvBackendSimd b;
    for (const FrameFormat format : support::allFormats()) {
        for (int n = 0; n < 12; ++n) {
            const Rect roi = n < 6 ? ALL : Rect(3, 1, 7, 6);
            const bool invert = n / 3 % 2 == 1;
            GuardedFrame source(format, Size(13, 9), 7, n % 2 == 1);
            GuardedFrame target(format, Size(10, 11), 5, n % 4 == 0);
            support::fillRandom(source.frame(), 1);
            support::fillRandom(target.frame(), 2);
            const Frame expected = copyOf(target.frame()), view = copyOf(part(source.frame(), roi));
            for (const auto& none : singular) {
                EXPECT_TRUE(unsupported("warpAffine: Can't create context.", "warpAffine", [&] {
                    b.warpAffine(view, target.frame(), none, ALL, invert);
                }));
            }
            EXPECT_TRUE(holds(target, expected));
            for (int p = 0; p < view.layout().plane_count; ++p) {
                const PlaneLayout &from = view.layout().plane[p], &to = expected.layout().plane[p];
                const Number flags = n % 3 == 0 ? 0u : Number(Simd::WarpAffineInterpBilinear);
                std::unique_ptr<Simd::WarpAffine>(
                    Simd::Base::WarpAffineInit(Number(from.width), Number(from.height),
                                               Number(from.stride), Number(to.width),
                                               Number(to.height), Number(to.stride), to.channels,
                                               invert ? inverse : matrix[0], flags, nullptr))
                    ->Run(view.planeData(p), expected.planeData(p));
            }
            b.setIntProperty(2, n % 3);
            b.warpAffine(source.frame(), target.frame(), matrix, roi, invert);
            EXPECT_TRUE(holds(target, expected)) << n;
        }
    }
}

TEST(CvBackends, TakeNoMemoryForTheSecondOfLikeFrames) {
    CvBackendBase base;
    CvBackendSimd simd;
    const Frame source = randomFrame(FRAME_BGR24, Size(32, 20), 1);
    Frame yuv = randomFrame(FRAME_YUV444, Size(32, 20), 2), nv12, bgr;
    Frame floats = randomFrame(FRAME_PLANAR_32F, Size(9, 9), 3);
    nv12.reuse(FRAME_NV12, Size(18, 10), DeviceContext(), 0);
    bgr.reuse(FRAME_BGR24, Size(18, 10), DeviceContext(), 0);
    const auto count = [](const Action& action) {
        action();
        return support::allocationsDuring(action);
    };
    for (ICvBackend* const b : {static_cast<ICvBackend*>(&base), static_cast<ICvBackend*>(&simd)}) {
        EXPECT_EQ(count([&] { b->convert(source, yuv, ALL); }), 0);
        EXPECT_EQ(count([&] { b->add(floats, 2, Rect(0, 0, 8, 8)); }), 0);
        EXPECT_EQ(count([&] { b->mul(floats, 2, Rect(0, 0, 8, 8)); }), 0);
        const long resizers = count([&] { b->resize(source, bgr, ALL, ALL); });
        EXPECT_EQ(count([&] { b->convert(source, nv12, ALL); }), resizers);
        EXPECT_TRUE(b == &simd || resizers == 0);
    }
}

/// An eye and fur: PPM, a short head and then R, G, B of each pixel.
Frame photograph() {
    Frame frame = flatFrame(FRAME_BGR24, Size(126, 90), 0);
    std::ifstream file(TAVO_TEST_PICTURES "/cat.ppm", std::ios::binary);
    std::string magic;
    int width = 0, height = 0, most = 0;
    file >> magic >> width >> height >> most;
    file.get();
    EXPECT_TRUE(magic == "P6" && Size(width, height) == frame.size() && most == 255);
    for (int i = 0; i < 126 * 90 * 3; ++i) {
        const int value = file.get();
        EXPECT_NE(value, EOF);
        frame.planeData(0)[i / 3 * 3 + 2 - i % 3] = static_cast<unsigned char>(value);
    }
    return frame;
}

/// Smooth colours with a bright disc and dark bars.
Frame drawing() {
    Frame frame = flatFrame(FRAME_BGR24, Size(126, 90), 0);
    for (int i = 0; i < 126 * 90 * 3; ++i) {
        const int x = i / 3 % 126, y = i / 378, c = i % 3;
        const bool bar = x % 41 > 35, disc = (x - 70) * (x - 70) + (y - 40) * (y - 40) < 600;
        const int smooth[] = {2 * x, 255 - 2 * y, 30 + x + y};
        frame.planeData(0)[i] = static_cast<unsigned char>(bar ? 20 - c : disc ? 250 : smooth[c]);
    }
    return frame;
}

/// Runs both backends. No sample is further apart than @p most, nor by more than 1 on average.
Frame runBoth(const std::function<void(ICvBackend&, Frame&)>& action,
              int method,
              FrameFormat format,
              Size size,
              int most) {
    CvBackendSimd simd;
    CvBackendBase base;
    Frame fast = flatFrame(format, size, 0), portable = copyOf(fast);
    simd.setIntProperty(1, method);
    base.setIntProperty(1, method);
    action(simd, fast);
    action(base, portable);
    const auto left = support::pixels(fast), right = support::pixels(portable);
    int sum = 0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        const int difference = std::abs(left[i] - right[i]);
        EXPECT_LE(difference, most) << toString(format) << " " << size.width << " by " << method;
        sum += difference;
    }
    EXPECT_LE(sum, int(left.size())) << toString(format) << " " << size.width << " by " << method;
    return fast;
}

void treatAlike(const Frame& source) {
    for (const int method : {0, 1, 2}) {
        for (const Size size : {Size(64, 32), Size(200, 140), Size(64, 90), Size(126, 52)}) {
            const int most[] = {0, 18, 2};  // the fast bilinear weights have 4 bits
            runBoth([&](ICvBackend& b, Frame& dst) { b.resize(source, dst, ALL, ALL); }, method,
                    FRAME_BGR24, size, most[method]);
        }
    }
    // The portable coefficients have 8 bits, and results are cut.
    for (const auto format : {FRAME_NV12, FRAME_I420, FRAME_YUV444, FRAME_I444, FRAME_GRAY8}) {
        const Size size = source.size();
        const Frame yuv = runBoth([&](ICvBackend& b, Frame& dst) { b.colorCvt(source, dst, ALL); },
                                  1, format, size, 3);
        const Rect all(0, 0, size.width, size.height);
        runBoth([&](ICvBackend& b, Frame& dst) { b.colorCvt(yuv, dst, all); }, 1, FRAME_BGR24, size,
                3);
    }
}

TEST(CvBackends, TreatPicturesAlike) {
    treatAlike(drawing());
    treatAlike(photograph());
}

}  // namespace
