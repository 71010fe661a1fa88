/// @file
/// Free functions on plain memory.
#pragma once

#include <cstdint>

#include "tavo_cv/tavo_cv_export.h"

namespace tavo {

/// NV12 to BGR in 8 fractional bits, BT.601 limited range. With yy = max(Y - 16, 0), u = U - 128,
/// v = V - 128, and clamp to 0..65535:
///
///     B = clamp(298 yy + 516 u         + 128) >> 8
///     G = clamp(298 yy - 100 u - 208 v + 128) >> 8
///     R = clamp(298 yy         + 409 v + 128) >> 8
///
/// Each chroma pair serves a block of 2x2 pixels. Columns from 8 * (width / 8) on and a last odd
/// row are left as they are. The bytes are the same with and without NEON.
/// @param y, uv     planes of the source; not null unless there is nothing to convert
/// @param bgr       destination; must not overlap the source
/// @param width, height in pixels; below 8 and 2 nothing is written
/// @param stride    bytes from row to row in both source planes
/// @param bgrStride bytes from row to row in the destination
TAVO_CV_API void NV12toBGR_neon(const std::uint8_t* y,
                                const std::uint8_t* uv,
                                std::uint8_t* bgr,
                                int width,
                                int height,
                                int stride,
                                int bgrStride);

/// IEEE 754 binary16 to binary32, exactly; payloads of NaN are kept.
/// @param src, dst @p size elements each; not null unless @p size is 0, not overlapping
TAVO_CV_API void convertFp16ToFp32(const unsigned short* src, unsigned int size, float* dst);

/// IEEE 754 binary32 to binary16, rounded toward zero. Anything above 65504 becomes infinity; a NaN
/// stays one.
/// @param src, dst @p size elements each; not null unless @p size is 0, not overlapping
TAVO_CV_API void convertFp32ToFp16(const float* src, unsigned int size, unsigned short* dst);

}  // namespace tavo
