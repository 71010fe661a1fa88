// Resizers against weighted sums of taps, and the choice among them. Rows lie between inaccessible
// pages, so that an access outside of them ends the program.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <ostream>
#include <random>
#include <typeinfo>
#include <vector>

#include "simd/simd.h"
#include "support/frames.h"

namespace {

namespace Base = Simd::Base;
using Size = std::uint32_t;
#ifdef TAVO_NEON
namespace Vector = Simd::Neon;
#else
namespace Vector = Simd::Base;
#endif

enum Type : Size { Byte, Short, Float };
enum Method : Size { Centre, TopLeft, Linear, LinearCorner, LinearTopLeft, Cubic, Area, AreaFast };

struct Shape {
    Size src_width, src_height, dst_width, dst_height, channels, type, method;
};

std::ostream& operator<<(std::ostream& out, const Shape& s) {
    return out << s.src_width << "x" << s.src_height << " to " << s.dst_width << "x" << s.dst_height
               << ", channels " << s.channels << ", type " << s.type << ", method " << s.method;
}

enum Variant { Portable, Neon, Avx2 };

/// Those that this processor runs.
std::vector<Variant> variants() {
    std::vector<Variant> result = {Portable};
    if (Simd::Neon::Enable) {
        result.push_back(Neon);
    }
    if (Simd::Avx2::Enable) {
        result.push_back(Avx2);
    }
    return result;
}

std::unique_ptr<Simd::Resizer> make(const Shape& s, Variant variant) {
    constexpr decltype(&Base::ResizerInit) CREATE[] = {Base::ResizerInit, Simd::Neon::ResizerInit,
                                                       Simd::Avx2::ResizerInit};
    return std::unique_ptr<Simd::Resizer>(CREATE[variant](
        s.src_width, s.src_height, s.dst_width, s.dst_height, s.channels, s.type, s.method));
}

// ---- Formulas -----------------------------------------------------------------------------------

/// Elements of any type, row after row.
using Picture = std::vector<float>;

/// A sample's share in a destination coordinate, in the unit of the filter.
struct Tap {
    int sample;
    float weight;
};
using Taps = std::vector<Tap>;

/// scale * (i + 0.5) - 0.5, rounded once: 24 bits times a short index are exact in double.
float centred(Size src, Size dst, Size i) {
    const double scale = float(src) / float(dst);
    return float(scale * (i + 0.5) - 0.5);
}

/// The left sample, and the weight of the right one.
Tap linearTap(Size method, Size src, Size dst, Size i) {
    const float scale = method != LinearCorner ? float(src) / float(dst)
                        : dst < 2              ? 0.0f
                                               : float(src - 1) / float(dst - 1);
    const float x = method == Linear ? centred(src, dst, i) : float(i) * scale;
    const int sample = int(std::floor(x));
    return sample >= int(src) - 1 ? Tap{int(src) - 2, 1.0f}
           : sample < 0           ? Tap{0, 0.0f}
                                  : Tap{sample, x - float(sample)};
}

/// A weight of bytes; the sum is rounded once.
float sixteenths(float weight) {
    return std::floor(float(double(weight) * 16 + 0.5));
}

Taps areaTaps(int range, Size src, Size dst, Size i) {
    const float scale = float(src) / float(dst);
    const auto edge = [&](Size k) {
        const float x = float(k) * scale;
        const int cell = int(x);
        const float share = (1.0f - (x - float(cell))) * float(range) / scale;
        return cell == int(src) ? Tap{cell - 1, 0.0f} : Tap{cell, std::trunc(share)};
    };
    Taps taps;
    const Tap first = edge(i), last = edge(i + 1);
    for (int cell = first.sample; cell <= last.sample; ++cell) {
        const float before = cell == first.sample ? first.weight : edge(0).weight;
        taps.push_back({cell, before - (cell == last.sample ? last.weight : 0.0f)});
    }
    return taps;
}

Taps cubicTaps(Size src, Size dst, Size i) {
    const float x = centred(src, dst, i);
    const int floor = int(std::floor(x)), second = std::max(floor, 0), last = int(src) - 1;
    if (second >= last) {
        return {{last, -128.0f}};
    }
    const float d = floor < 0 ? 0.0f : x - float(floor);
    const float weights[] = {(2.0f - d) * 128.0f * (1.0f - d) * d / 6.0f,
                             (1.0f - d) * ((d - 2.0f) * 128.0f * (d + 1.0f)) * 0.5f,
                             d * ((d - 2.0f) * 128.0f * (d + 1.0f)) * 0.5f,
                             (d + 1.0f) * 128.0f * (1.0f - d) * d / 6.0f};
    Taps taps;
    for (int k = 0; k < 4; ++k) {
        const float rounded = std::trunc(weights[k] + (weights[k] >= 0.0f ? 0.5f : -0.5f));
        taps.push_back({std::min(std::max(second + k - 1, 0), last), rounded});
    }
    return taps;
}

/// Cubic needs more than two samples.
Size filterOf(const Shape& s) {
    return s.method == Cubic && (s.src_width == 2 || s.src_height == 2) ? Size(Linear) : s.method;
}

Taps tapsAt(const Shape& s, Size src, Size dst, Size i) {
    const Size filter = filterOf(s);
    if (filter <= TopLeft) {
        const auto centre = Size((float(i) + 0.5f) * (float(src) / float(dst)));
        return {{int(std::min(filter == TopLeft ? i * src / dst : centre, src - 1)), 1.0f}};
    }
    if (filter >= Area) {
        const bool pairs = filter == AreaFast && 2 * s.dst_width <= s.src_width + 1 &&
                           2 * s.dst_height <= s.src_height + 1;
        Taps taps = areaTaps(pairs ? 1024 : 2048, pairs ? (src + 1) / 2 : src, dst, i);
        for (std::size_t k = pairs ? taps.size() : 0; k-- != 0; taps[k].sample *= 2) {
            taps.push_back({std::min(2 * taps[k].sample + 1, int(src) - 1), taps[k].weight});
        }
        return taps;
    }
    if (filter == Cubic) {
        return cubicTaps(src, dst, i);
    }
    const Tap left = linearTap(filter, src, dst, i);
    const float weight = s.type == Byte ? sixteenths(left.weight) : left.weight;
    return {{left.sample, (s.type == Byte ? 16.0f : 1.0f) - weight}, {left.sample + 1, weight}};
}

/// @param at      the sample at (row, column)
/// @param rounded of float sums: 1 when every product across is rounded on its own, plus 2 down
template <class At>
float valueOf(const Shape& s, const Taps& rows, const Taps& columns, Size rounded, At at) {
    const Size filter = filterOf(s);
    if (filter <= TopLeft) {
        return at(rows[0].sample, columns[0].sample);
    }
    if (s.type != Byte) {
        const auto blend = [](const Taps& taps, float a, float b, bool separate) {
            const float second = taps[1].weight * b;
            return separate ? taps[0].weight * a + second : std::fmaf(taps[0].weight, a, second);
        };
        const auto across = [&](const Tap& row) {
            return blend(columns, at(row.sample, columns[0].sample),
                         at(row.sample, columns[1].sample), rounded & 1);
        };
        const float value = blend(rows, across(rows[0]), across(rows[1]), rounded & 2);
        return s.type == Float ? value : float(int(value + 0.5f) & 0xFFFF);
    }
    std::int64_t sum = 0;
    for (const Tap& row : rows) {
        for (const Tap& column : columns) {
            sum += std::int64_t(row.weight) * std::int64_t(column.weight) *
                   int(at(row.sample, column.sample));
        }
    }
    return filter == Linear  ? float((sum + 128) >> 8)
           : filter == Cubic ? float(std::min(std::max(int((sum + 8192) >> 14), 0), 255))
                             : float(((sum + 0x200000) >> 22) & 255);
}

/// @return a picture for each of the first @p count ways to round
std::vector<Picture> scaled(const Shape& s, const Picture& source, Size count) {
    std::vector<Picture> results(count);
    std::vector<Taps> columns;
    for (Size x = 0; x < s.dst_width; ++x) {
        columns.push_back(tapsAt(s, s.src_width, s.dst_width, x));
    }
    for (Size y = 0; y < s.dst_height; ++y) {
        const Taps rows = tapsAt(s, s.src_height, s.dst_height, y);
        for (Size i = 0; i < s.dst_width * s.channels * count; ++i) {
            const Size channel = i / count % s.channels;
            const auto at = [&](int row, int column) {
                return source[(Size(row) * s.src_width + Size(column)) * s.channels + channel];
            };
            const Taps& across = columns[i / count / s.channels];
            results[i % count].push_back(valueOf(s, rows, across, i % count, at));
        }
    }
    return results;
}

// ---- Trials -------------------------------------------------------------------------------------

using Bytes = std::vector<unsigned char>;
constexpr Size ELEMENT_BYTES[] = {1, 2, 4};

/// Rows of @p length elements in memory, with sentinels between them.
Bytes imageOf(const Picture& picture, Size type, Size length, Size padding) {
    const std::size_t bytes = ELEMENT_BYTES[type], rows = picture.size() / length;
    Bytes image((rows * (length + padding) - padding) * bytes, 0xA5);
    for (std::size_t i = 0; i < picture.size(); ++i) {
        // The low bytes of a whole number come first.
        const Size whole = type == Float ? 0 : Size(picture[i]);
        const void* const value = type == Float ? static_cast<const void*>(&picture[i]) : &whole;
        std::memcpy(&image[(i + i / length * padding) * bytes], value, bytes);
    }
    return image;
}

/// Copies @p image to an end of memory between inaccessible pages.
unsigned char* put(const Bytes& image, support::PageGuardedFrame& memory, bool at_end) {
    unsigned char* const start =
        memory.frame().planeData(0) + (at_end ? (1 << 21) - image.size() : 0);
    return static_cast<unsigned char*>(std::memcpy(start, image.data(), image.size()));
}

/// @param allowed pictures, of which each element is one's; none when nothing is written
testing::AssertionResult gives(const Shape& s,
                               Simd::Resizer& resizer,
                               const Picture& source,
                               const std::vector<Picture>& allowed,
                               bool at_end) {
    static support::PageGuardedFrame from(tavo::FRAME_GRAY8, {2048, 1024}, true);
    static support::PageGuardedFrame to(tavo::FRAME_GRAY8, {2048, 1024}, true);
    const Size bytes = ELEMENT_BYTES[s.type], padding = at_end ? 3 : 0, src_padding = 3 - padding;
    const Size length = s.dst_width * s.channels, src_length = s.src_width * s.channels;
    const Size stride = (length + padding) * bytes, src_stride = (src_length + src_padding) * bytes;
    const Bytes empty(stride * s.dst_height - padding * bytes, 0xA5);
    std::vector<Bytes> images(allowed.empty() ? 1 : 0, empty);
    for (const Picture& picture : allowed) {
        images.push_back(imageOf(picture, s.type, length, padding));
    }
    unsigned char* const dst = put(empty, to, at_end);
    resizer.Run(put(imageOf(source, s.type, src_length, src_padding), from, at_end), src_stride,
                dst, stride);
    for (std::size_t i = 0; i < empty.size(); i += bytes) {
        const auto differs = [&](const Bytes& image) {
            return std::memcmp(dst + i, &image[i], bytes) != 0;
        };
        if (std::all_of(images.begin(), images.end(), differs)) {
            return testing::AssertionFailure()
                   << s << ": byte " << i % stride << " of row " << i / stride << " by "
                   << typeid(resizer).name() << " is " << +dst[i] << ", not " << +images[0][i];
        }
    }
    return testing::AssertionSuccess();
}

/// Runs an object on one picture, on another and on the first again, at both ends of memory.
void tryShape(const Shape& s) {
    static std::mt19937 random(5);
    for (const Variant variant : variants()) {
        const bool neon = variant == Neon;
        const auto resizer = make(s, variant);
        ASSERT_TRUE(resizer) << s;
        const bool takes_any = s.method <= TopLeft || s.type == Float ||
                               (s.type == Byte && filterOf(s) == Linear && !neon);
        // Vectors round products, in blocks of a width of their own.
        const Size ways = neon && s.type != Byte && s.method > TopLeft ? 4 : 1;
        Picture sources[2];
        std::vector<Picture> expected[2];
        for (const int run : {0, 1, 2}) {
            Picture& source = sources[run % 2];
            while (source.size() < s.src_width * s.src_height * s.channels) {
                // The second picture is bright, so that sums are large.
                const Size noise = Size(random()) | Size(run) * 0xF0;
                const auto value = float(noise % (s.type == Byte ? 256 : 65536));
                // A negative zero stays one unless a sample of no weight is added to it.
                const float number = noise % 8 == 0 ? -0.0f : value * 0.123f;
                source.push_back(s.type == Float ? number : value);
            }
            if (run < 2 && (s.channels <= 4 || takes_any)) {
                expected[run] = scaled(s, source, ways);
            }
            ASSERT_TRUE(gives(s, *resizer, source, expected[run % 2], run == 0));
        }
    }
}

// ---- Tests --------------------------------------------------------------------------------------

class ResizerOf : public testing::TestWithParam<int> {};

TEST_P(ResizerOf, EverySizeGivesWeightedSums) {
    const Size type = Size(GetParam()) / 10, method = Size(GetParam()) % 10;
    // Every pair of lengths as widths, each with another pair as heights.
    const Size lengths[] = {1, 2, 3, 15, 16, 17, 33, 64};
    for (Size i = 0; i < 64 * 4; ++i) {
        const Size x = i % 64, y = (x * 37 + 11 + i / 64) % 64;
        const Size w = lengths[x / 8], h = lengths[y / 8], to_w = lengths[x % 8];
        if (!HasFatalFailure() && (method <= TopLeft || (w > 1 && h > 1))) {
            tryShape({w, h, to_w, lengths[y % 8], i / 64 + 1, type, method});
        }
    }
    // Gathered and fetched pairs, direct sums and rings, rows of no weight, too many channels.
    const Shape others[] = {{640, 3, 161, 5, 1, type, method}, {640, 4, 160, 2, 1, type, method},
                            {33, 17, 640, 4, 1, type, method}, {640, 16, 33, 3, 3, type, method},
                            {40, 700, 20, 2, 1, type, method}, {9, 2100, 3, 1, 1, type, method},
                            {901, 9, 70, 4, 2, type, method},  {333, 7, 40, 3, 4, type, method},
                            {641, 9, 160, 3, 1, type, method}, {300, 20, 420, 31, 3, type, method},
                            {17, 16, 33, 15, 5, type, method}, {2, 9, 17, 2, 5, type, method},
                            {36, 9, 34, 13, 1, type, method}};
    std::for_each(std::begin(others), std::end(others), tryShape);
}

// Tens are the type, units the method.
INSTANTIATE_TEST_SUITE_P(TypeAndMethod,
                         ResizerOf,
                         testing::Values(0, 2, 5, 6, 7, 11, 12, 20, 22, 23, 24));

/// Every second pixel, or nearly, and windows of all widths, up to the end of a row.
TEST(Resizer, NearestOfManyRatios) {
    const Size ratios[][2] = {{74, 37},  {73, 37},  {75, 37},  {128, 64}, {32, 16}, {30, 15},
                              {200, 60}, {201, 31}, {400, 60}, {50, 200}, {64, 64}, {90, 59}};
    for (const auto& [src, dst] : ratios) {
        for (const Size channels : {1, 2, 3, 4, 5, 6, 8, 12}) {
            tryShape({src, 5, dst, 8, channels, Byte, Centre});
            tryShape({src, 8, dst, 4, channels, Byte, TopLeft});
        }
        tryShape({src, 4, dst, 3, 1, Short, Centre});
        tryShape({src, 4, dst, 3, 3, Float, Centre});
    }
}

/// Neighbours that lie together, and such that lie apart or do so only further on in a row.
TEST(Resizer, LinearBytesOfManyRatios) {
    for (const Size src : {29, 37, 47, 53, 56, 60, 75, 90, 112, 131, 176, 185, 300, 540, 740}) {
        for (const Size channels : {1, 2, 3, 4}) {
            tryShape({src, 9, 37, 4, channels, Byte, Linear});
            tryShape({src, 4, 37, 7, channels, Byte, Linear});
        }
    }
}

/// Sources that are larger than a cache.
TEST(Resizer, LargeFloats) {
    for (const Size channels : {1, 3}) {
        const Size height = 900 / channels;
        tryShape({300, height, 200, height / 3 * 2, channels, Float, Linear});
        tryShape({300, height, 211, height / 3 * 2, channels, Float, Linear});
    }
}

/// Nothing but black and white, at many distances from a sample: sums as far out as they come.
TEST(Resizer, CubicAtFullContrast) {
    std::mt19937 random(6);
    const Shape shapes[] = {{61, 61, 512, 256, 1, Byte, Cubic}, {64, 9, 333, 40, 3, Byte, Cubic}};
    for (const Shape& s : shapes) {
        for (const Variant variant : variants()) {
            Picture source(s.src_width * s.src_height * s.channels);
            for (float& sample : source) {
                sample = random() % 2 ? 255.0f : 0.0f;
            }
            EXPECT_TRUE(gives(s, *make(s, variant), source, scaled(s, source, 1), false));
        }
    }
}

TEST(Resizer, KnownPictures) {
    const auto run = [](const Shape& s, const Picture& source, const Picture& expected) {
        EXPECT_TRUE(gives(s, *make(s, Portable), source, {expected}, true));
    };
    run({3, 1, 2, 1, 1, Short, Centre}, {500, 600, 700}, {500, 700});
    run({4, 2, 2, 1, 1, Byte, Area}, {1, 2, 9, 9, 3, 4, 9, 8}, {3, 9});
    run({3, 3, 2, 2, 1, Byte, AreaFast}, {8, 8, 4, 8, 8, 4, 2, 2, 6}, {8, 4, 2, 6});
    run({4, 3, 8, 1, 1, Byte, Cubic}, {0, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255, 255},
        {0, 0, 0, 60, 195, 255, 255, 255});
    run({3, 2, 2, 2, 1, Float, LinearCorner}, {1, 2, 3, 4, 5, 6}, {1, 3, 4, 6});
    run({3, 2, 6, 1, 1, Float, LinearTopLeft}, {1, 2, 3, 4, 5, 6}, {1, 1.5f, 2, 2.5f, 3, 3});
}

/// @tparam PORTABLE, VECTOR what the creating functions make; void for nothing
template <class PORTABLE, class VECTOR>
void expectClasses(const std::vector<Shape>& shapes) {
    for (const Shape& shape : shapes) {
        for (int neon = 0; neon <= int(Simd::Neon::Enable); ++neon) {
            const auto owner = make(shape, neon != 0 ? Neon : Portable);
            const Simd::Resizer* const resizer = owner.get();
            EXPECT_STREQ((resizer ? typeid(*resizer) : typeid(void)).name(),
                         (neon != 0 ? typeid(VECTOR) : typeid(PORTABLE)).name())
                << shape;
        }
    }
}

TEST(Resizer, TheFirstRuleThatMatchesChoosesTheClass) {
    using Nearest = Base::ResizerNearest;
    using Linear8 = Base::ResizerByteBilinear;
    using Linear16 = Base::ResizerShortBilinear;
    expectClasses<Nearest, Nearest>({{9, 9, 20, 9, 9, 2, 0}, {9, 9, 20, 9, 1, 0, 1}});
    expectClasses<Linear8, Linear8>({{9, 9, 15, 9, 1, 0, 2}, {2, 9, 15, 9, 1, 0, 5}});
    expectClasses<Linear8, Vector::ResizerByteBilinear>(
        {{9, 9, 16, 9, 5, 0, 2}, {2, 9, 16, 9, 1, 0, 5}, {9, 2, 16, 9, 1, 0, 5}});
    expectClasses<Base::ResizerByteBicubic, Base::ResizerByteBicubic>({{3, 3, 16, 9, 1, 0, 5}});
    expectClasses<Linear16, Linear16>({{9, 9, 20, 9, 2, 1, 2}});
    expectClasses<Linear16, Vector::ResizerShortBilinear>({{9, 9, 20, 9, 1, 1, 2}});
    expectClasses<Base::ResizerFloatBilinear, Vector::ResizerFloatBilinear>(
        {{9, 9, 1, 1, 1, 2, 2}, {9, 9, 2, 2, 5, 2, 3}, {9, 9, 2, 2, 4, 2, 4}});
    expectClasses<Base::ResizerByteArea2x2, Base::ResizerByteArea2x2>({{99, 99, 50, 50, 1, 0, 7}});
    expectClasses<Base::ResizerByteArea1x1, Vector::ResizerByteArea1x1>(
        {{9, 9, 1, 1, 5, 0, 6}, {98, 99, 50, 50, 1, 0, 7}, {99, 98, 50, 50, 1, 0, 7}});
    // A single column or row is nearest, unless a vector class comes first.
    expectClasses<Nearest, Nearest>({{1, 9, 15, 9, 1, 0, 2}, {9, 1, 16, 9, 1, 0, 3}});
    expectClasses<Nearest, Nearest>({{9, 1, 16, 9, 1, 0, 5}, {1, 9, 1, 5, 1, 0, 7}});
    expectClasses<Nearest, Nearest>({{1, 9, 9, 9, 3, 1, 6}, {9, 1, 9, 9, 1, 2, 7}});
    expectClasses<Nearest, Vector::ResizerByteBilinear>(
        {{1, 9, 16, 9, 1, 0, 2}, {2, 1, 16, 9, 1, 0, 5}});
    expectClasses<Nearest, Vector::ResizerByteArea1x1>(
        {{9, 1, 9, 9, 1, 0, 6}, {1, 9, 1, 6, 1, 0, 7}});
    expectClasses<Nearest, Vector::ResizerShortBilinear>({{1, 9, 9, 9, 1, 1, 2}});
    expectClasses<Nearest, Vector::ResizerFloatBilinear>({{9, 1, 9, 9, 1, 2, 3}});
    for (const Size kind : {3, 4, 8, 13, 14, 15, 16, 17, 25, 26, 27, 32}) {
        expectClasses<void, void>({{9, 9, 2, 2, 1, kind / 10, kind % 10}});
    }
}

/// Whole ratios at which taps repeat, sizes next to them, and other ratios from top to bottom.
TEST(Resizer, RatiosOfSmallNumbers) {
    const Size ratios[][2] = {{2, 1}, {3, 1}, {3, 2}, {1, 2}, {4, 1}, {1, 1}, {4, 3}};
    const Size kinds[][2] = {{Byte, Linear}, {Byte, Area}, {Float, Linear}, {Float, LinearTopLeft}};
    std::mt19937 random(8);
    for (Size i = 0; i < 7 * 4 * 4 * 10 && !HasFatalFailure(); ++i) {
        const auto& [across, to] = ratios[i % 7];
        const auto& [type, method] = kinds[i / 7 % 4];
        const Size turn = i / 28 / 4;
        // Vectors begin at 16 columns, doubled rows at 34 or 66 and in bands of 8.
        const Size lengths[] = {16, 20, 18, 67, 33, 36, 194, 66, 3 + Size(random()) % 70, 34};
        const Size columns = lengths[turn] / to + turn % 2, rows = turn == 6 ? 20 : 2 + turn % 4;
        Shape s = {columns * across, rows * across, columns * to, rows * to,
                   i / 28 % 4 + 1,   type,          method};
        if (turn % 3 == 1) {
            s.src_height = 2 + Size(random()) % 30;
            s.dst_height = 1 + Size(random()) % 30;
        } else if (turn % 3 == 2) {
            s.src_width += Size(random()) % 2;
            s.src_height += Size(random()) % 2;
        }
        tryShape(s);
    }
}

/// Rows so long that floats no longer hold the middle between two pixels: the last columns of a
/// half are not between them.
TEST(Resizer, HalvesBeyondExactPositions) {
    constexpr Size WIDTH = (1 << 22) + 64;
    std::mt19937 random(11);
    Bytes source(2 * 2 * WIDTH);
    std::generate(source.begin(), source.end(), [&] { return random() % 256; });
    const auto halved = [&](Variant variant) {
        Bytes result(WIDTH);
        make({2 * WIDTH, 2, WIDTH, 1, 1, Byte, Linear}, variant)
            ->Run(source.data(), 2 * WIDTH, result.data(), WIDTH);
        return result;
    };
    const Bytes expected = halved(Portable);
    const auto at = [&](Size x) { return Size(source[x]) + source[x + 2 * WIDTH]; };
    EXPECT_EQ(expected[9], (at(18) + at(19) + 2) / 4);
    EXPECT_EQ(expected[WIDTH - 9], (at(2 * WIDTH - 18) + 1) / 2);
    for (const Variant variant : variants()) {
        EXPECT_TRUE(halved(variant) == expected) << variant;
    }
}

/// A picture of blocks of @p size x @p size pixels, as many as there are sums of a block.
Picture everySum(Size size, Size length) {
    Picture picture(size * size * length);
    for (Size sum = 0; sum < length; ++sum) {
        for (Size i = 0, left = sum; i < size * size; ++i) {
            const Size value = std::min(left, Size(255));
            picture[i / size * size * length + sum * size + i % size] = float(value);
            left -= value;
        }
    }
    return picture;
}

/// Weights of 1024 and 682 in 2048ths, and those of 8 in 16ths, are cut short for whole blocks.
TEST(Resizer, MeansOfBlocksAreThoseOfTheirWeights) {
    for (const Size size : {2, 3}) {
        const Size length = size * size * 255 + 1;
        const Picture source = everySum(size, length);
        for (const Size method : {Linear, Area}) {
            const Shape s = {size * length, size, length, 1, 1, Byte, method};
            const Picture expected = scaled(s, source, 1)[0];
            for (const Variant variant : variants()) {
                EXPECT_TRUE(gives(s, *make(s, variant), source, {expected}, true));
            }
            for (Size sum = 0; size == 2 && sum < length; ++sum) {
                ASSERT_EQ(expected[sum], float((sum + 2) / 4));
            }
        }
    }
}

/// Opens the tables of a class.
template <class Class>
struct Tables : Class {
    using Class::ax, Class::ay, Class::Class, Class::ix, Class::iy;

