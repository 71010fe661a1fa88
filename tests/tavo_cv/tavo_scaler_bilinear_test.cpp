#include "tavo_cv/tavo_scaler_bilinear.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "support/frames.h"
#include "tavo_cv/tavo_row_copier.h"

namespace {

using namespace tavo;
using namespace support;

/// Samples of an element of plane 0 and of planes 1 and 2, for the formats that are scaled.
const std::map<FrameFormat, std::pair<int, int>> SAMPLES = {
    {FRAME_GRAY8, {1, 0}},  {FRAME_RGB24, {3, 0}},      {FRAME_BGR24, {3, 0}},
    {FRAME_YUYV, {3, 0}},   {FRAME_YUV444, {3, 0}},     {FRAME_8U_C3, {3, 0}},
    {FRAME_UYVY, {4, 0}},   {FRAME_RGB_PLANAR, {1, 1}}, {FRAME_BGR_PLANAR, {1, 1}},
    {FRAME_YV16, {1, 1}},   {FRAME_I444, {1, 1}},       {FRAME_I420, {1, 1}},
    {FRAME_YV12, {1, 1}},   {FRAME_NV12, {1, 2}},       {FRAME_NV21, {1, 2}},
    {FRAME_NV16, {1, 2}},   {FRAME_8U_C4, {4, 0}},      {FRAME_8U_C2, {2, 0}},
    {FRAME_16U_C1, {1, 0}}, {FRAME_32U_C1, {1, 0}},
};

/// The three scalers behind one call.
template <class Scaler, bool X, bool Y>
struct Stage {
    static constexpr bool WIDTH = X, HEIGHT = Y;
    Scaler scaler;

