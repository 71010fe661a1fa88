// Kernels on runs of floats: every limit, rounding and pattern that matters.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "simd/simd.h"
#include "support/float_formulas.h"
#include "tavo_cv/tavo_cv_helpers.h"

namespace {

using support::bitCast;
using support::byteOfFloat;
using support::halfOfSingle;
using support::singleOfHalf;
using Bytes = std::vector<unsigned char>;
using Size = std::uint32_t;

TEST(SimdFloatKernels, ScaleBetweenAnyLimits) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    std::vector<float> values = {300.7f,    254.999f,  12.9f, -0.0f,  NAN,    -NAN,
                                 infinity,  -infinity, 1e30f, -1e30f, 255.0f, 254.9999f,
                                 255.0001f, 0.99999f,  0.1f,  0.7f};
    for (int i = 0; i < 1000; ++i) {
        values.insert(values.end(), {float(i) * 0.37f - 50.0f, float(i) * 0.0025f - 1.2f});
    }
    Bytes all_bytes(256);
    std::iota(all_bytes.begin(), all_bytes.end(), static_cast<unsigned char>(0));
    const float limits[][2] = {
        {0.0f, 255.0f}, {-1.0f, 1.0f}, {16.0f, 235.0f}, {0.1f, 0.7f}, {9.0f, -3.0f}};
    for (const auto& [lower, upper] : limits) {
        for (const bool portable : {false, true}) {
            Bytes bytes(values.size());
            const Size size = Size(values.size());
            portable ? Simd::Base::Float32ToUint8(values.data(), size, &lower, &upper, bytes.data())
                     : Simd::Float32ToUint8(values.data(), size, &lower, &upper, bytes.data());
            for (std::size_t i = 0; i < values.size(); ++i) {
                // Between limits in reverse order it is open what a NaN gives.
                if (lower < upper || !std::isnan(values[i])) {
                    EXPECT_EQ(bytes[i], byteOfFloat(values[i], lower, upper)) << values[i];
                }
            }
            std::vector<float> floats(256);
            portable
                ? Simd::Base::Uint8ToFloat32(all_bytes.data(), 256, &lower, &upper, floats.data())
                : Simd::Uint8ToFloat32(all_bytes.data(), 256, &lower, &upper, floats.data());
            const bool neon = !portable && Simd::Neon::Enable;  // multiplies, then adds
            const float scale = (upper - lower) / 255.0f;
            for (std::size_t i = 0; i < 256; ++i) {
                const float rounded_once = std::fmaf(scale, float(i), lower);
                EXPECT_EQ(floats[i], neon ? lower + scale * float(i) : rounded_once) << i;
            }
        }
    }
    EXPECT_EQ(byteOfFloat(254.999f, 0.0f, 255.0f), 254);
}

// Vectors of the product kernel round twice, its scalar tail once.
TEST(SimdFloatKernels, AddWithTheStatedRounding) {
    std::minstd_rand random(5);
    std::uniform_real_distribution<float> numbers(0.5f, 2.0f);
    for (Size size = 0; size < 70; ++size) {
        std::vector<float> src(size), dst(size);
        std::generate(src.begin(), src.end(), [&] { return numbers(random); });
        std::generate(dst.begin(), dst.end(), [&] { return numbers(random); });
        const float value = numbers(random);
        std::vector<float> sum = dst, scaled = dst, fused = dst, product = dst;
        std::fill_n(scaled.begin(), size / 3, -0.0f);
        Simd::AddValue(&value, sum.data(), size);
        Simd::MultiplyValue(&value, scaled.data(), size);
        Simd::Base::AddProduct(src.data(), size, &value, fused.data());
        Simd::AddProduct(src.data(), size, &value, product.data());
        for (Size i = 0; i < size; ++i) {
            const float once = std::fmaf(value, src[i], dst[i]);
            const bool in_vector = Simd::Neon::Enable && i < size / 4 * 4;
            ASSERT_EQ(sum[i], dst[i] + value) << size;
            ASSERT_EQ(scaled[i], i < size / 3 ? 0.0f : value * dst[i]) << size;
            ASSERT_FALSE(std::signbit(scaled[i])) << size;
            ASSERT_EQ(fused[i], once) << size;
            ASSERT_EQ(product[i], in_vector ? dst[i] + value * src[i] : once) << size << " " << i;
        }
    }
}

TEST(SimdFloatKernels, WidenEveryHalf) {
    std::vector<unsigned short> halves(65536);
    std::iota(halves.begin(), halves.end(), static_cast<unsigned short>(0));
    std::vector<float> singles(65536);
    tavo::convertFp16ToFp32(halves.data(), 65536, singles.data());
    for (Size i = 0; i < 65536; ++i) {
        ASSERT_EQ(bitCast<std::uint32_t>(singles[i]), singleOfHalf(i)) << i;
    }
    EXPECT_EQ(singleOfHalf(0x3C00), 0x3F800000u);
    EXPECT_EQ(singleOfHalf(0x7E00), 0x7FC00000u);
}

TEST(SimdFloatKernels, NarrowTowardZero) {
    // 65505, 65519, 65520, the largest subnormal and finite numbers, NaN around the cut payload.
    std::vector<std::uint32_t> patterns = {0x477FE100, 0x477FEF00, 0x477FF000, 0x007FFFFF,
                                           0x7F7FFFFF, 0x7F800000, 0x7F800001, 0x7F801FFF,
                                           0x7F802000, 0x7FC00000, 0x7FFFFFFF};
    for (unsigned half = 0; half < 0x7C00; ++half) {
        const std::uint32_t single = singleOfHalf(half);
        const std::uint32_t tie = single + (singleOfHalf(half + 1) - single) / 2;
        patterns.insert(patterns.end(),
                        {single - (half > 0), single, single + 1, tie - 1, tie, tie + 1});
    }
    // Of the lower 16 bits, the upper three and whether there are more decide.
    for (std::uint32_t upper = 0; upper < 0x8000; ++upper) {
        for (const unsigned lower :
             {0x0000u, 0x0001u, 0x1FFFu, 0x2000u, 0xDFFFu, 0xE000u, 0xE001u}) {
            patterns.push_back(upper << 16 | lower);
        }
    }
    for (std::size_t i = patterns.size(); i-- > 0;) {
        patterns.push_back(patterns[i] | 0x80000000);
    }
    std::vector<float> singles;
    for (const std::uint32_t pattern : patterns) {
        singles.push_back(bitCast<float>(pattern));
    }
    std::vector<unsigned short> halves(singles.size());
    tavo::convertFp32ToFp16(singles.data(), Size(singles.size()), halves.data());
    for (std::size_t i = 0; i < patterns.size(); ++i) {
        ASSERT_EQ(halves[i], halfOfSingle(patterns[i])) << std::hex << patterns[i];
    }
    EXPECT_EQ(halfOfSingle(0x3F801000), 0x3C00u) << "1 + 2^-11 is cut";
    EXPECT_EQ(halfOfSingle(0x477FE001), 0x7C00u) << "just above 65504";
    EXPECT_EQ(halfOfSingle(0x7F800001), 0x7C01u) << "a NaN whose payload would be cut away";
}

}  // namespace
