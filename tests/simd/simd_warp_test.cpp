// The affine warp against a slow loop over pixels. Pictures lie between two inaccessible pages, so
// that an access outside of them ends the program, and everything around their pixels is compared.

#include "simd/simd_warp.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "simd/simd_platform.h"

namespace {

using Size = std::uint32_t;
using Bytes = std::vector<std::uint8_t>;
using Matrix = std::array<float, 6>;
constexpr Size ELEMENTS = Simd::WarpAffineChannelBit, BILINEAR = Simd::WarpAffineInterpBilinear,
               TRANSPARENT = Simd::WarpAffineBorderTransparent;
constexpr Size MODES[] = {0, BILINEAR, TRANSPARENT, BILINEAR | TRANSPARENT};
constexpr std::uint8_t BORDER[] = {100, 230, 99, 141};

struct Job {
    int src_width, src_height, dst_width, dst_height, channels;
    Size flags;
    Matrix mat;
    const std::uint8_t* border = BORDER;

    std::unique_ptr<Simd::WarpAffine> make(std::ptrdiff_t from, std::ptrdiff_t to) const {
        return std::unique_ptr<Simd::WarpAffine>(Simd::Base::WarpAffineInit(
            Size(src_width), Size(src_height), Size(from), Size(dst_width), Size(dst_height),
            Size(to), Size(channels), mat.data(), flags, border));
    }

    Bytes run(const Bytes& source, Bytes target) const {
        make(src_width * channels, dst_width * channels)->Run(source.data(), target.data());
        return target;
    }
};

int whole(float value) {
    return int(std::clamp(double(value), -1e9, 1e9));  // far beyond all sizes
}

int nearestTo(float value) {
    return whole(value + (value >= 0 ? 0.5f : -0.5f));
}

Matrix inverseOf(const Matrix& m) {
    const float determinant = std::fmaf(m[0], m[4], -(m[3] * m[1]));
    const double d = determinant == 0 ? 0.0 : 1.0 / double(determinant);
    const double a = m[4] * d, b = -m[1] * d, c = -m[3] * d, e = m[0] * d;
    return {float(a), float(b), float(std::fma(-a, double(m[2]), -(m[5] * b))),
            float(c), float(e), float(std::fma(-c, double(m[2]), -(m[5] * e)))};
}

/// An edge of the source's image: x = k y + c in the rows from top to bottom.
struct Line {
    float k, c, top, bottom;
};

/// The edges that cross rows. Those that come out without a number are left out.
std::vector<Line> linesOf(const Job& job, float left, float top, float right, float bottom) {
    const float xs[] = {left, right, right, left, left}, ys[] = {top, top, bottom, bottom, top};
    const auto& m = job.mat;
    float x[5], y[5];
    for (int i = 0; i < 5; ++i) {
        x[i] = std::fmaf(xs[i], m[0], ys[i] * m[1]) + m[2];
        y[i] = std::fmaf(xs[i], m[3], ys[i] * m[4]) + m[5];
    }
    const bool flat = !(job.flags & BILINEAR) && std::equal(y, y + 4, y + 1) &&  // a row of pixels
                      std::isfinite(x[0]) && std::isfinite(x[1]) && std::isfinite(x[2]) &&
                      std::isfinite(x[3]);
    std::vector<Line> lines;
    for (int i = 0; i < 4; ++i) {
        const float k = y[i] != y[i + 1] ? (x[i + 1] - x[i]) / (y[i + 1] - y[i]) : flat ? 0 : NAN;
        const float c = std::fmaf(-y[i], k, x[i]);
        if (std::isfinite(c)) {
            lines.push_back({k, c, std::max(std::min(y[i], y[i + 1]), 0.0f),
                             std::min(std::max(y[i], y[i + 1]), float(job.dst_height))});
        }
    }
    return lines;
}

/// The first column of a row between the edges, and the one behind the last.
std::array<int, 2> spanOf(const Job& job, const std::vector<Line>& lines, int y) {
    const bool nearest = !(job.flags & BILINEAR);
    const auto bound = [&](float v) { return nearest ? nearestTo(v) : whole(std::ceil(v)); };
    float low = INFINITY, high = -INFINITY;
    for (const Line& line : lines) {
        const bool visited = y >= bound(line.top) && y < bound(line.bottom) + nearest;
        const bool steep = nearest && std::fabs(line.k) <= 1;
        for (const float half : {-0.5f, 0.5f}) {
            const float row = float(y) + (nearest ? half : 0.0f);
            const float t = steep ? float(y) : std::max(std::min(row, line.bottom), line.top);
            const float x = std::fmaf(line.k, t, line.c);
            low = visited ? std::min(low, x) : low;
            high = visited ? std::max(high, x) : high;
        }
    }
    const int begin = bound(low), end = std::max(bound(high) + nearest, begin);
    return {std::clamp(begin, 0, job.dst_width), std::clamp(end, 0, job.dst_width)};
}

/// Rows of pixels; with a negative stride the last one comes first in memory.
struct View {
    std::uint8_t* first;
    std::ptrdiff_t stride;
    int channels;

