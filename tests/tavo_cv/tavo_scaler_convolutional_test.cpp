#include "tavo_cv/tavo_scaler_convolutional.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>

#include "support/frames.h"
#include "tavo_cv/tavo_format_converter.h"
#include "tavo_cv/tavo_impl_scale_conv_x.h"
#include "tavo_cv/tavo_impl_scale_conv_y.h"

namespace {

using namespace tavo;
using support::throwsFailure;
using Bytes = std::vector<unsigned char>;

constexpr char FILE_NAME[] = "src/tavo_cv/tavo_scaler_convolutional";
constexpr char X_FILE[] = "src/tavo_cv/tavo_impl_scale_conv_x";
constexpr char Y_FILE[] = "src/tavo_cv/tavo_impl_scale_conv_y";
constexpr char ENLARGED[] =
    "Failure in ScaleData::reuse(...), parameter 'dst_size' is out of range.";
constexpr char NOT_READY[] = "The scaler is not initialized.";
constexpr Status EMPTY = TAVO_STATUS_INSTANCE_NOT_INITIALIZED;
constexpr Status RANGE = TAVO_STATUS_OUT_OF_RANGE;

const std::vector<FrameFormat> FORMATS = {
    FRAME_GRAY8, FRAME_BGR24,  FRAME_I420, FRAME_YV12,  FRAME_NV12,  FRAME_NV21, FRAME_YV16,
    FRAME_NV16,  FRAME_YUV444, FRAME_I444, FRAME_8U_C2, FRAME_8U_C3, FRAME_8U_C4};

/// The cubic of Catmull and Rom, with deeper lobes on request. Fails on request.
struct CubicKernel : IKernel {
    explicit CubicKernel(float lobe_gain = 1) : gain(lobe_gain) {}
    void configure(float new_scale) override {
        scale = new_scale;
        if (--configures_until_failure == 0) {
            throw Exception(nullptr, TAVO_STATUS_BAD_FORMAT, "configure", "kernel", 1, "worn");
        }
    }
    float value(float x) override {
        const float t = std::fabs(x) / scale;
        const float lobe = t < 2 ? gain * (2 - t * (4 - t * (2.5f - 0.5f * t))) : 0;
        return t < 1 ? 1 - t * t * (2.5f - 1.5f * t) : lobe;
    }
    float aperture() const override { return 4 * scale; }

