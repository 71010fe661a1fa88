// Resizers and warps of all kinds on blocks of exact size. Vectors must give the bytes of the
// portable code, and a second run those of the first.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "simd/simd.h"

namespace {

using fuzz::Guard;
using fuzz::Input;
using fuzz::Rows;

std::uint32_t strideOf(const Rows& rows) {
    return std::uint32_t(rows.stride());
}

/// A plane whose addresses are multiples of @p unit.
Rows makeRows(Input& input, int row_bytes, int rows, int unit) {
    const int gap = input.flag() ? 0 : unit * input.between(0, 33 / unit);
    return Rows(std::size_t(row_bytes), std::size_t(rows), std::size_t(gap),
                std::size_t(unit * input.between(0, 16 / unit)), input.flag(), input.seed());
}

// ---- Resizers -----------------------------------------------------------------------------------

struct ResizerCase {
    std::uint32_t srcWidth, srcHeight, dstWidth, dstHeight, channels, type, method;
};

/// Portable resizers that take vectors where they serve, and here are kept from it.
struct PortableNearest : Simd::Base::ResizerNearest {
    using ResizerNearest::ResizerNearest;
    void forgetVectors() {
        halve = nullptr;
        gather = nullptr;
        blockCount = doneInVectors = 0;
        EstimateColumns();
        FindInnerPixels();
    }
};

struct PortableBicubic : Simd::Base::ResizerByteBicubic {
    using ResizerByteBicubic::ResizerByteBicubic;
    void forgetVectors() {
        sumBlocks = nullptr;
        blendSums = nullptr;
    }
};

using ResizerPointer = std::unique_ptr<Simd::Resizer>;

template <class Portable>
ResizerPointer makePortable(const ResizerCase& c, const Rows& src, const Rows& dst) {
    const Simd::ResizerParam param = {c.type,     c.method,    c.srcWidth, c.srcHeight,
                                      c.dstWidth, c.dstHeight, c.channels, 4};
    auto resizer = std::make_unique<Portable>(param);
    resizer->Run(src.data(), strideOf(src), dst.data(), strideOf(dst));  // builds its tables
    resizer->forgetVectors();
    return resizer;
}

/// What @p vectors must agree with.
ResizerPointer portableFor(const ResizerCase& c, const Rows& src, const Rows& dst) {
    const bool nearest = c.srcWidth == 1 || c.srcHeight == 1 ||
                         c.method == Simd::ResizerMethodNearest ||
                         c.method == Simd::ResizerMethodNearestCorner;
    if (nearest) {
        return makePortable<PortableNearest>(c, src, dst);
    }
    if (c.type == Simd::ResizerChannelByte && c.method == Simd::ResizerMethodBicubic &&
        c.srcWidth > 2 && c.srcHeight > 2) {
        return makePortable<PortableBicubic>(c, src, dst);
    }
    return ResizerPointer(Simd::Base::ResizerInit(c.srcWidth, c.srcHeight, c.dstWidth, c.dstHeight,
                                                  c.channels, c.type, c.method));
}

ResizerCase makeCase(Input& input) {
    ResizerCase c;
    c.type = std::uint32_t(input.rarely() ? 3 : input.between(0, 2));
    c.method = std::uint32_t(input.between(0, 8));
    c.channels = std::uint32_t(input.rarely() ? input.between(1, 14) : input.between(1, 4));
    c.srcWidth = std::uint32_t(input.side(110));
    c.srcHeight = std::uint32_t(input.side(40));
    c.dstWidth = std::uint32_t(input.side(110));
    c.dstHeight = std::uint32_t(input.side(40));
    if (input.between(0, 3) == 0) {  // ratios that have forms of their own
        const int times = int(c.srcWidth) * input.between(1, 4);
        c.dstWidth = std::uint32_t(std::max(times / input.between(1, 4), 1));
        c.dstHeight = std::uint32_t(std::max(int(c.srcHeight) / input.between(1, 4), 1));
    }
    return c;
}

ResizerPointer makeVectors(const ResizerCase& c) {
    const bool neon = Simd::Neon::Enable && c.srcWidth > 1 && c.srcHeight > 1;
    const auto create = neon                 ? Simd::Neon::ResizerInit
                        : Simd::Avx2::Enable ? Simd::Avx2::ResizerInit
                                             : Simd::Base::ResizerInit;
    return ResizerPointer(
        create(c.srcWidth, c.srcHeight, c.dstWidth, c.dstHeight, c.channels, c.type, c.method));
}

void fuzzResizer(Input& input) {
    const ResizerCase c = makeCase(input);
    const int unit = c.type == 0 ? 1 : c.type == 1 ? 2 : 4;
    const int pixel = unit * int(c.channels);
    const Rows src = makeRows(input, int(c.srcWidth) * pixel, int(c.srcHeight), unit);
    if (c.type == Simd::ResizerChannelFloat && input.flag()) {
        fillFloats(src, input.number());
    }
    const std::size_t row_bytes = c.dstWidth * std::size_t(pixel);
    const std::size_t gap = std::size_t(unit) * std::size_t(input.between(0, 3));
    const bool bottom_up = input.flag();
    const std::uint32_t seed = input.seed();
    // Alike, since with other numbers of channels some write nothing.
    const Rows actual(row_bytes, c.dstHeight, gap, 0, bottom_up, seed);
    const Rows expected(row_bytes, c.dstHeight, gap, 0, bottom_up, seed);
    Guard source(src, src.view());
    Guard target(actual, actual.view());
    Guard model(expected, expected.view());
    const ResizerPointer vectors = makeVectors(c);
    if (!vectors) {
        return;
    }
    const ResizerPointer portable = portableFor(c, src, expected);
    FUZZ_CHECK(portable, "a vector resizer without a portable one");
    portable->Run(src.data(), strideOf(src), expected.data(), strideOf(expected));
    const std::vector<std::uint8_t> b = expected.bytes();
    for (int run = 0; run < 2; ++run) {
        vectors->Run(src.data(), strideOf(src), actual.data(), strideOf(actual));
        const std::vector<std::uint8_t> a = actual.bytes();
        FUZZ_CHECK(fuzz::sameValues(a, b, c.type == Simd::ResizerChannelFloat),
                   "run %d, type %u, method %u, %u channels, %ux%u to %ux%u, strides %d and %d: "
                   "first difference at byte %td",
                   run, c.type, c.method, c.channels, c.srcWidth, c.srcHeight, c.dstWidth,
                   c.dstHeight, src.stride(), actual.stride(),
                   std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin());
    }
    source.check(true, "resizer source");
    target.check(false, "resizer target");
    model.check(false, "portable resizer target");
}

// ---- Warps --------------------------------------------------------------------------------------

/// Which columns a warp samples.
struct NearestProbe : Simd::Base::WarpAffineNearest {
    using WarpAffineNearest::WarpAffineNearest;
    bool samples(std::int32_t x, std::uint32_t y) const {
        return beg.data[y] <= x && x < end.data[y];
    }
};

struct BilinearProbe : Simd::Base::WarpAffineByteBilinear {
    using WarpAffineByteBilinear::WarpAffineByteBilinear;
    /// Where numbers are extreme, the inner columns may lie beside the outer ones.
    bool samples(std::int32_t x, std::uint32_t y) const {
        return (lo[y] <= x && x < beg[y]) || (beg[y] <= x && x < end[y]) ||
               (end[y] <= x && x < hi[y]);
    }
};

/// What one pixel comes out as, by the formulas; null stands for the border.
struct PixelModel {
    const Simd::WarpAffineParam& param;
    const Rows& src;