    std::uint8_t* at(int x, int y) const { return first + y * stride + x * channels; }
};

/// A sample and the weight of the one behind it.
struct Tap {
    int index, weight;
};

Tap tapOf(const Job& job, float position, int size) {
    const bool nearest = !(job.flags & BILINEAR);
    const int index = nearest ? nearestTo(position) : whole(std::floor(position));
    return nearest ? Tap{std::clamp(index, 0, size - 1), 0}
                   : Tap{index, nearestTo((position - float(index)) * 32.0f) & 63};
}

/// What is no sample of the source counts as outside, wherever it is asked for.
void warpPixel(const Job& job, const View& src, const View& dst, int x, int y, bool outside) {
    const Matrix inv = inverseOf(job.mat);
    const float sx = std::fmaf(float(x), inv[0], float(y) * inv[1]) + inv[2];
    const float sy = std::fmaf(float(x), inv[3], float(y) * inv[4]) + inv[5];
    outside = outside || !std::isfinite(sx) || !std::isfinite(sy);
    const Tap u = outside ? Tap{-9, 0} : tapOf(job, sx, job.src_width);
    const Tap v = outside ? Tap{-9, 0} : tapOf(job, sy, job.src_height);
    for (int c = 0; c < job.channels; ++c) {
        std::uint8_t& out = dst.at(x, y)[c];
        const int border = job.flags & TRANSPARENT ? out : job.border ? job.border[c] : 0;
        const auto p = [&](int ix, int iy) {
            const bool there = ix >= 0 && ix < job.src_width && iy >= 0 && iy < job.src_height;
            return there ? src.at(ix, iy)[c] : border;
        };
        const auto across = [&](int iy) {
            return (32 - u.weight) * p(u.index, iy) + u.weight * p(u.index + 1, iy);
        };
        const int sum = (32 - v.weight) * across(v.index) + v.weight * across(v.index + 1);
        out = std::uint8_t((sum + 512) >> 10);
    }
}

/// Where all samples are there, tests of each make no difference.
void warpSlowly(const Job& job, const View& src, const View& dst) {
    const bool bilinear = job.flags & BILINEAR;
    const auto width = float(job.src_width), height = float(job.src_height);
    const float before = bilinear ? -0.9999f : 0.0f, behind = bilinear ? 0.0001f : 1.0f;
    const auto some = linesOf(job, before, before, width - behind, height - behind);
    const auto all = linesOf(job, 0.0001f, 0.0001f, width - 1 - 0.0001f, height - 1 - 0.0001f);
    for (int y = 0; y < job.dst_height; ++y) {
        const auto [lo, hi] = spanOf(job, some, y);
        const int beg = bilinear ? spanOf(job, all, y)[0] : lo;
        for (int x = 0; x < job.dst_width; ++x) {
            warpPixel(job, src, dst, x, y, x < std::min(lo, beg) || x >= hi);
        }
    }
}

std::mt19937 noise(1);

int any(int low, int high) {
    return low + int(noise() % Size(high - low + 1));
}

/// Memory between two inaccessible parts, full of noise.
struct GuardedMemory {
    std::ptrdiff_t bytes;
    std::uint8_t* start;