    float gain, scale = 1;
    int configures_until_failure = 0;
};

/// Takes single pixels.
struct PointKernel : IKernel {
    void configure(float) override {}
    float value(float) override { return 1; }
    float aperture() const override { return 1; }
};

template <class T>
constexpr int UNIT = sizeof(T) == 1 ? 64 : 16384;
template <class T>
constexpr ScalerPrecision PRECISION = ScalerPrecision(8 * sizeof(T));

float integral(IKernel& kernel, float phase, float lo, float hi) {
    const float centre = std::fmaf(kernel.aperture(), 0.5f, phase);
    const auto at = [&](float x) { return kernel.value(x - centre); };
    float sum = 0, x = lo;
    for (; x + 0.0625f < hi; x += 0.0625f) {
        sum += at(x + 0.0625f) + at(x);
    }
    return std::fmaf((at(x) + at(hi)) * (hi - x), 0.5f, sum * 0.03125f);
}

template <class T>
std::vector<T> weightsOf(IKernel& kernel, float phase) {
    const float end = kernel.aperture() + phase;
    const int taps = int(std::ceil(end)), odd = taps % 2, half = taps / 2;
    std::vector<float> exact;
    float sum = 0;
    for (float left = 0; left < float(taps); ++left) {
        exact.push_back(integral(kernel, phase, std::max(left, phase), std::min(left + 1, end)));
        sum += exact.back();
    }
    std::vector<T> weights;
    for (const float weight : exact) {
        weights.push_back(T(int(std::round(weight * (float(UNIT<T>) / std::fabs(sum))))));
    }
    std::vector<int> walk(std::size_t(odd), half);
    for (int distance = 1; distance <= half; ++distance) {
        walk.insert(walk.end(), {half - distance + odd, half + distance - 1 + odd});
    }
    int total = std::accumulate(weights.begin(), weights.end(), 0);
    const int unit = total < UNIT<T> ? 1 : -1;
    for (auto tap = walk.begin(); tap != walk.end() && total != UNIT<T>; ++tap, total += unit) {
        weights[std::size_t(*tap)] = T(weights[std::size_t(*tap)] + unit);
    }
    return weights;
}

/// Adds weights outside of the image to the pixels that mirror them, and moves @p start inside.
template <class T>
std::vector<T> mirrored(const std::vector<T>& weights, int& start, int length) {
    const int first = std::max(0, std::min(start, length - int(weights.size())));
    std::vector<T> result(weights.size());
    for (std::size_t j = 0; j < weights.size(); ++j) {
        int pixel = start + int(j);
        while (pixel < 0 || pixel >= length) {
            pixel = pixel < 0 ? -1 - pixel : 2 * length - 1 - pixel;
        }
        T& weight = result[std::size_t(pixel - first)];
        weight = T(weight + weights[j]);
    }
    start = first;
    return result;
}

/// The table of one axis.
template <class T>
struct Axis {
    std::vector<int> start, row;
    std::vector<std::vector<T>> weights;
    int aperture = 0;
};

template <class T>
Axis<T> axisOf(IKernel& kernel, int src, int dst) {
    const float scale = float(src) / float(dst);
    kernel.configure(scale);
    const float width = kernel.aperture();
    const int capacity = int(std::ceil(width + 1.0f));
    Axis<T> axis;
    std::vector<float> phases;
    int borders = 0;
    for (int i = 0; i < dst; ++i) {
        const float x = std::fmaf(scale, float(i) + 0.5f, -(0.5f * width));
        int start = int(std::floor(x));
        float phase = x - std::floor(x);
        const bool inner = start >= 0 && start + capacity <= src;
        if (inner && dst / std::gcd(src, dst) > 16) {
            phase = std::floor(phase * 16.0f) / 16.0f;
        }
        const auto differs = [&](float known) { return double(std::fabs(known - phase)) >= 0.001; };
        auto row = std::find_if_not(phases.begin(), phases.end(), differs) - phases.begin();
        if (inner && row < int(phases.size())) {
            const auto first = std::find(axis.row.begin(), axis.row.end(), row);
            axis.weights.push_back(axis.weights[std::size_t(first - axis.row.begin())]);
        } else {
            std::vector<T> weights = weightsOf<T>(kernel, phase);
            axis.aperture = std::max(axis.aperture, int(weights.size()));
            if (inner) {
                phases.push_back(phase);
            } else {
                row = 16 + borders++;
                weights = mirrored(weights, start, src);
            }
            weights.resize(std::size_t(capacity));
            axis.weights.push_back(weights);
        }
        axis.start.push_back(start);
        axis.row.push_back(int(row));
    }
    return axis;
}

/// Output @p i, when the sample under tap j is `sampleAt(j)`.
template <class T, class SampleAt>
std::int64_t weighted(const Axis<T>& axis, int i, int bytes, const SampleAt& sampleAt) {
    std::int64_t sum = 0;
    for (int j = 0; j < axis.aperture; ++j) {
        const T weight = axis.weights[std::size_t(i)][std::size_t(j)];
        sum += std::int32_t(std::uint32_t(std::int32_t{weight}) * sampleAt(j));
    }
    const std::int64_t most = (std::int64_t(1) << (8 * bytes)) - 1;
    return std::min(std::max<std::int64_t>(sum / UNIT<T>, 0), most);
}

/// A row of plane @p p, scaled across. Taps beyond the source row take its last pixel.
template <class T>
Bytes scaledRow(const Axis<T>& axis, const Frame& src, int p, int y) {
    const PlaneLayout& plane = src.layout().plane[p];
    const int bytes = plane.bits_per_channel / 8, channels = plane.channels;
    const unsigned char* const row = src.planeData(p) + std::ptrdiff_t(plane.stride) * y;
    Bytes result(axis.start.size() * std::size_t(channels * bytes));
    for (int i = 0; i < int(axis.start.size()) * channels; ++i) {
        const int start = axis.start[std::size_t(i / channels)];
        const auto value = weighted(axis, i / channels, bytes, [&](int j) {
            const int x = std::min(start + j, plane.width - 1);
            std::uint32_t sample = 0;
            std::memcpy(&sample, row + (x * channels + i % channels) * bytes, std::size_t(bytes));
            return sample;
        });
        std::memcpy(&result[std::size_t(i * bytes)], &value, std::size_t(bytes));
    }
    return result;
}

int rowsPerRow(const FrameLayout& layout, int p) {
    return layout.plane[p].height < layout.size.height ? 2 : 1;
}

/// A scaler of one precision beside a model of what it keeps from pass to pass.
template <class T>
struct Pair {
    ScalerConvolutional scaler;
    const IKernel* kernel = nullptr;
    FrameLayout across, layout;
    Axis<T> x[4], y[4];
    int src_height = 0, window = 0, last_start = 0;

