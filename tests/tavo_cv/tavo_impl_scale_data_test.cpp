#include "tavo_cv/tavo_impl_scale_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <new>
#include <stdexcept>
#include <utility>

#include "support/frames.h"

namespace {

using namespace tavo;
using namespace tavo::impl;
using support::throwsFailure;
using Rows = std::vector<std::vector<int>>;

constexpr char FILE_NAME[] = "src/tavo_cv/tavo_impl_scale_data";
constexpr char BUILDER_FILE[] = "src/tavo_cv/tavo_impl_scale_kernel_builder";
constexpr char INNER_FULL[] =
    "Failure in ScaleKernelBuilder::addInnerKernel(...), buffer has already filled";
constexpr Status RANGE = TAVO_STATUS_OUT_OF_RANGE;

/// A kernel of the same value and width at all scales.
struct FlatKernel : IKernel {
    FlatKernel(float w, float v) : width(w), level(v) {}
    void configure(float) override {}
    float value(float) override { return level; }
    float aperture() const override { return width; }
    float width, level;
};

struct FailingKernel : FlatKernel {
    explicit FailingKernel(std::function<void()> f) : FlatKernel(2, 1), fail(std::move(f)) {}
    float value(float x) override {
        fail();
        return FlatKernel::value(x);
    }
    std::function<void()> fail;
};

/// For every position the source pixel, the row of the table, and its weights.
template <class T>
Rows tableOf(IKernel& kernel, int src, int dst) {
    ScaleData<T> data;
    data.reuse(kernel, src, dst);
    Rows rows;
    for (const ScaleIndexEntry& entry : data.index) {
        rows.push_back({entry.src_start, entry.kernel_index});
        rows.back().insert(rows.back().end(), data.weights(entry),
                           data.weights(entry) + data.aperture);
    }
    return rows;
}

// What rounding leaves over goes to the middle taps.
TEST(ScaleData, SharesTheUnitAmongPixels) {
    BoxKernel box;
    EXPECT_EQ(
        tableOf<signed char>(box, 10, 4),
        (Rows{{0, 0, 26, 25, 13}, {2, 1, 13, 25, 26}, {5, 0, 26, 25, 13}, {7, 16, 13, 25, 26}}));
    EXPECT_EQ(tableOf<short>(box, 3, 3), (Rows{{0, 0, 16384}, {1, 0, 16384}, {2, 16, 16384}}));
    const Rows whole = {{64},
                        {21, 22, 21},
                        {6, 6, 6, 7, 7, 7, 7, 6, 6, 6},
                        {6, 6, 6, 6, 6, 4, 6, 6, 6, 6, 6},
                        {5, 5, 5, 5, 4, 4, 4, 4, 4, 4, 5, 5, 5, 5},
                        {4, 4, 4, 4, 4, 4, 5, 6, 5, 4, 4, 4, 4, 4, 4}};
    for (std::vector<int> weights : whole) {
        const int taps = int(weights.size());
        weights.insert(weights.begin(), {0, 16});
        EXPECT_EQ(tableOf<signed char>(box, taps, 1), Rows{weights});
    }
}

// Sums of tables that a separate computation made, the same on all processors.
TEST(ScaleData, TablesAreTheSameEverywhere) {
    const auto checksum = [](IKernel& kernel, auto weight_type) {
        std::uint32_t sum = 2166136261u;
        for (const auto& [src, dst] :
             {std::pair(7, 5), {100, 37}, {1001, 400}, {4095, 1365}, {8192, 8191}}) {
            for (const auto& row : tableOf<decltype(weight_type)>(kernel, src, dst)) {
                for (const int value : row) {
                    sum = (sum ^ std::uint32_t(value)) * 16777619u;
                }
            }
        }
        return sum;
    };
    BoxKernel box;
    TriangleKernel triangle;
    LanczosKernel lanczos;
    const auto coarse = static_cast<signed char>(0);
    EXPECT_EQ(checksum(box, coarse), 2302260193u);
    EXPECT_EQ(checksum(box, short(0)), 2115495097u);
    EXPECT_EQ(checksum(triangle, coarse), 3979625938u);
    EXPECT_EQ(checksum(triangle, short(0)), 3630632660u);
    EXPECT_EQ(checksum(lanczos, coarse), 1642544946u);
    EXPECT_EQ(checksum(lanczos, short(0)), 756462930u);
}

TEST(ScaleData, MirrorsTapsAndRepeatsTheEdge) {
    const signed char weights[] = {1, 2, 4, 8, 16, 32, 64};
    std::vector<signed char> mirrored(8, 99), expected = {4 + 8 + 64, 1 + 2 + 16 + 32, 0, 0};
    const auto reflect = [&](int taps, int start, int length) {
        return ScaleData<signed char>::_reflectWeights(weights, taps, start, length, 8,
                                                       mirrored.data());
    };
    EXPECT_EQ(reflect(7, -3, 2), 0);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), mirrored.begin()));
    EXPECT_EQ(reflect(4, 8, 10), 6);
    EXPECT_EQ(mirrored, (std::vector<signed char>{0, 0, 1 + 8, 2 + 4, 0, 0, 0, 0}));
}