    explicit GuardedMemory(std::ptrdiff_t size) : bytes(size) {
        const auto room = std::size_t(size);
        void* const all = mmap(nullptr, 3 * room, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        start = static_cast<std::uint8_t*>(all) + bytes;
        EXPECT_EQ(mprotect(start, room, PROT_READ | PROT_WRITE), 0);
    }

    Bytes fill() {
        auto* const words = static_cast<Size*>(static_cast<void*>(start));
        std::generate_n(words, bytes / 4, [] { return Size(noise()); });
        return {start, start + bytes};
    }

    /// Rows at the start or at the end.
    View place(int width, int height, int channels) const {
        const std::ptrdiff_t row = width * channels, stride = row + any(0, 3);
        const std::ptrdiff_t last = stride * (height - 1);
        std::uint8_t* const top = any(0, 1) ? start : start + bytes - last - row;
        return any(0, 3) ? View{top, stride, channels} : View{top + last, -stride, channels};
    }
};

/// Runs a warp twice on noise, and compares all of the memory.
testing::AssertionResult warps(const Job& job) {
    static GuardedMemory small[] = {GuardedMemory(1 << 14), GuardedMemory(1 << 14)};
    static GuardedMemory large[] = {GuardedMemory(1 << 20), GuardedMemory(1 << 20)};
    auto& [source, target] = job.dst_height > 100 ? large : small;
    const View src = source.place(job.src_width, job.src_height, job.channels);
    const View dst = target.place(job.dst_width, job.dst_height, job.channels);
    const auto warp = job.make(src.stride, dst.stride);
    const Matrix inv = inverseOf(job.mat);
    const bool singular = inv[0] == 0 && inv[1] == 0 && inv[3] == 0 && inv[4] == 0;
    std::ptrdiff_t at = singular == !warp ? target.bytes : -1;
    for (int run = 0; warp && at == target.bytes && run < 2; ++run) {
        source.fill();
        Bytes expected = target.fill();
        warpSlowly(job, src, {&expected[0] + (dst.first - target.start), dst.stride, dst.channels});
        warp->Run(src.first, dst.first);
        at = std::mismatch(expected.begin(), expected.end(), target.start).second - target.start;
    }
    return (at == target.bytes ? testing::AssertionSuccess() : testing::AssertionFailure())
           << "byte " << at - (dst.first - target.start) << ", channels " << job.channels
           << ", flags " << job.flags << testing::PrintToString(job.mat);
}

using Linear = std::array<float, 4>;
constexpr Linear LINEAR[] = {{1, 0, 0, 1},     {-1, 0, 0, 1},   {0, 1, 1, 0},
                             {1, 0.3f, 0, -1}, {13, 29, 1, 17}, {31, 0, 0.1f, 0.02f}};

/// All modes, channels and numbers of threads, at any sizes. The centres lie @p dx columns apart.
void tryAll(const Linear& m, float dx) {
    for (Size i = 0; i < 16; ++i) {
        Simd::ThreadCount = any(0, 5) ? 1 : Size(any(2, 5));  // more than the machine has
        const int w = any(1, any(1, 60)), h = any(1, any(1, 40));
        const int dst_w = any(1, 70), dst_h = any(1, 50);
        const float x = float(w) / 2, y = float(h) / 2;
        const Matrix mat = {m[0], m[1], float(dst_w) / 2 + dx - m[0] * x - m[1] * y,
                            m[2], m[3], float(dst_h) / 2 - m[2] * x - m[3] * y};
        EXPECT_TRUE(warps({w, h, dst_w, dst_h, int(i / 4 + 1), MODES[i % 4], mat}));
    }
    Simd::ThreadCount = 1;
}

TEST(WarpAffine, FollowsItsFormula) {
    for (int degrees = 0; degrees < 360; degrees += 9) {
        const float angle = (float(degrees) + 0.01f) * 0.01745329f, scale = float(any(2, 15)) / 6;
        const float a = scale * std::cos(angle), b = scale * std::sin(angle);
        tryAll({a, b, -b, a}, angle);
    }
    for (const float move : {0.0f, 0.5f, -23.25f, 500.0f}) {
        for (const Linear& linear : LINEAR) {
            tryAll(linear, move);
        }
    }
    for (int i = 0; i < 16; ++i) {
        EXPECT_TRUE(
            warps({150, 110, 200, 150, i / 4 + 1, MODES[i % 4], {.9f, .5f, 9, -.5f, .9f, 60}}));
    }
    for (int i = 0; i < 600; ++i) {  // rows that cross few rows, of one channel
        const float a = float(any(35, 250)) / 100, b = float(any(-30, 30)) / 100 * a;
        const float turn = any(0, 1) ? 1.0f : -1.0f, x = float(any(0, 40)), y = float(any(-10, 30));
        const Matrix mat = {turn * a, -b, turn > 0 ? -x : x, turn * b, a, y};
        EXPECT_TRUE(
            warps({any(14, 120), any(3, 30), any(8, 150), any(1, 40), 1, MODES[i % 4], mat}));
    }
    for (const Size mode : MODES) {  // columns of one row, whose positions are rounded coarsely
        EXPECT_TRUE(warps({40, 9, 15, 9, 1, mode, {.53f, 0x1p25f, -0x1p27f, 0, 1, 0}}));
        EXPECT_TRUE(warps({40, 9, 15, 9, 1, mode, {1, 0, 0, -0x1p-25f, 0x1p-23f, 4}}));
    }
    for (const Size mode : MODES) {  // far from the start
        EXPECT_TRUE(warps({40000, 6, 99, 101, 1, mode, {1, 0, -39910, .1f, 1, -3990}}));
        EXPECT_TRUE(warps({16, 40000, 20, 101, 1, mode, {1, 0, 0, .1f, 1, -39910}}));
    }
    for (int w = 230; w < 290; ++w) {  // rows of many vectors
        EXPECT_TRUE(warps({300, 9, w, 5, any(1, 4), MODES[any(0, 3)], {1, .1f, 0, .01f, 1, 1}}));
    }
}

TEST(WarpAffine, HostileMatricesLeaveTheBorder) {
    constexpr int EXPONENTS[] = {0, 0, 0, 0, -20, 20, -23, -70, -141, 31, 100, 125};
    for (int i = 0; i < 2000; ++i) {
        Matrix mat;
        for (float& value : mat) {
            value = std::ldexp(float(any(-3, 3)), EXPONENTS[any(0, 11)]);
        }
        if (i % 4 == 0) {
            mat[noise() % 6] = any(0, 1) ? NAN : std::copysign(INFINITY, mat[0]);
        }
        const int w = any(1, 9), h = any(1, 7), dst_w = any(1, 12), dst_h = any(1, 10);
        EXPECT_TRUE(warps(
            {w, h, dst_w, dst_h, any(1, 4), MODES[any(0, 3)], mat, i % 3 ? BORDER : nullptr}));
    }
}

TEST(WarpAffine, KnownPictures) {
    constexpr Matrix half_right = {1, 0, 0.5f, 0, 1, 0}, quarter_turn = {0, -1, 2, 1, 0, 0};
    const struct {
        Size flags;
        const Matrix& mat;
        Bytes expected;
    } cases[] = {{BILINEAR, half_right, {50, 32, 82, 114, 192, 178}},
                 {BILINEAR | TRANSPARENT, half_right, {5, 32, 36, 67, 192, 130}},
                 {0, quarter_turn, {100, 128, 0, 100, 255, 64}},
                 {ELEMENTS, quarter_turn, {0, 128, 0, 0, 255, 64}}};
    for (const auto& [mode, m, want] : cases) {
        EXPECT_EQ((Job{2, 2, 3, 2, 1, mode, m}.run({0, 64, 128, 255}, {9, 8, 7, 6, 5, 4})), want);
    }
    for (int width = 1; width < 140; width += 11) {
        const int height = width % 3 ? 7 : 1;
        Bytes picture(Size(width * height) * 3);
        std::generate(picture.begin(), picture.end(), [] { return std::uint8_t(noise()); });
        const Job job = {width, height, width, height, 3, MODES[width % 4], {1, 0, 0, 0, 1, 0}};
        EXPECT_EQ(job.run(picture, Bytes(picture.size())), picture) << width;
    }
}

TEST(WarpAffine, FlagsChooseTheClass) {
    for (Size flags = 0; flags < 8; ++flags) {
        const auto warp = Job{2, 2, 2, 2, 1, flags, {1, 0, 0, 0, 1, 0}}.make(2, 2);
        EXPECT_EQ(!dynamic_cast<Simd::Base::WarpAffineNearest*>(warp.get()), (flags & 2) == 2);
        EXPECT_EQ(!dynamic_cast<Simd::Base::WarpAffineByteBilinear*>(warp.get()), (flags & 3) != 2);
        EXPECT_FALSE((Job{2, 2, 2, 2, 0, flags, {1, 0, 0, 0, 1, 0}}.make(2, 2)));
        EXPECT_FALSE((Job{2, 2, 2, 2, 5, flags, {1, 0, 0, 0, 1, 0}}.make(2, 2)));
    }
}

}  // namespace
