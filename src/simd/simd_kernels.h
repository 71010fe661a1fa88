// The kernels on whole planes: what they compute, and which variants exist. Each has a portable
// variant in Simd::Base and vector variants in Simd::Neon and Simd::Avx2 of the same arguments; the
// wrappers in Simd, which choose among them, stand in simd_dispatch.h.
//
// An image is the address of its first byte and a stride in bytes, which is negative and wrapped
// for images stored bottom-up (simd_row_step.h); width and height are in pixels. Source and
// destination must not overlap. Nothing outside the width of a row is read or written. Null
// pointers are not tested; a width or height of 0 writes nothing. A vector variant needs at least
// the width that its wrapper asks for. Both variants give the same bytes unless stated.
#pragma once

#include <cstdint>

#include "simd/simd_platform.h"

namespace Simd {

// ---- Gray and channels: bytes, 3 to a BGR pixel and 2 to a UV pair ------------------------------

/// gray = (1868 b + 9617 g + 4899 r + 8192) >> 14
using BgrToGrayFunction = void(const std::uint8_t* bgr,
                               std::uint32_t width,
                               std::uint32_t height,
                               std::uint32_t bgrStride,
                               std::uint8_t* gray,
                               std::uint32_t grayStride);

/// Each gray byte becomes three equal bytes.
using GrayToBgrFunction = void(const std::uint8_t* gray,
                               std::uint32_t width,
                               std::uint32_t height,
                               std::uint32_t grayStride,
                               std::uint8_t* bgr,
                               std::uint32_t bgrStride);

/// Swaps the first and the third byte of each pixel.
using BgrToRgbFunction = void(const std::uint8_t* src,
                              std::uint32_t width,
                              std::uint32_t height,
                              std::uint32_t srcStride,
                              std::uint8_t* dst,
                              std::uint32_t dstStride);

/// Bytes 0, 1, 2 of each pixel go to the three planes.
using DeinterleaveBgrFunction = void(const std::uint8_t* bgr,
                                     std::uint32_t bgrStride,
                                     std::uint32_t width,
                                     std::uint32_t height,
                                     std::uint8_t* b,
                                     std::uint32_t bStride,
                                     std::uint8_t* g,
                                     std::uint32_t gStride,
                                     std::uint8_t* r,
                                     std::uint32_t rStride);

/// The inverse of DeinterleaveBgr.
using InterleaveBgrFunction = void(const std::uint8_t* b,
                                   std::uint32_t bStride,
                                   const std::uint8_t* g,
                                   std::uint32_t gStride,
                                   const std::uint8_t* r,
                                   std::uint32_t rStride,
                                   std::uint32_t width,
                                   std::uint32_t height,
                                   std::uint8_t* bgr,
                                   std::uint32_t bgrStride);

/// Bytes 0 and 1 of each pair go to the two planes; the width counts pairs.
using DeinterleaveUvFunction = void(const std::uint8_t* uv,
                                    std::uint32_t uvStride,
                                    std::uint32_t width,
                                    std::uint32_t height,
                                    std::uint8_t* u,
                                    std::uint32_t uStride,
                                    std::uint8_t* v,
                                    std::uint32_t vStride);

/// The inverse of DeinterleaveUv.
using InterleaveUvFunction = void(const std::uint8_t* u,
                                  std::uint32_t uStride,
                                  const std::uint8_t* v,
                                  std::uint32_t vStride,
                                  std::uint32_t width,
                                  std::uint32_t height,
                                  std::uint8_t* uv,
                                  std::uint32_t uvStride);

/// Copies @p pixelSize * @p width bytes of each row. One variant, no wrapper.
using CopyPlaneFunction = void(const std::uint8_t* src,
                               std::uint32_t srcStride,
                               std::uint32_t width,
                               std::uint32_t height,
                               std::uint32_t pixelSize,
                               std::uint8_t* dst,
                               std::uint32_t dstStride);

// ---- YUV to BGR and RGB: BT.601, limited range, 13 fractional bits ------------------------------

/// With yy = 9535 (Y - 16), u = U - 128, v = V - 128, and clamp to 0..255:
///
///     B = clamp((yy + 16531 u          + 4096) >> 13)
///     G = clamp((yy -  3203 u - 6660 v + 4096) >> 13)
///     R = clamp((yy           + 13074 v + 4096) >> 13)
///
/// A chroma sample is repeated over its pixels. Even width for 4:2:2, even width and height for
/// 4:2:0.
using YuvToBgrFunction = void(const std::uint8_t* y,
                              std::uint32_t yStride,
                              const std::uint8_t* u,
                              std::uint32_t uStride,
                              const std::uint8_t* v,
                              std::uint32_t vStride,
                              std::uint32_t width,
                              std::uint32_t height,
                              std::uint8_t* dst,
                              std::uint32_t dstStride);

/// NV12 to BGR with 8 fractional bits, close to the above but not the same bytes. With yy = max(Y -
/// 16, 0), u = U - 128, v = V - 128, and clamp to 0..65535:
///
///     B = clamp(298 yy + 516 u         + 128) >> 8
///     G = clamp(298 yy - 100 u - 208 v + 128) >> 8
///     R = clamp(298 yy         + 409 v + 128) >> 8
///
/// Writes 8 * (width / 8) columns and 2 * (height / 2) rows; there is no tail.
/// @param stride of the Y plane and of the UV plane
using Nv12ToBgrFunction = void(const std::uint8_t* y,
                               const std::uint8_t* uv,
                               std::uint8_t* bgr,
                               int width,
                               int height,
                               int stride,
                               int bgrStride);

// ---- BGR to YUV: BT.601, limited range, 14 fractional bits --------------------------------------

///     Y = (( 1606 b + 8258 g + 4211 r + 8192) >> 14) + 16
///     U = (( 7193 b - 4768 g - 2425 r + 8192) >> 14) + 128
///     V = ((-1163 b - 6029 g + 7193 r + 8192) >> 14) + 128
///
/// Subsampled chroma is of the means (b0 + b1 + 1) >> 1 of a pair, or (b00 + b01 + b10 + b11 + 2)
/// >> 2 of a block, of each channel. Even width for 4:2:2, even width and height for 4:2:0.
using BgrToYuvFunction = void(const std::uint8_t* bgr,
                              std::uint32_t width,
                              std::uint32_t height,
                              std::uint32_t bgrStride,
                              std::uint8_t* y,
                              std::uint32_t yStride,
                              std::uint8_t* u,
                              std::uint32_t uStride,
                              std::uint8_t* v,
                              std::uint32_t vStride);

/// As `BgrToYuv420p` (NV12) and `BgrToYuv422p` (NV16), with U and V in pairs.
using BgrToNvFunction = void(const std::uint8_t* bgr,
                             std::uint32_t width,
                             std::uint32_t height,
                             std::uint32_t bgrStride,
                             std::uint8_t* y,
                             std::uint32_t yStride,
                             std::uint8_t* uv,
                             std::uint32_t uvStride);

// ---- Floats: runs of @p size samples ------------------------------------------------------------

/// dst = lower + scale * src, scale = (upper - lower) / 255. Base fuses, Neon multiplies and adds.
using Uint8ToFloat32Function = void(const std::uint8_t* src,
                                    std::uint32_t size,
                                    const float* lower,
                                    const float* upper,
                                    float* dst);

/// dst = (clamp(src, lower, upper) - lower) * scale truncated, scale = 255 / (upper - lower).
/// A NaN gives 0 when lower is 0.
using Float32ToUint8Function = void(const float* src,
                                    std::uint32_t size,
                                    const float* lower,
                                    const float* upper,
                                    std::uint8_t* dst);

/// data += value, in place.
using AddValueFunction = void(const float* value, float* data, std::uint32_t size);

/// data = value * data + 0, in place: a product of -0 becomes 0. Rounded as AddProduct does it.
using MultiplyValueFunction = void(const float* value, float* data, std::uint32_t size);

/// dst += value * src. Base fuses, and so does Neon in its scalar tail; its vectors multiply and
/// add.
using AddProductFunction = void(const float* src,
                                std::uint32_t size,
                                const float* value,
                                float* dst);

/// binary16 to binary32; payloads of NaN are kept.
using Float16ToFloat32Function = void(const unsigned short* src, std::uint32_t size, float* dst);

/// binary32 to binary16, rounded toward zero; anything above 65504 is infinity.
using Float32ToFloat16Function = void(const float* src, std::uint32_t size, unsigned short* dst);

// ---- Transforms: whole pixels of 1 to 4 bytes ---------------------------------------------------

/// Where pixel (x, y) of a source of W x H goes: column, row.
enum ImageTransformMode : std::uint32_t {
    ImageTransformCopy = 0,            ///< x, y
    ImageTransformRotate90 = 1,        ///< y, W - 1 - x
    ImageTransformRotate180 = 2,       ///< W - 1 - x, H - 1 - y
    ImageTransformRotate270 = 3,       ///< H - 1 - y, x
    ImageTransformTranspose = 4,       ///< y, x
    ImageTransformFlipHorizontal = 5,  ///< W - 1 - x, y
    ImageTransformAntiTranspose = 6,   ///< H - 1 - y, W - 1 - x
    ImageTransformFlipVertical = 7,    ///< x, H - 1 - y
};

/// @param width, height of the source
/// @param pixelSize     bytes of a pixel, 1 to 4
/// @param mode          an ImageTransformMode
using ImageTransformFunction = void(const std::uint8_t* src,
                                    std::uint32_t srcStride,
                                    std::uint32_t width,
                                    std::uint32_t height,
                                    std::uint32_t pixelSize,
                                    std::uint32_t mode,
                                    std::uint8_t* dst,
                                    std::uint32_t dstStride);

// ---- What exists --------------------------------------------------------------------------------

namespace Base {

BgrToGrayFunction BgrToGray;
GrayToBgrFunction GrayToBgr;
BgrToRgbFunction BgrToRgb;
DeinterleaveBgrFunction DeinterleaveBgr;
InterleaveBgrFunction InterleaveBgr;
DeinterleaveUvFunction DeinterleaveUv;
InterleaveUvFunction InterleaveUv;
CopyPlaneFunction CopyPlane;
YuvToBgrFunction Yuv420pToBgr, Yuv420pToRgb, Yuv422pToBgr, Yuv422pToRgb, Yuv444pToBgr;
Nv12ToBgrFunction Nv12ToBgr;
BgrToYuvFunction BgrToYuv420p, BgrToYuv422p, BgrToYuv444p;
BgrToNvFunction BgrToNv12, BgrToNv16;
Uint8ToFloat32Function Uint8ToFloat32;
Float32ToUint8Function Float32ToUint8;
AddValueFunction AddValue;
MultiplyValueFunction MultiplyValue;
AddProductFunction AddProduct;
Float16ToFloat32Function Float16ToFloat32;
Float32ToFloat16Function Float32ToFloat16;
ImageTransformFunction ImageTransform;

}  // namespace Base

// A variant has what is declared in its own namespace; the portable kernels stand for the rest.

namespace Neon {

using namespace Base;

#ifdef TAVO_NEON
BgrToGrayFunction BgrToGray;
GrayToBgrFunction GrayToBgr;
BgrToRgbFunction BgrToRgb;
DeinterleaveBgrFunction DeinterleaveBgr;
InterleaveBgrFunction InterleaveBgr;
DeinterleaveUvFunction DeinterleaveUv;
InterleaveUvFunction InterleaveUv;
YuvToBgrFunction Yuv420pToBgr, Yuv420pToRgb, Yuv422pToBgr, Yuv422pToRgb, Yuv444pToBgr;
Nv12ToBgrFunction Nv12ToBgr;
BgrToYuvFunction BgrToYuv420p, BgrToYuv422p, BgrToYuv444p;
BgrToNvFunction BgrToNv12, BgrToNv16;
Uint8ToFloat32Function Uint8ToFloat32;
Float32ToUint8Function Float32ToUint8;
AddValueFunction AddValue;
MultiplyValueFunction MultiplyValue;
AddProductFunction AddProduct;
Float16ToFloat32Function Float16ToFloat32;
Float32ToFloat16Function Float32ToFloat16;
ImageTransformFunction ImageTransform;
#endif

}  // namespace Neon

namespace Avx2 {

using namespace Base;

#ifdef TAVO_AVX2
BgrToGrayFunction BgrToGray;
GrayToBgrFunction GrayToBgr;
BgrToRgbFunction BgrToRgb;
DeinterleaveBgrFunction DeinterleaveBgr;
InterleaveBgrFunction InterleaveBgr;
DeinterleaveUvFunction DeinterleaveUv;
InterleaveUvFunction InterleaveUv;
YuvToBgrFunction Yuv420pToBgr, Yuv420pToRgb, Yuv422pToBgr, Yuv422pToRgb, Yuv444pToBgr;
Nv12ToBgrFunction Nv12ToBgr;
BgrToYuvFunction BgrToYuv420p, BgrToYuv422p, BgrToYuv444p;
BgrToNvFunction BgrToNv12, BgrToNv16;
Uint8ToFloat32Function Uint8ToFloat32;
Float32ToUint8Function Float32ToUint8;
AddValueFunction AddValue;
MultiplyValueFunction MultiplyValue;
AddProductFunction AddProduct;
Float16ToFloat32Function Float16ToFloat32;
Float32ToFloat16Function Float32ToFloat16;
ImageTransformFunction ImageTransform;
#endif

}  // namespace Avx2

}  // namespace Simd