    const std::uint8_t* at(float x, float y) const {
        const bool inside = x >= 0 && x < float(param.srcW) && y >= 0 && y < float(param.srcH);
        return inside ? src.row(std::size_t(y)) + std::size_t(x) * param.channels : nullptr;
    }

    void nearest(float sx, float sy, std::uint8_t* pixel) const {
        if (!std::isfinite(sx) || !std::isfinite(sy)) {
            return;
        }
        const auto limited = [](float value, std::uint32_t size) {
            const float rounded = std::trunc(value + (value >= 0 ? 0.5f : -0.5f));
            return std::min(std::max(rounded, 0.0f), float(size - 1));
        };
        std::memcpy(pixel, at(limited(sx, param.srcW), limited(sy, param.srcH)), param.channels);
    }

    void bilinear(float sx, float sy, std::uint8_t* pixel) const {
        if (!std::isfinite(sx) || !std::isfinite(sy)) {
            return;
        }
        const float x = std::floor(sx);
        const float y = std::floor(sy);
        const auto wx = std::int32_t((sx - x) * 32.0f + 0.5f);
        const auto wy = std::int32_t((sy - y) * 32.0f + 0.5f);
        const std::uint8_t* const samples[] = {at(x, y), at(x + 1, y), at(x, y + 1),
                                               at(x + 1, y + 1)};
        const std::int32_t weights[] = {(32 - wx) * (32 - wy), wx * (32 - wy), (32 - wx) * wy,
                                        wx * wy};
        for (std::uint32_t c = 0; c < param.channels; ++c) {
            std::int32_t sum = 512;
            for (int i = 0; i < 4; ++i) {
                sum += weights[i] * (samples[i] ? samples[i][c] : pixel[c]);
            }
            pixel[c] = std::uint8_t(sum >> 10);
        }
    }
};

template <class Probe, class Sample>
void checkWarp(const Simd::WarpAffineParam& given, const Rows& src, Input& input, Sample sample) {
    const Rows dst = makeRows(input, int(given.dstW * given.channels), int(given.dstH), 1);
    const std::vector<std::uint8_t> before = dst.bytes();
    Simd::WarpAffineParam param = given;
    param.srcS = strideOf(src);
    param.dstS = strideOf(dst);
    Probe object(param);
    Guard source(src, src.view());
    Guard target(dst, dst.view());
    object.Run(src.data(), dst.data());
    source.check(true, "warp source");
    target.check(false, "warp target");

    const PixelModel model = {param, src};
    std::vector<std::uint8_t> expected = before;
    const bool transparent = (param.flags & Simd::WarpAffineBorderTransparent) != 0;
    for (std::uint32_t y = 0; y < param.dstH; ++y) {
        for (std::int32_t x = 0; x < std::int32_t(param.dstW); ++x) {
            std::uint8_t* const pixel =
                expected.data() + (std::size_t(y) * param.dstW + std::size_t(x)) * param.channels;
            if (!transparent) {
                std::memcpy(pixel, param.border, param.channels);
            }
            if (object.samples(x, y)) {
                const float* const m = param.inv;
                sample(model, std::fmaf(float(x), m[0], float(y) * m[1]) + m[2],
                       std::fmaf(float(x), m[3], float(y) * m[4]) + m[5], pixel);
            }
        }
    }
    const std::vector<std::uint8_t> actual = dst.bytes();
    const auto difference = std::mismatch(actual.begin(), actual.end(), expected.begin()).first;
    const auto at = difference - actual.begin();
    FUZZ_CHECK(difference == actual.end(),
               "warp, flags %u, %u channels, %ux%u (stride %d) to %ux%u (stride %d), inverse %a %a "
               "%a %a %a %a: byte %td is %d, not %d",
               param.flags, param.channels, param.srcW, param.srcH, src.stride(), param.dstW,
               param.dstH, dst.stride(), double(param.inv[0]), double(param.inv[1]),
               double(param.inv[2]), double(param.inv[3]), double(param.inv[4]),
               double(param.inv[5]), at, int(actual[std::size_t(at)]),
               int(expected[std::size_t(at)]));
}

/// A turn, a scaling or a shear that keeps the image in sight, or anything.
void fillMatrix(Input& input, float (&matrix)[6]) {
    const bool any = input.between(0, 2) == 0;
    for (int i = 0; i < 6; ++i) {
        if (any) {
            matrix[i] = input.number();
        } else if (i % 3 == 2) {
            matrix[i] = float(input.between(-400, 400)) / 8.0f;
        } else {
            matrix[i] = float(input.between(-300, 300)) / 100.0f + (i % 4 == 0 ? 1.0f : 0.0f);
        }
    }
}

void fuzzWarp(Input& input) {
    const auto channels = std::uint32_t(input.rarely() ? input.between(0, 6) : input.between(1, 4));
    const std::uint32_t flags = std::uint32_t(input.between(0, 7)) & ~std::uint32_t(input.flag());
    const tavo::Size from(input.side(160), input.side(40));
    const tavo::Size to(input.side(300), input.side(40));
    float matrix[6];
    fillMatrix(input, matrix);
    const Rows src = makeRows(input, from.width * int(std::max(channels, 1u)), from.height, 1);
    const std::uint32_t bits = input.seed();
    std::uint8_t border[4];
    std::memcpy(border, &bits, sizeof(border));
    const bool has_border = input.flag();

    const auto width = std::uint32_t(from.width);
    const auto height = std::uint32_t(from.height);
    const std::unique_ptr<Simd::WarpAffine> made(
        Simd::Base::WarpAffineInit(width, height, strideOf(src), std::uint32_t(to.width),
                                   std::uint32_t(to.height), std::uint32_t(to.width) * channels,
                                   channels, matrix, flags, has_border ? border : nullptr));
    const bool bilinear = (flags & Simd::WarpAffineInterpBilinear) != 0;
    const bool bytes = (flags & Simd::WarpAffineChannelBit) == 0;
    if (channels < 1 || channels > 4 || (bilinear && !bytes)) {
        FUZZ_CHECK(!made, "a warp of %u channels with flags %u", channels, flags);
        return;
    }
    if (!made) {
        return;
    }
    struct Parameters : Simd::WarpAffine {
        static const Simd::WarpAffineParam& of(const Simd::WarpAffine& warp) {
            return warp.*(&Parameters::param);
        }
    };
    const Simd::WarpAffineParam param = Parameters::of(*made);
    if (bilinear) {
        checkWarp<BilinearProbe>(
            param, src, input,
            [](const PixelModel& m, float x, float y, std::uint8_t* p) { m.bilinear(x, y, p); });
    } else {
        checkWarp<NearestProbe>(
            param, src, input,
            [](const PixelModel& m, float x, float y, std::uint8_t* p) { m.nearest(x, y, p); });
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    input.flag() ? fuzzResizer(input) : fuzzWarp(input);
    return 0;
}
