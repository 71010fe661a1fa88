#include "tavo_cv/tavo_scaler_area.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "support/frames.h"

namespace {

using namespace tavo;
using Long = std::int64_t;
using ULong = std::uint64_t;

constexpr ScalerPrecision FINE = TAVO_SCALER_FIXED_POINT_16S;
constexpr ScalerPrecision COARSE = TAVO_SCALER_FIXED_POINT_8S;
constexpr char FILE_NAME[] = "src/tavo_cv/tavo_scaler_area";

/// Samples of an element of plane 0 and of planes 1 and 2, for the formats that are scaled.
const std::map<FrameFormat, std::pair<int, int>> SAMPLES = {
    {FRAME_GRAY8, {1, 0}},      {FRAME_8U_C2, {2, 0}},  {FRAME_8U_C3, {3, 0}},
    {FRAME_8U_C4, {4, 0}},      {FRAME_BGR24, {3, 0}},  {FRAME_YUV444, {3, 0}},
    {FRAME_YUYV, {3, 0}},       {FRAME_UYVY, {4, 0}},   {FRAME_I420, {1, 1}},
    {FRAME_YV12, {1, 1}},       {FRAME_YV16, {1, 1}},   {FRAME_I444, {1, 1}},
    {FRAME_NV12, {1, 2}},       {FRAME_NV21, {1, 2}},   {FRAME_NV16, {1, 2}},
    {FRAME_BGR_PLANAR, {1, 1}}, {FRAME_16U_C1, {1, 0}}, {FRAME_32U_C1, {1, 0}},
};

/// The three scalers behind one call.
template <class Scaler, int Axes>
struct Stage {
    static constexpr int KIND = Axes;
    static constexpr bool WIDTH = Axes != 1, ONE_AXIS = Axes != 2;
    Scaler scaler;
    ScalerPrecision table_precision = FINE;  // by which the table was made
    Size lengths;                            // of source and output, as the table has them

