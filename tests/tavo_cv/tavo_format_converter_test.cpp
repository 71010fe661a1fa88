// Which conversions exist, their bytes against references that work pixel by pixel, and how the
// stage behaves around them.
#include "tavo_cv/tavo_format_converter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "support/frames.h"
#include "tavo_cv/tavo_impl_format_converter.h"
#include "tavo_cv/tavo_row_copier.h"
#include "tavo_cv/tavo_row_reader.h"
#include "tavo_cv/tavo_row_writer.h"
#include "tavo_cv/tavo_scaler_bilinear.h"
#include "tavo_cv/tavo_scaler_nn.h"

namespace {

using namespace tavo;

// ---- References ---------------------------------------------------------------------------------

struct Model {
    FrameFormat format;
    const char* conversions;  ///< to the formats in the order of this table; letters as below
    std::string planes;       ///< the samples of each plane, one letter a sample, up to the repeat
    int x_subsampling;
    int y_subsampling;
};

// = copied     x converted
// n no such pair: not supported, get_context      b no such source: bad format, get_context
// f unknown: bad format, getFormatInfo            w no description yet: a window of 0 rows
// clang-format off
const Model MODELS[] = {
    {FRAME_GRAY8,      "=nnxnxxxxxxxxxxffffffnn", "Y", 1, 1},
    {FRAME_RGB24,      "n=xxnnnnnnnnnnnffffffnx", "RGB", 1, 1},
    {FRAME_RGB_PLANAR, "nx=nnnnnnnnnnnnffffffnn", "R G B", 1, 1},
    {FRAME_BGR24,      "xxn=xxxxxxxxxxxffffffxx", "BGR", 1, 1},
    {FRAME_BGR_PLANAR, "nnnx=nnnnnnnnnnffffffnn", "B G R", 1, 1},
    {FRAME_I420,       "xwwxw=xxxxxxxxxffffffww", "Y U V", 2, 2},
    {FRAME_YV12,       "xwwxwx=xxxxxxxxffffffww", "Y V U", 2, 2},
    {FRAME_NV12,       "xwwxwxx=xxxxxxxffffffww", "Y UV", 2, 2},
    {FRAME_NV21,       "xwwxwxxx=xxxxxxffffffww", "Y VU", 2, 2},
    {FRAME_YV16,       "xwwxwxxxx=xxxxxffffffww", "Y V U", 2, 1},
    {FRAME_YUYV,       "xwwxwxxxxx=xxxxffffffww", "YUYV", 2, 1},
    {FRAME_UYVY,       "xwwxwxxxxxx=xxxffffffww", "UYVY", 2, 1},
    {FRAME_NV16,       "xwwxwxxxxxxx=xxffffffww", "Y UV", 2, 1},
    {FRAME_YUV444,     "xwwxwxxxxxxxx=xffffffww", "YUV", 1, 1},
    {FRAME_I444,       "xwwxwxxxxxxxxx=ffffffww", "Y U V", 1, 1},
    {FRAME_8U_C2,      "fffffffffffffff=fffffff", "", 1, 1},
    {FRAME_8U_C3,      "ffffffffffffffff=ffffff", "", 1, 1},
    {FRAME_8U_C4,      "fffffffffffffffff=fffff", "", 1, 1},
    {FRAME_16U_C1,     "ffffffffffffffffff=ffff", "", 1, 1},
    {FRAME_32U_C1,     "fffffffffffffffffff=fff", "", 1, 1},
    {FRAME_GRAY_32F,   "ffffffffffffffffffff=ff", "", 1, 1},
    {FRAME_BGR_32F,    "nnnxnnnnnnnnnnnffffff=n", "BGR", 1, 1},
    {FRAME_PLANAR_32F, "bbbbbbbbbbbbbbbffffffb=", "B G R", 1, 1},
};
// clang-format on

bool isChroma(char sample) {
    return sample == 'U' || sample == 'V';
}

/// A frame with its samples by letter and pixel, laid out as @p format is: that of the frame, or
/// another one, whose planes then all have full height.
struct Picture {
    Frame frame;
    Model model;

    Picture(const Frame& pixels, FrameFormat format) : frame(pixels) {
        model = *std::find_if(std::begin(MODELS), std::end(MODELS),
                              [&](const Model& candidate) { return candidate.format == format; });
    }

    bool isFloat() const { return model.format >= FRAME_GRAY_32F; }
    bool has(char sample) const { return model.planes.find(sample) != std::string::npos; }