    /// @return the text of the failure, if any
    std::string prepare(IKernel& new_kernel, const FrameLayout& src, Size dst) {
        const bool same = &new_kernel == kernel && src.format == across.format;
        kernel = nullptr;
        if (!same || dst.width != across.size.width) {
            if (dst.width > src.size.width) {
                return ENLARGED;
            }
            across = FrameLayout(src.format, Size(dst.width, src.size.height), 64);
            for (int p = 0; p < src.plane_count; ++p) {
                x[p] = axisOf<T>(new_kernel, src.plane[p].width, across.plane[p].width);
            }
        }
        if (!same || across.size.height != src_height || dst.height != layout.size.height) {
            if (dst.height > across.size.height) {
                return ENLARGED;
            }
            layout = FrameLayout(src.format, dst, 64);
            for (int p = 0; p < src.plane_count; ++p) {
                y[p] = axisOf<T>(new_kernel, across.plane[p].height, layout.plane[p].height);
            }
        }
        src_height = across.size.height;
        window = std::max({y[0].aperture, y[1].aperture, y[2].aperture});
        kernel = &new_kernel;
        return window > src_height ? "Parameter 'window_size' is out of range." : "";
    }

    void run(const Frame& src, Frame& dst) {
        int begin = 0;
        for (int row = 0; row < dst.height(); ++row) {
            for (int p = 0; p < dst.layout().plane_count; ++p) {
                if (row % rowsPerRow(layout, p) == 0) {
                    scaleDown(src, dst, p, row / rowsPerRow(layout, p), begin);
                }
            }
            if (row + 1 < dst.height()) {
                const int start = y[0].start[std::size_t(row + 1)];
                begin += std::max(0, std::min(start - last_start, src_height - window - begin));
                last_start = start;
            }
        }
    }

    void scaleDown(const Frame& src, Frame& dst, int p, int row, int begin) const {
        std::vector<Bytes> rows;
        for (int k = 0; k < y[p].aperture; ++k) {
            const int line = std::min(begin + k, src.height() - 1) / rowsPerRow(src.layout(), p);
            rows.push_back(scaledRow(x[p], src, p, line));
        }
        const PlaneLayout& plane = dst.layout().plane[p];
        for (int b = 0; b < std::min(int(rows[0].size()), plane.row_bytes); ++b) {
            const auto sampleAt = [&](int k) { return rows[std::size_t(k)][std::size_t(b)]; };
            dst.planeData(p)[plane.stride * row + b] =
                static_cast<unsigned char>(weighted(y[p], row, 1, sampleAt));
        }
    }

