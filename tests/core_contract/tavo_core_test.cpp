#include "tavo_core/tavo_core.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "support/frames.h"

namespace {

using namespace tavo;

/// The status that @p action fails with, 0 when it does not fail.
int statusOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Exception& error) {
        return error.status;
    }
    return 0;
}

TEST(Rect, IsCroppedToTheFrame) {
    const auto crop = [](Rect rect, Size size) {
        rect.crop(size);
        return rect;
    };
    EXPECT_EQ(crop(Rect(2, 3, 4, 5), Size(10, 10)), Rect(2, 3, 4, 5));
    EXPECT_EQ(crop(Rect(-2, -3, 5, 5), Size(10, 10)), Rect(0, 0, 3, 2));
    EXPECT_EQ(crop(Rect(-5, 8, INT_MAX, INT_MAX), Size(10, 10)), Rect(0, 8, 10, 2));
    EXPECT_EQ(crop(Rect(INT_MAX - 1, 0, INT_MAX, 1), Size(INT_MAX, 5)), Rect(INT_MAX - 1, 0, 1, 1));
    for (const Rect outside : {Rect(10, 0, 1, 1), Rect(0, -4, 3, 4), Rect(3, 3, 0, 2),
                               Rect(INT_MIN, INT_MIN, INT_MAX, INT_MAX), Rect(INT_MIN, 0, -9, 1)}) {
        EXPECT_EQ(crop(outside, Size(10, 10)), Rect()) << outside.x << " " << outside.y;
    }
    EXPECT_TRUE(!Rect(-1, -1, 1, 1).empty() && Rect(0, 0, 1, -1).empty() && Size(0, 1).empty());
}

void reuse() {
    int evaluations = 0;
    try {
        if (evaluations != 0)
            TAVO_ASSERT(false);  // without braces: the macro is one statement
        else
            TAVO_ASSERT(++evaluations == 2);
    } catch (const Exception& error) {
        TAVO_TRANSLATE(error, "Nested %d: %s", evaluations, error.what());
    }
}

TEST(Exception, CarriesItsMessageAndPlace) {
    const char* const message = "Nested 1: Assertion failed: ++evaluations == 2";
    EXPECT_TRUE(support::throwsFailure(reuse, Status(2), message, "reuse", TAVO_SOURCE));
    const std::string text(6000, 'y');
    Exception cut(nullptr, TAVO_STATUS_BAD_FORMAT, "f", "g", 1, "z%s", text.c_str());
    const Exception copy = cut;
    cut = Exception(&copy, TAVO_STATUS_NOT_SUPPORTED, "run", "a/b", 7, "%d", -3);
    EXPECT_EQ(copy.what(), "z" + text.substr(0, 5118));
    EXPECT_STREQ(static_cast<const std::exception&>(cut).what(), "-3");
    EXPECT_TRUE(cut.status == 8 && cut.line() == 7 && cut.file() == std::string("a/b"));
}

TEST(Buffer, GrowsAndKeepsItsBlock) {
    EXPECT_TRUE(DeviceContext(3, 4, std::make_shared<int>(1)) == DeviceContext(3, 4));
    EXPECT_TRUE(DeviceContext(3, 4) != DeviceContext(3, 5) &&
                DeviceContext(1, 0) != DeviceContext());
    Buffer buffer;
    buffer.resize(100, true);
    std::memset(buffer.data, 7, 100);
    buffer.resize(5000, true);
    EXPECT_EQ(std::count(buffer.data, buffer.data + 100, 7), 100);
    unsigned char* const block = buffer.data;
    buffer.resize(10, false);
    buffer.resize(5000, false);
    EXPECT_EQ(buffer.data, block);
    buffer.setZero();
    EXPECT_EQ(std::count(block, block + 5000, 0), 5000);
    buffer.clear();
    EXPECT_TRUE(!buffer.data && buffer.size() == 0);
}

