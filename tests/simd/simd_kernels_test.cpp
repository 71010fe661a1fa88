// All kernels in every variant against formulas of their own. Rows lie between inaccessible pages,
// so that an access outside of them ends the program.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <numeric>
#include <random>

#include "simd/simd.h"
#include "support/float_formulas.h"
#include "support/kernel_cases.h"
#include "tavo_cv/tavo_cv_helpers.h"

namespace {

using support::KernelCase;
using support::Plane;
using support::PlaneShape;
using support::Variant;
using Bytes = std::vector<unsigned char>;
using Size = std::uint32_t;

// ---- Formulas -----------------------------------------------------------------------------------

/// The components of a pixel, in the order of memory.
using Pixel = std::array<int, 4>;

constexpr int limited(int value, int upper) {
    return value < 0 ? 0 : value > upper ? upper : value;
}

/// A quotient rounded toward minus infinity.
constexpr int floorOf(int dividend, int divisor) {
    const int quotient = dividend / divisor;
    return quotient * divisor > dividend ? quotient - 1 : quotient;
}

constexpr Pixel grayOfBgr(Pixel p) {
    return {floorOf(1868 * p[0] + 9617 * p[1] + 4899 * p[2] + 8192, 16384)};
}

constexpr Pixel bgrOfYuv(Pixel p) {
    const int y = 9535 * (p[0] - 16) + 4096, u = p[1] - 128, v = p[2] - 128;
    return {limited(floorOf(y + 16531 * u, 8192), 255),
            limited(floorOf(y - 3203 * u - 6660 * v, 8192), 255),
            limited(floorOf(y + 13074 * v, 8192), 255)};
}

constexpr Pixel bgrOfNv12(Pixel p) {
    const int y = 298 * (p[0] < 16 ? 0 : p[0] - 16) + 128, u = p[1] - 128, v = p[2] - 128;
    return {limited(y + 516 * u, 65535) / 256, limited(y - 100 * u - 208 * v, 65535) / 256,
            limited(y + 409 * v, 65535) / 256};
}

constexpr Pixel yuvOfBgr(Pixel p) {
    return {floorOf(1606 * p[0] + 8258 * p[1] + 4211 * p[2] + 8192, 16384) + 16,
            floorOf(7193 * p[0] - 4768 * p[1] - 2425 * p[2] + 8192, 16384) + 128,
            floorOf(-1163 * p[0] - 6029 * p[1] + 7193 * p[2] + 8192, 16384) + 128};
}

constexpr Pixel reversed(Pixel p) {
    return {p[2], p[1], p[0]};
}

constexpr bool same(Pixel p, int first, int second, int third) {
    return p[0] == first && p[1] == second && p[2] == third;
}

// Known colours, lest the formulas share a slip with the kernels.
static_assert(same(grayOfBgr({255, 0, 0}), 29, 0, 0) && grayOfBgr({255, 255, 255})[0] == 255);
static_assert(same(bgrOfYuv({16, 255, 128}), 255, 0, 0) && same(bgrOfYuv({0, 128, 128}), 0, 0, 0));
static_assert(same(bgrOfYuv({235, 128, 128}), 255, 255, 255));
static_assert(same(bgrOfYuv({100, 200, 50}), 243, 133, 0) && bgrOfYuv({81, 90, 240})[2] == 254);
static_assert(same(bgrOfNv12({100, 200, 50}), 243, 133, 0) && bgrOfNv12({81, 90, 240})[2] == 255);
static_assert(same(yuvOfBgr({255, 255, 255}), 235, 128, 128) && same(yuvOfBgr({}), 16, 128, 128));
static_assert(same(yuvOfBgr({255}), 41, 240, 110) && same(yuvOfBgr({0, 0, 255}), 82, 90, 240));

// ---- References ---------------------------------------------------------------------------------

/// The rows of a plane without anything between them.
struct Picture {
    PlaneShape shape;
    std::size_t row_bytes, rows;
    Bytes bytes;

    Picture(const PlaneShape& of_plane, Size width, Size height)
        : shape(of_plane),
          row_bytes(shape.rowBytes(width, height)),
          rows(shape.rows(width, height)),
          bytes(row_bytes * rows) {}