    /// Null for a sample that the frame has no room for.
    unsigned char* at(char sample, int x, int y) const {
        const std::size_t found = model.planes.find(sample);
        const std::size_t first = model.planes.rfind(' ', found) + 1;
        const std::string order = model.planes.substr(first, model.planes.find(' ', found) - first);
        const auto p = std::count(model.planes.begin(), model.planes.begin() + int(first), ' ');
        const int repeats = int(std::count(order.begin(), order.end(), sample));
        const int number = isChroma(sample) ? x / model.x_subsampling : x;
        const auto in_group = number % repeats == 0 ? order.find(sample) : order.rfind(sample);
        const int index = number / repeats * int(order.size()) + int(in_group);
        const int byte = index * (isFloat() ? 4 : 1);
        const bool half_height = isChroma(sample) && frame.format() == model.format;
        const int row = half_height ? y / model.y_subsampling : y;
        const PlaneLayout& plane = frame.layout().plane[p];
        const bool has_room = int(p) < frame.layout().plane_count && byte < plane.row_bytes;
        return has_room ? frame.planeData(int(p)) + plane.stride * row + byte : nullptr;
    }

    double read(char sample, int x, int y) const {
        float value = *at(sample, x, y);
        if (isFloat()) {
            std::memcpy(&value, at(sample, x, y), 4);
        }
        return double(value);
    }

    int weighted(int b, int g, int r, int x, int y) const {
        return int(b * read('B', x, y) + g * read('G', x, y) + r * read('R', x, y));
    }

