/// @file
/// The operations of the library behind one interface, and the properties that choose among
/// methods.
#pragma once

#include "tavo_core/tavo_frame.h"
#include "tavo_core/tavo_geometry.h"
#include "tavo_cv/tavo_cv_export.h"
#include "tavo_cv/tavo_scaler.h"

namespace tavo {

/// Integer properties of a backend. Values are those of ResizeMethod.
enum CvProperty : std::int32_t {
    CV_PROPERTY_RESIZE_METHOD = 1,  ///< of `resize` and `convert`; bilinear at first
    CV_PROPERTY_WARP_METHOD = 2,    ///< of `warpAffine`; fast backend only, bilinear at first
};

/// What a backend does with frames in CPU memory. The two backends compute with different
/// arithmetic: their results are close, not equal, and they don't convert the same pairs of
/// formats.
///
/// An empty Rect (a side of zero or less) stands for the whole frame. Any other must lie within
/// the frame. Source and destination must not share pixels unless the operation says so. A backend
/// serves one thread at a time; several backends share nothing.
///
/// Every operation throws an Exception: TAVO_STATUS_ASSERTION_FAILED for a violated precondition,
/// among them frames that are not initialized or not on the CPU; TAVO_STATUS_OUT_OF_RANGE for a
/// region that does not lie within the frame; TAVO_STATUS_OUT_OF_MEMORY. What else it throws is
/// told with it. Preconditions are checked before anything is written.
class TAVO_CV_API ICvBackend {
public:
    /// Converts a frame, or a region of it, to the format of @p dst.
    /// @param src     of any format
    /// @param dst     initialized, of the size of what is converted
    /// @param src_roi in pixels of @p src
    /// @throws Exception TAVO_STATUS_NOT_SUPPORTED for a pair of formats that this backend does
    ///         not convert
    virtual void colorCvt(const Frame& src, Frame& dst, Rect src_roi) = 0;

    /// Scales a frame, or a region of it, to the size of @p dst, or of its region, by the method of
    /// CV_PROPERTY_RESIZE_METHOD.
    /// @param src     of a format that the method takes
    /// @param dst     initialized, of the format of @p src; what lies outside @p dst_roi stays
    /// @param src_roi in pixels of @p src
    /// @param dst_roi in pixels of @p dst
    virtual void resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) = 0;

    /// Brings a frame, or a region of it, to the format and size of @p dst. Where both change, it
    /// is scaled first, in the source format, and then converted.
    /// @param src     of a format that can be converted and, where the size changes, scaled
    /// @param dst     initialized
    /// @param src_roi in pixels of @p src
    /// @throws Exception as `colorCvt` and `resize`; then @p dst may be written in part
    virtual void convert(const Frame& src, Frame& dst, Rect src_roi) = 0;

    /// Adds a number to every sample of a float frame, or of a region of it.
    /// @param src_dst FRAME_GRAY_32F, FRAME_BGR_32F or FRAME_PLANAR_32F
    /// @param value   any float
    /// @param src_roi in pixels
    /// @throws Exception TAVO_STATUS_NOT_SUPPORTED for formats without floats
    virtual void add(Frame& src_dst, float value, Rect src_roi) = 0;

    /// Multiplies every sample of a float frame, or of a region of it, by a number.
    /// @param src_dst FRAME_GRAY_32F, FRAME_BGR_32F or FRAME_PLANAR_32F
    /// @param value   any float
    /// @param src_roi in pixels
    /// @throws Exception TAVO_STATUS_NOT_SUPPORTED for formats without floats
    virtual void mul(Frame& src_dst, float value, Rect src_roi) = 0;

    /// Maps a frame, or a region of it, through an affine matrix. With m = @p matrix, pixel (x, y)
    /// goes to (m[0][0] x + m[0][1] y + m[0][2], m[1][0] x + m[1][1] y + m[1][2]).
    /// @param src    counted from the corner of @p roi
    /// @param dst    initialized, of the format of @p src, of any size
    /// @param matrix two rows of three, in pixels; not null
    /// @param roi    in pixels of @p src
    /// @param invert true when the matrix maps from @p dst to @p src instead
    /// @throws Exception TAVO_STATUS_NOT_SUPPORTED when there is no such warp
    virtual void warpAffine(
        const Frame& src, Frame& dst, const float (*matrix)[3], Rect roi, bool invert) = 0;

    /// Chooses among methods, from the next operation on.
    /// @param id    one of CvProperty
    /// @param value one of ResizeMethod
    /// @return 1, or 0 when this backend does not know the property, which changes nothing
    virtual int setIntProperty(int id, int value) = 0;

    /// What `setIntProperty` has set.
    /// @param id one of CvProperty
    /// @return the value, or -1 when this backend does not know the property
    virtual int getIntProperty(int id) const = 0;

    /// @return the device whose memory this backend works on: the CPU
    virtual DeviceContext getDeviceContext() const = 0;

    virtual ~ICvBackend();
};

}  // namespace tavo