    template <class T>
    T get(std::size_t i) const {
        T value;
        std::memcpy(&value, &bytes[i * sizeof(T)], sizeof(T));
        return value;
    }
    template <class T>
    void set(std::size_t i, T value) {
        std::memcpy(&bytes[i * sizeof(T)], &value, sizeof(T));
    }
};

using Pictures = std::vector<Picture>;

/// Component @p c of pixel (x, y), wherever among the planes it lies.
template <class Planes>
auto& component(Planes& planes, Size c, Size x, Size y) {
    std::size_t p = 0;
    for (; c >= planes[p].shape.element_bytes; ++p) {
        c -= planes[p].shape.element_bytes;
    }
    const PlaneShape& shape = planes[p].shape;
    const std::size_t row = y / shape.divide_y * planes[p].row_bytes;
    return planes[p].bytes[row + x / shape.divide_x * shape.element_bytes + c];
}

/// The mean over the pixels that an element of @p shape covers, rounded to nearest.
Pixel meanOf(const Pictures& s, Size components, Size x, Size y, const PlaneShape& shape) {
    const Size pixels = shape.divide_x * shape.divide_y;
    Pixel mean = {};
    for (Size c = 0; c < components; ++c) {
        Size sum = pixels / 2;
        for (Size i = 0; i < pixels; ++i) {
            sum += component(s, c, x + i % shape.divide_x, y + i / shape.divide_x);
        }
        mean[c] = int(sum / pixels);
    }
    return mean;
}

struct Reference {
    Pixel (*convert)(Pixel);
    Size mode = 0;  // of the transform
};

void applyToPixels(const Reference& reference, const Pictures& s, Pictures& t, Size w, Size h) {
    const Size components = std::accumulate(
        s.begin(), s.end(), 0u,
        [](Size sum, const Picture& each) { return sum + each.shape.element_bytes; });
    for (Size y = 0; y < h; ++y) {
        for (Size x = 0; x < w; ++x) {
            const Size left = w - 1 - x, up = h - 1 - y;
            const Size places[8][2] = {{x, y}, {y, left}, {left, up}, {up, x},
                                       {y, x}, {left, y}, {up, left}, {x, up}};
            const auto [to_x, to_y] = places[reference.mode];
            Size end = 0;
            for (const Picture& target : t) {
                const PlaneShape& shape = target.shape;
                const Size first = end;
                end += shape.element_bytes;
                if (x % shape.divide_x == 0 && y % shape.divide_y == 0) {
                    const Pixel pixel = reference.convert(meanOf(s, components, x, y, shape));
                    for (Size c = first; c < end; ++c) {
                        component(t, c, to_x, to_y) = static_cast<unsigned char>(pixel[c]);
                    }
                }
            }
        }
    }
}

std::map<std::string, Reference> pixelReferences() {
    const auto same_pixel = [](Pixel p) { return p; };
    std::map<std::string, Reference> all;
    all["BgrToGray"] = {grayOfBgr};
    all["GrayToBgr"] = {[](Pixel p) { return Pixel{p[0], p[0], p[0]}; }};
    all["BgrToRgb"] = {reversed};
    all["Nv12ToBgr"] = {bgrOfNv12};
    for (const char* const name : {"DeinterleaveBgr", "InterleaveBgr", "DeinterleaveUv",
                                   "InterleaveUv", "CopyPlane 1", "CopyPlane 3"}) {
        all[name] = {same_pixel};
    }
    for (const std::string format : {"420p", "422p", "444p"}) {
        all["Yuv" + format + "ToBgr"] = {bgrOfYuv};
        all["Yuv" + format + "ToRgb"] = {[](Pixel p) { return reversed(bgrOfYuv(p)); }};
        all["BgrToYuv" + format] = {yuvOfBgr};
    }
    for (const char* const name : {"BgrToNv12", "BgrToNv16"}) {
        all[name] = {yuvOfBgr};
    }
    for (Size i = 0; i < 32; ++i) {
        all[support::transformName(i / 4, i % 4 + 1)] = {same_pixel, i / 4};
    }
    return all;
}

void applyReference(const KernelCase& kernel, const Pictures& s, Pictures& t, Size w, Size h) {
    if (kernel.family != "Float") {
        static const std::map<std::string, Reference> references = pixelReferences();
        const bool no_tail = kernel.name == "Nv12ToBgr";
        applyToPixels(references.at(kernel.name), s, t, no_tail ? w / 8 * 8 : w,
                      no_tail ? h / 2 * 2 : h);
        return;
    }
    for (Size i = 0; i < w; ++i) {
        if (kernel.name == "Uint8ToFloat32") {
            t[0].set(i, float(s[0].bytes[i]));
        } else if (kernel.name == "Float32ToUint8") {
            t[0].set(i, support::byteOfFloat(s[0].get<float>(i), 0.0f, 255.0f));
        } else if (kernel.name == "AddValue") {
            t[0].set(i, t[0].get<float>(i) + support::FLOAT_ADDEND);
        } else if (kernel.name == "MultiplyValue") {
            t[0].set(i, t[0].get<float>(i) * support::FLOAT_FACTOR);
        } else if (kernel.name == "AddProduct") {
            t[0].set(i, t[0].get<float>(i) + support::FLOAT_FACTOR * s[0].get<float>(i));
        } else if (kernel.name == "Float16ToFloat32") {
            t[0].set(i, support::singleOfHalf(s[0].get<std::uint16_t>(i)));
        } else {
            t[0].set(i, std::uint16_t(support::halfOfSingle(s[0].get<std::uint32_t>(i))));
        }
    }
}

// ---- Trials -------------------------------------------------------------------------------------

/// Where the rows of a run lie.
struct Placement {
    bool at_end;   // the last row ends at the page behind; else the first follows the page before
    Size offset;   // samples between that page and the first row
    Size padding;  // bytes between rows
};

/// A plane between two inaccessible pages, in memory that serves one run after the other.
class GuardedPlane {
public:
    GuardedPlane() {
        const auto page = std::size_t(sysconf(_SC_PAGESIZE));
        void* const address =
            mmap(nullptr, BYTES + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        _start = static_cast<unsigned char*>(address) + page;
        if (address == MAP_FAILED || mprotect(_start, BYTES, PROT_READ | PROT_WRITE) != 0) {
            std::abort();
        }
    }

    /// Takes over the rows of @p picture, with sentinels around them.
    Plane fill(const Picture& picture, const Placement& placement, std::size_t stride) {
        const std::size_t offset = placement.offset * std::size_t(picture.shape.sample);
        _stride = stride;
        _margins[0] = placement.at_end ? 64 : offset;
        _margins[1] = placement.at_end ? 0 : 64;
        const Bytes image = imageOf(picture);
        _image = placement.at_end ? _start + BYTES - image.size() : _start;
        std::memcpy(_image, image.data(), image.size());
        return {_image + _margins[0], Size(stride)};
    }

    /// Passes when the rows hold @p expected and nothing around them was written.
    testing::AssertionResult holds(const Picture& expected) const {
        const Bytes image = imageOf(expected);
        const auto [wanted, byte] = std::mismatch(image.begin(), image.end(), _image);
        return wanted == image.end() ? testing::AssertionSuccess()
                                     : testing::AssertionFailure()
                                           << "byte " << byte - _image - std::ptrdiff_t(_margins[0])
                                           << " of rows of " << _stride << " bytes is " << +*byte
                                           << ", not " << +*wanted;
    }

private:
    Bytes imageOf(const Picture& picture) const {
        const std::size_t rows = picture.rows, row_bytes = picture.row_bytes;
        const std::size_t span = rows == 0 ? 0 : (rows - 1) * _stride + row_bytes;
        Bytes image(_margins[0] + span + _margins[1], 0xA5);
        for (std::size_t y = 0; y < rows; ++y) {
            std::copy_n(picture.bytes.begin() + std::ptrdiff_t(y * row_bytes), row_bytes,
                        image.begin() + std::ptrdiff_t(_margins[0] + y * _stride));
        }
        return image;
    }

    static constexpr std::size_t BYTES = 1 << 20;
    unsigned char *_start, *_image = nullptr;
    std::size_t _stride = 0, _margins[2] = {};
};

enum class Content { Random, Zeros, Ones, Alternating, Boundaries, Grid };

unsigned char contentByte(Content content, Size i, Size plane, Size element_bytes, Size random) {
    static const unsigned char boundaries[] = {0,   1,   15,  16,  17,  127, 128, 129,
                                               234, 235, 236, 239, 240, 241, 254, 255};
    // All triples of the multiples of 5, in one plane or in three.
    const Size powers[] = {1, 52, 52 * 52};
    const Size grid = element_bytes == 3 ? i / 3 / powers[i % 3] : i / powers[plane % 3];
    const Size values[] = {random,       0, 255, (i + plane) % 2 * 255, boundaries[random % 16],
                           grid % 52 * 5};
    return static_cast<unsigned char>(values[Size(content)]);
}

Picture makePicture(const PlaneShape& shape, Size width, Size height, Content content, Size plane) {
    Picture picture(shape, width, height);
    std::minstd_rand random(width * 131 + height * 8 + plane + 1);
    for (Size i = 0; i < picture.bytes.size(); ++i) {
        picture.bytes[i] = contentByte(content, i, plane, shape.element_bytes, Size(random() >> 9));
    }
    for (Size i = 0; shape.sample == support::Sample::Float && i < width; ++i) {
        // Short fractions, so that no arithmetic on them rounds.
        picture.set(i, float(picture.get<std::uint16_t>(2 * i)) / 64.0f - 300.0f);
    }
    return picture;
}

/// Every variant of a kernel that may run at this size, in each of the @p placements.
void tryKernel(const KernelCase& kernel,
               Size width,
               Size height,
               Content content,
               const std::vector<Placement>& placements) {
    Pictures s, t;
    for (const PlaneShape& shape : kernel.sources) {
        s.push_back(makePicture(shape, width, height, content, Size(s.size())));
    }
    for (const PlaneShape& shape : kernel.targets) {
        t.push_back(makePicture(shape, width, height, Content::Random, Size(4 + t.size())));
    }
    Pictures expected = t;
    applyReference(kernel, s, expected, width, height);

    static GuardedPlane source_memory[3], target_memory[3];
    for (const Variant variant : {Variant::Base, Variant::Wrapper, Variant::Neon, Variant::Avx2}) {
        if (!kernel.runs(variant, width)) {
            continue;
        }
        for (const Placement& place : placements) {
            Plane sources[3] = {}, targets[3] = {};
            for (std::size_t i = 0; i < s.size(); ++i) {
                const Picture& widest = s[kernel.one_source_stride ? 0 : i];
                sources[i] = source_memory[i].fill(s[i], place, widest.row_bytes + place.padding);
            }
            for (std::size_t i = 0; i < t.size(); ++i) {
                targets[i] = target_memory[i].fill(t[i], place, t[i].row_bytes + place.padding);
            }
            kernel.run(variant, sources, targets, width, height);
            for (std::size_t i = 0; i < t.size(); ++i) {
                ASSERT_TRUE(target_memory[i].holds(expected[i]))
                    << kernel.name << ", variant " << int(variant) << ", " << width << " x "
                    << height << ", content " << int(content) << ", plane " << i << ", at end "
                    << place.at_end << ", offset " << place.offset;
            }
        }
    }
}

class SimdKernels : public testing::TestWithParam<std::string> {
protected:
    /// Calls @p check with each case of the family until one fails.
    template <class Check>
    static void forEachCase(Check check) {
        for (const KernelCase& kernel : support::kernelCases()) {
            if (kernel.family == GetParam() && !HasFatalFailure()) {
                check(kernel);
            }
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Families,
                         SimdKernels,
                         testing::Values("Channel", "YuvToBgr", "BgrToYuv", "Float", "Transform"),
                         [](const auto& tested) { return tested.param; });

TEST_P(SimdKernels, FollowTheFormulaAtEverySizeAndPlace) {
    const std::vector<Size> few = {1, 2, 3, 4, 5, 6}, tiles = {1, 7, 8, 9, 16, 34};
    forEachCase([&](const KernelCase& kernel) {
        for (const Size height : kernel.family == "Transform" ? tiles : few) {
            const bool fits = height % kernel.height_step == 0 && height <= kernel.max_height;
            for (Size width = kernel.width_step; fits && width <= 72; width += kernel.width_step) {
                ASSERT_NO_FATAL_FAILURE(tryKernel(kernel, width, height, Content::Random,
                                                  {{false, 0, 0},
                                                   {true, 0, 0},
                                                   {false, 1, 5},
                                                   {false, 2, 16},
                                                   {false, 3, 1},
                                                   {false, 7, 33},
                                                   {true, 0, 3}}));
            }
        }
    });
}

TEST_P(SimdKernels, FollowTheFormulaOnAllKindsOfBytes) {
    const std::vector<Placement> both_ends = {{false, 0, 0}, {true, 0, 7}};
    forEachCase([&](const KernelCase& kernel) {
        const Size rows = std::min(kernel.max_height, 24u);
        for (const Content content : {Content::Zeros, Content::Ones, Content::Alternating}) {
            tryKernel(kernel, 54, rows, content, both_ends);
        }
        tryKernel(kernel, 118, std::min(kernel.max_height, 130u), Content::Boundaries, both_ends);
        if (kernel.family == "YuvToBgr" || kernel.family == "BgrToYuv") {
            tryKernel(kernel, 256, 256, Content::Random, both_ends);
        }
        if (kernel.name == "BgrToGray" || kernel.name == "Yuv444pToBgr" ||
            kernel.name == "BgrToYuv444p") {
            tryKernel(kernel, 52, 52 * 52, Content::Grid, both_ends);
        }
    });
}

TEST_P(SimdKernels, WriteNothingWithoutPixels) {
    forEachCase([](const KernelCase& kernel) {
        const Size height = std::min(kernel.max_height, 4u);
        tryKernel(kernel, 0, height, Content::Random, {{false, 0, 3}, {true, 0, 3}});
        if (height > 1) {
            tryKernel(kernel, 48, 0, Content::Random, {{false, 0, 3}, {true, 0, 3}});
        }
    });
}

// Heights and strides on both sides of the threshold show that nothing but the width counts.
TEST_P(SimdKernels, ChooseByWidth) {
    forEachCase([](const KernelCase& kernel) {
        EXPECT_TRUE(kernel.calls.wrapper_is_wired) << kernel.name;
        for (const Size other : {1u, 1000u}) {
            const Plane planes[3] = {{nullptr, other}, {nullptr, other}, {nullptr, other}};
            for (const Size width : {0u, 1u, kernel.threshold - 1, kernel.threshold,
                                     kernel.avx2_threshold - 1, kernel.avx2_threshold, 1001u}) {
                if (kernel.calls.choice) {
                    EXPECT_EQ(kernel.calls.choice(planes, planes, width, other),
                              kernel.expected(width))
                        << kernel.name << ", " << width << " x " << other;
                }
            }
        }
    });
}

/// Rows so far apart that their lines share places of a cache, in one image or in both.
TEST(SimdTransforms, FollowTheFormulaOnCrowdedRows) {
    const Size lengths[] = {63, 64, 65, 127, 128, 130, 135, 200};
    for (const KernelCase& kernel : support::kernelCases()) {
        for (Size i = 0; kernel.family == "Transform" && i < 64 && !HasFatalFailure(); i += 3) {
            const Size width = lengths[i % 8], height = lengths[i / 8];
            const Size bytes = kernel.sources[0].element_bytes * (i % 2 ? width : height);
            const Size padding = 1024 - bytes % 1024;
            tryKernel(kernel, width, height, Content::Random,
                      {{false, 3, padding}, {true, 0, padding}});
        }
    }
}

// ---- Every value --------------------------------------------------------------------------------

TEST(SimdIdentities, GrayOfEveryColour) {
    constexpr Size PIXELS = 1 << 16;
    Bytes bgr(3 * PIXELS), expected(PIXELS), gray(PIXELS);
    for (int r = 0; r < 256; ++r) {
        for (int i = 0; i < int(PIXELS); ++i) {
            const Pixel pixel = {i % 256, i / 256, r};
            std::copy_n(pixel.begin(), 3, bgr.begin() + 3 * i);
            expected[std::size_t(i)] = static_cast<unsigned char>(grayOfBgr(pixel)[0]);
        }
        for (const bool portable : {false, true}) {
            portable ? Simd::Base::BgrToGray(bgr.data(), PIXELS, 1, 0, gray.data(), 0)
                     : Simd::BgrToGray(bgr.data(), PIXELS, 1, 0, gray.data(), 0);
            ASSERT_TRUE(gray == expected) << "portable " << portable << ", red " << r;
        }
    }
}

// Columns tell V, pairs of rows and the place in a block tell Y.
TEST(SimdIdentities, Nv12OfEveryColour) {
    constexpr int WIDTH = 512, HEIGHT = 128;
    Bytes y(WIDTH * HEIGHT), uv(WIDTH * HEIGHT / 2), expected(3 * y.size()), bgr(3 * y.size());
    for (int u = 0; u < 256; ++u) {
        for (int i = 0; i < WIDTH * HEIGHT; ++i) {
            const int row = i / WIDTH, x = i % WIDTH, luma = row / 2 * 4 + row % 2 * 2 + x % 2;
            y[std::size_t(i)] = static_cast<unsigned char>(luma);
            uv[std::size_t(row / 2 * WIDTH + x)] =
                static_cast<unsigned char>(x % 2 == 0 ? u : x / 2);
            const Pixel pixel = bgrOfNv12({luma, u, x / 2});
            std::copy_n(pixel.begin(), 3, expected.begin() + 3 * i);
        }
        for (const bool portable : {false, true}) {
            (portable ? Simd::Base::Nv12ToBgr : tavo::NV12toBGR_neon)(
                y.data(), uv.data(), bgr.data(), WIDTH, HEIGHT, WIDTH, 3 * WIDTH);
            ASSERT_TRUE(bgr == expected) << "portable " << portable << ", U " << u;
        }
    }
}

}  // namespace
