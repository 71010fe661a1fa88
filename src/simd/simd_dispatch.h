// Every wrapper, and the rule by which they choose: a vector variant when the processor has it and
// the image is at least one of its blocks wide, otherwise the portable one. Height and the
// alignment of pointers play no part.
#pragma once

#include <cstddef>
#include <cstdint>
#include <tuple>

#include "simd/simd_kernels.h"

namespace Simd {

/// A variant for vectors.
template <class Variant>
struct VectorVariant {
    std::uint32_t block;  ///< narrowest width
    Variant call;
};

/// A kernel's variants, called like a function. @p WidthIndex is the position of the argument that
/// is compared with the block.
template <class Function, std::size_t WidthIndex>
struct Wrapper;

template <class... Arguments, std::size_t WidthIndex>
struct Wrapper<void(Arguments...), WidthIndex> {
    using Variant = void (*)(Arguments...);

    Variant base;
    VectorVariant<Variant> neon;
    VectorVariant<Variant> avx2;

    void operator()(Arguments... arguments) const {
        const std::uint32_t width = std::get<WidthIndex>(std::tie(arguments...));
        const bool takes_neon = Neon::Enable && width >= neon.block;
        const bool takes_avx2 = Avx2::Enable && width >= avx2.block;
        const Variant variant = takes_neon ? neon.call : takes_avx2 ? avx2.call : base;
        variant(arguments...);
    }
};

// Blocks: of a pixel per element, of two luma pixels per chroma sample where it is larger, and of
// transforms.
constexpr std::uint32_t N = Neon::A;
constexpr std::uint32_t N_CHROMA = 2 * Neon::A;
constexpr std::uint32_t N_TRANSFORM = Neon::A / 2;
constexpr std::uint32_t X = Avx2::A;
constexpr std::uint32_t X_TRANSFORM = Avx2::A / 2;

// clang-format off
inline constexpr Wrapper<BgrToGrayFunction, 1>       BgrToGray       {Base::BgrToGray, {N, Neon::BgrToGray}, {X, Avx2::BgrToGray}};
inline constexpr Wrapper<GrayToBgrFunction, 1>       GrayToBgr       {Base::GrayToBgr, {N, Neon::GrayToBgr}, {X, Avx2::GrayToBgr}};
inline constexpr Wrapper<BgrToRgbFunction, 1>        BgrToRgb        {Base::BgrToRgb, {N, Neon::BgrToRgb}, {X, Avx2::BgrToRgb}};
inline constexpr Wrapper<DeinterleaveBgrFunction, 2> DeinterleaveBgr {Base::DeinterleaveBgr, {N, Neon::DeinterleaveBgr}, {X, Avx2::DeinterleaveBgr}};
inline constexpr Wrapper<InterleaveBgrFunction, 6>   InterleaveBgr   {Base::InterleaveBgr, {N, Neon::InterleaveBgr}, {X, Avx2::InterleaveBgr}};
inline constexpr Wrapper<DeinterleaveUvFunction, 2>  DeinterleaveUv  {Base::DeinterleaveUv, {N, Neon::DeinterleaveUv}, {X, Avx2::DeinterleaveUv}};
inline constexpr Wrapper<InterleaveUvFunction, 4>    InterleaveUv    {Base::InterleaveUv, {N, Neon::InterleaveUv}, {X, Avx2::InterleaveUv}};
inline constexpr Wrapper<YuvToBgrFunction, 6>        Yuv420pToBgr    {Base::Yuv420pToBgr, {N_CHROMA, Neon::Yuv420pToBgr}, {X, Avx2::Yuv420pToBgr}};
inline constexpr Wrapper<YuvToBgrFunction, 6>        Yuv420pToRgb    {Base::Yuv420pToRgb, {N_CHROMA, Neon::Yuv420pToRgb}, {X, Avx2::Yuv420pToRgb}};
inline constexpr Wrapper<YuvToBgrFunction, 6>        Yuv422pToBgr    {Base::Yuv422pToBgr, {N_CHROMA, Neon::Yuv422pToBgr}, {X, Avx2::Yuv422pToBgr}};
inline constexpr Wrapper<YuvToBgrFunction, 6>        Yuv422pToRgb    {Base::Yuv422pToRgb, {N_CHROMA, Neon::Yuv422pToRgb}, {X, Avx2::Yuv422pToRgb}};
inline constexpr Wrapper<YuvToBgrFunction, 6>        Yuv444pToBgr    {Base::Yuv444pToBgr, {N, Neon::Yuv444pToBgr}, {X, Avx2::Yuv444pToBgr}};
inline constexpr Wrapper<BgrToYuvFunction, 1>        BgrToYuv420p    {Base::BgrToYuv420p, {N_CHROMA, Neon::BgrToYuv420p}, {X, Avx2::BgrToYuv420p}};
inline constexpr Wrapper<BgrToYuvFunction, 1>        BgrToYuv422p    {Base::BgrToYuv422p, {N_CHROMA, Neon::BgrToYuv422p}, {X, Avx2::BgrToYuv422p}};
inline constexpr Wrapper<BgrToYuvFunction, 1>        BgrToYuv444p    {Base::BgrToYuv444p, {N, Neon::BgrToYuv444p}, {X, Avx2::BgrToYuv444p}};
inline constexpr Wrapper<BgrToNvFunction, 1>         BgrToNv12       {Base::BgrToNv12, {N_CHROMA, Neon::BgrToNv12}, {X, Avx2::BgrToNv12}};
inline constexpr Wrapper<BgrToNvFunction, 1>         BgrToNv16       {Base::BgrToNv16, {N_CHROMA, Neon::BgrToNv16}, {X, Avx2::BgrToNv16}};
inline constexpr Wrapper<Uint8ToFloat32Function, 1>  Uint8ToFloat32  {Base::Uint8ToFloat32, {N, Neon::Uint8ToFloat32}, {X, Avx2::Uint8ToFloat32}};
inline constexpr Wrapper<Float32ToUint8Function, 1>  Float32ToUint8  {Base::Float32ToUint8, {N, Neon::Float32ToUint8}, {X, Avx2::Float32ToUint8}};
inline constexpr Wrapper<Float16ToFloat32Function, 1> Float16ToFloat32 {Base::Float16ToFloat32, {N, Neon::Float16ToFloat32}, {X, Avx2::Float16ToFloat32}};
inline constexpr Wrapper<Float32ToFloat16Function, 1> Float32ToFloat16 {Base::Float32ToFloat16, {N, Neon::Float32ToFloat16}, {X, Avx2::Float32ToFloat16}};
inline constexpr Wrapper<ImageTransformFunction, 2>  ImageTransform  {Base::ImageTransform, {N_TRANSFORM, Neon::ImageTransform}, {X_TRANSFORM, Avx2::ImageTransform}};
// clang-format on

// The constant operations on float rows have no width to test; each chooses once, at its first
// call.

inline void AddValue(const float* value, float* data, std::uint32_t size) {
    static AddValueFunction* const variant = Neon::Enable   ? Neon::AddValue
                                             : Avx2::Enable ? Avx2::AddValue
                                                            : Base::AddValue;
    variant(value, data, size);
}

inline void MultiplyValue(const float* value, float* data, std::uint32_t size) {
    static MultiplyValueFunction* const variant = Neon::Enable   ? Neon::MultiplyValue
                                                  : Avx2::Enable ? Avx2::MultiplyValue
                                                                 : Base::MultiplyValue;
    variant(value, data, size);
}

inline void AddProduct(const float* src, std::uint32_t size, const float* value, float* dst) {
    static AddProductFunction* const variant = Neon::Enable   ? Neon::AddProduct
                                               : Avx2::Enable ? Avx2::AddProduct
                                                              : Base::AddProduct;
    variant(src, size, value, dst);
}

}  // namespace Simd
