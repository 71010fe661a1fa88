#include "tavo_cv/tavo_scaler.h"

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "support/frames.h"
#include "tavo_cv/tavo_format_converter.h"
#include "tavo_cv/tavo_row_copier.h"
#include "tavo_cv/tavo_scaler_area.h"
#include "tavo_cv/tavo_scaler_bilinear.h"
#include "tavo_cv/tavo_scaler_nn.h"

namespace {

using namespace tavo;

constexpr auto PRECISION = TAVO_SCALER_FIXED_POINT_16S;
const Size SOURCE(10, 8);

/// Changes of the source size; an unchanged one goes with any method.
std::vector<std::pair<Size, ScaleMethod>> changes() {
    std::vector<std::pair<Size, ScaleMethod>> list = {{SOURCE, ScaleMethod(7)}};
    for (const auto method : {SCALE_NEAREST, SCALE_BILINEAR, SCALE_AREA}) {
        for (const int width : {5, 7, 10, 15}) {
            for (const int height : {3, 5, 8, 13}) {
                list.emplace_back(Size(width, height), method);
            }
        }
    }
    return list;
}

/// The stages that the facade stands for, kept like its own.
struct Stages {
    ScalerNearestNeighbor nearest;
    ScalerBilinearXY xy;
    ScalerBilinearX x;
    ScalerBilinearY y;
    ScalerAreaX area_x;
    ScalerAreaY area_y;
    RowCopier rows;