TEST(ScaleKernelBuilder, KeepsRowsApartUpToItsLimits) {
    ScaleKernelBuilder<short> builder;
    const Status filled = TAVO_STATUS_ASSERTION_FAILED;
    for (const int aperture : {3, 33, 32}) {
        std::vector<short> weights(33);
        builder.reuse(aperture);
        EXPECT_EQ(builder.stride, aperture == 33 ? 128 : 64);
        EXPECT_EQ(builder.findInnerKernel(0), -1);
        for (int row = 0; row < 16 + aperture; ++row) {
            weights.assign(33, short(row));
            EXPECT_EQ(row < 16 ? builder.addInnerKernel(float(row) / 2000, weights.data())
                               : builder.addBorderKernel(weights.data()),
                      row);
        }
        for (int row = 0; row < 16 + aperture; ++row) {
            const short* const stored = builder.row(row);
            EXPECT_EQ(std::count(stored, stored + aperture, row), aperture);
        }
        EXPECT_TRUE(throwsFailure([&] { builder.addInnerKernel(0.99f, weights.data()); }, filled,
                                  INNER_FULL, "addInnerKernel", BUILDER_FILE));
        EXPECT_TRUE(throwsFailure(
            [&] { builder.addBorderKernel(weights.data()); }, filled,
            "Failure in ScaleKernelBuilder::addBorderKernel(...), buffer has already filled",
            "addBorderKernel", BUILDER_FILE));
        // The first kernel whose phase is closer than a thousandth: phases are 0.0005 apart.
        EXPECT_EQ(builder.findInnerKernel(0.0012f), 1);
        EXPECT_EQ(builder.findInnerKernel(0.0084f), 15);
        EXPECT_EQ(builder.findInnerKernel(0.0086f), -1);
        EXPECT_EQ(builder.findInnerKernel(-0.001f), -1);
        EXPECT_EQ(builder.findInnerKernel(std::nextafter(-0.001f, 0.0f)), 0);
    }
    EXPECT_TRUE(throwsFailure([&] { builder.reuse(0); }, RANGE,
                              "Parameter 'aperture' is out of range.", "reuse", BUILDER_FILE));
}

TEST(ScaleData, FailsToTheLetter) {
    using Data = ScaleData<signed char>;
    BoxKernel box;
    FlatKernel wide(64, 1), wider(65, 1), nothing(1, 0.0009f), negative(1, -5), absent(0, 1);
    FlatKernel huge(1e9f, 1), less(-1, 1);
    FlatKernel drifting(1.0625f + 2e-5f, 1);  // phases near 1 become 0 where floats are coarser
    Data data;
    std::vector<signed char> w(70);
    std::vector<float> f(70);
    const auto weigh = [&](IKernel& kernel, float phase, int capacity) {
        Data::_computeWeights(&kernel, phase, capacity, w.data(), f.data());
    };
    const auto fails = [&](const std::function<void()>& action, Status status,
                           const std::string& text, const char* function = "reuse") {
        EXPECT_TRUE(throwsFailure(action, status, text, function, FILE_NAME));
    };
    const auto refuses = [&](int src, int dst, const std::string& text) {
        data.reuse(box, 32, 1);
        fails([&] { data.reuse(box, src, dst); }, RANGE,
              "Failure in ScaleData::reuse(...), " + text + " is out of range.");
        EXPECT_TRUE(data.index.size() == 1 && data.src_size == 32 && data.aperture == 32);
    };
    refuses(0, 1, "parameter 'src_size'");
    refuses(8193, 0, "parameter 'src_size'");
    refuses(5, 0, "parameter 'dst_size'");
    refuses(5, 6, "parameter 'dst_size'");
    refuses(33, 1, "scale factor");

    const std::string zero = "Failure in computeWeights(...): Kernel has zero weight sum.";
    const std::string inner = "Failure in _computeWeights(...): ";
    const std::string too_wide =
        inner + "The kernel aperture is greater than MAX_FIXED_POINT_APERTURE";
    const Status null = TAVO_STATUS_NULL_POINTER, full = TAVO_STATUS_CAPACITY_EXCEEDED;
    const auto clears = [&](IKernel& kernel, int src, int dst, Status status,
                            const std::string& text) {
        data.reuse(wide, 200, 100);
        fails([&] { data.reuse(kernel, src, dst); }, status, text);
        EXPECT_TRUE(data.index.empty() && data.src_size == 0 && data.dst_size == 0);
    };
    clears(wider, 200, 100, full, too_wide);
    clears(wide, 100, 100, full, too_wide);
    clears(nothing, 9, 9, null, zero);
    clears(negative, 9, 9, null, zero);
    clears(absent, 9, 9, null, zero);
    clears(less, 9, 9, RANGE, "Parameter 'aperture' is out of range.");
    clears(drifting, 340, 320, TAVO_STATUS_ASSERTION_FAILED, INNER_FULL);
    clears(huge, 9, 9, RANGE,
           "Failed to allocate kernel data due to: The kernel table exceeds 32 bits.");

    const char name[] = "_computeWeights";
    fails([&] { Data::_computeWeights(&box, 2, 0, nullptr, nullptr); }, null,
          inner + "Parameter 'p_weights' is null.", name);
    fails([&] { Data::_computeWeights(&box, 2, 0, w.data(), nullptr); }, null,
          inner + "Parameter 'p_weight_buffer' is null.", name);
    for (const int capacity : {0, 0x40000000}) {
        fails([&] { weigh(wider, 2, capacity); }, RANGE,
              inner + "Parameter 'weight_capacity' is out of range.", name);
    }
    for (const float phase : {-0.01f, 1.0f}) {
        fails([&] { weigh(wider, phase, 9); }, RANGE, inner + "Parameter 'phase' is out of range.",
              name);
    }
    fails([&] { weigh(wider, 0, 64); }, full, inner + "Not enough capacity to fit the kernel.",
          name);
    fails([&] { weigh(absent, 0, 9); }, null, zero, name);
    fails([&] { Data::_reflectWeights(w.data(), 9, 0, 9, 9, nullptr); }, null,
          "Failure in _reflectWeights(...) : Parameter 'p_borderWieghts' is null.",
          "_reflectWeights");
    fails([&] { Data::_reflectWeights(w.data(), 65, 0, 70, 70, w.data()); }, RANGE,
          "Failure in _reflectWeights(...) : Parameter 'aperture' is out of range.",
          "_reflectWeights");
    fails([&] { Data::_computeIntegral(nullptr, 0, 0, 1); }, null, "Parameter '_p_kernel' is null.",
          "_computeIntegral");
}