TensorLayout tensorLayout(const TensorSize& size, const TensorSize& strides) {
    return {TENSOR_FLOAT_16, TensorFormat(9), size, strides, TensorChannelOrder(0)};
}

TEST(Tensor, HoldsWhatItsStridesReach) {
    const TensorLayout layout = tensorLayout({3, {2, 3, 4}}, {3, {2, 32, 4}});
    EXPECT_EQ(layout.size_bytes, 96u);
    EXPECT_EQ(tensorLayout({1, {65535}}, {1, {65537}}).size_bytes, UINT_MAX);
    EXPECT_EQ(statusOf([] { tensorLayout({1, {65536}}, {1, {65536}}); }), 5);
    EXPECT_EQ(statusOf([] { tensorLayout({2, {1, 1}}, {1, {4}}); }), 5);
    EXPECT_EQ(statusOf([] { tensorLayout({2, {3, 0}}, {2, {4, 4}}); }), 5);
    EXPECT_EQ(statusOf([] { tensorLayout({2, {3, 1}}, {2, {4, -4}}); }), 5);
    Tensor tensor;
    EXPECT_TRUE(!tensor.initialized() && tensor.deviceContext() == DeviceContext());
    tensor.reuse(layout, DeviceContext(1, 1));
    EXPECT_EQ(std::count(tensor.data(), tensor.data() + 96, 0), 96);
    const Tensor copy = tensor;
    tensor.reuse(layout, DeviceContext());
    EXPECT_NE(copy.data(), tensor.data()) << "the block is fresh";
    EXPECT_EQ(statusOf([&] { tensor.reuse(TensorLayout(), DeviceContext()); }), 5);
    EXPECT_TRUE(tensor.initialized() && tensor.layout().strides == layout.strides);
    tensor.clear();
    EXPECT_TRUE(!tensor.initialized() && copy.deviceContext() == DeviceContext(1, 1));
}

TEST(ConstantArithmetic, ChangesTheSamplesOfTheRoiOnly) {
    const float values[] = {0.5f, -3.0f, 1024.0f};
    const Rect roi(2, 1, 3, 4);
    for (int form = 0; form < 6; ++form) {
        const int channels = form < 2 ? 3 : 1;
        const bool bottom_up = form >= 4;
        const auto add = form % 2 == 0;
        std::vector<float> plane(7 * 25);
        std::generate(plane.begin(), plane.end(), [i = -9.0f]() mutable { return i += 0.25f; });
        std::vector<float> expected = plane;
        for (int i = 0; i < 7 * 25; ++i) {
            const int y = bottom_up ? 6 - i / 25 : i / 25;
            const int x = i % 25 / channels;
            if (x >= 2 && x < 5 && y >= 1 && y < 5) {
                float& sample = expected[std::size_t(i)];
                const float value = values[i % 25 % channels];
                sample = add ? sample + value : sample * value;
            }
        }
        auto* data = reinterpret_cast<unsigned char*>(plane.data() + (bottom_up ? 6 * 25 : 0));
        const int stride = bottom_up ? -100 : 100;
        if (channels == 3) {
            (add ? addConstant_32f_C3 : mulConstant_32f_C3)(values, data, 100, roi);
        } else {
            (add ? addConstant_32f_C1 : mulConstant_32f_C1)(*values, data, stride, roi);
        }
        addConstant_32f_C1(1.0f, data, 4, Rect(0, 0, 0, 4));
        EXPECT_EQ(statusOf([&] { mulConstant_32f_C3(nullptr, data, 4, roi); }), 4);
        EXPECT_EQ(statusOf([&] { addConstant_32f_C3(values, data, 6, roi); }), 6);
        EXPECT_EQ(plane, expected) << form;
    }
}

/// @p value, or the whole number that it is a hair away from.
double withoutHair(double value) {
    return std::abs(value - std::round(value)) < 1e-7 ? std::round(value) : value;
}

