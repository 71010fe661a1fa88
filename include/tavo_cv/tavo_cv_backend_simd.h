/// @file
/// The fast backend.
#pragma once

#include "tavo_cv/tavo_cv_backend.h"

namespace tavo {

/// Runs whole planes through the kernels, which have vector variants. Temporary frames are kept, so
/// that a stream of like frames allocates once, but for the tables of `resize` and `warpAffine`.
///
/// Colours are BT.601 of limited range. From BGR, with coefficients of 14 fractional bits:
///
///     Y = ((1606 B + 8258 G + 4211 R + 8192) >> 14) + 16
///     U = ((7193 B - 4768 G - 2425 R + 8192) >> 14) + 128
///     V = ((-1163 B - 6029 G + 7193 R + 8192) >> 14) + 128
///     gray of BGR = (1868 B + 9617 G + 4899 R + 8192) >> 14, full range
///
/// where chroma that pixels share is of their mean, rounded to nearest. To BGR, with 13 fractional
/// bits, clamped to 0..255:
///
///     B = (9535 (Y - 16) + 16531 (U - 128) + 4096) >> 13
///     G = (9535 (Y - 16) - 3203 (U - 128) - 6660 (V - 128) + 4096) >> 13
///     R = (9535 (Y - 16) + 13074 (V - 128) + 4096) >> 13
///
/// Plane 1 of FRAME_YV16 is taken for U and plane 2 for V here.
class TAVO_CV_API CvBackendSimd : public ICvBackend {
public:
    CvBackendSimd();
    ~CvBackendSimd() override;

    /// @copydoc ICvBackend::colorCvt
    ///
    /// Equal formats are copied. A byte becomes the float of the same value; a float is clamped to
    /// 0..255, and its fraction is cut. The sources FRAME_I420, FRAME_NV12, FRAME_NV21 and
    /// FRAME_NV16 need even sides, and so does FRAME_BGR24 to FRAME_NV16. The last column and row
    /// of an odd FRAME_BGR24 become chroma by point samples.
    ///
    /// FRAME_NV12 to FRAME_BGR24 without a region, with equal strides of both source planes, goes
    /// through NV12toBGR_neon, which leaves the columns behind the last multiple of 8 as they are.
    /// @throws Exception TAVO_STATUS_ASSERTION_FAILED for an odd size where it has to be even;
    ///         TAVO_STATUS_INVALID_PARAMETER for samples of 32 bits at addresses or strides that
    ///         are not multiples of 4
    void colorCvt(const Frame& src, Frame& dst, Rect src_roi) override;

    /// @copydoc ICvBackend::resize
    ///
    /// Scales plane by plane, each by its own size. For one axis of source length s and output
    /// length d, output i is
    /// - nearest: source sample trunc((i + 0.5) s / d), computed in single precision;
    /// - bilinear: between the two samples around (i + 0.5) s / d - 0.5. Bytes are weighed in
    ///   sixteenths and rounded to nearest, floats in single precision;
    /// - area: the mean of the samples that it covers, with weights of 11 fractional bits, rounded
    ///   to nearest.
    ///
    /// Planes of one column or row are scaled by the nearest neighbour. FRAME_32U_C1 is
    /// interpolated as if its samples were floats.
    /// @throws Exception TAVO_STATUS_ASSERTION_FAILED for FRAME_16U_C1; TAVO_STATUS_NOT_SUPPORTED
    ///         for samples of 32 bits by area; TAVO_STATUS_INVALID_PARAMETER for such samples at
    ///         addresses or strides that are not multiples of 4
    void resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) override;

    /// @copydoc ICvBackend::convert
    ///
    /// The conversion is `colorCvt` without a region, so FRAME_NV12 to FRAME_BGR24 leaves the
    /// columns behind the last multiple of 8 as they are, whatever @p src_roi is; `resize` and
    /// `colorCvt` with a region write them.
    void convert(const Frame& src, Frame& dst, Rect src_roi) override;

    /// @copydoc ICvBackend::add
    ///
    /// Strides are rounded down to a multiple of 4.
    /// @throws Exception TAVO_STATUS_INVALID_PARAMETER for samples at addresses that are not
    ///         multiples of 4, and negative strides that are not
    void add(Frame& src_dst, float value, Rect src_roi) override;

    /// @copydoc ICvBackend::mul
    ///
    /// A product of -0 becomes 0. Of a frame without floats the region is zeroed before the
    /// failure.
    /// @throws Exception as `add`
    void mul(Frame& src_dst, float value, Rect src_roi) override;

    /// @copydoc ICvBackend::warpAffine
    ///
    /// Every plane gets the same matrix, in its own pixels, so that subsampled chroma moves twice
    /// as far as luma. Samples are taken for bytes: of wider ones only the first bytes of each row
    /// are mapped, which makes no picture. What does not come from the source becomes 0. By the
    /// method of CV_PROPERTY_WARP_METHOD a pixel is the nearest one, or mixed of four with weights
    /// of 5 fractional bits, rounded to nearest; ResizeArea is bilinear here.
    /// @throws Exception TAVO_STATUS_NOT_SUPPORTED for a matrix that has no inverse
    void warpAffine(
        const Frame& src, Frame& dst, const float (*matrix)[3], Rect roi, bool invert) override;

    /// @copydoc ICvBackend::setIntProperty
    ///
    /// Knows both properties.
    /// @throws Exception TAVO_STATUS_ASSERTION_FAILED for a value that is no ResizeMethod
    int setIntProperty(int id, int value) override;
    int getIntProperty(int id) const override;
    DeviceContext getDeviceContext() const override;

    /// Converts a region of a FRAME_BGR24 into a temporary FRAME_I444 of this object, which the
    /// next operation may overwrite. There is no way to read it from outside.
    /// @param src FRAME_BGR24, which is not tested; not written
    /// @param roi in pixels of @p src; not empty
    /// @throws Exception TAVO_STATUS_NOT_INITIALIZED for an uninitialized frame;
    ///         TAVO_STATUS_OUT_OF_RANGE for an empty region and a region that does not lie within
    ///         the frame
    void roiToYuv444(Frame& src, const Rect& roi);

private:
    DeviceContext m_device_context;
    std::int32_t m_resize_method = ResizeBilinear;
    std::int32_t m_warp_method = ResizeBilinear;
    Frame m_convert_frame;  // of `convert`
    Frame m_color_frame;    // of `colorCvt` and `mul`
};

}  // namespace tavo
