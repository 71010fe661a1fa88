/// @file
/// The portable backend.
#pragma once

#include "tavo_cv/tavo_cv_backend.h"
#include "tavo_cv/tavo_format_converter.h"
#include "tavo_cv/tavo_scaler.h"

namespace tavo {

/// Pulls rows through a Scaler and a FormatConverter, which tell formulas, formats and limits. The
/// stages and their memory are kept, so that a stream of like frames allocates once. Results are
/// the same on every machine.
///
/// NV12 to BGR24 without a region goes through NV12toBGR_neon with the stride of the luma plane for
/// both planes: columns behind the last multiple of 8, and an odd last row, stay as they are. Where
/// that stride would lead out of the chroma plane, the FormatConverter does the work.
class TAVO_CV_API CvBackendBase : public ICvBackend {
public:
    CvBackendBase();
    ~CvBackendBase() override;

    /// @copydoc ICvBackend::colorCvt
    /// @throws Exception what FormatConverter throws
    void colorCvt(const Frame& src, Frame& dst, Rect src_roi) override;

    /// @copydoc ICvBackend::resize
    /// @throws Exception what Scaler throws
    void resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) override;

    void convert(const Frame& src, Frame& dst, Rect src_roi) override;

    /// @copydoc ICvBackend::add
    ///
    /// The region is cut to the frame, and what remains gives the size only: the area of that size
    /// at the top left is changed.
    /// @throws Exception TAVO_STATUS_ASSERTION_FAILED for a region wholly outside the frame;
    ///         TAVO_STATUS_INVALID_PARAMETER for addresses or strides that are not multiples of 4
    void add(Frame& src_dst, float value, Rect src_roi) override;

    /// @copydoc ICvBackend::mul
    ///
    /// The region is used as in `add`.
    /// @throws Exception as `add`
    void mul(Frame& src_dst, float value, Rect src_roi) override;

    /// Not implemented here. No argument is looked at.
    /// @param src    unused
    /// @param dst    unused
    /// @param matrix unused
    /// @param roi    unused
    /// @param invert unused
    /// @throws Exception TAVO_STATUS_NOT_SUPPORTED, always
    void warpAffine(
        const Frame& src, Frame& dst, const float (*matrix)[3], Rect roi, bool invert) override;

    /// @copydoc ICvBackend::setIntProperty
    ///
    /// Knows CV_PROPERTY_RESIZE_METHOD. The value is not tested here; one that is no ResizeMethod
    /// fails when the next frame is scaled, with TAVO_STATUS_INVALID_PARAMETER.
    int setIntProperty(int id, int value) override;
    int getIntProperty(int id) const override;
    DeviceContext getDeviceContext() const override;

private:
    FormatConverter _converter;
    Scaler _scaler;
    std::int32_t _resize_method = ResizeBilinear;
    Frame _temp;  // scaled, not yet converted
};

}  // namespace tavo
