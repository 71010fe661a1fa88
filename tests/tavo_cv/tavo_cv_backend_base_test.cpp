// The portable backend against its stages, run one by one on plain copies.

#include "tavo_cv/tavo_cv_backend_base.h"

#include <cstring>
#include <functional>
#include <random>
#include <string>

#include "support/frames.h"
#include "tavo_cv/tavo_cv_helpers.h"

namespace {

using namespace tavo;
using support::GuardedFrame, support::randomFrame, support::samePixels;

Frame copyOf(const Frame& frame) {
    Frame copy;
    frame.copyTo(copy);
    return copy;
}

Frame part(Frame frame, Rect roi) {
    return roi.empty() ? frame : getRegion(frame, roi);
}

testing::AssertionResult holds(GuardedFrame& guarded, const Frame& expected) {
    const testing::AssertionResult same = samePixels(guarded.frame(), expected);
    return same ? guarded.sentinelsIntact() : same;
}

/// What an action throws, and nothing when it does not.
std::string failureOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Exception& error) {
        return std::to_string(error.status) + error.function() + error.file() + error.what();
    }
    return "";
}

void scale(const Frame& source, Frame& target, int method) {
    Scaler scaler;
    scaler.reuse(source, target.size(), ScaleMethod(method));
    produceFrame(scaler, target);
}

void recolour(const Frame& source, Frame& target) {
    FormatConverter converter;
    converter.reuse(source, target.format());
    produceFrame(converter, target);
}

/// `convert` must not take these.
struct Overridden : CvBackendBase {
    void colorCvt(const Frame&, Frame&, Rect) override { ADD_FAILURE(); }
    void resize(const Frame&, Frame&, Rect, Rect) override { ADD_FAILURE(); }
};

TEST(CvBackendBase, KnowsTheResizeMethodOnlyAndDoesNotTestIt) {
    CvBackendBase backend;
    EXPECT_EQ(backend.getIntProperty(1), ResizeBilinear);
    EXPECT_EQ(backend.setIntProperty(2, 1), 0);
    EXPECT_EQ(backend.setIntProperty(1, 7), 1);
    EXPECT_EQ(backend.getIntProperty(1), 7);
    EXPECT_EQ(backend.getIntProperty(2), -1);
    EXPECT_TRUE(backend.getDeviceContext() == DeviceContext::cpuContext());

    const Frame source = randomFrame(FRAME_GRAY8, Size(5, 4), 1);
    Frame same = randomFrame(FRAME_GRAY8, Size(5, 4), 2);
    backend.resize(source, same, Rect(), Rect());
    EXPECT_TRUE(samePixels(same, source));
    EXPECT_TRUE(
        support::throwsFailure([&] { backend.resize(source, same, Rect(1, 1, 2, 2), Rect()); },
                               TAVO_STATUS_INVALID_PARAMETER,
                               "Failure in Scaler::reuse(...) : parameter 'method' is invalid 7.",
                               "reuse", "src/tavo_cv/tavo_scaler"));
}

TEST(CvBackendBase, ChecksItsFrames) {
    CvBackendBase b;
    const Rect all;
    Frame gray = randomFrame(FRAME_GRAY8, Size(4, 4), 1), device, none;
    device.reuse(FRAME_GRAY8, Size(4, 4), DeviceContext(1, 0), 0);
    const Frame before = copyOf(gray);
    const std::string cropped = "Assertion failed: !src_roi.empty()";
    const std::string sizes = "Assertion failed: temp.size() == dst.size()";
    const auto fails = [&](Status status, const std::string& text, const char* name, auto action) {
        EXPECT_TRUE(
            support::throwsFailure(action, status, text, name, "src/tavo_cv/tavo_cv_backend_base"));
        EXPECT_TRUE(samePixels(gray, before));
    };
    const auto failed = TAVO_STATUS_ASSERTION_FAILED, unsupported = TAVO_STATUS_NOT_SUPPORTED;
    fails(failed, "Assertion failed: src.initialized()", "colorCvt",
          [&] { b.colorCvt(none, gray, all); });
    fails(failed,
          "Assertion failed: src.deviceContext() == DeviceContext::cpuContext() && "
          "src.deviceContext() == dst.deviceContext()",
          "colorCvt", [&] { b.colorCvt(device, device, all); });
    fails(failed, sizes, "colorCvt", [&] { b.colorCvt(gray, none, all); });
    fails(failed, sizes, "colorCvt", [&] { b.colorCvt(gray, gray, Rect(0, 0, 4, 3)); });
    fails(failed, cropped, "add", [&] { b.add(gray, 2, Rect(4, 0, 2, 2)); });
    fails(failed, cropped, "mul", [&] { b.mul(gray, 2, Rect(0, -2, 2, 2)); });
    fails(unsupported, "ADD error, unsupported data type.", "add", [&] { b.add(gray, 2, all); });
    fails(unsupported, "MUL error, unsupported data type.", "mul", [&] { b.mul(gray, 2, all); });
    fails(unsupported, "Operation is not implemented", "warpAffine",
          [&] { b.warpAffine(none, none, nullptr, all, false); });
}

