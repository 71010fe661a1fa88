#include "tavo_cv/tavo_row_producer.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "support/frames.h"
#include "tavo_cv/tavo_row_copier.h"

namespace {

using namespace tavo;
using testing::ElementsAre;

TEST(ProduceFrame, CopiesEveryFormatIntoNewAndForeignMemory) {
    Frame resized;
    Frame reformatted[6];
    for (const FrameFormat format : support::allFormats()) {
        for (int height = 1; height <= 5; ++height) {
            const Frame source = support::randomFrame(format, Size(7, height), 1);
            RowCopier copier;
            for (Frame* const target : {&resized, &reformatted[height]}) {
                copier.reuse(source);
                produceFrame(copier, *target);
                EXPECT_TRUE(support::samePixels(*target, source));
            }
            for (const bool bottom_up : {false, true}) {
                support::GuardedFrame foreign(format, Size(7, height), 5, bottom_up);
                const auto produce = [&] { produceFrame(copier, foreign.frame()); };
                copier.reuse(source);
                EXPECT_EQ(support::allocationsDuring(produce), 0);
                EXPECT_TRUE(support::samePixels(foreign.frame(), source));
                EXPECT_TRUE(foreign.sentinelsIntact());
            }
        }
    }
}

TEST(ProduceFrame, WritesARegionThroughToItsParent) {
    for (const FrameFormat format : {FRAME_I420, FRAME_NV16, FRAME_YUYV, FRAME_BGR_32F}) {
        Frame parent = support::flatFrame(format, Size(12, 10), 0x11);
        const Frame view = getRegion(parent, Rect(4, 2, 6, 5));
        const Frame source = support::flatFrame(format, view.size(), 0x22);
        Frame region = view;
        RowCopier copier;
        copier.reuse(source);
        produceFrame(copier, region);
        EXPECT_TRUE(support::samePixels(view, source));
        const std::vector<unsigned char> bytes = support::pixels(parent);
        const auto written =
            bytes.size() - std::size_t(std::count(bytes.begin(), bytes.end(), 0x11));
        EXPECT_EQ(written, support::pixels(source).size());
    }
}

TEST(CopyRowData, CopiesThePayloadOfPlanesThatHaveADestination) {
    unsigned char source[2][4] = {{1, 2, 3, 4}, {5, 6, 7, 8}};
    unsigned char target[2][4] = {};
    const RowData from{{source[0], nullptr, source[1]}};
    RowData to{{target[0], nullptr, target[1]}};
    copyRowData(FrameLayout(FRAME_I420, Size(3, 3), 64), from, to);
    EXPECT_THAT(target[0], ElementsAre(1, 2, 3, 0));
    EXPECT_THAT(target[1], ElementsAre(5, 6, 0, 0));
}

TEST(RowCopier, PullsEachRowOfAProducerOnceAndChromaOnEvenRows) {
    for (int height = 1; height <= 6; ++height) {
        const Frame source = support::randomFrame(FRAME_YV12, Size(7, height), 5);
        support::FrameProducer producer(source);
        RowCopier copier;
        copier.reuse(producer);
        Frame target;
        produceFrame(copier, target);
        EXPECT_TRUE(support::samePixels(target, source));
        EXPECT_EQ(producer.next_calls, height);
        ASSERT_EQ(producer.produced.size(), std::size_t(height));
        for (int y = 0; y < height; ++y) {
            const bool even = y % 2 == 0;
            EXPECT_EQ(producer.produced[std::size_t(y)], y);
            EXPECT_THAT(producer.produced_planes[std::size_t(y)], ElementsAre(true, even, even));
        }
        producer.restart();
        EXPECT_EQ(copier.next(), height > 1);
    }
}

TEST(RowCopier, HasOneSourceAtMost) {
    const Frame source = support::randomFrame(FRAME_GRAY8, Size(3, 2), 8);
    support::FrameProducer producer(support::randomFrame(FRAME_BGR24, Size(3, 4), 9));
    RowCopier copier;
    for (const bool frame_last : {false, true}) {
        EXPECT_FALSE(copier.initialized());
        copier.reuse(source);
        EXPECT_TRUE(copier.initialized());
        copier.reuse(producer);
        EXPECT_TRUE(copier.initialized());
        EXPECT_EQ(copier.layout().format, FRAME_BGR24);
        if (frame_last) {
            copier.reuse(source);  // starts at the top again
            EXPECT_TRUE(copier.next());
            EXPECT_FALSE(copier.next());
        }
        copier.clear();
        EXPECT_EQ(copier.layout().plane_count, 0);
        EXPECT_FALSE(copier.next());
    }
    EXPECT_FALSE(copier.initialized());
    EXPECT_EQ(producer.next_calls, 0);
}

TEST(RowCopier, RejectsMissingSources) {
    RowCopier copier;
    RowCopier none;
    const auto rejects = [](const std::function<void()>& reuse, const char* condition) {
        return support::throwsAssertion(reuse, condition, "reuse", "src/tavo_cv/tavo_row_copier");
    };
    EXPECT_TRUE(rejects([&] { copier.reuse(Frame()); }, "src_frame.initialized()"));
    EXPECT_TRUE(rejects([&] { copier.reuse(none); }, "!src_producer.layout().size.empty()"));
}

}  // namespace
