/// @file
/// Free functions: one call for one job, by the fast backend or on plain memory. They keep nothing
/// from call to call and may run on several threads at once, on different frames.
#pragma once

#include <cstdint>

#include "tavo_core/tavo_frame.h"
#include "tavo_core/tavo_geometry.h"
#include "tavo_core/tavo_tensor.h"
#include "tavo_cv/tavo_cv_export.h"
#include "tavo_cv/tavo_scaler.h"

namespace tavo {

/// Turns by multiples of 90 degrees, clockwise as seen on the screen.
enum FixedRotation : std::int32_t {
    ROTATION_0 = 0,    ///< a copy
    ROTATION_90 = 1,   ///< the left column becomes the top row
    ROTATION_180 = 2,  ///< upside down
    ROTATION_270 = 3,  ///< the right column becomes the top row
};

/// @return a shared empty rectangle, which stands for the whole frame
TAVO_CV_API const Rect& emptyRoi();

/// @return a shared uninitialized frame
TAVO_CV_API const Frame& emptyFrame();

// The target of the following functions may be the source itself, but not another frame that shows
// its pixels. It is made to match as by `Frame::reuse`, on the CPU, and where nothing is left to
// compute it is written as by `Frame::copyTo`. After an Exception it is what it was before, but for
// pixels that were written before memory ran out (TAVO_STATUS_OUT_OF_MEMORY). What they throw is
// what CvBackendSimd and `Frame::reuse` throw, and what is told.

/// Scales a frame. An uninitialized source or an empty size clears @p dst; the source's own size
/// copies, whatever the method. Formulas and limits are those of CvBackendSimd::resize.
/// @param src    of 8-bit or 32-bit samples
/// @param size   in pixels
/// @param dst    gets the format of @p src and @p size
/// @param method nearest, bilinear or area
/// @throws Exception as CvBackendSimd::resize and CvBackendSimd::setIntProperty
TAVO_CV_API void resizeFrame(const Frame& src, const Size& size, Frame& dst, ResizeMethod method);

/// Converts a frame to another format. FRAME_INVALID or an uninitialized source clears @p dst; the
/// source's own format copies. FRAME_NV12 to FRAME_BGR24 leaves the columns behind the last
/// multiple of 8 as they are (0 in a fresh frame); CvBackendSimd::colorCvt with the whole frame for
/// its region writes them.
/// @param src    of any format
/// @param format of the result
/// @param dst    gets @p format and the size of @p src
/// @throws Exception as CvBackendSimd::colorCvt
TAVO_CV_API void colorConvert(const Frame& src, FrameFormat format, Frame& dst);

/// Turns a frame of 8-bit samples. With W and H the source's size, pixel (x, y) goes to column
/// H - 1 - y, row x (90 degrees), W - 1 - x, H - 1 - y (180), or y, W - 1 - x (270). Planes are
/// turned each by their own size, elements (groups of packed 4:2:2, too) as a whole.
/// @param src      of 8-bit samples
/// @param rotation clockwise
/// @param dst      gets the format of @p src, and its size with the sides exchanged at 90 and 270
/// @throws Exception TAVO_STATUS_ASSERTION_FAILED for a source that is uninitialized, not on the
///         CPU or not of 8-bit samples; TAVO_STATUS_INVALID_PARAMETER for another rotation;
///         TAVO_STATUS_NOT_SUPPORTED for quarter turns of FRAME_YV16, FRAME_NV16, FRAME_YUYV and
///         FRAME_UYVY, whose turned chroma is subsampled in the other direction
TAVO_CV_API void rotateFrame(const Frame& src, FixedRotation rotation, Frame& dst);

/// Turns a region of a frame by any angle, bilinearly, on black. The result's size and the place of
/// the region in it are those of `getRotationRoi`. A result that needs pixels left of or above the
/// frame takes the source's top left part for the region. Where the turned frame is subsampled, its
/// chroma is turned about a point of its own (CvBackendSimd::warpAffine), so formats without
/// subsampling are the ones to use.
/// @param src     of 8-bit samples
/// @param roi     in pixels of @p src
/// @param angle   in degrees; positive turns counter-clockwise
/// @param dst     gets the format of @p src and the size that `getRotationRoi` tells
/// @param dst_roi is set to where the turned region lies in @p dst
/// @throws Exception TAVO_STATUS_ASSERTION_FAILED for a source that is uninitialized or not on the
///         CPU; TAVO_STATUS_OUT_OF_RANGE for a region that is empty, or that reaches beyond the
///         right or lower edge where no margin is needed; TAVO_STATUS_INVALID_PARAMETER for an
///         angle that is not finite
TAVO_CV_API void rotateFrame(
    const Frame& src, const Rect& roi, float angle, Frame& dst, Rect& dst_roi);

/// Turns a tensor of halves into one of floats, with doubled strides, in one run over its payload;
/// what lies between its elements is converted along with them.
/// @param src of TENSOR_FLOAT_16, on the CPU
/// @param dst gets TENSOR_FLOAT_32, the sizes of @p src and a fresh block; may be @p src
/// @throws Exception TAVO_STATUS_ASSERTION_FAILED for a source that is uninitialized, of other
///         elements, or not on the CPU; TAVO_STATUS_OUT_OF_RANGE for a payload beyond 32 bits
TAVO_CV_API void tensorFp16ToFp32(const Tensor& src, Tensor& dst);

/// The inverse of the map (a x + b y + c, d x + e y + f).
/// @param matrix  six floats a, b, c, d, e, f
/// @param inverse six floats in the same order; may be @p matrix. Computed in double precision from
///                the determinant fma(a, e, -(d b)) in single precision.
/// @return false for a singular matrix, which gives six zeros
TAVO_CV_API bool invertAffineTransform(const float* matrix, float* inverse);

/// NV12 to BGR in 8 fractional bits, BT.601 limited range. With yy = max(Y - 16, 0), u = U - 128,
/// v = V - 128, and clamp to 0..65535:
///
///     B = clamp(298 yy + 516 u         + 128) >> 8
///     G = clamp(298 yy - 100 u - 208 v + 128) >> 8
///     R = clamp(298 yy         + 409 v + 128) >> 8
///
/// Each chroma pair serves a block of 2x2 pixels. Columns from 8 * (width / 8) on and a last odd
/// row are left as they are. The bytes are the same with and without NEON.
/// @param y         luma of the source; not null unless there is nothing to convert
/// @param uv        chroma pairs of the source; not null unless there is nothing to convert
/// @param bgr       destination; must not overlap the source
/// @param width     in pixels; below 8 nothing is written
/// @param height    in rows; below 2 nothing is written
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
/// @param src   bit patterns of binary16; not null unless @p count is 0
/// @param count elements
/// @param dst   @p count elements, not overlapping @p src; not null unless @p count is 0
TAVO_CV_API void convertFp16ToFp32(const unsigned short* src, unsigned int count, float* dst);

/// IEEE 754 binary32 to binary16, rounded toward zero. Anything above 65504 becomes infinity; a NaN
/// stays one.
/// @param src   @p count elements; not null unless @p count is 0
/// @param count elements
/// @param dst   bit patterns of binary16, @p count of them, not overlapping @p src; not null unless
///              @p count is 0
TAVO_CV_API void convertFp32ToFp16(const float* src, unsigned int count, unsigned short* dst);

}  // namespace tavo
