#include "tavo_cv/tavo_scaler_nn.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "support/frames.h"
#include "tavo_cv/tavo_row_copier.h"

namespace {

using namespace tavo;
using namespace support;
using Bytes = std::vector<unsigned char>;

/// Bytes of an element of plane 0 and of planes 1 and 2, for the formats that change their width.
const std::map<FrameFormat, std::pair<int, int>> ELEMENTS = {
    {FRAME_GRAY8, {1, 0}},  {FRAME_BGR24, {3, 0}},  {FRAME_YUYV, {3, 0}},
    {FRAME_YUV444, {3, 0}}, {FRAME_8U_C3, {3, 0}},  {FRAME_BGR_PLANAR, {1, 1}},
    {FRAME_I420, {1, 1}},   {FRAME_YV12, {1, 1}},   {FRAME_YV16, {1, 1}},
    {FRAME_I444, {1, 1}},   {FRAME_NV12, {1, 2}},   {FRAME_NV21, {1, 2}},
    {FRAME_NV16, {1, 2}},   {FRAME_UYVY, {4, 0}},   {FRAME_8U_C4, {4, 0}},
    {FRAME_8U_C2, {2, 0}},  {FRAME_16U_C1, {2, 0}}, {FRAME_32U_C1, {4, 0}},
};

/// Decided before the format is looked at. Packed 4:2:2 has half as many elements as pixels.
bool copiesRows(const Frame& src, const Frame& dst) {
    return dst.layout().plane[0].width == src.width();
}

int sourceIndex(std::int64_t src_length, std::int64_t dst_length, int i) {
    const std::int64_t step = src_length * 65536 / dst_length;
    return int((step / 2 + i * step) / 65536);
}

unsigned char* rowAt(const Frame& frame, int plane, int row) {
    return frame.planeData(plane) + std::ptrdiff_t(frame.layout().plane[plane].stride) * row;
}

/// Over a producer the one chroma row in the ring is filled by even source rows only.
void scaleSlowly(const Frame& src, Frame& dst, bool produced) {
    for (int p = 0; p < dst.layout().plane_count; ++p) {
        const PlaneLayout& plane = dst.layout().plane[p];
        const bool half = p > 0 && dst.format() >= FRAME_I420 && dst.format() <= FRAME_NV21;
        const int src_bytes = src.layout().plane[p].row_bytes;
        Bytes line(std::size_t(src_bytes), 0);
        for (int y = 0; y < dst.height(); ++y) {
            const int src_y = sourceIndex(src.height(), dst.height(), y);
            if (!half || !produced || src_y % 2 == 0) {
                std::copy_n(rowAt(src, p, half ? src_y / 2 : src_y), src_bytes, line.begin());
            }
            unsigned char* const out = rowAt(dst, p, half ? y / 2 : y);
            if (half && y % 2 != 0) {
                continue;
            }
            if (copiesRows(src, dst)) {
                std::copy_n(line.begin(), std::min(plane.row_bytes, src_bytes), out);
                continue;
            }
            const auto elements = ELEMENTS.at(dst.format());
            const int bytes = p == 0 ? elements.first : elements.second;
            const int last = src_bytes / bytes - 1;  // a luma table may pass the end of chroma
            for (int i = 0; i < plane.width; ++i) {
                const int x = std::min(sourceIndex(src.width(), dst.width(), i), last);
                std::copy_n(line.begin() + x * bytes, bytes, out + i * bytes);
            }
        }
    }
}

constexpr char FILE_NAME[] = "src/tavo_cv/tavo_scaler_nn";

/// Scales random pixels into a target with other random pixels, so that unwritten ones show.
void expectScaled(ScalerNearestNeighbor& scaler, Frame& source, Frame& target, bool produced) {
    fillRandom(source, 11);
    fillRandom(target, 12);
    Frame expected = randomFrame(target.format(), target.size(), 12);
    FrameProducer producer(source);
    produced ? scaler.reuse(producer, target.size()) : scaler.reuse(source, target.size());
    ASSERT_TRUE(scaler.initialized());
    if (ELEMENTS.count(source.format()) != 0 || copiesRows(source, target)) {
        produceFrame(scaler, target);
        scaleSlowly(source, expected, produced);
    } else {
        const char* const text =
            "Failure in ScalerNearestNeighbor::produce(...) : unsupported frame format.";
        const auto pull = [&] { produceFrame(scaler, target); };
        EXPECT_TRUE(throwsFailure(pull, TAVO_STATUS_NOT_SUPPORTED, text, "produce", FILE_NAME));
    }
    EXPECT_TRUE(samePixels(target, expected))
        << "from " << source.width() << "x" << source.height() << (produced ? ", produced" : "");
}

TEST(ScalerNearestNeighbor, MatchesDefinitionInEveryFormatSizeAndMemory) {
    const auto seed = std::uint32_t(testing::UnitTest::GetInstance()->random_seed());
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 generator(seed);
    constexpr int SIDES[] = {1, 2, 3, 4, 6, 9, 12, 23};
    const auto side = [&] { return SIDES[generator() % 8]; };
    ScalerNearestNeighbor kept;  // sees every change of format and size
    const auto scale = [&](Frame& source, Frame& target) {
        ScalerNearestNeighbor fresh;
        expectScaled(kept, source, target, false);
        expectScaled(fresh, source, target, true);
    };
    const auto inEveryMemory = [&](FrameFormat format, Size src, Size dst) {
        for (const bool flag : {false, true}) {
            GuardedFrame source(format, src, 7, flag), target(format, dst, 7, flag);
            scale(source.frame(), target.frame());
            EXPECT_TRUE(source.sentinelsIntact() && target.sentinelsIntact());
            PageGuardedFrame paged_source(format, src, flag), paged_target(format, dst, flag);
            scale(paged_source.frame(), paged_target.frame());
        }
        Frame around_source = randomFrame(format, Size(30, 30), 1);
        Frame around_target = flatFrame(format, Size(30, 30), 0);
        Frame source = getRegion(around_source, Rect(2, 2, src.width, src.height));
        Frame target = getRegion(around_target, Rect(2, 2, dst.width, dst.height));
        scale(source, target);
        target.setZero();
        EXPECT_TRUE(samePixels(around_target, flatFrame(format, Size(30, 30), 0)));
    };
    for (const int dst_width : SIDES) {
        for (const int src_width : SIDES) {
            const Size src(src_width, side());
            const Size dst(dst_width, side());
            for (const FrameFormat format : allFormats()) {
                inEveryMemory(format, src, dst);
            }
        }
    }
}

/// Scales a row with the values 0, 1, 2, ...
Bytes picked(int src_length, int dst_length) {
    Frame source = flatFrame(FRAME_GRAY8, Size(src_length, 1), 0);
    std::iota(source.planeData(0), source.planeData(0) + src_length, Bytes::value_type(0));
    Frame target;
    ScalerNearestNeighbor scaler;
    scaler.reuse(source, Size(dst_length, 1));
    produceFrame(scaler, target);
    return pixels(target);
}

TEST(ScalerNearestNeighbor, TakesTheSampleUnderTheCentre) {
    EXPECT_EQ(picked(5, 1), Bytes({2}));
    EXPECT_EQ(picked(2, 6), Bytes({0, 0, 0, 1, 1, 1}));
    EXPECT_EQ(picked(7, 3), Bytes({1, 3, 5}));
    EXPECT_EQ(picked(32767, 1), Bytes({16383 % 256}));
    Bytes halves(32768, 0);
    halves.resize(65536, 1);
    EXPECT_TRUE(picked(2, 65536) == halves);
}

/// A source that has a size and no planes.
struct HollowProducer : IRowProducer {
    explicit HollowProducer(Size size) : hollow(FRAME_NV12, size, 0) { hollow.plane_count = 0; }
    const FrameLayout& layout() const override { return hollow; }
    void produce(RowData&) override { ADD_FAILURE(); }
    bool next() override { return false; }
    FrameLayout hollow;
};

TEST(ScalerNearestNeighbor, RefusesBadSourcesAndSizesAndRecovers) {
    Frame good = randomFrame(FRAME_NV12, Size(9, 7), 1);
    Frame target = randomFrame(FRAME_NV12, Size(4, 5), 1);
    unsigned char pixel = 0;
    unsigned char* planes[4] = {&pixel};  // long frames are refused before they are read
    const Frame wide(FrameLayout(FRAME_GRAY8, Size(32768, 32768), 0), planes);
    const Frame high(FrameLayout(FRAME_GRAY8, Size(1, 32768), 0), planes);
    FrameProducer rows(good), none((Frame())), high_rows(high);
    HollowProducer hollow(good.size()), other_hollow(Size(6, 3));
    ScalerNearestNeighbor scaler;
    const auto expectUnprepared = [&] {
        RowData row;
        row.plane[0] = &pixel;
        EXPECT_FALSE(scaler.initialized() || scaler.next());
        EXPECT_THROW(scaler.produce(row), Exception);
    };
    const auto fails = [&](auto&& source, Size size, const char* text, const char* function) {
        const auto reuse = [&] { scaler.reuse(source, size); };
        EXPECT_TRUE(throwsAssertion(reuse, text, function, FILE_NAME));
        EXPECT_TRUE(throwsAssertion(reuse, text, function, FILE_NAME));
    };
    fails(Frame(), Size(), "src_frame.initialized()", "reuse");
    fails(none, Size(), "!src_producer.layout().size.empty()", "reuse");
    fails(wide, wide.size(), "_src_xs[dst_size.width - 1] < src_size.width", "_reuse");
    fails(high_rows, high.size(), "_src_ys[dst_size.height - 1] < src_size.height", "_reuse");
    expectUnprepared();
    expectScaled(scaler, good, target, false);
    fails(good, Size(2, 0), "!dst_size.empty()", "reuse");
    fails(rows, Size(-1, 2), "!dst_size.empty()", "reuse");
    fails(high, target.size(), "_src_ys[dst_size.height - 1] < src_size.height", "_reuse");
    expectScaled(scaler, good, target, false);
    for (HollowProducer* source : {&hollow, &other_hollow, &hollow}) {
        const auto reuse = [&] { scaler.reuse(*source, target.size()); };
        EXPECT_TRUE(throwsFailure(reuse, TAVO_STATUS_NOT_INITIALIZED,
                                  "Row producer is not initialized.", "reuse", FILE_NAME));
        expectUnprepared();
    }
    expectScaled(scaler, good, target, false);
    EXPECT_THROW(scaler.reuse(good, Size(std::numeric_limits<int>::max(), 2)), Exception);
    expectUnprepared();
    expectScaled(scaler, good, target, false);
}

TEST(ScalerNearestNeighbor, KeepsFlatImagesFlatWithoutAllocationsAndStaysAtTheLastRow) {
    for (const FrameFormat format : {FRAME_GRAY8, FRAME_I420, FRAME_UYVY, FRAME_32U_C1}) {
        const Frame source = flatFrame(format, Size(17, 9), 90);
        RowCopier rows;
        ScalerNearestNeighbor scaler, chained;
        Frame target = flatFrame(format, Size(8, 12), 7);
        const auto pass = [&] {
            rows.reuse(source);
            chained.reuse(rows, target.size());
            produceFrame(chained, target);
            scaler.reuse(source, target.size());
            produceFrame(scaler, target);
        };
        pass();
        EXPECT_EQ(allocationsDuring(pass), 0);
        EXPECT_FALSE(scaler.next() || scaler.next());
        RowData row = {{target.planeData(0), target.planeData(1), target.planeData(2)}};
        scaler.produce(row);
        EXPECT_TRUE(samePixels(target, flatFrame(format, Size(8, 12), 90)));
    }
}

}  // namespace