    /// @return whether the pass was possible
    bool expectPass(IKernel& new_kernel, FrameFormat format, Size src, Size dst, unsigned variant) {
        SCOPED_TRACE(testing::Message()
                     << "from " << src.width << "x" << src.height << ", variant " << variant);
        const bool flag = (variant & 1) != 0;
        support::GuardedFrame guarded(format, src, 7, flag);
        support::PageGuardedFrame paged(format, src, flag);
        Frame& source = (variant & 2) != 0 ? paged.frame() : guarded.frame();
        support::fillRandom(source, variant);
        support::FrameProducer producer(source);
        const auto reuse = [&] {
            (variant & 4) != 0 ? scaler.reuse(new_kernel, producer, dst, PRECISION<T>)
                               : scaler.reuse(new_kernel, source, dst, PRECISION<T>);
        };
        const std::string text = prepare(new_kernel, source.layout(), dst);
        if (!text.empty()) {
            EXPECT_TRUE(throwsFailure(reuse, RANGE, text, "reuse", FILE_NAME));
            EXPECT_FALSE(scaler.initialized());
            kernel = nullptr;
            std::fill(y, y + 4, Axis<T>());
            return false;
        }
        reuse();
        EXPECT_TRUE(scaler.initialized());
        support::GuardedFrame target(format, layout.size, 7, flag);
        Frame expected = support::randomFrame(format, layout.size, 3);
        Frame actual = target.frame();
        support::fillRandom(actual, 3);
        produceFrame(scaler, actual);
        run(source, expected);
        EXPECT_TRUE(support::samePixels(actual, expected));
        EXPECT_TRUE(guarded.sentinelsIntact() && target.sentinelsIntact());
        return true;
    }
};

template <class T>
class ScalerConvolution : public testing::Test {};
using Weights = testing::Types<signed char, short>;
TYPED_TEST_SUITE(ScalerConvolution, Weights, );

TYPED_TEST(ScalerConvolution, TablesFollowTheDefinition) {
    BoxKernel box;
    TriangleKernel triangle;
    LanczosKernel lanczos;
    CubicKernel cubic, wild(9);  // the weights of the latter exceed their type
    std::vector<std::pair<int, int>> pairs = {{8192, 7680}, {8192, 8191}, {8191, 4093}, {31, 2},
                                              {1920, 1080}, {1000, 999},  {340, 320},   {97, 17}};
    for (int i = 0; i < 15 * 15; ++i) {
        pairs.emplace_back(std::max(i / 15, i % 15) + 1, std::min(i / 15, i % 15) + 1);
    }
    for (IKernel* kernel :
         std::initializer_list<IKernel*>{&box, &triangle, &cubic, &wild, &lanczos}) {
        for (const auto& [src, dst] : pairs) {
            if (kernel == &lanczos && (src > 5 * dst || src > 30 || dst % 3 != 0)) {
                continue;
            }
            SCOPED_TRACE(testing::Message() << src << " to " << dst);
            const auto axis = axisOf<TypeParam>(*kernel, src, dst);
            impl::ScaleData<TypeParam> data;
            data.reuse(*kernel, src, dst);
            EXPECT_EQ(data.aperture, axis.aperture);
            ASSERT_EQ(data.index.size(), axis.start.size());
            for (std::size_t i = 0; i < data.index.size(); ++i) {
                ASSERT_EQ(data.index[i].src_start, axis.start[i]) << i;
                ASSERT_EQ(data.index[i].kernel_index, axis.row[i]) << i;
                const TypeParam* const weights = data.weights(data.index[i]);
                ASSERT_TRUE(std::equal(axis.weights[i].begin(), axis.weights[i].end(), weights));
                const int sum = std::accumulate(weights, weights + axis.aperture, 0);
                ASSERT_TRUE(sum == UNIT<TypeParam> || kernel == &wild) << i;
            }
        }
    }
}

// Tables and layouts outlive changes of the source that the stages do not look at.
TYPED_TEST(ScalerConvolution, FollowsTheDefinitionThroughAnySequenceOfPasses) {
    BoxKernel box, other_box;
    TriangleKernel triangle;
    CubicKernel cubic, deep(2);
    LanczosKernel lanczos;
    IKernel* const kernels[] = {&box, &other_box, &triangle, &cubic, &deep, &lanczos};
    std::mt19937 random(5);
    const auto below = [&](int limit) { return int(random() % unsigned(limit)); };
    std::unique_ptr<Pair<TypeParam>> pair;
    Size src, dst;
    FrameFormat format = FRAME_GRAY8;
    IKernel* kernel = &box;
    int passes = 0;
    for (int i = 0; i < 400; ++i) {
        if (i == 0 || below(9) == 0) {
            pair = std::make_unique<Pair<TypeParam>>();
            src = dst = Size(1 + below(5), 1 + below(3));
        }
        kernel = below(3) == 0 ? kernels[below(6)] : kernel;
        format = below(3) == 0 ? FORMATS[std::size_t(below(13))] : format;
        src.width = below(2) == 0 ? 1 + below(24) : src.width;
        src.height = below(3) == 0 ? 6 + below(16) : src.height;
        dst.width = below(3) == 0 ? 1 + below(src.width + 1) : dst.width;
        dst.width = std::max(dst.width, (src.width + 7) / 8);
        dst.height = below(3) == 0 ? 1 + below(src.height + 1) : dst.height;
        dst.height = std::max(dst.height, src.height / 2);
        passes += pair->expectPass(*kernel, format, src, dst, unsigned(random()));
    }
    EXPECT_GT(passes, 200);
}

TYPED_TEST(ScalerConvolution, HorizontalStageScalesWideSamplesWithTheTablesOfItsFirstWidth) {
    CubicKernel kernel;
    const auto axis = axisOf<TypeParam>(kernel, 23, 8);
    for (const FrameFormat format : {FRAME_GRAY8, FRAME_8U_C4, FRAME_16U_C1, FRAME_32U_C1}) {
        impl::ScaleX<TypeParam> stage;
        for (const int width : {23, 9, 30, 1}) {
            support::PageGuardedFrame source(format, Size(width, 3), true);
            support::PageGuardedFrame target(format, Size(8, 1), true);
            support::fillRandom(source.frame(), std::uint32_t(width));
            stage.reuse(kernel, source.frame(), 8);
            RowData row;
            row.plane[0] = target.frame().planeData(0);
            for (int y = 0; y < 3; ++y) {
                stage.produce(row);
                EXPECT_EQ(support::pixels(target.frame()), scaledRow(axis, source.frame(), 0, y));
                EXPECT_EQ(stage.next(), y < 2);
            }
        }
    }
}

// The taps would start at rows 1, 4 and 7. The first row is never skipped to. Further passes begin
// one step behind, and their window no longer skips.
TYPED_TEST(ScalerConvolution, LaterPassesLagBehind) {
    PointKernel kernel;
    Frame target, source = support::randomFrame(FRAME_GRAY8, Size(1, 9), 1);
    const Bytes from = support::pixels(source);
    ScalerConvolutional scaler;
    for (const Bytes& rows : {Bytes{from[0], from[4], from[7]}, {from[0], from[0], from[1]}}) {
        scaler.reuse(kernel, source, Size(1, 3), PRECISION<TypeParam>);
        produceFrame(scaler, target);
        EXPECT_EQ(support::pixels(target), rows);
    }
}

TYPED_TEST(ScalerConvolution, ComputesAnewAfterAFailureInAnyTable) {
    const Size src(22, 24);
    const Frame source = support::randomFrame(FRAME_I420, src, 1);
    for (int table = 1; table <= 6; ++table) {
        CubicKernel kernel;
        Pair<TypeParam> pair;
        RowData row;
        EXPECT_TRUE(pair.expectPass(kernel, FRAME_I420, src, Size(11, 12), 8));
        kernel.configures_until_failure = table;
        const auto reuse = [&] {
            pair.scaler.reuse(kernel, source, Size(9, 10), PRECISION<TypeParam>);
        };
        EXPECT_TRUE(throwsFailure(reuse, TAVO_STATUS_BAD_FORMAT, "worn", "reuse", FILE_NAME));
        EXPECT_TRUE(throwsFailure([&] { pair.scaler.produce(row); }, EMPTY, NOT_READY, "produce",
                                  FILE_NAME));
        EXPECT_TRUE(pair.expectPass(kernel, FRAME_I420, src, Size(9, 10), 8));
    }
}

TYPED_TEST(ScalerConvolution, ChainsWithoutAllocationsAfterTheFirstFrame) {
    TriangleKernel kernel;
    const Frame source = support::randomFrame(FRAME_BGR24, Size(22, 18), 1);
    FormatConverter first, last;
    Pair<TypeParam> pair;
    Frame target, expected, converted, middle = support::randomFrame(FRAME_I420, Size(9, 8), 1);
    const auto pass = [&] {
        first.reuse(source, FRAME_I420);
        pair.scaler.reuse(kernel, first, Size(9, 8), PRECISION<TypeParam>);
        last.reuse(pair.scaler, FRAME_BGR24);
        produceFrame(last, target);
    };
    pass();
    first.reuse(source, FRAME_I420);
    produceFrame(first, converted);
    EXPECT_EQ(pair.prepare(kernel, converted.layout(), middle.size()), "");
    pair.run(converted, middle);
    last.reuse(middle, FRAME_BGR24);
    produceFrame(last, expected);
    EXPECT_TRUE(support::samePixels(target, expected));
    pass();
    EXPECT_EQ(support::allocationsDuring(pass), 0);
}

TYPED_TEST(ScalerConvolution, RefusesOtherFormatsAtTheFirstRow) {
    const char* const texts[] = {"Failure in ScaleX::produce(...) : unsupported format.",
                                 "Failure in ScaleY::produce(...) : unsupported frame format."};
    const char* const files[] = {X_FILE, Y_FILE};
    const auto refuses = [](IRowProducer& stage, const char* text, const char* file) {
        Frame target;
        EXPECT_TRUE(throwsFailure([&] { produceFrame(stage, target); }, TAVO_STATUS_NOT_SUPPORTED,
                                  text, "produce", file));
    };
    for (const FrameFormat format : support::allFormats()) {
        BoxKernel kernel;
        const Frame source = support::randomFrame(format, Size(8, 6), 1);
        impl::ScaleX<TypeParam> x;
        impl::ScaleY<TypeParam> y;
        ScalerConvolutional scaler;
        scaler.reuse(kernel, source, Size(4, 3), PRECISION<TypeParam>);
        x.reuse(kernel, source, 4);
        y.reuse(kernel, x, 3);
        if (std::count(FORMATS.begin(), FORMATS.end(), format) == 0) {
            const int stage = format == FRAME_YUYV || format == FRAME_UYVY ? 0 : 1;
            refuses(scaler, texts[stage], FILE_NAME);
            refuses(y, texts[stage], files[stage]);
            if (format != FRAME_16U_C1 && format != FRAME_32U_C1) {
                refuses(x, texts[0], X_FILE);
            }
        }
    }
}

/// Breaks down at the row that comes after @p rows.
struct BreakingProducer : support::FrameProducer {
    BreakingProducer(const Frame& frame, std::size_t rows) : FrameProducer(frame), last(rows) {}
    void produce(RowData& row) override {
        if (produced.size() == last) {
            throw Exception(nullptr, TAVO_STATUS_CAPACITY_EXCEEDED, "produce", "camera", 1, "dark");
        }
        FrameProducer::produce(row);
    }
    std::size_t last;
};

TEST(ScalerConvolutional, PassesOnWhatItsProducerThrows) {
    BoxKernel kernel;
    const Frame frame = support::randomFrame(FRAME_GRAY8, Size(8, 6), 1);
    for (const Size size : {Size(4, 6), Size(8, 3), Size(4, 3)}) {
        for (const std::size_t rows : {0u, 1u, 3u, 5u}) {
            SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << ", " << rows);
            BreakingProducer producer(frame, rows);
            ScalerConvolutional scaler;
            std::string function = "produce";
            const auto pass = [&] {
                RowData row;
                std::vector<unsigned char> bytes(8);
                row.plane[0] = bytes.data();
                scaler.reuse(kernel, producer, size, TAVO_SCALER_FIXED_POINT_16S);
                scaler.produce(row);
                for (function = "next"; scaler.next(); function = "next") {
                    function = "produce";
                    scaler.produce(row);
                }
            };
            try {
                pass();
                ADD_FAILURE() << "nothing thrown";
            } catch (const Exception& error) {
                EXPECT_EQ(error.status, TAVO_STATUS_CAPACITY_EXCEEDED);
                EXPECT_STREQ(error.what(), "dark");
                EXPECT_EQ(error.function(), function);
                EXPECT_STREQ(error.file(), FILE_NAME);
            }
        }
    }
}

