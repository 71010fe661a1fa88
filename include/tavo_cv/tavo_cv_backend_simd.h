/// @file
/// The fast backend.
#pragma once

#include "tavo_cv/tavo_cv_backend.h"

namespace tavo {

/// Runs whole planes through the kernels, which have vector variants. Temporary frames are kept, so
/// that a stream of like frames allocates once, but for the tables of `resize` and `warpAffine`.
///
/// Plane 1 of FRAME_YV16 is taken for U and plane 2 for V here.
class TAVO_CV_API CvBackendSimd : public ICvBackend {
public:
    CvBackendSimd();
    ~CvBackendSimd() override;

    /// Equal formats are copied. The sources FRAME_I420, FRAME_NV12, FRAME_NV21 and FRAME_NV16 need
    /// even sides, and so does FRAME_BGR24 to FRAME_NV16. The last column and row of an odd
    /// FRAME_BGR24 become chroma by point samples.
    ///
    /// FRAME_NV12 to FRAME_BGR24 without a region, with equal strides of both source planes, goes
    /// through NV12toBGR_neon, which leaves the columns behind the last multiple of 8 as they are.
    void colorCvt(const Frame& src, Frame& dst, Rect src_roi) override;

    /// Scales plane by plane. Planes of one column or row are scaled by the nearest neighbour.
    /// @throws Exception TAVO_STATUS_NOT_SUPPORTED for samples of 32 bits by area;
    ///         TAVO_STATUS_INVALID_PARAMETER for such samples at addresses or strides that are not
    ///         multiples of 4
    void resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) override;

    void convert(const Frame& src, Frame& dst, Rect src_roi) override;

    /// @throws Exception TAVO_STATUS_INVALID_PARAMETER for samples at addresses that are not
    ///         multiples of 4. Strides are rounded down to one.
    void add(Frame& src_dst, float value, Rect src_roi) override;

    /// A frame without floats is zeroed before the failure.
    /// @throws Exception as `add`
    void mul(Frame& src_dst, float value, Rect src_roi) override;

    /// Every plane gets the same matrix, in its own pixels, and is taken for bytes. What does not
    /// come from the source becomes 0.
    /// @throws Exception TAVO_STATUS_NOT_SUPPORTED for a matrix that has no inverse
    void warpAffine(
        const Frame& src, Frame& dst, const float (*matrix)[3], Rect roi, bool invert) override;

    /// Knows both properties.
    /// @throws Exception TAVO_STATUS_ASSERTION_FAILED for a value that is no ResizeMethod
    int setIntProperty(int id, int value) override;
    int getIntProperty(int id) const override;
    DeviceContext getDeviceContext() const override;

    /// Converts a region of a FRAME_BGR24 into a temporary FRAME_I444 of this object, which the
    /// next operation may overwrite.
    /// @throws Exception TAVO_STATUS_OUT_OF_RANGE for a region that does not lie within the frame
    void roiToYuv444(Frame& src, const Rect& roi);

private:
    DeviceContext m_device_context;
    std::int32_t m_resize_method = ResizeBilinear;
    std::int32_t m_warp_method = ResizeBilinear;
    Frame m_convert_frame;  // of `convert`
    Frame m_color_frame;    // of `colorCvt` and `mul`
};

}  // namespace tavo
