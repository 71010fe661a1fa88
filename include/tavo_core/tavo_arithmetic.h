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
/// The textbook rotation about a point, for a y axis that grows downwards. It takes (x, y) to
/// (m[0][0] x + m[0][1] y + m[0][2], m[1][0] x + m[1][1] y + m[1][2]). Computed in double precision
/// and rounded to float; multiples of 90 degrees are exact.
/// @param angle  in degrees; positive turns counter-clockwise as seen on the screen
/// @param center in pixels; the point that stays where it is. It need not lie inside an image.
/// @param matrix two rows of three, which are overwritten; not null
/// @param scale  factor of all distances from @p center; 1 keeps them
/// @throws Exception TAVO_STATUS_NULL_POINTER, or TAVO_STATUS_INVALID_PARAMETER for an angle or a
///         scale that is not finite
TAVO_CORE_API void getRotationMatrix2D(float angle, Point center, float (*matrix)[3], float scale);

/// What to read and where to write when @p roi is turned by @p angle about its centre
/// (`width / 2`, `height / 2`).
///
/// The centres of the roi's corner pixels are turned, and their box is grown outward to whole
/// pixels: xmin..xmax, ymin..ymax in the roi's coordinates. The result's margin is on the left and
/// on top only, with dx = max(0, -xmin) and dy = max(0, -ymin).
/// @param angle    in degrees; positive turns counter-clockwise as seen on the screen
/// @param roi      in pixels of the frame; its corner may have any value
/// @param src_roi  (roi.x - dx, roi.y - dy, roi.width + dx, roi.height + dy); it may reach outside
///                 the frame
/// @param dst_size (xmax + dx + 1, ymax + dy + 1), the size of the turned result
/// @param dst_roi  (xmin + dx, ymin + dy, xmax - xmin + 1, ymax - ymin + 1), where the turned roi
///                 lies inside the result
/// @throws Exception TAVO_STATUS_INVALID_PARAMETER for an angle that is not finite;
///         TAVO_STATUS_OUT_OF_RANGE for an empty roi or results beyond 32 bits. The results then
///         stay as they were.
TAVO_CORE_API void getRotationRoi(
    float angle, const Rect& roi, Rect& src_roi, Size& dst_size, Rect& dst_roi);

/// Adds @p value to each sample inside @p roi of a one-channel float plane: one IEEE 754 addition
/// in single precision, rounded to nearest.
/// @param value  any float
/// @param data   the plane's first sample, at a multiple of 4 bytes; not null
/// @param stride bytes from one row to the next, a multiple of 4; negative for bottom-up planes
/// @param roi    in pixels. It has to lie within the plane, which is not tested; an empty one
///               changes nothing.
/// @throws Exception TAVO_STATUS_NULL_POINTER, or TAVO_STATUS_INVALID_PARAMETER for misaligned
///         rows, also when @p roi is empty
TAVO_CORE_API void addConstant_32f_C1(float value, unsigned char* data, int stride, Rect roi);

/// Adds `values[c]` to sample c of each pixel inside @p roi of a packed three-channel float plane.
/// Otherwise as addConstant_32f_C1.
/// @param values three floats; not null
/// @param data   the plane's first sample, at a multiple of 4 bytes; not null
/// @param stride bytes from one row to the next, a multiple of 4, read as a signed number: a
///               negative one is passed as it converts
/// @param roi    as for addConstant_32f_C1, in pixels of three samples
/// @throws Exception as addConstant_32f_C1
TAVO_CORE_API void addConstant_32f_C3(const float* values,
                                      unsigned char* data,
                                      unsigned int stride,
                                      Rect roi);

/// Multiplies each sample inside @p roi of a one-channel float plane by @p value: one IEEE 754
/// multiplication in single precision, rounded to nearest. Otherwise as addConstant_32f_C1.
/// @param value  any float
/// @param data   the plane's first sample, at a multiple of 4 bytes; not null
/// @param stride as for addConstant_32f_C1
/// @param roi    as for addConstant_32f_C1
/// @throws Exception as addConstant_32f_C1
TAVO_CORE_API void mulConstant_32f_C1(float value, unsigned char* data, int stride, Rect roi);

/// Multiplies sample c of each pixel inside @p roi of a packed three-channel float plane by
/// `values[c]`. Otherwise as mulConstant_32f_C1.
/// @param values three floats; not null
/// @param data   the plane's first sample, at a multiple of 4 bytes; not null
/// @param stride as for addConstant_32f_C3
/// @param roi    as for addConstant_32f_C3
/// @throws Exception as addConstant_32f_C1
TAVO_CORE_API void mulConstant_32f_C3(const float* values,
                                      unsigned char* data,
                                      unsigned int stride,
                                      Rect roi);

}  // namespace tavo