    template <class Source>
    void reuse(Source&& source, Size size, ScalerPrecision precision) {
        if constexpr (ONE_AXIS) {
            scaler.reuse(source, WIDTH ? size.width : size.height, precision);
        } else {
            scaler.reuse(source, size, precision);
        }
        const Size from = source.layout().size;
        const Size now(WIDTH ? from.width : from.height, WIDTH ? size.width : size.height);
        table_precision = now == lengths ? table_precision : precision;
        lengths = now;
    }
};
using X = Stage<ScalerAreaX, 0>;
using Y = Stage<ScalerAreaY, 1>;
using XY = Stage<scaleAreaXY, 2>;
const std::string NAMES[] = {"ScalerAreaX", "ScalerAreaY", "scaleAreaXY"};
const std::string EMPTY_SIZES[] = {"0 < dst_width", "0 < dst_height", "!dst_size.empty()"};

/// Output sizes: a stage of one axis keeps the other side, that of both only shrinks.
template <class T>
Size changed(Size src, Size dst) {
    if (!T::ONE_AXIS) {
        return Size(std::min(src.width, dst.width), std::min(src.height, dst.height));
    }
    return T::WIDTH ? Size(dst.width, src.height) : Size(src.width, dst.height);
}

template <class T>
Size line(int length) {
    return T::WIDTH ? Size(length, 1) : Size(1, length);
}

/// Image rows to a row of the plane.
int linesOf(FrameFormat format, int plane) {
    return plane > 0 && format >= FRAME_I420 && format <= FRAME_NV21 ? 2 : 1;
}

template <class T>
bool copiesRows(const Frame& src, const Frame& dst) {
    return T::ONE_AXIS && (T::WIDTH ? src.layout().plane[0].width == dst.layout().plane[0].width
                                    : src.height() == dst.height());
}

unsigned char* rowAt(const Frame& frame, int plane, int row) {
    return frame.planeData(plane) + std::ptrdiff_t(frame.layout().plane[plane].stride) * row;
}

/// A sample of a plane that is taken in elements of `count` samples.
struct Place {
    int plane, count, channel;
    Long x, y;
};

/// Behind the last whole element of a row comes that element again.
ULong sampleAt(const Frame& frame, Place at, Long x, Long y) {
    const PlaneLayout& plane = frame.layout().plane[at.plane];
    const int bytes = plane.bits_per_channel / 8;
    const auto element = std::min<Long>(x, plane.row_bytes / (bytes * at.count) - 1);
    ULong sample = 0;
    std::memcpy(&sample, rowAt(frame, at.plane, int(y)) + (element * at.count + at.channel) * bytes,
                std::size_t(bytes));
    return sample;
}

using Tap = std::pair<Long, ULong>;

/// Source positions and weights of output @p i of an axis.
std::vector<Tap> tapsOf(Long src, Long dst, int precision, bool shrinking, Long i) {
    const Long one = Long(1) << (precision - 1);
    const Long step = dst * one / src;
    const Long full = std::min(one, step);
    const auto pos = [&](Long k) { return k * src / dst; };
    const auto weight = [&](Long k) {
        const Long covered = step * (pos(k) + 1) - k * one;
        return k == dst ? full : covered > 0 ? std::min(one, covered) : 0;
    };
    std::vector<Tap> taps = {{pos(i), ULong(weight(i))}};
    for (Long k = pos(i) + 1; shrinking && k < pos(i + 1); ++k) {
        taps.push_back({k, ULong(full)});
    }
    const Long rest = full - weight(shrinking ? i + 1 : i);
    taps.push_back({shrinking ? pos(i + 1) : pos(i) + 1, ULong(rest & 0xffff)});
    return taps;
}

template <class T>
ULong axisSample(const Frame& src, const Frame& dst, int precision, int shift, Place at) {
    const PlaneLayout& plane = dst.layout().plane[at.plane];
    const int lines = linesOf(dst.format(), at.plane);
    const bool planar = dst.format() == FRAME_I420 || dst.format() == FRAME_YV12;
    const int tap_lines = planar ? lines : 1;
    const bool shrinking =
        T::WIDTH ? plane.width < src.layout().plane[0].width : dst.height() < src.height();
    const auto taps = T::WIDTH ? tapsOf(src.width(), dst.width(), precision, shrinking, at.x)
                               : tapsOf(src.height(), dst.height(), precision, shrinking,
                                        at.y * lines / tap_lines);
    ULong sum = 0;
    for (const auto& [pos, weight] : taps) {
        const Long src_line = T::WIDTH ? 0 : pos * tap_lines;
        if (weight == 0 || src_line >= src.height()) {
            continue;
        }
        const ULong sample =
            T::WIDTH ? sampleAt(src, at, pos, at.y) : sampleAt(src, at, at.x, src_line / lines);
        // From row to row products have 32 bits, signed for 16-bit samples.
        const auto low = std::uint32_t(weight * sample);
        const bool is_signed = plane.bits_per_channel == 16;
        sum += T::WIDTH ? weight * sample : is_signed ? ULong(std::int32_t(low)) : low;
    }
    return sum >> shift;
}

Long stepOf(Long src, Long dst) {
    return src * 65536 / dst;
}

/// Source rows that the stage of both axes looks at for an output row.
Long listedRows(const Frame& src, const Frame& dst) {
    const Long step = stepOf(src.height(), dst.height());
    return step / 65536 + (step % 65536 != 0 ? 2 : 0);
}

/// The part of source sample @p k in an output from @p begin to @p end.
ULong covered(Long begin, Long end, Long k) {
    const Long part = std::min(end, (k + 1) * 65536) - std::max(begin, k * 65536);
    return ULong(std::max<Long>(part, 0));
}

ULong averageSample(const Frame& src, const Frame& dst, Place at) {
    const int src_rows = src.layout().plane[at.plane].height;
    const Long step_x = stepOf(src.width(), dst.width());
    const Long step_y = stepOf(src.height(), dst.height());
    const Long left = at.x * step_x, right = left + step_x;
    const Long top = at.y * stepOf(src_rows, dst.layout().plane[at.plane].height);
    const Long end = std::min<Long>(src_rows, top / 65536 + listedRows(src, dst));
    ULong sum = 0;
    for (Long y = top / 65536; y < end; ++y) {
        ULong across = 0;
        for (Long x = left / 65536; x <= right / 65536; ++x) {
            const ULong part = covered(left, right, x), sample = sampleAt(src, at, x, y);
            // The parts of 16-bit samples are signed products of 32 bits.
            const bool is_signed = dst.format() == FRAME_16U_C1 && part != 65536;
            across += is_signed ? ULong(std::int32_t(part * sample) >> 16) : (part * sample) >> 16;
        }
        sum += (covered(top, top + step_y, y) * across) >> 16;
    }
    return (sum << 32) / (ULong(step_x) * ULong(step_y));
}

template <class T>
void scaleSlowly(const T& stage, const Frame& src, Frame& dst, ScalerPrecision precision) {
    const auto found = SAMPLES.find(dst.format());
    const auto samples = found == SAMPLES.end() ? std::pair(0, 0) : found->second;
    for (int p = 0; p < dst.layout().plane_count; ++p) {
        const PlaneLayout& plane = dst.layout().plane[p];
        const int bytes = plane.bits_per_channel / 8;
        // Down the rows, packed pairs and fours count as one sample.
        const int all = p == 0 ? samples.first : samples.second;
        const int count = !T::WIDTH && p == 0 && all % 2 == 0 ? std::min(all, 1) : all;
        for (int y = 0; y < plane.height; ++y) {
            unsigned char* const out = rowAt(dst, p, y);
            if (copiesRows<T>(src, dst)) {
                std::copy_n(rowAt(src, p, y), plane.row_bytes, out);
                continue;
            }
            for (int j = 0; j < plane.width * count; ++j) {
                const Place at =
                    T::WIDTH ? Place{p, count, j % count, j / count, y} : Place{p, 1, 0, j, y};
                const ULong value =
                    T::ONE_AXIS ? axisSample<T>(src, dst, stage.table_precision, precision - 1, at)
                                : averageSample(src, dst, at);
                std::memcpy(out + j * bytes, &value, std::size_t(bytes));
            }
        }
    }
}

/// Pulls all rows; the stage called @p refuser has to refuse each of them.
void pull(IRowProducer& stage, Frame& target, const std::string& refuser) {
    const std::string text = "Failure in " + refuser + "::produce(...) : unsupported frame format.";
    for (int y = 0; y < target.height(); ++y) {
        RowData row;
        for (int p = 0; p < target.layout().plane_count; ++p) {
            const int lines = linesOf(target.format(), p);
            row.plane[p] = y % lines == 0 ? rowAt(target, p, y / lines) : nullptr;
        }
        const auto produce = [&] { stage.produce(row); };
        if (refuser.empty()) {
            produce();
        } else {
            EXPECT_TRUE(support::throwsFailure(produce, TAVO_STATUS_NOT_SUPPORTED, text, "produce",
                                               FILE_NAME));
        }
        EXPECT_EQ(stage.next(), y + 1 < target.height());
    }
}

/// Scales into a target with random pixels, so that unwritten ones show.
template <class T>
void expectScaled(
    T& stage, const Frame& src, Frame& dst, ScalerPrecision precision, bool produced) {
    support::fillRandom(dst, 22);
    Frame expected = support::randomFrame(dst.format(), dst.size(), 22);
    support::FrameProducer rows(src);
    const auto reuse = [&] {
        if constexpr (T::ONE_AXIS) {
            if (produced) {
                return stage.reuse(rows, dst.size(), precision);
            }
        }
        stage.reuse(src, dst.size(), precision);
    };
    if (!T::ONE_AXIS &&
        listedRows(src, dst) * (linesOf(src.format(), 1) == 2 ? 3 : 1) > src.height()) {
        EXPECT_THROW(reuse(), Exception);
        return;
    }
    const bool refused = SAMPLES.count(src.format()) == 0 || src.format() == FRAME_32U_C1;
    reuse();
    EXPECT_TRUE(stage.scaler.initialized());
    pull(stage.scaler, dst, refused && !copiesRows<T>(src, dst) ? NAMES[T::KIND] : "");
    scaleSlowly(stage, src, expected, precision);
    EXPECT_TRUE(support::samePixels(dst, expected))
        << "from " << src.width() << "x" << src.height() << ", precision " << precision
        << ", table of " << stage.table_precision << (produced ? ", produced" : "");
}

template <class T>
class ScalerArea : public testing::Test {};
using Stages = testing::Types<X, Y, XY>;
TYPED_TEST_SUITE(ScalerArea, Stages, );

TYPED_TEST(ScalerArea, MatchesDefinitionInEveryFormatSizeAndMemory) {
    std::vector<std::pair<Size, Size>> pairs = {
        {{1, 1}, {1, 1}},   {{1, 1}, {5, 4}},   {{2, 2}, {1, 1}},    {{9, 9}, {9, 9}},
        {{9, 7}, {3, 6}},   {{8, 12}, {4, 6}},  {{7, 13}, {5, 4}},   {{11, 11}, {15, 16}},
        {{5, 4}, {20, 12}}, {{13, 9}, {12, 8}}, {{33, 25}, {2, 12}}, {{64, 31}, {3, 9}},
        {{301, 2}, {2, 5}}, {{2, 301}, {3, 2}}, {{6, 9}, {5, 9}},    {{3, 2}, {4, 3}},
    };
    const auto seed = std::uint32_t(testing::UnitTest::GetInstance()->random_seed());
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 generator(seed);
    const auto side = [&] { return int(generator() % 30) + 1; };
    for (int i = 0; i < 10; ++i) {
        pairs.push_back({{side(), side()}, {side(), side()}});
    }
    TypeParam kept;  // sees every change of source, format and size, and keeps tables
    bool odd = false;
    for (const auto& [src, to] : pairs) {
        const Size dst = changed<TypeParam>(src, to);
        odd = !odd;
        for (const FrameFormat format : support::allFormats()) {
            const Frame picture = support::randomFrame(format, src, seed);
            for (const bool flag : {false, true}) {
                const ScalerPrecision precision = flag == odd ? FINE : COARSE;
                support::GuardedFrame source(format, src, 7, flag), target(format, dst, 7, flag);
                support::PageGuardedFrame paged(format, src, flag), paged_to(format, dst, flag);
                picture.copyTo(source.frame());
                picture.copyTo(paged.frame());
                TypeParam fresh;
                expectScaled(fresh, source.frame(), target.frame(), precision, !flag);
                expectScaled(kept, paged.frame(), paged_to.frame(), precision, flag);
                EXPECT_TRUE(source.sentinelsIntact() && target.sentinelsIntact());
            }
        }
    }
}

TYPED_TEST(ScalerArea, HoldsTheLongestAxisAndRefusesLongerOnes) {
    const int longest = TypeParam::ONE_AXIS ? 65535 : 32767;
    const auto frame = [](int length) {
        return support::randomFrame(FRAME_16U_C1, line<TypeParam>(length), 1);
    };
    const Frame white = support::flatFrame(FRAME_16U_C1, line<TypeParam>(longest), 255);
    TypeParam stage;
    for (const int length : {1, 3, 29000, longest - 1}) {
        Frame target = frame(length);
        expectScaled(stage, frame(longest), target, FINE, false);
        expectScaled(stage, white, target, FINE, TypeParam::ONE_AXIS);
    }
    EXPECT_THROW(stage.reuse(frame(longest + 1), line<TypeParam>(3), FINE), Exception);
    EXPECT_THROW(stage.reuse(frame(1), line<TypeParam>(65536), FINE), Exception);
    Frame pixel = frame(1);
    expectScaled(stage, frame(1), pixel, FINE, false);
}

TYPED_TEST(ScalerArea, KeepsFlatImagesFlatAtWholeRatiosByTheTableOfItsPrecision) {
    for (const FrameFormat format : {FRAME_BGR24, FRAME_I420, FRAME_NV12, FRAME_NV16}) {
        for (const int side : {4, TypeParam::ONE_AXIS ? 48 : 8}) {
            const Size size = changed<TypeParam>(Size(16, 16), Size(side, side));
            const auto flat = [&](unsigned char v) { return support::flatFrame(format, size, v); };
            const Frame source = support::flatFrame(format, Size(16, 16), 127);
            const auto scaled = [&](TypeParam& by, ScalerPrecision precision) {
                Frame target = flat(77);
                by.reuse(source, size, precision);
                produceFrame(by.scaler, target);
                return target;
            };
            TypeParam stage, coarse;
            EXPECT_TRUE(support::samePixels(scaled(stage, FINE), flat(127)));
            EXPECT_TRUE(support::samePixels(scaled(coarse, COARSE), flat(127)));
            // Of the fine table's 127 << 15 a shift by 7 leaves no low byte.
            const Frame left_over = flat(TypeParam::ONE_AXIS ? 0 : 127);
            Frame target = flat(77);
            const auto pass = [&] {
                stage.reuse(source, size, COARSE);
                produceFrame(stage.scaler, target);
            };
            EXPECT_EQ(support::allocationsDuring(pass), 0);
            EXPECT_TRUE(support::samePixels(target, left_over));
        }
    }
}

/// Rows of a layout that has a size and a format, but no planes.
struct Planeless : support::FrameProducer {
    using FrameProducer::FrameProducer;
    const FrameLayout& layout() const override { return bare; }
    FrameLayout bare;
};

TYPED_TEST(ScalerArea, RefusesBadSourcesAndSizesAndRecovers) {
    constexpr bool ONE_AXIS = TypeParam::ONE_AXIS;
    const Frame good = support::randomFrame(FRAME_NV16, Size(9, 8), 1);
    const Size size = changed<TypeParam>(good.size(), Size(4, 5));
    Frame target = support::randomFrame(FRAME_NV16, size, 22);
    Frame again = support::randomFrame(FRAME_NV16, size, 22);
    Frame other = support::randomFrame(FRAME_NV16, changed<TypeParam>(good.size(), Size(6, 6)), 1);
    support::FrameProducer rows(good);
    Planeless planeless((Frame()));
    TypeParam stage;
    const auto fails = [&](auto&& source, Size to, int precision, Status status, const auto& text) {
        const auto reuse = [&] { stage.reuse(source, to, ScalerPrecision(precision)); };
        EXPECT_TRUE(support::throwsFailure(reuse, status, text, "reuse", FILE_NAME));
        EXPECT_TRUE(support::throwsFailure(reuse, status, text, "reuse", FILE_NAME));
    };
    const auto failPreconditions = [&] {
        const auto asserts = [&](auto&& source, Size to, const std::string& condition) {
            fails(source, to, 7, TAVO_STATUS_ASSERTION_FAILED, "Assertion failed: " + condition);
        };
        asserts(Frame(), Size(), "src_frame.initialized()");
        asserts(good, Size(), EMPTY_SIZES[TypeParam::KIND]);
        asserts(good, Size(99, 99),
                "precision == TAVO_SCALER_FIXED_POINT_8S || "
                "precision == TAVO_SCALER_FIXED_POINT_16S");
        if constexpr (ONE_AXIS) {
            asserts(planeless, Size(), "!src_producer.layout().size.empty()");
            asserts(rows, Size(-1, -1), EMPTY_SIZES[TypeParam::KIND]);
        }
    };
    const auto expectUnprepared = [&] {
        RowData row;
        EXPECT_FALSE(stage.scaler.initialized() || stage.scaler.next());
        EXPECT_THROW(stage.scaler.produce(row), Exception);
    };
    failPreconditions();
    expectUnprepared();
    expectScaled(stage, good, target, FINE, false);
    stage.reuse(good, size, FINE);
    failPreconditions();
    pull(stage.scaler, again, "");
    EXPECT_TRUE(support::samePixels(again, target));
    if constexpr (ONE_AXIS) {
        planeless.bare.format = FRAME_NV16;
        planeless.bare.size = good.size();
        fails(planeless, other.size(), COARSE, TAVO_STATUS_NOT_INITIALIZED,
              "Row producer is not initialized.");
    } else {
        const char text[] =
            "Failure in scaleAreaXY::reuse(...) : the area method is implemented for down-scaling "
            "only.";
        fails(good, Size(10, 5), FINE, TAVO_STATUS_NOT_SUPPORTED, text);
        fails(good, Size(4, 9), FINE, TAVO_STATUS_NOT_SUPPORTED, text);
        fails(support::randomFrame(FRAME_NV12, Size(9, 4), 1), Size(9, 2), FINE,
              TAVO_STATUS_OUT_OF_RANGE, "Parameter 'window_size' is out of range.");
    }
    expectUnprepared();
    expectScaled(stage, good, other, FINE, false);
}

}  // namespace
