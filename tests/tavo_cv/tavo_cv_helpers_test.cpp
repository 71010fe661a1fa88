// The free functions against loops over pixels, for targets in every state.

#include "tavo_cv/tavo_cv_helpers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>

#include "support/frames.h"
#include "tavo_core/tavo_arithmetic.h"
#include "tavo_cv/tavo_cv_backend_simd.h"

namespace {

using namespace tavo;
using support::flatFrame, support::randomFrame, support::samePixels;
using Job = std::function<void(const Frame&, Frame&)>;
const char* const SOURCE_FILE = "src/tavo_cv/tavo_cv_helpers";

Frame copyOf(const Frame& frame) {
    Frame copy;
    frame.copyTo(copy);
    return copy;
}

Frame part(Frame frame, Rect roi) {
    return getRegion(frame, roi);
}

unsigned char* pixel(const Frame& frame, int plane, int x, int y) {
    const PlaneLayout& layout = frame.layout().plane[plane];
    return frame.planeData(plane) + y * layout.stride + x * layout.channels;
}

/// Targets: uninitialized, the source itself, a region that fits, and one that does not.
void expectResult(const Frame& source, const Frame& expected, const Job& run) {
    Frame fresh, same = copyOf(source);
    run(source, fresh);
    EXPECT_TRUE(samePixels(fresh, expected));
    run(same, same);
    EXPECT_TRUE(samePixels(same, expected));

    const Size size(expected.width() + 5, expected.height() + 3);
    const Frame before = randomFrame(expected.format(), size, 9);
    const Rect inside(2, 2, expected.width(), expected.height());
    Frame parent = copyOf(before), region = part(parent, inside), after = copyOf(before);
    Frame after_region = part(after, inside);
    expected.copyTo(after_region);
    run(source, region);
    EXPECT_TRUE(samePixels(parent, after));

    const Frame words = randomFrame(FRAME_32U_C1, size, 9);
    parent = copyOf(words);
    region = part(parent, inside);
    run(source, region);
    EXPECT_TRUE(samePixels(region, expected));
    EXPECT_TRUE(samePixels(parent, words));
}

/// The status and text of a failure, after which the target is what it was, also the source itself.
std::string failureOf(const Frame& source, const Job& run) {
    Frame other = randomFrame(FRAME_YUV444, Size(3, 4), 9), same = source;
    const Frame before[] = {copyOf(other), copyOf(source)};
    std::string text;
    for (Frame* const target : {&other, &same}) {
        const unsigned char* const address = target->planeData(0);
        try {
            run(target == &other ? source : same, *target);
            ADD_FAILURE() << "nothing thrown";
        } catch (const Exception& error) {
            text = std::to_string(error.status) + ": " + error.what();
        }
        EXPECT_TRUE(samePixels(*target, before[target == &same]));
        EXPECT_EQ(target->planeData(0), address);
    }
    return text;
}

TEST(CvHelpers, EmptyThingsAreShared) {
    EXPECT_TRUE(emptyRoi() == Rect(0, 0, 0, 0));
    EXPECT_EQ(&emptyRoi(), &emptyRoi());
    EXPECT_FALSE(emptyFrame().initialized());
    EXPECT_EQ(&emptyFrame(), &emptyFrame());
}

TEST(CvHelpers, ResizeFrame) {
    const auto to = [](Size size, int method) {
        return [=](const Frame& f, Frame& dst) { resizeFrame(f, size, dst, ResizeMethod(method)); };
    };
    const Frame source = randomFrame(FRAME_NV12, Size(11, 8), 1);
    for (const int method : {0, 1, 2}) {
        Frame expected = flatFrame(FRAME_NV12, Size(6, 5), 0);
        CvBackendSimd backend;
        backend.setIntProperty(1, method);
        backend.resize(source, expected, Rect(), Rect());
        expectResult(source, expected, to(Size(6, 5), method));
    }
    const Frame words = randomFrame(FRAME_16U_C1, Size(4, 3), 1);
    const Frame floats = randomFrame(FRAME_GRAY_32F, Size(4, 4), 1);
    expectResult(words, words, to(Size(4, 3), 7));
    EXPECT_EQ(failureOf(words, to(Size(3, 3), 1)).substr(0, 39),
              "2: Assertion failed: bits_per_channel =");
    EXPECT_EQ(failureOf(source, to(Size(3, 3), 3)).substr(0, 30), "2: Assertion failed: value == ");
    EXPECT_EQ(failureOf(floats, to(Size(3, 3), 2)).substr(0, 2), "8:");
    for (const Size size : {Size(0, 4), Size(4, -1), Size(4, 4)}) {
        Frame target = copyOf(words);
        to(size, 1)(size == Size(4, 4) ? Frame() : source, target);
        EXPECT_FALSE(target.initialized());
    }
}

TEST(CvHelpers, ColorConvert) {
    const auto to = [](FrameFormat format) {
        return [=](const Frame& src, Frame& dst) { colorConvert(src, format, dst); };
    };
    const Frame source = randomFrame(FRAME_BGR24, Size(11, 7), 1);
    for (const FrameFormat format : {FRAME_GRAY8, FRAME_NV12, FRAME_PLANAR_32F, FRAME_BGR24}) {
        Frame expected = flatFrame(format, source.size(), 0);
        CvBackendSimd().colorCvt(source, expected, Rect());
        expectResult(source, expected, to(format));
    }
    Frame words = randomFrame(FRAME_16U_C1, Size(4, 3), 1), other = copyOf(words);
    expectResult(words, words, to(FRAME_16U_C1));
    EXPECT_EQ(failureOf(words, to(FRAME_BGR24)),
              "8: colorCvt: Unsupported conversion FRAME_16U_C1 -> FRAME_BGR24.");
    to(FRAME_INVALID)(source, words);
    to(FRAME_GRAY8)(Frame(), other);
    EXPECT_FALSE(words.initialized() || other.initialized());
}

Frame turned(const Frame& source, int rotation) {
    const Size size = source.size();
    Frame target =
        flatFrame(source.format(), rotation % 2 == 1 ? Size(size.height, size.width) : size, 0);
    for (int p = 0; p < source.layout().plane_count; ++p) {
        const PlaneLayout& plane = source.layout().plane[p];
        for (int i = 0; i < plane.width * plane.height; ++i) {
            const int x = i % plane.width, y = i / plane.width;
            const int right = plane.width - 1 - x, bottom = plane.height - 1 - y;
            const Point to[] = {Point(x, y), Point(bottom, x), Point(right, bottom),
                                Point(y, right)};
            std::memcpy(pixel(target, p, to[rotation].x, to[rotation].y), pixel(source, p, x, y),
                        plane.channels);
        }
    }
    return target;
}

TEST(CvHelpers, RotateFrameByQuarterTurns) {
    for (int number = FRAME_GRAY8; number <= FRAME_8U_C4; ++number) {
        const bool turns = number < FRAME_YV16 || number > FRAME_NV16;  // chroma fits afterwards
        for (const Size size : {Size(1, 1), Size(4, 2), Size(3, 5), Size(17, 9), Size(16, 33)}) {
            support::GuardedFrame source(FrameFormat(number), size, 7, number % 2 == 0);
            support::fillRandom(source.frame(), 1);
            for (int n = 0; n < 4; ++n) {
                const auto rotate = [&](const Frame& src, Frame& dst) {
                    rotateFrame(src, FixedRotation(n), dst);
                };
                if (turns || n % 2 == 0) {
                    expectResult(source.frame(), turned(source.frame(), n), rotate);
                } else {
                    const std::string error = failureOf(source.frame(), rotate);
                    EXPECT_EQ(error.substr(0, 2), "8:");
                    EXPECT_NE(error.find(toString(FrameFormat(number))), std::string::npos);
                }
            }
        }
    }
}

TEST(CvHelpers, RotateFrameChecksItsArguments) {
    Frame device, words = randomFrame(FRAME_16U_C1, Size(4, 4), 1);
    device.reuse(FRAME_BGR_32F, Size(2, 2), DeviceContext(1, 0), 0);
    const auto asserts = [](const std::string& text, const Frame& source, const Job& run) {
        Frame target;
        EXPECT_TRUE(support::throwsAssertion([&] { run(source, target); }, text, "rotateFrame",
                                             SOURCE_FILE));
    };
    const auto by = [](Rect roi, float angle) {
        return [=](const Frame& src, Frame& dst) {
            Rect dst_roi;
            rotateFrame(src, roi, angle, dst, dst_roi);
        };
    };
    const Job fixed = [](const Frame& src, Frame& dst) { rotateFrame(src, FixedRotation(4), dst); };
    for (const Job& run : {fixed, Job(by(Rect(), 0))}) {
        asserts("src.initialized()", Frame(), run);
        asserts("src.deviceContext() == DeviceContext::cpuContext()", device, run);
    }
    asserts("src.layout().plane[0].bits_per_channel == 8", words, fixed);
    const Frame gray = randomFrame(FRAME_GRAY8, Size(4, 4), 1);
    EXPECT_EQ(failureOf(gray, fixed), "6: Invalid fixed rotation 4");
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(failureOf(gray, by(Rect(0, 0, 4, 4), infinity)).substr(0, 2), "6:");
    EXPECT_EQ(failureOf(gray, by(Rect(), 30)).substr(0, 2), "5:");
    EXPECT_EQ(failureOf(gray, by(Rect(2, 1, 3, 2), 0)).substr(0, 2), "5:");
}

/// What is turned: a part of the source, or its top left part behind a black margin.
Frame regionOf(const Frame& source, Rect roi, Rect src_roi) {
    if (src_roi.x >= 0 && src_roi.y >= 0) {
        return part(source, src_roi);
    }
    const int width = std::min(roi.width, source.width());
    const int height = std::min(roi.height, source.height());
    Frame region = flatFrame(source.format(), Size(src_roi.width, src_roi.height), 0);
    Frame filled =
        part(region, Rect(src_roi.width - roi.width, src_roi.height - roi.height, width, height));
    part(source, Rect(0, 0, width, height)).copyTo(filled);
    return region;
}

/// The bilinear level of a region's plane at any position; black outside.
/// @param tolerance what rounded weights of 5 bits may do to it
double levelAt(const Frame& region, int p, int channel, double x, double y, double& tolerance) {
    const PlaneLayout& plane = region.layout().plane[p];
    double sum = 0, least = 255, most = 0;
    for (const int tap : {0, 1, 2, 3}) {
        const int i = int(std::floor(x)) + tap % 2, j = int(std::floor(y)) + tap / 2;
        const bool inside = i >= 0 && j >= 0 && i < plane.width && j < plane.height;
        const double value = inside ? pixel(region, p, i, j)[channel] : 0;
        sum += value * (1 - std::abs(x - i)) * (1 - std::abs(y - j));
        least = std::min(least, value);
        most = std::max(most, value);
    }
    tolerance = 0.51 + (most - least) / 31;
    return sum;
}

/// Smooth enough for a tolerance of one level wherever the region's edges are away.
Frame smoothFrame(FrameFormat format, Size size) {
    Frame frame = flatFrame(format, size, 0);
    for (int p = 0; p < frame.layout().plane_count; ++p) {
        const PlaneLayout& plane = frame.layout().plane[p];
        for (int i = 0; i < plane.height * plane.stride; ++i) {
            const double wave = std::sin(0.05 * (i % plane.stride) + 0.11 * (i / plane.stride) + p);
            frame.planeData(p)[i] = static_cast<unsigned char>(130 + 90 * wave);
        }
    }
    return frame;
}

void testAngle(const Frame& source, Rect roi, float angle) {
    Rect src_roi, dst_roi, expected_roi;
    Size size;
    getRotationRoi(angle, roi, src_roi, size, expected_roi);
    const Frame region = regionOf(source, roi, src_roi);
    Frame target;
    rotateFrame(source, roi, angle, target, dst_roi);
    ASSERT_TRUE(target.format() == source.format() && target.size() == size);
    EXPECT_TRUE(dst_roi == expected_roi);
    const double cos = std::cos(angle * std::acos(-1.0) / 180),
                 sin = std::sin(angle * std::acos(-1.0) / 180);
    const int center_x = src_roi.width - roi.width + roi.width / 2,
              center_y = src_roi.height - roi.height + roi.height / 2;
    for (int p = 0; p < target.layout().plane_count; ++p) {
        const PlaneLayout& plane = target.layout().plane[p];
        for (int i = 0; i < plane.height * plane.row_bytes; ++i) {
            const int c = i % plane.channels, x = i % plane.row_bytes / plane.channels - center_x,
                      y = i / plane.row_bytes - center_y;
            double tolerance;
            const double level = levelAt(region, p, c, center_x + cos * x - sin * y,
                                         center_y + sin * x + cos * y, tolerance);
            ASSERT_NEAR(pixel(target, p, x + center_x, y + center_y)[c], level,
                        std::fmod(angle, 90.0f) == 0 ? 1e-6 : tolerance)
                << "plane " << p << " at " << x + center_x << ", " << y + center_y;
        }
    }
}

TEST(CvHelpers, RotateFrameByAnyAngle) {
    const Rect rois[] = {Rect(13, 11, 21, 15), Rect(14, 12, 20, 10), Rect(0, 0, 21, 15),
                         Rect(15, 1, 16, 17),  Rect(0, 0, 48, 40),   Rect(-2, 5, 20, 20),
                         Rect(-1, -3, 60, 30), Rect(30, 30, 1, 1)};
    for (const FrameFormat format : {FRAME_GRAY8, FRAME_BGR24, FRAME_NV12}) {
        const Frame source = smoothFrame(format, Size(48, 40));
        for (const Rect& roi : rois) {
            for (int n = -48; n <= 48; ++n) {
                const float angle = 7.5f * float(n) + (n % 2 == 0 ? 0 : 0.37f);
                SCOPED_TRACE(testing::Message() << angle << " degrees, region " << roi.x << ", "
                                                << roi.y << ", " << roi.width);
                testAngle(source, roi, angle);
            }
        }
    }
    const Frame source = randomFrame(FRAME_NV12, Size(30, 24), 1);
    for (const Rect roi : {Rect(10, 8, 13, 11), Rect(0, 0, 30, 24)}) {
        Frame expected;
        Rect dst_roi;
        rotateFrame(source, roi, 30, expected, dst_roi);
        expectResult(source, expected, [&](const Frame& src, Frame& dst) {
            rotateFrame(src, roi, 30, dst, dst_roi);
        });
    }
}

/// The bits of the float that equals a half.
unsigned bitsOf(unsigned half) {
    const unsigned exponent = half >> 10 & 31, mantissa = half & 1023;
    const float size =
        std::ldexp(float(mantissa + (exponent ? 1024 : 0)), int(std::max(exponent, 1u)) - 25);
    unsigned bits;
    std::memcpy(&bits, &size, 4);
    return (exponent == 31 ? 0x7F800000 | mantissa << 13 : bits) | half >> 15 << 31;
}

TEST(CvHelpers, TensorFp16ToFp32) {
    const TensorSize size = {3, {2, 3, 5}};
    for (const TensorSize strides :
         {TensorSize{3, {30, 10, 2}}, {3, {40, 12, 2}}, {3, {1, 1, 5}}}) {
        Tensor source, target, device;
        source.reuse(
            TensorLayout(TENSOR_FLOAT_16, TensorFormat(9), size, strides, TensorChannelOrder(4)),
            DeviceContext());
        device.reuse(source.layout(), DeviceContext(1, 0));
        const Tensor halves = source;
        const unsigned count = halves.layout().size_bytes / 2;
        for (unsigned i = 0; i < count; ++i) {
            const auto half = static_cast<unsigned short>(i < 6 ? 0x7BFF + i * 0x4001 : i * 2221);
            std::memcpy(halves.data() + 2 * i, &half, 2);
        }
        for (Tensor* const floats : {&target, &target, &source}) {
            tensorFp16ToFp32(source, *floats);
            const TensorLayout& layout = floats->layout();
            EXPECT_EQ(layout.dataType, TENSOR_FLOAT_32);
            EXPECT_EQ(int(layout.format), 9);
            EXPECT_EQ(int(layout.channelOrder), 0);
            EXPECT_EQ(layout.size_bytes, 2 * halves.layout().size_bytes);
            EXPECT_TRUE(layout.size == size);
            for (unsigned i = 0; i < count; ++i) {
                EXPECT_EQ(layout.strides.dim[i % 3], 2 * strides.dim[i % 3]);
                unsigned short half;
                unsigned bits;
                std::memcpy(&half, halves.data() + 2 * i, 2);
                std::memcpy(&bits, floats->data() + 4 * i, 4);
                EXPECT_EQ(bits, bitsOf(half)) << half;
            }
        }
        const auto fails = [](const Tensor& from, Tensor& to, const char* text) {
            const unsigned char* const address = to.data();
            EXPECT_TRUE(support::throwsAssertion([&] { tensorFp16ToFp32(from, to); }, text,
                                                 "tensorFp16ToFp32", SOURCE_FILE));
            EXPECT_EQ(to.data(), address);
        };
        const auto type = "src.initialized() && src.layout().dataType() == TENSOR_FLOAT_16";
        const auto context =
            "src.deviceContext() == DeviceContext::cpuContext() && src.deviceContext() == "
            "dst.deviceContext()";
        fails(Tensor(), target, type);
        fails(target, target, type);
        fails(device, target, context);
        fails(halves, device, context);
    }
}

TEST(CvHelpers, InvertAffineTransform) {
    const float identity[6] = {1, 0, 0, 0, 1, 0}, zeros[6] = {};
    float inverse[6];
    EXPECT_TRUE(invertAffineTransform(identity, inverse));
    EXPECT_TRUE(std::equal(inverse, inverse + 6, identity));
    for (const auto& singular : {std::array<float, 6>{}, {1, 2, 5, 2, 4, 6}}) {
        EXPECT_FALSE(invertAffineTransform(singular.data(), inverse));
        EXPECT_TRUE(std::equal(inverse, inverse + 6, zeros));
    }
    std::mt19937 generator(1);
    std::uniform_real_distribution<float> any(-3, 3);
    for (int n = 0; n < 2000; ++n) {
        float m[6];
        std::generate_n(m, 6, [&] { return any(generator); });
        if (n % 2 == 1) {  // only roundings keep it from being singular, and its shift from 0
            m[3] = m[0], m[4] = m[1], m[5] = m[2];
        }
        const auto [a, b, c, d, e, f] = m;
        const float determinant = std::fma(a, e, -(d * b));
        const double scale = determinant == 0 ? 0.0 : 1.0 / double(determinant);
        const double A = e * scale, B = -b * scale, D = -d * scale, E = a * scale;
        const double C = std::fma(-A, double(c), -(f * B)), F = std::fma(-D, double(c), -(f * E));
        const float expected[] = {float(A), float(B), float(C), float(D), float(E), float(F)};
        EXPECT_EQ(invertAffineTransform(m, inverse), determinant != 0);
        EXPECT_TRUE(std::equal(inverse, inverse + 6, expected)) << n;
        if (std::abs(determinant) > 0.1f) {  // a point goes there and back
            EXPECT_NEAR(A * (a * 2.0 + b * 3.0 + c) + B * (d * 2.0 + e * 3.0 + f) + C, 2, 1e-3);
            EXPECT_NEAR(D * (a * 2.0 + b * 3.0 + c) + E * (d * 2.0 + e * 3.0 + f) + F, 3, 1e-3);
        }
        EXPECT_EQ(invertAffineTransform(m, m), determinant != 0);
        EXPECT_TRUE(std::equal(m, m + 6, expected)) << n;
    }
}

}  // namespace