    template <class Source>
    void reuse(Source& source, Size size) {
        if constexpr (X && Y) {
            scaler.reuse(source, size);
        } else {
            scaler.reuse(source, X ? size.width : size.height);
        }
    }
};
using XY = Stage<ScalerBilinearXY, true, true>;
using X = Stage<ScalerBilinearX, true, false>;
using Y = Stage<ScalerBilinearY, false, true>;

/// The texts of XY, X and Y.
template <class T>
std::string textOf(const char* xy, const char* x, const char* y) {
    return T::WIDTH && T::HEIGHT ? xy : T::WIDTH ? x : y;
}

/// Output sizes: a stage of one axis keeps the other side.
template <class T>
Size changed(Size src, Size dst) {
    return Size(T::WIDTH ? dst.width : src.width, T::HEIGHT ? dst.height : src.height);
}

bool isHalfHeight(FrameFormat format, int plane) {
    return plane > 0 && format >= FRAME_I420 && format <= FRAME_NV21;
}

/// Source rows in the window; the chroma of a single output row is not lower than its luma.
template <class T>
int windowOf(const Frame& dst) {
    return !T::HEIGHT ? 1 : isHalfHeight(dst.format(), 1) && dst.height() > 1 ? 4 : 2;
}

/// A stage of one axis copies rows when that axis stays.
template <class T>
bool copiesRows(const Frame& src, const Frame& dst) {
    return T::HEIGHT ? !T::WIDTH && src.height() == dst.height()
                     : src.layout().plane[0].width == dst.layout().plane[0].width;
}

unsigned char* rowAt(const Frame& frame, int plane, int row) {
    return frame.planeData(plane) + std::ptrdiff_t(frame.layout().plane[plane].stride) * row;
}

/// Where output @p i lies, in 1/65536 of a source sample.
std::int64_t positionOf(bool scaled, std::int64_t src_length, std::int64_t dst_length, int i) {
    const std::int64_t step = src_length * 65536 / dst_length;
    return scaled ? std::max<std::int64_t>(0, (step - 65536) / 2 + i * step) : i * 65536;
}

std::uint64_t blend(std::uint64_t a, std::uint64_t b, std::int64_t position) {
    const std::uint64_t f = std::uint64_t(position) % 65536;
    return (f * b + (65536 - f) * a) >> 16;
}

std::uint64_t sampleAt(const PlaneLayout& plane, const unsigned char* row, int index) {
    const int bytes = plane.bits_per_channel / 8;
    std::uint64_t sample = 0;
    EXPECT_LE((index + 1) * bytes, plane.row_bytes);
    std::memcpy(&sample, row + index * bytes, std::size_t(bytes));
    return sample;
}

template <class T>
void scaleSlowly(const Frame& src, Frame& dst, bool produced) {
    const int window = produced ? windowOf<T>(dst) : std::min(windowOf<T>(dst), src.height());
    for (int p = 0; p < dst.layout().plane_count; ++p) {
        const PlaneLayout& plane = src.layout().plane[p];
        const int ahead = p == 0 ? 1 : 2;
        const int rows_per_line = isHalfHeight(dst.format(), p) ? 2 : 1;
        for (int i = 0; i < dst.height(); i += rows_per_line) {
            const std::int64_t y = positionOf(T::HEIGHT, src.height(), dst.height(), i);
            const int row = int(y / 65536);
            const int in_window = row - std::min(row, src.height() - window);
            const int next = in_window >= window - ahead ? row : row + ahead;
            const unsigned char* const first = rowAt(src, p, row / rows_per_line);
            const unsigned char* const second = rowAt(src, p, next / rows_per_line);
            unsigned char* const out = rowAt(dst, p, i / rows_per_line);
            if (copiesRows<T>(src, dst)) {
                std::copy_n(first, plane.row_bytes, out);
                continue;
            }
            const auto samples = SAMPLES.at(dst.format());
            const int count = p == 0 ? samples.first : samples.second;
            for (int j = 0; j < dst.layout().plane[p].width * count; ++j) {
                const std::int64_t x = positionOf(T::WIDTH, src.width(), dst.width(), j / count);
                const int left = int(x / 65536);
                const int right = left >= plane.width - 1 ? left : left + 1;
                const auto across = [&](const unsigned char* line) {
                    const std::uint64_t a = sampleAt(plane, line, left * count + j % count);
                    return blend(a, sampleAt(plane, line, right * count + j % count), x);
                };
                const std::uint64_t value = blend(across(first), across(second), y);
                const int bytes = plane.bits_per_channel / 8;
                std::memcpy(out + j * bytes, &value, std::size_t(bytes));
            }
        }
    }
}

constexpr char FILE_NAME[] = "src/tavo_cv/tavo_scaler_bilinear";
constexpr char SHORT_SOURCE[] = "Parameter 'window_size' is out of range.";

/// Scales random pixels into a target with other random pixels, so that unwritten ones show.
template <class T>
void expectScaled(T& stage, Frame& source, Frame& target, bool produced) {
    fillRandom(source, 11);
    fillRandom(target, 12);
    Frame expected = randomFrame(target.format(), target.size(), 12);
    FrameProducer producer(source);
    const auto scale = [&] {
        produced ? stage.reuse(producer, target.size()) : stage.reuse(source, target.size());
        EXPECT_TRUE(stage.scaler.initialized());
        produceFrame(stage.scaler, target);
    };
    if (produced && source.height() < windowOf<T>(target)) {
        EXPECT_TRUE(
            throwsFailure(scale, TAVO_STATUS_OUT_OF_RANGE, SHORT_SOURCE, "reuse", FILE_NAME));
    } else if (SAMPLES.count(source.format()) == 0 && !copiesRows<T>(source, target)) {
        const std::string text = "Failure in ScalerBilinear" + textOf<T>("XY", "X", "Y") +
                                 "::produce(...) : unsupported frame format.";
        EXPECT_TRUE(throwsFailure(scale, TAVO_STATUS_NOT_SUPPORTED, text, "produce", FILE_NAME));
    } else if (produced && isHalfHeight(source.format(), 1) &&
               source.height() >= 3 * target.height()) {
        return;  // the window passes over chroma rows that it shows later
    } else {
        scale();
        scaleSlowly<T>(source, expected, produced);
    }
    EXPECT_TRUE(samePixels(target, expected))
        << "from " << source.width() << "x" << source.height() << (produced ? ", produced" : "");
}

template <class T>
class ScalerBilinear : public testing::Test {};
using Stages = testing::Types<XY, X, Y>;
TYPED_TEST_SUITE(ScalerBilinear, Stages, );

TYPED_TEST(ScalerBilinear, MatchesDefinitionInEveryFormatSizeAndMemory) {
    const auto seed = std::uint32_t(testing::UnitTest::GetInstance()->random_seed());
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 generator(seed);
    constexpr int SIDES[] = {1, 2, 3, 4, 6, 9, 12, 23};
    const auto side = [&] { return SIDES[generator() % 8]; };
    TypeParam kept;  // sees every change of format and size
    const auto scale = [&](Frame& source, Frame& target) {
        TypeParam fresh;
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
    };
    for (const int dst_width : SIDES) {
        for (const int src_width : SIDES) {
            const Size src(src_width, side());
            const Size dst = changed<TypeParam>(src, Size(dst_width, side()));
            for (const FrameFormat format : allFormats()) {
                inEveryMemory(format, src, dst);
            }
        }
    }
}

TYPED_TEST(ScalerBilinear, KeepsFlatImagesFlatWithoutAllocationsAndStaysAtTheLastRow) {
    const Size src(7, 23);
    const Size dst = changed<TypeParam>(src, Size(13, 9));
    for (const auto& [format, samples] : SAMPLES) {
        for (const unsigned char value : {'\0', '\1', '\x7f', '\xff'}) {
            const Frame source = flatFrame(format, src, value);
            const Frame flat = flatFrame(format, dst, value);
            Frame target = flatFrame(format, dst, format == FRAME_YUYV ? value : 77);
            RowCopier rows;
            TypeParam stage, chained;
            const auto pass = [&] {
                rows.reuse(source);
                chained.reuse(rows, dst);
                produceFrame(chained.scaler, target);
                stage.reuse(source, dst);
                produceFrame(stage.scaler, target);
            };
            pass();
            EXPECT_EQ(allocationsDuring(pass), 0);
            EXPECT_FALSE(stage.scaler.next() || stage.scaler.next());
            RowData row = {{target.planeData(0), target.planeData(1), target.planeData(2)}};
            stage.scaler.produce(row);
            EXPECT_TRUE(samePixels(target, flat));
        }
    }
}

TYPED_TEST(ScalerBilinear, TruncatesAndHoldsTheLongestAxis) {
    const auto line = [](int n) { return TypeParam::WIDTH ? Size(n, 1) : Size(1, n); };
    const auto scaled = [&](int src, int dst, std::uint32_t last) {
        Frame source = flatFrame(FRAME_32U_C1, line(src), 0);
        std::memcpy(source.planeData(0) + 4 * (src - 1), &last, 4);
        TypeParam stage;
        stage.reuse(source, line(dst));
        Frame target;
        produceFrame(stage.scaler, target);
        std::vector<std::uint32_t> result(std::size_t(dst), 0);
        std::memcpy(result.data(), target.planeData(0), 4 * result.size());
        return result;
    };
    using Samples = std::vector<std::uint32_t>;
    EXPECT_EQ(scaled(2, 4, ~0u), Samples({0, 0x3fffffff, 0xbfffffff, 0xffffffff}));
    EXPECT_EQ(scaled(4, 2, 255), Samples({0, 127}));
    EXPECT_EQ(scaled(32767, 1, 9), Samples({0}));
    EXPECT_EQ(scaled(2, 65536, 65536)[40000], 47233u);
}

TYPED_TEST(ScalerBilinear, RefusesBadSourcesAndSizesAndRecovers) {
    Frame good = randomFrame(FRAME_NV12, Size(9, 7), 1);
    const Size size = changed<TypeParam>(good.size(), Size(4, 5));
    Frame target = randomFrame(FRAME_NV12, size, 1);
    TypeParam stage;
    const auto expectUnprepared = [&] {
        RowData row;
        EXPECT_FALSE(stage.scaler.initialized() || stage.scaler.next());
        EXPECT_THROW(stage.scaler.produce(row), Exception);
    };
    const auto fails = [&](auto&& source, Size to, const std::string& text, const char* function) {
        const auto reuse = [&] { stage.reuse(source, to); };
        EXPECT_TRUE(throwsAssertion(reuse, text, function, FILE_NAME));
        EXPECT_TRUE(throwsAssertion(reuse, text, function, FILE_NAME));
    };
    const auto text = textOf<TypeParam>;
    const char* const source_text = "src_frame.initialized()";
    const std::string size_text = text("!dst_size.empty()", "0 < dst_width", "0 < dst_height");
    const std::string x_text = text("_src_xs[dst_size.width - 1] < (src_size.width << SHIFT)",
                                    "_src_xs[dst_width - 1] < (src_size.width << SHIFT)", "");
    const std::string y_text = text("_src_ys[dst_size.height - 1] < (src_size.height << SHIFT)", "",
                                    "_src_ys[dst_height - 1] < (src_layout.size.height << SHIFT)");
    const Frame wide = randomFrame(FRAME_GRAY8, Size(32768, 2), 1);
    const Frame high = randomFrame(FRAME_GRAY8, Size(2, 32768), 1);
    FrameProducer rows(good), none((Frame()));
    FrameProducer few(randomFrame(FRAME_NV12, Size(size.width, 3), 1));
    fails(Frame(), Size(), text(source_text, source_text, "!src_frame.size().empty()"), "reuse");
    fails(none, Size(), "!src_producer.layout().size.empty()", "reuse");
    fails(good, Size(), size_text, "reuse");
    expectUnprepared();
    expectScaled(stage, good, target, false);
    fails(rows, Size(-1, -1), size_text, "reuse");
    if (TypeParam::WIDTH) {
        fails(wide, Size(3, 3), x_text, "_reuse");
    } else {
        stage.reuse(wide, Size(3, 3));
    }
    if (TypeParam::HEIGHT) {
        fails(high, Size(3, 3), y_text, "_reuse");
        for (int attempt = 0; attempt < 2; ++attempt) {
            const auto reuse = [&] { stage.reuse(few, size); };
            EXPECT_TRUE(
                throwsFailure(reuse, TAVO_STATUS_OUT_OF_RANGE, SHORT_SOURCE, "reuse", FILE_NAME));
            expectUnprepared();
        }
    } else {
        stage.reuse(high, Size(3, 3));
    }
    expectScaled(stage, good, target, false);
    const int huge = std::numeric_limits<int>::max();
    EXPECT_THROW(stage.reuse(good, Size(huge, huge)), Exception);
    expectUnprepared();
    expectScaled(stage, good, target, false);
}

}  // namespace