TEST(ScalerConvolutional, FailsToTheLetter) {
    BoxKernel kernel;
    ScalerConvolutional scaler;
    impl::ScaleX<short> x;
    impl::ScaleY<short> y;
    RowData row;
    const Frame frame = support::randomFrame(FRAME_GRAY8, Size(66, 4), 1), none;
    support::FrameProducer producer(frame), empty(none);
    const FrameLayout &layout = frame.layout(), &no_layout = none.layout();
    const Size good(3, 2), bad(2, -3);
    const ScalerPrecision coarse = TAVO_SCALER_FIXED_POINT_8S, odd = ScalerPrecision(15);
    const auto fails = [&](const std::function<void()>& action, Status status,
                           const std::string& text, const char* function = "reuse",
                           const char* file = FILE_NAME) {
        EXPECT_TRUE(throwsFailure(action, status, text, function, file));
        EXPECT_FALSE(scaler.initialized() || x.initialized() || y.initialized());
    };
    const std::string text = "Failure in ScalerConvolutional::";
    const auto failsEmpty = [&] {
        fails([&] { (void)scaler.layout(); }, EMPTY, "instance not initialized", "layout");
        fails([&] { scaler.produce(row); }, EMPTY, text + "produce(...) : instance not initialized",
              "produce");
        fails([&] { scaler.next(); }, EMPTY, text + "next(...) : instance not initialized", "next");
    };
    const Status no_source = TAVO_STATUS_NOT_INITIALIZED;
    const std::string no_size = text + "reuse(...) : parameter 'dst_size' is empty.";
    failsEmpty();
    fails([&] { scaler.reuse(kernel, none, bad, odd); }, no_source,
          text + "reuse(...) : frame is not initialized.");
    fails([&] { scaler.reuse(kernel, frame, bad, odd); }, no_source, no_size);
    fails([&] { scaler.reuse(kernel, empty, Size(0, 1), odd); }, no_source, no_size);
    fails([&] { scaler.reuse(kernel, empty, good, odd); }, no_source,
          text + "reuse(...) : layout is not initialized.");
    fails([&] { scaler.reuse(kernel, frame, Size(2, 4), coarse); }, RANGE,
          "Failure in ScaleData::reuse(...), scale factor is out of range.");
    fails([&] { scaler.reuse(kernel, producer, good, odd); }, TAVO_STATUS_INVALID_PARAMETER,
          "Parameter 'precision' is incorrect.");
    failsEmpty();

    const char inner[] = "_reuseScaleData";
    const char x_none[] = "Failure in ScaleX::reuse(...) : source frame is not initialized.";
    const char y_none[] = "Failure in ScaleY::reuse(...) : source frame is not initialized.";
    fails([&] { x.reuse(kernel, none, 5); }, EMPTY, x_none, "reuse", X_FILE);
    fails([&] { x.reuse(kernel, empty, 5); }, EMPTY, x_none, "reuse", X_FILE);
    fails([&] { x.reuse(kernel, frame, 67); }, RANGE, ENLARGED, "reuse", X_FILE);
    fails([&] { x._reuseScaleData(kernel, no_layout, 5); }, EMPTY, x_none, inner, X_FILE);
    fails([&] { x._reuseScaleData(kernel, layout, 67); }, RANGE, ENLARGED, inner, X_FILE);
    fails([&] { x.produce(row); }, EMPTY,
          "Failure in ScaleX::produce(...): the scaler is not initialized.", "produce", X_FILE);
    fails([&] { y.reuse(kernel, empty, 5); }, EMPTY, y_none, "reuse", Y_FILE);
    fails([&] { y.reuse(kernel, producer, 7); }, RANGE, ENLARGED, "reuse", Y_FILE);
    fails([&] { y._reuseScaleData(kernel, no_layout, 5); }, EMPTY, y_none, inner, Y_FILE);
    fails([&] { y._reuseScaleData(kernel, layout, 7); }, RANGE, ENLARGED, inner, Y_FILE);
    fails([&] { y.produce(row); }, EMPTY, NOT_READY, "produce", Y_FILE);

    scaler.reuse(kernel, frame, Size(2, 4), TAVO_SCALER_FIXED_POINT_16S);
    EXPECT_THROW(scaler.reuse(kernel, none, good, coarse), Exception);
    EXPECT_THROW(scaler.reuse(kernel, producer, bad, coarse), Exception);
    EXPECT_EQ(scaler.layout().size, Size(2, 4));
}

}  // namespace