    /// Bytes get the low 8 bits of the value in 32 unsigned bits, which saturate.
    void write(char sample, int x, int y, double value) {
        const float as_float = float(value);
        if (isFloat()) {
            std::memcpy(at(sample, x, y), &as_float, 4);
        } else if (unsigned char* const address = at(sample, x, y)) {
            const double limited = value > 0 ? std::fmin(value, 4294967295.0) : 0.0;
            *address = static_cast<unsigned char>(std::fmod(limited, 256.0));
        }
    }
};

double luma(const Picture& source, bool to_gray, int x, int y) {
    if (source.has('Y')) {
        return source.read('Y', x, y);
    }
    return to_gray ? source.weighted(28, 152, 76, x, y) / 256
                   : (source.weighted(25, 129, 65, x, y) + 4096) / 256;
}

/// The truncated mean over the pixels of @p block, without those beyond the frame. Gray has 0.
double chroma(const Picture& source, char sample, Rect block) {
    int sum = 0;
    block.crop(source.frame.size());
    for (int y = block.y; y < block.y + block.height; ++y) {
        for (int x = block.x; x < block.x + block.width; ++x) {
            if (source.has('U')) {
                sum += 256 * int(source.read(sample, x, y));
            } else if (source.has('B')) {
                sum += 32768 + (sample == 'U' ? source.weighted(112, -74, -38, x, y)
                                              : source.weighted(-18, -94, 112, x, y));
            }
        }
    }
    return sum / (256 * block.width * block.height);
}

double colour(const Picture& source, char sample, int x, int y) {
    if (source.has(sample) || !source.has('U')) {
        return source.read(source.has(sample) ? sample : 'Y', x, y);
    }
    const double c = 297 * (source.read('Y', x, y) - 16);
    const double d = source.read('U', x, y) - 128;
    const double e = source.read('V', x, y) - 128;
    const double term = sample == 'B' ? 516 * d : sample == 'G' ? -100 * d - 207 * e : 408 * e;
    return std::min(std::max(std::trunc((c + term) / 256), 0.0), 255.0);
}

/// Overwrites @p target_frame as if it were of @p format; bytes that a conversion leaves alone
/// stay.
void convertByPixel(const Frame& source_frame, Frame& target_frame, FrameFormat format) {
    const Picture source(source_frame, source_frame.format());
    Picture target(target_frame, format);
    std::string& planes = target.model.planes;
    if (format == FRAME_PLANAR_32F && source.model.format == FRAME_RGB24) {
        std::reverse(planes.begin(), planes.end());
    }
    const int sx = target.model.x_subsampling;
    const int sy = target.model.y_subsampling;
    const int row_step = format == target_frame.format() ? sy : 1;
    for (int y = 0; y < target_frame.height(); ++y) {
        for (int x = 0; x < target_frame.width(); ++x) {
            for (const char c : std::string("BGRYUV")) {
                if (target.has(c) && !(isChroma(c) && (x % sx != 0 || y % row_step != 0))) {
                    const double value = isChroma(c) ? chroma(source, c, Rect(x, y, sx, sy))
                                         : c == 'Y'  ? luma(source, !target.has('U'), x, y)
                                                     : colour(source, c, x, y);
                    target.write(c, x, y, value);
                }
            }
        }
        // From BGR, the second luma of the last group becomes 0.
        const bool is_packed = std::count(planes.begin(), planes.end(), 'Y') == 2;
        if (is_packed && source.has('B') && source_frame.width() % 2 != 0) {
            target.write('Y', source_frame.width(), y, 0);
        }
    }
}

/// The bytes that a target holds before a conversion, as the seed of support::fillRandom.
constexpr std::uint32_t BACKGROUND = 99;

Frame expectedOf(const Frame& source, FrameFormat format) {
    Frame expected = support::randomFrame(format, source.size(), BACKGROUND);
    convertByPixel(source, expected, format);
    return expected;
}

testing::AssertionResult produces(FormatConverter& converter, const Frame& source, Frame target) {
    support::fillRandom(target, BACKGROUND);
    produceFrame(converter, target);
    return support::samePixels(target, expectedOf(source, target.format()))
           << " from " << toString(source.format());
}

// ---- Which conversions exist --------------------------------------------------------------------

void forEachPair(const std::function<void(FrameFormat from, FrameFormat to, char)>& visit) {
    for (const Model& from : MODELS) {
        for (std::size_t i = 0; i < std::size(MODELS); ++i) {
            visit(from.format, MODELS[i].format, from.conversions[i]);
        }
    }
}

bool needsTwoRows(FrameFormat from, FrameFormat to) {
    return from != FRAME_GRAY8 && to >= FRAME_I420 && to <= FRAME_NV21;
}

using Action = std::function<void()>;
const char* const FILE_NAME = "src/tavo_cv/tavo_format_converter";
const char* const IMPL_FILE_NAME = "src/tavo_cv/tavo_impl_format_converter";

void expectEmpty(FormatConverter& converter) {
    EXPECT_FALSE(converter.initialized());
    const char* const text =
        "FormatConverter is not initialized. Call FormatConverter::reuse(...) first.";
    RowData row;
    const Action produce = [&] { converter.produce(row); };
    const Status status = TAVO_STATUS_INSTANCE_NOT_INITIALIZED;
    EXPECT_TRUE(support::throwsFailure(produce, status, text, "produce", FILE_NAME));
}

/// @p outcome is one of the failures among `conversions`.
void expectFailure(char outcome, const Action& reuse) {
    Status status = outcome == 'n' ? TAVO_STATUS_NOT_SUPPORTED : TAVO_STATUS_BAD_FORMAT;
    std::string text = "Failure in ImplFormatConverter::get_context(...) : unsupported format.";
    std::string function = outcome == 'f' ? "getFormatInfo" : "get_context";
    std::string file = IMPL_FILE_NAME;
    if (outcome == 'w') {
        status = TAVO_STATUS_OUT_OF_RANGE;
        text = "Parameter 'window_size' is out of range.";
        function = "reuse";
        file = "src/tavo_cv/tavo_row_window";
    }
    EXPECT_TRUE(support::throwsFailure(reuse, status, text, function, file));
}

TEST(FormatConverter, HasTheConversionsOfTheMatrix) {
    ASSERT_EQ(support::allFormats().size(), std::size(MODELS));
    forEachPair([](FrameFormat from, FrameFormat to, char outcome) {
        SCOPED_TRACE(std::string(toString(from)) + " to " + toString(to));
        const Frame source = support::randomFrame(from, Size(5, 3), 1);
        support::FrameProducer producer(source);
        FormatConverter by_frame;
        FormatConverter by_producer;
        if (outcome != '=' && outcome != 'x') {
            expectFailure(outcome, [&] { by_frame.reuse(source, to); });
            expectEmpty(by_frame);
            expectFailure(outcome, [&] { by_producer.reuse(producer, to); });
            EXPECT_FALSE(by_producer.initialized());
            return;
        }
        Frame results[2];
        by_frame.reuse(source, to);
        EXPECT_TRUE(by_frame.initialized());
        produceFrame(by_frame, results[0]);
        by_producer.reuse(producer, to);
        EXPECT_TRUE(by_producer.initialized());
        produceFrame(by_producer, results[1]);
        EXPECT_EQ(producer.produced, (std::vector<int>{0, 1, 2}));
        EXPECT_EQ(results[0].format(), to);
        EXPECT_EQ(by_producer.layout().size, source.size());
        EXPECT_EQ(outcome == 'x' ? by_frame.layout().plane[0].stride % 64 : 0, 0);
        EXPECT_TRUE(support::samePixels(results[1], outcome == '=' ? source : results[0]));
    });
    const Frame source = support::randomFrame(FRAME_BGR24, Size(5, 3), 1);
    FormatConverter converter;
    for (const int unknown : {-1, 21, 22, 23, 27, 1000}) {
        expectFailure('f', [&] { converter.reuse(source, FrameFormat(unknown)); });
    }
}

// ---- Bytes --------------------------------------------------------------------------------------

void expectConversion(const Frame& source, const Frame& target) {
    FormatConverter converter;
    if (source.height() == 1 && needsTwoRows(source.format(), target.format())) {
        expectFailure('w', [&] { converter.reuse(source, target.format()); });
        expectEmpty(converter);
        return;
    }
    converter.reuse(source, target.format());
    EXPECT_TRUE(produces(converter, source, target));
}

TEST(FormatConverter, GivesTheBytesOfThePixelFormulas) {
    const int sizes[][2] = {{1, 1}, {1, 2},  {2, 1},  {2, 2},  {3, 3},
                            {5, 4}, {16, 2}, {17, 3}, {33, 5}, {40, 11}};
    forEachPair([&](FrameFormat from, FrameFormat to, char outcome) {
        for (const auto& [width, height] : sizes) {
            const Size size(width, height);
            for (int flag = 0; flag < (outcome == 'x' ? 2 : 0); ++flag) {
                support::GuardedFrame source(from, size, 5, flag == 1);
                support::GuardedFrame target(to, size, 3, flag == 1);
                support::fillRandom(source.frame(), 7);
                expectConversion(source.frame(), target.frame());
                expectConversion(support::flatFrame(from, size, flag == 1 ? 255 : 0),
                                 target.frame());
                EXPECT_TRUE(target.sentinelsIntact());

                support::PageGuardedFrame page_source(from, size, flag == 1);
                support::PageGuardedFrame page_target(to, size, flag == 1);
                Frame saturated = support::randomFrame(from, size, 8);
                for (int p = 0; p < saturated.layout().plane_count; ++p) {
                    for (std::size_t i = 0; i < saturated.layout().plane[p].size_bytes; ++i) {
                        unsigned char& byte = saturated.planeData(p)[i];
                        byte = static_cast<unsigned char>(byte < 128 ? 0 : 255);
                    }
                }
                saturated.copyTo(page_source.frame());
                expectConversion(page_source.frame(), page_target.frame());
            }
        }
    });
}

/// The bytes of one row made from the bytes of another.
std::vector<unsigned char> convertRow(FrameFormat from,
                                      const void* bytes,
                                      int width,
                                      FrameFormat to) {
    support::GuardedFrame source(from, Size(width, 1), 1);
    std::memcpy(source.frame().planeData(0), bytes,
                std::size_t(source.frame().layout().plane[0].row_bytes));
    FormatConverter converter;
    converter.reuse(source.frame(), to);
    Frame target;
    produceFrame(converter, target);
    return support::pixels(target);
}

TEST(FormatConverter, GivesTheKnownColours) {
    using Bytes = std::vector<unsigned char>;
    const unsigned char bgr[] = {0, 0, 0, 255, 255, 255};
    EXPECT_EQ(convertRow(FRAME_BGR24, bgr, 2, FRAME_YUV444), (Bytes{16, 128, 128, 234, 128, 128}));
    EXPECT_EQ(convertRow(FRAME_BGR24, bgr, 1, FRAME_UYVY), (Bytes{128, 16, 128, 0}));
    const unsigned char yuv[] = {16, 128, 128, 235, 128, 128, 16, 0, 0};
    EXPECT_EQ(convertRow(FRAME_YUV444, yuv, 3, FRAME_BGR24),
              (Bytes{0, 0, 0, 254, 254, 254, 0, 153, 0}));
}

TEST(FormatConverter, TruncatesFloatsToTheLowByte) {
    const std::pair<float, int> cases[] = {
        {NAN, 0},           {INFINITY, 255}, {-INFINITY, 0}, {-0.0f, 0},         {-0.5f, 0},
        {-1.0f, 0},         {-3e9f, 0},      {0.99f, 0},     {254.5f, 254},      {255.99f, 255},
        {256.0f, 0},        {300.0f, 44},    {65543.75f, 7}, {2147483904.0f, 0}, {16777215.0f, 255},
        {4294967040.0f, 0}, {0x1p32f, 255},  {1e30f, 255}};
    for (const auto& [value, expected] : cases) {
        const float pixel[3] = {value, value, value};
        EXPECT_EQ(int(convertRow(FRAME_BGR_32F, pixel, 1, FRAME_BGR24)[1]), expected) << value;
    }
}

TEST(FormatConverter, LooksAtTheNextRowOnlyForVerticalSubsampling) {
    forEachPair([](FrameFormat from, FrameFormat to, char outcome) {
        if (outcome != 'x') {
            return;
        }
        ImplFormatConverter convert;
        int window_size = 0;
        convert.reuse(from, to, 9, &window_size);
        EXPECT_EQ(window_size, needsTwoRows(from, to) ? 2 : 1);
        const Frame source = support::randomFrame(from, Size(9, 1), 1);
        const Frame next_source = support::randomFrame(from, Size(9, 1), 2);
        Frame target = support::randomFrame(to, Size(9, 1), BACKGROUND);
        RowReader current;
        RowReader next;
        RowWriter writer;
        current.reuse(source);
        next.reuse(next_source);
        writer.reuse(target);
        const RowData* const rows[2] = {&current.row, window_size == 1 ? &next.row : nullptr};
        convert(rows, writer.row);
        EXPECT_TRUE(support::samePixels(target, expectedOf(source, to))) << toString(from);
    });
}

TEST(FormatConverter, WritesAnUndescribedDestinationByTheLastDescription) {
    const Frame gray = support::flatFrame(FRAME_GRAY8, Size(2, 2), 0);
    forEachPair([&](FrameFormat from, FrameFormat to, char outcome) {
        for (int last = FRAME_I420; last <= FRAME_I444 && outcome == 'w'; ++last) {
            for (const int width : {1, 2, 3, 4, 5, 6, 7, 8, 17}) {
                const Frame source = support::randomFrame(from, Size(width, 3), 5);
                support::GuardedFrame target(to, source.size());
                Frame expected = support::flatFrame(to, source.size(), 77);
                expected.copyTo(target.frame());
                convertByPixel(source, expected, FrameFormat(last));
                FormatConverter converter;
                // Neither a conversion without YUV destination nor a copy changes the description.
                for (const FrameFormat format : {FrameFormat(last), FRAME_BGR24, FRAME_GRAY8}) {
                    converter.reuse(gray, format);
                }
                converter.reuse(source, to);
                produceFrame(converter, target.frame());
                ASSERT_TRUE(target.sentinelsIntact());
                EXPECT_TRUE(support::samePixels(target.frame(), expected))
                    << "from " << toString(from) << " as " << toString(FrameFormat(last));
            }
        }
    });
}

// ---- The stage ----------------------------------------------------------------------------------

TEST(FormatConverter, RefusesBadParameters) {
    const Frame source = support::randomFrame(FRAME_BGR24, Size(4, 4), 1);
    support::FrameProducer producer(source);
    support::FrameProducer no_producer((Frame()));
    FormatConverter converter;
    EXPECT_FALSE(converter.next());
    EXPECT_EQ(converter.layout().plane_count, 0);
    const auto fails = [&](Status status, const char* text, const Action& reuse) {
        EXPECT_TRUE(support::throwsFailure(reuse, status, text, "reuse", FILE_NAME));
        expectEmpty(converter);
    };
    const Action no_frame = [&] { converter.reuse(Frame(), FRAME_INVALID); };
    const Action no_rows = [&] { converter.reuse(no_producer, FRAME_INVALID); };
    const Status invalid = TAVO_STATUS_INVALID_PARAMETER;
    fails(invalid, "Parameter 'frame' is not initialized.", no_frame);
    fails(invalid, "Parameter 'producer' is not initialized.", no_rows);
    const char* const no_format = "Invalid value for parameter 'dst_format'.";
    fails(TAVO_STATUS_BAD_FORMAT, no_format, [&] { converter.reuse(source, FRAME_INVALID); });
    fails(TAVO_STATUS_BAD_FORMAT, no_format, [&] { converter.reuse(producer, FRAME_INVALID); });

    ImplFormatConverter impl;
    const Action no_window = [&] { impl.reuse(FRAME_BGR24, FRAME_GRAY8, 4, nullptr); };
    EXPECT_TRUE(support::throwsFailure(
        no_window, TAVO_STATUS_BAD_FORMAT,
        "Failure in ImplFormatConverter::reuse(...) : Null pointer to window size.", "reuse",
        IMPL_FILE_NAME));
    RowData row;
    impl(nullptr, row);  // nothing is selected, so nothing is touched
}

TEST(FormatConverter, CopiesAndConvertsInTurns) {
    const Frame first = support::randomFrame(FRAME_BGR24, Size(7, 5), 1);
    const Frame second = support::randomFrame(FRAME_BGR24, Size(4, 2), 2);
    support::FrameProducer producer(first);
    FormatConverter converter;
    for (const FrameFormat format : {FRAME_NV21, FRAME_BGR24, FRAME_YUYV, FRAME_BGR24}) {
        for (int pass = 0; pass < 2; ++pass) {
            producer.restart();
            converter.reuse(producer, format);
            EXPECT_EQ(converter.layout().format, format);
            EXPECT_TRUE(produces(converter, first, expectedOf(first, format)));
        }
        converter.reuse(second, format);
        EXPECT_EQ(converter.layout().size, second.size());
        EXPECT_TRUE(produces(converter, second, expectedOf(second, format)));
    }
    FormatConverter copier;
    copier.reuse(first, FRAME_BGR24);
    expectFailure('n', [&] { copier.reuse(first, FRAME_RGB_PLANAR); });
    expectEmpty(copier);
}

TEST(FormatConverter, DeliversNothingBehindTheLastRow) {
    const Frame source = support::randomFrame(FRAME_BGR24, Size(8, 3), 1);
    for (const FrameFormat format : {FRAME_GRAY8, FRAME_I420}) {
        FormatConverter converter;
        converter.reuse(source, format);
        for (int row = 0; row < 5; ++row) {
            EXPECT_EQ(converter.next(), row < 3);
        }
        RowData nowhere;
        converter.produce(nowhere);
    }
}

TEST(FormatConverter, IsOneStageAmongOthers) {
    const Frame source = support::randomFrame(FRAME_BGR24, Size(13, 10), 1);
    for (const FrameFormat format : {FRAME_I420, FRAME_NV21, FRAME_UYVY, FRAME_GRAY8}) {
        for (const Size size : {Size(7, 5), Size(5, 7), Size(21, 17), Size(13, 10)}) {
            ScalerBilinearXY scaler;
            Frame scaled;
            scaler.reuse(source, size);
            produceFrame(scaler, scaled);
            FormatConverter converter;
            scaler.reuse(source, size);
            converter.reuse(scaler, format);
            EXPECT_TRUE(produces(converter, scaled, expectedOf(scaled, format)));

            // A scaler pulls the converter as it pulls any other source of these rows.
            support::FrameProducer rows(expectedOf(source, format));
            converter.reuse(source, format);
            IRowProducer* const stages[2] = {&rows, &converter};
            Frame results[2];
            for (int i = 0; i < 2; ++i) {
                ScalerNearestNeighbor last;
                last.reuse(*stages[i], size);
                produceFrame(last, results[i]);
            }
            EXPECT_TRUE(support::samePixels(results[1], results[0]));
        }
    }
}

TEST(FormatConverter, AllocatesNothingForASecondFrame) {
    const Frame frames[2] = {support::randomFrame(FRAME_BGR24, Size(20, 10), 1),
                             support::randomFrame(FRAME_BGR24, Size(20, 10), 2)};
    for (const FrameFormat to : {FRAME_BGR24, FRAME_GRAY8, FRAME_NV12, FRAME_PLANAR_32F}) {
        FormatConverter by_frame;
        FormatConverter by_producer;
        RowCopier producer;
        Frame target;
        for (int i = 0; i < 2; ++i) {
            const long allocations = support::allocationsDuring([&] {
                by_frame.reuse(frames[i], to);
                produceFrame(by_frame, target);
                producer.reuse(frames[i]);
                by_producer.reuse(producer, to);
                produceFrame(by_producer, target);
            });
            EXPECT_EQ(allocations != 0, i == 0);
        }
        EXPECT_TRUE(support::samePixels(target, expectedOf(frames[1], to)));
    }
}

}  // namespace