TEST(Rotation, TurnsTheCornersOfTheRoi) {
    std::mt19937 random(1);
    const auto draw = [&](int low, int count) { return low + int(random() % unsigned(count)); };
    for (int i = 0; i < 3000; ++i) {
        const Rect roi(draw(-50, 99), draw(-50, 99), draw(1, 60), draw(1, i % 2 == 0 ? 4000 : 5));
        const float angle = float(draw(-12, 25)) * (i % 3 == 0 ? 30 : i % 3 == 1 ? 45 : 8.640625f);
        const float scale = float(draw(-3, 7)) / 2;
        const Point center(roi.width / 2, roi.height / 2);
        SCOPED_TRACE(testing::Message() << roi.width << "x" << roi.height << " by " << angle);
        float matrix[2][3] = {};
        getRotationMatrix2D(angle, center, matrix, scale);
        const double tolerance = std::fmod(angle, 90.0f) == 0.0f ? 0 : 1e-3;
        std::vector<double> xs, ys;
        for (const int corner : {0, 1, 2, 3}) {
            const double x = corner % 2 * (roi.width - 1), y = corner / 2 * (roi.height - 1);
            // Counter-clockwise as seen on the screen, where y grows downwards.
            const auto turned = std::complex<double>(x - center.x, y - center.y) *
                                std::polar(1.0, -double(angle) * std::acos(-1.0) / 180);
            xs.push_back(withoutHair(center.x + turned.real()));
            ys.push_back(withoutHair(center.y + turned.imag()));
            const auto at = [&](const float* row) {
                return double(row[0]) * x + double(row[1]) * y + double(row[2]);
            };
            const double s = double(scale);
            EXPECT_NEAR(at(matrix[0]), center.x + s * (xs.back() - center.x), tolerance);
            EXPECT_NEAR(at(matrix[1]), center.y + s * (ys.back() - center.y), tolerance);
        }
        const auto [min_x, max_x] = std::minmax_element(xs.begin(), xs.end());
        const auto [min_y, max_y] = std::minmax_element(ys.begin(), ys.end());
        const int left = int(std::floor(*min_x)), top = int(std::floor(*min_y));
        const int right = int(std::ceil(*max_x)), bottom = int(std::ceil(*max_y));
        const int dx = std::max(0, -left), dy = std::max(0, -top);
        Rect source = roi, inside;  // the source may be the very rectangle that is read
        Size size;
        getRotationRoi(angle, source, source, size, inside);
        EXPECT_EQ(source, Rect(roi.x - dx, roi.y - dy, roi.width + dx, roi.height + dy));
        EXPECT_EQ(size, Size(right + dx + 1, bottom + dy + 1));
        EXPECT_EQ(inside, Rect(left + dx, top + dy, right - left + 1, bottom - top + 1));
    }
}

TEST(Rotation, BadInputChangesNothing) {
    float matrix[2][3] = {};
    Rect source, inside;
    Size size;
    const auto status = [&](float angle, Rect roi) {
        return statusOf([&] { getRotationRoi(angle, roi, source, size, inside); });
    };
    EXPECT_EQ(status(45.0f, Rect(0, 0, 0, 2)), 5);
    EXPECT_EQ(status(45.0f, Rect(INT_MIN, 0, 9, 9)), 5);
    EXPECT_EQ(status(45.0f, Rect(0, 0, INT_MAX, INT_MAX)), 5);
    for (const float bad : {INFINITY, -INFINITY, NAN}) {
        EXPECT_EQ(status(bad, Rect(0, 0, 2, 2)), 6);
        EXPECT_EQ(statusOf([&] { getRotationMatrix2D(bad, Point(), matrix, 1.0f); }), 6);
        EXPECT_EQ(statusOf([&] { getRotationMatrix2D(1.0f, Point(), matrix, bad); }), 6);
    }
    EXPECT_EQ(statusOf([&] { getRotationMatrix2D(1.0f, Point(), nullptr, 1.0f); }), 4);
    EXPECT_TRUE(source == Rect() && inside == Rect() && size == Size() && matrix[0][0] == 0.0f);
}

}  // namespace