    template <class Source>
    IRowProducer& reuse(Source& source, Size size, ScaleMethod method) {
        const auto use = [](auto& stage, auto& from, auto... to) -> IRowProducer& {
            stage.reuse(from, to...);
            return stage;
        };
        const bool wide = source.layout().size.width != size.width;
        const bool high = source.layout().size.height != size.height;
        // clang-format off
        return !wide && !high            ? use(rows, source)
             : method == SCALE_NEAREST   ? use(nearest, source, size)
             : method == SCALE_BILINEAR  ? wide && high ? use(xy, source, size)
                                         : wide         ? use(x, source, size.width)
                                                        : use(y, source, size.height)
             : !wide                     ? use(area_y, source, size.height, PRECISION)
             : !high                     ? use(area_x, source, size.width, PRECISION)
             : use(area_y, use(area_x, source, size.width, PRECISION), size.height, PRECISION);
        // clang-format on
    }
};

/// What stopped the action.
template <class Action>
std::string failureOf(const Action& action) {
    try {
        action();
    } catch (const Exception& error) {
        return error.what();
    }
    return "";
}

TEST(Scaler, GivesWhatTheStageForTheChangeGives) {
    Scaler scaler;
    Stages stages;
    EXPECT_TRUE(scaler.initialized());  // the sense is inverted
    for (const FrameFormat format : support::allFormats()) {
        const Frame source = support::randomFrame(format, SOURCE, 1);
        for (const auto& [size, method] : changes()) {
            // Stages may write a part only, or fail on the way.
            const auto expectSame = [&, size = size, method = method](auto&& from, auto&& twin) {
                Frame target = support::randomFrame(format, size, 2);
                Frame expected = support::randomFrame(format, size, 2);
                const auto scale = [&] {
                    scaler.reuse(from, size, method);
                    EXPECT_FALSE(scaler.initialized());
                    produceFrame(scaler, target);
                };
                const auto scaleByStage = [&] {
                    produceFrame(stages.reuse(twin, size, method), expected);
                };
                EXPECT_EQ(failureOf(scale), failureOf(scaleByStage));
                EXPECT_TRUE(support::samePixels(target, expected)) << "method " << method;
            };
            expectSame(source, source);
            expectSame(support::FrameProducer(source), support::FrameProducer(source));
        }
    }
}

TEST(Scaler, GoesBackToEarlierMethodsAndSizesWithoutAllocations) {
    const Frame source = support::randomFrame(FRAME_NV12, SOURCE, 1);
    std::vector<std::pair<Frame, ScaleMethod>> targets;
    for (const auto& [size, method] : changes()) {
        targets.emplace_back(support::randomFrame(FRAME_NV12, size, 1), method);
    }
    Scaler scaler;
    RowCopier rows;
    const auto pass = [&] {
        for (auto& [target, method] : targets) {
            scaler.reuse(source, target.size(), method);
            produceFrame(scaler, target);
            rows.reuse(source);
            scaler.reuse(rows, target.size(), method);
            produceFrame(scaler, target);
        }
    };
    EXPECT_GT(support::allocationsDuring(pass), 0);
    EXPECT_EQ(support::allocationsDuring(pass), 0);
}

TEST(Scaler, StreamsBetweenConvertersWhatWholeFramesGive) {
    const std::array<FrameFormat, 3> roads[] = {{FRAME_NV12, FRAME_BGR24, FRAME_I420},
                                                {FRAME_I420, FRAME_NV12, FRAME_BGR24},
                                                {FRAME_BGR24, FRAME_YV12, FRAME_NV21}};
    for (const auto& [from, scaled, to] : roads) {
        for (const Size size : {Size(7, 5), Size(16, 23), Size(25, 9), Size(13, 4)}) {
            const Frame source = support::randomFrame(from, Size(13, 17), 5);
            Frame converted, narrow, resized, expected, target;
            FormatConverter first, last;
            ScalerAreaX x;
            ScalerAreaY y;
            Scaler scaler;
            first.reuse(source, scaled);
            produceFrame(first, converted);
            x.reuse(converted, size.width, PRECISION);
            produceFrame(x, narrow);
            y.reuse(narrow, size.height, PRECISION);
            produceFrame(y, resized);
            last.reuse(resized, to);
            produceFrame(last, expected);
            const auto pass = [&, format = scaled, last_format = to] {
                first.reuse(source, format);
                scaler.reuse(first, size, SCALE_AREA);
                last.reuse(scaler, last_format);
                produceFrame(last, target);
            };
            pass();
            EXPECT_EQ(support::allocationsDuring(pass), 0);
            EXPECT_TRUE(support::samePixels(target, expected));
        }
    }
}

TEST(Scaler, RefusesBadArgumentsAndLeavesTheActiveStage) {
    const Frame source = support::randomFrame(FRAME_NV12, SOURCE, 1);
    support::FrameProducer none((Frame())), rows(source);
    support::FrameProducer few(support::randomFrame(FRAME_NV12, Size(10, 3), 1));
    Scaler scaler;
    const auto fails = [&](auto&& from, Size size, int method, Status status,
                           const std::string& text, const std::string& stage = "") {
        const auto reuse = [&] { scaler.reuse(from, size, ScaleMethod(method)); };
        EXPECT_TRUE(support::throwsFailure(reuse, status, text, "reuse",
                                           "src/tavo_cv/tavo_scaler" + stage));
    };
    const auto expectRefusals = [&] {
        const auto asserts = [&](auto&& from, Size size, const std::string& condition) {
            fails(from, size, 7, TAVO_STATUS_ASSERTION_FAILED, "Assertion failed: " + condition);
        };
        const std::string text = "Failure in Scaler::reuse(...) : parameter 'method' is invalid ";
        asserts(Frame(), Size(), "src_frame.initialized()");
        asserts(none, Size(), "!src_producer.layout().size.empty()");
        asserts(source, Size(0, 5), "!dst_size.empty()");
        asserts(rows, Size(5, -1), "!dst_size.empty()");
        fails(source, Size(7, 8), 7, TAVO_STATUS_INVALID_PARAMETER, text + "7.");
        fails(rows, Size(10, 5), -1, TAVO_STATUS_INVALID_PARAMETER, text + "4294967295.");
        fails(few, Size(7, 5), SCALE_BILINEAR, TAVO_STATUS_OUT_OF_RANGE,
              "Parameter 'window_size' is out of range.", "_bilinear");
        EXPECT_THROW(scaler.reuse(source, Size(7, 65536), SCALE_AREA), Exception);
    };
    expectRefusals();
    EXPECT_TRUE(scaler.initialized());

    Stages stages;
    Frame target, expected;
    scaler.reuse(source, Size(7, 5), SCALE_NEAREST);
    expectRefusals();
    EXPECT_FALSE(scaler.initialized());
    produceFrame(scaler, target);
    produceFrame(stages.reuse(source, Size(7, 5), SCALE_NEAREST), expected);
    EXPECT_TRUE(support::samePixels(target, expected));

    scaler.reuse(rows, SOURCE, ScaleMethod(7));
    produceFrame(scaler, target);
    EXPECT_TRUE(support::samePixels(target, source));
    expectRefusals();
    EXPECT_EQ(scaler.layout().plane_count, 0);  // the copying stage lets its source go first
}

}  // namespace
