/// @file
/// Rotation geometry and constant arithmetic on float planes.
#pragma once

#include "tavo_core/tavo_export.h"
#include "tavo_core/tavo_geometry.h"

namespace tavo {

/// The affine matrix that turns by @p angle about @p center and scales by @p scale:
///
///     | a   b   (1 - a) cx - b cy |     a = scale cos(angle)
///     | -b  a   b cx + (1 - a) cy |     b = scale sin(angle)
///
/// Multiples of 90 degrees are exact.
/// @param angle in degrees; positive turns counter-clockwise as seen on the screen
/// @param matrix two rows of three; not null
/// @throws Exception TAVO_STATUS_NULL_POINTER, or TAVO_STATUS_INVALID_PARAMETER for an angle or a
///         scale that is not finite
TAVO_CORE_API void getRotationMatrix2D(float angle, Point center, float (*matrix)[3], float scale);

/// What to read and where to write when @p roi is turned by @p angle about its centre
/// (`width / 2`, `height / 2`).
///
/// The centres of the roi's corner pixels are turned, and their box is grown outward to whole
/// pixels: xmin..xmax, ymin..ymax in the roi's coordinates. The result's margin is on the left and
/// on top only, with dx = max(0, -xmin) and dy = max(0, -ymin).
/// @param src_roi  (roi.x - dx, roi.y - dy, roi.width + dx, roi.height + dy); it may reach outside
///                 the frame
/// @param dst_size (xmax + dx + 1, ymax + dy + 1), the size of the turned result
/// @param dst_roi  (xmin + dx, ymin + dy, xmax - xmin + 1, ymax - ymin + 1), where the turned roi
///                 lies inside the result
/// @throws Exception TAVO_STATUS_INVALID_PARAMETER for an angle that is not finite;
///         TAVO_STATUS_OUT_OF_RANGE for an empty roi or results beyond 32 bits
TAVO_CORE_API void getRotationRoi(
    float angle, const Rect& roi, Rect& src_roi, Size& dst_size, Rect& dst_roi);

/// Adds @p value to each sample inside @p roi of a one-channel float plane.
/// @param data   the plane's first sample, aligned for float; not null
/// @param stride bytes from one row to the next, a multiple of 4; negative for bottom-up planes
/// @param roi    in pixels; an empty one changes nothing
/// @throws Exception TAVO_STATUS_NULL_POINTER, or TAVO_STATUS_INVALID_PARAMETER for misaligned rows
TAVO_CORE_API void addConstant_32f_C1(float value, unsigned char* data, int stride, Rect roi);

/// Adds `values[c]` to sample c of each pixel inside @p roi of a packed three-channel float plane.
/// @see addConstant_32f_C1
TAVO_CORE_API void addConstant_32f_C3(const float* values,
                                      unsigned char* data,
                                      unsigned int stride,
                                      Rect roi);

/// Multiplies each sample inside @p roi by @p value. @see addConstant_32f_C1
TAVO_CORE_API void mulConstant_32f_C1(float value, unsigned char* data, int stride, Rect roi);

/// Multiplies sample c of each pixel inside @p roi by `values[c]`. @see addConstant_32f_C1
TAVO_CORE_API void mulConstant_32f_C3(const float* values,
                                      unsigned char* data,
                                      unsigned int stride,
                                      Rect roi);

}  // namespace tavo