    bool holds(Size i, int index, float weight) const {
        return ix.data[i] == index && iy.data[i] == index && float(ax.data[i]) == weight &&
               float(ay.data[i]) == weight;
    }
};

/// Ratios at which a product that is rounded before the half is taken from it gives another index
/// (the first four) or another weight. The numbers come from arithmetic on fractions.
TEST(Resizer, TablesAreTheSameOnEveryMachine) {
    const struct {
        Size src, dst, place;
        int index;
        float weight, exact_weight;
    } pins[] = {{33, 29, 14, 15, 16, 0x1.ffffep-1f},  {52, 20, 12, 31, 16, 0x1.ffffcp-1f},
                {65, 47, 23, 31, 16, 0x1.ffffcp-1f},  {99, 39, 6, 15, 16, 0x1.ffffep-1f},
                {6, 608, 218, 1, 10, 0x1.4ffffcp-1f}, {70, 480, 439, 63, 9, 0x1.2fff8p-1f},
                {98, 672, 55, 7, 9, 0x1.2ffffp-1f}};
    for (const auto& [src, dst, place, index, weight, exact_weight] : pins) {
        Bytes source(src * src), target(dst * dst);
        Tables<Base::ResizerByteBilinear> bytes({Byte, Linear, src, src, dst, dst, 1, 4});
        const Tables<Base::ResizerFloatBilinear> floats({Float, Linear, src, src, dst, dst, 1, 4});
        EXPECT_EQ(bytes.ax.size, 0u) << "made before they are needed";
        bytes.Run(source.data(), src, target.data(), dst);
        EXPECT_TRUE(bytes.holds(place, index, weight)) << src << " to " << dst;
        EXPECT_TRUE(floats.holds(place, index, exact_weight)) << src << " to " << dst;
        for (Size i = 0; i < dst; ++i) {
            const Tap tap = linearTap(Linear, src, dst, i);
            ASSERT_TRUE(bytes.holds(i, tap.sample, sixteenths(tap.weight)) &&
                        floats.holds(i, tap.sample, tap.weight))
                << src << " to " << dst << " at " << i;
        }
        tryShape({src, 3, dst, 4, 1, Byte, Linear});
        tryShape({src, 3, dst, 4, 3, Float, Linear});
    }
}

}  // namespace