TEST(ScaleData, SurvivesAnyKernel) {
    FlatKernel endless(INFINITY, 1), least(-INFINITY, 1), nameless(NAN, 1);
    FailingKernel own([] { throw Exception(nullptr, TAVO_STATUS_BAD_FORMAT, "", "", 1, "own"); });
    FailingKernel hungry([] { throw std::bad_alloc(); });
    FailingKernel other([] { throw std::runtime_error("other"); });
    FailingKernel any([] { throw 1; });
    const auto fails = [](IKernel& kernel, Status status, const std::string& text) {
        BoxKernel box;
        ScaleData<short> data;
        data.reuse(box, 32, 1);
        EXPECT_TRUE(
            throwsFailure([&] { data.reuse(kernel, 9, 9); }, status, text, "reuse", FILE_NAME));
        EXPECT_TRUE(data.index.empty() && data.src_size == 0 && data.dst_size == 0);
    };
    fails(endless, RANGE,
          "Failed to allocate kernel data due to: The kernel table exceeds 32 bits.");
    fails(least, RANGE, "Parameter 'aperture' is out of range.");
    fails(nameless, RANGE, "Parameter 'aperture' is out of range.");
    fails(own, TAVO_STATUS_BAD_FORMAT, "own");
    fails(hungry, TAVO_STATUS_OUT_OF_MEMORY, std::bad_alloc().what());
    fails(other, TAVO_STATUS_INVALID_PARAMETER, "other");
    fails(any, TAVO_STATUS_INVALID_PARAMETER, "The kernel has failed.");
}

TEST(ScaleKernels, HaveTheirShapes) {
    const auto sinc = [](double t) {
        const double angle = std::acos(-1.0) * t;
        return t == 0 ? 1 : std::sin(angle) / angle;
    };
    BoxKernel box;
    TriangleKernel triangle;
    LanczosKernel lanczos;
    for (const float scale : {1.0f, 1.3f, 7.6f, 8192.0f}) {
        box.configure(scale);
        triangle.configure(scale);
        lanczos.configure(scale);
        EXPECT_EQ(std::vector<float>({box.aperture(), triangle.aperture(), lanczos.aperture()}),
                  std::vector<float>({scale, 2 * scale, 6 * scale}));
        for (int i = -700; i <= 700; ++i) {
            const float x = float(i) * scale / 200;
            const double t = std::fabs(double(x) / double(scale));
            EXPECT_NEAR(double(triangle.value(x)), std::max(0.0, 1 - t), 1e-6);
            EXPECT_NEAR(double(lanczos.value(x)), t < 3 ? sinc(t) * sinc(t / 3) : 0, 1e-6);
        }
        const float edge = float(double(scale) / 2 + double(0.001f));
        EXPECT_TRUE(box.value(edge) == 1 && box.value(-edge) == 1 && box.value(0) == 1);
        EXPECT_TRUE(box.value(std::nextafter(edge, 1e9f)) == 0);
        EXPECT_TRUE(box.value(std::nextafter(-edge, -1e9f)) == 0);
    }
}

}  // namespace