TEST(CvBackendBase, ScalesRegionsOfAnyFormatIntoRegions) {
    std::mt19937 dice(1);
    const auto pick = [&](int sides) { return int(dice() % unsigned(sides)); };
    CvBackendBase backend;
    for (const FrameFormat format : support::allFormats()) {
        for (int n = 0; n < 300; ++n) {  // each source of 1x1 to 5x5, and some larger ones
            const int unit = n % 31 == 30 ? 9 : 1, method = n / 25 % 3;
            const Rect from(pick(4), pick(4), unit * (1 + n % 5), unit * (1 + n / 5 % 5));
            const Rect to(pick(4), pick(4), unit * (1 + pick(5)), unit * (1 + pick(5)));
            GuardedFrame source(format, Size(from.width + 4, from.height + 3), 7, n % 2);
            GuardedFrame target(format, Size(to.width + 3, to.height + 4), 7, n % 3 == 0);
            support::fillRandom(source.frame(), unsigned(n));
            support::fillRandom(target.frame(), unsigned(~n));

            Frame expected = copyOf(target.frame()), view = part(expected, to);
            Frame plain = copyOf(part(source.frame(), from)), scaled = copyOf(view);
            const std::string failure = failureOf([&] { scale(plain, scaled, method); });
            scaled.copyTo(view);
            backend.setIntProperty(1, method);
            EXPECT_EQ(failure,
                      failureOf([&] { backend.resize(source.frame(), target.frame(), from, to); }));
            ASSERT_TRUE(holds(target, expected)) << "method " << method << ", " << n;
        }
    }
}

/// @p n: 0 a whole frame, 1 a region, 2 a region that is scaled.
void testConversion(FrameFormat from, FrameFormat to, int n) {
    const Rect roi = n == 0 ? Rect() : Rect(2, 1, 17, 5);
    const Size size = n == 0 ? Size(19, 7) : n == 1 ? Size(17, 5) : Size(24, 6);
    GuardedFrame source(from, Size(19, 7), 7, to % 2 == 0), target(to, size, 7, from % 3 == 0);
    Frame &src = source.frame(), &dst = target.frame();
    support::fillRandom(src, 1);
    support::fillRandom(dst, 2);
    Frame plain = copyOf(part(src, roi)), expected = copyOf(dst), scaled = plain;
    const std::string failure = failureOf([&] {
        if (n == 2) {
            scaled = support::flatFrame(from, size, 0);
            scale(plain, from == to ? expected : scaled, ResizeArea);
        }
        if (n == 0 && from == FRAME_NV12 && to == FRAME_BGR24) {
            NV12toBGR_neon(src.planeData(0), src.planeData(1), expected.planeData(0), 19, 7,
                           src.layout().plane[0].stride, expected.layout().plane[0].stride);
        } else if (n < 2 || from != to) {
            recolour(scaled, expected);
        }
    });
    Overridden backend;
    backend.setIntProperty(1, ResizeArea);
    EXPECT_EQ(failure, failureOf([&] { backend.convert(src, dst, roi); }));
    EXPECT_TRUE(holds(target, expected)) << toString(from) << n;
    if (n < 2) {
        support::fillRandom(dst, 2);
        EXPECT_EQ(failure, failureOf([&] { backend.CvBackendBase::colorCvt(src, dst, roi); }));
        EXPECT_TRUE(holds(target, expected)) << toString(from) << n;
    }
}

TEST(CvBackendBase, ConvertsEveryPairAtTheSameAndAtAnotherSize) {
    for (const FrameFormat from : support::allFormats()) {
        for (const FrameFormat to : support::allFormats()) {
            for (const int n : {0, 1, 2}) {
                testConversion(from, to, n);
            }
        }
    }
}

TEST(CvBackendBase, DoesNotWalkChromaByAStrideThatLeavesIt) {
    for (const bool bottom_up : {false, true}) {
        const Size size(16, 6);
        GuardedFrame luma(FRAME_NV12, size, 9), chroma(FRAME_NV12, size, 3, bottom_up);
        FrameLayout layout = luma.frame().layout();
        layout.plane[1] = chroma.frame().layout().plane[1];
        unsigned char* const planes[4] = {luma.frame().planeData(0), chroma.frame().planeData(1)};
        Frame source(layout, planes), expected = randomFrame(FRAME_BGR24, size, 1);
        support::fillRandom(source, 2);
        Frame target = copyOf(expected);
        recolour(copyOf(source), expected);
        CvBackendBase().colorCvt(source, target, Rect());
        EXPECT_TRUE(samePixels(target, expected)) << bottom_up;
    }
}

TEST(CvBackendBase, AddsAndMultipliesAtTheTopLeft) {
    const std::pair<Rect, Size> walks[] = {{Rect(), Size(7, 5)},
                                           {Rect(2, 1, 3, 4), Size(3, 4)},
                                           {Rect(5, 3, 10, 10), Size(2, 2)},
                                           {Rect(-3, -2, 5, 6), Size(2, 4)}};
    for (int n = 0; n < 3 * 4 * 3; ++n) {
        const auto& [roi, area] = walks[n % 4];
        GuardedFrame target(FrameFormat(FRAME_GRAY_32F + n / 4 % 3), Size(7, 5), n < 12 ? 0 : 8,
                            n >= 24);
        support::fillRandom(target.frame(), 1);
        Frame expected = copyOf(target.frame());
        for (int p = 0; p < expected.layout().plane_count; ++p) {
            const PlaneLayout& plane = expected.layout().plane[p];
            const int samples = area.width * plane.channels;
            for (int i = 0; i < area.height * samples; ++i) {
                void* const at =
                    expected.planeData(p) + i / samples * plane.stride + i % samples * 4;
                float sample;
                std::memcpy(&sample, at, 4);
                sample = (sample + 12.3f) * -0.7f;
                std::memcpy(at, &sample, 4);
            }
        }
        CvBackendBase().add(target.frame(), 12.3f, roi);
        CvBackendBase().mul(target.frame(), -0.7f, roi);
        EXPECT_TRUE(holds(target, expected)) << n;
    }
}

}  // namespace
