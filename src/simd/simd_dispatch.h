// Every wrapper, and the rule by which they choose: the vector variant when the processor has it
// and the image is at least one block wide, otherwise the portable one. Height and the alignment of
// pointers play no part.
#pragma once

#include <cstddef>
#include <cstdint>
#include <tuple>

#include "simd/simd_kernels.h"

namespace Simd {

/// A kernel's variants, called like a function. @p WidthIndex is the position of the argument that
/// is compared with the block.
template <class Function, std::size_t WidthIndex>
struct Wrapper;

template <class... Arguments, std::size_t WidthIndex>
struct Wrapper<void(Arguments...), WidthIndex> {
    using Variant = void (*)(Arguments...);

    std::uint32_t block;  // narrowest width of the vector variant
    Variant base;
    Variant neon;

    void operator()(Arguments... arguments) const {
        const std::uint32_t width = std::get<WidthIndex>(std::tie(arguments...));
        const Variant variant = Neon::Enable && width >= block ? neon : base;
        variant(arguments...);
    }
};

constexpr std::uint32_t BLOCK = Neon::A;             // a pixel per element
constexpr std::uint32_t CHROMA_BLOCK = 2 * Neon::A;  // two luma pixels per chroma sample
constexpr std::uint32_t TRANSFORM_BLOCK = Neon::A / 2;

// clang-format off
inline constexpr Wrapper<BgrToGrayFunction, 1>       BgrToGray       {BLOCK, Base::BgrToGray, Neon::BgrToGray};
inline constexpr Wrapper<GrayToBgrFunction, 1>       GrayToBgr       {BLOCK, Base::GrayToBgr, Neon::GrayToBgr};
inline constexpr Wrapper<BgrToRgbFunction, 1>        BgrToRgb        {BLOCK, Base::BgrToRgb, Neon::BgrToRgb};
inline constexpr Wrapper<DeinterleaveBgrFunction, 2> DeinterleaveBgr {BLOCK, Base::DeinterleaveBgr, Neon::DeinterleaveBgr};
inline constexpr Wrapper<InterleaveBgrFunction, 6>   InterleaveBgr   {BLOCK, Base::InterleaveBgr, Neon::InterleaveBgr};
inline constexpr Wrapper<DeinterleaveUvFunction, 2>  DeinterleaveUv  {BLOCK, Base::DeinterleaveUv, Neon::DeinterleaveUv};
inline constexpr Wrapper<InterleaveUvFunction, 4>    InterleaveUv    {BLOCK, Base::InterleaveUv, Neon::InterleaveUv};
inline constexpr Wrapper<YuvToBgrFunction, 6>        Yuv420pToBgr    {CHROMA_BLOCK, Base::Yuv420pToBgr, Neon::Yuv420pToBgr};
inline constexpr Wrapper<YuvToBgrFunction, 6>        Yuv420pToRgb    {CHROMA_BLOCK, Base::Yuv420pToRgb, Neon::Yuv420pToRgb};
inline constexpr Wrapper<YuvToBgrFunction, 6>        Yuv422pToBgr    {CHROMA_BLOCK, Base::Yuv422pToBgr, Neon::Yuv422pToBgr};
inline constexpr Wrapper<YuvToBgrFunction, 6>        Yuv422pToRgb    {CHROMA_BLOCK, Base::Yuv422pToRgb, Neon::Yuv422pToRgb};
inline constexpr Wrapper<YuvToBgrFunction, 6>        Yuv444pToBgr    {BLOCK, Base::Yuv444pToBgr, Neon::Yuv444pToBgr};
inline constexpr Wrapper<BgrToYuvFunction, 1>        BgrToYuv420p    {CHROMA_BLOCK, Base::BgrToYuv420p, Neon::BgrToYuv420p};
inline constexpr Wrapper<BgrToYuvFunction, 1>        BgrToYuv422p    {CHROMA_BLOCK, Base::BgrToYuv422p, Neon::BgrToYuv422p};
inline constexpr Wrapper<BgrToYuvFunction, 1>        BgrToYuv444p    {BLOCK, Base::BgrToYuv444p, Neon::BgrToYuv444p};
inline constexpr Wrapper<Uint8ToFloat32Function, 1>  Uint8ToFloat32  {BLOCK, Base::Uint8ToFloat32, Neon::Uint8ToFloat32};
inline constexpr Wrapper<Float32ToUint8Function, 1>  Float32ToUint8  {BLOCK, Base::Float32ToUint8, Neon::Float32ToUint8};
inline constexpr Wrapper<ImageTransformFunction, 2>  ImageTransform  {TRANSFORM_BLOCK, Base::ImageTransform, Neon::ImageTransform};
// clang-format on

// The constant operations on float rows have no width to test; each chooses once, at its first
// call.

inline void AddValue(const float* value, float* data, std::uint32_t size) {
    static AddValueFunction* const variant = Neon::Enable ? Neon::AddValue : Base::AddValue;
    variant(value, data, size);
}

inline void AddProduct(const float* src, std::uint32_t size, const float* value, float* dst) {
    static AddProductFunction* const variant = Neon::Enable ? Neon::AddProduct : Base::AddProduct;
    variant(src, size, value, dst);
}

}  // namespace Simd
