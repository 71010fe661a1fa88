/// @file
/// The portable backend.
#pragma once

#include "tavo_cv/tavo_cv_backend.h"
#include "tavo_cv/tavo_format_converter.h"
#include "tavo_cv/tavo_scaler.h"

namespace tavo {

/// Pulls rows through a Scaler and a FormatConverter. The stages and their memory are kept, so that
/// a stream of like frames allocates once.
///
/// NV12 to BGR24 without a region goes through NV12toBGR_neon with the stride of the luma plane for
/// both planes: columns behind the last multiple of 8, and an odd last row, stay as they are. Where
/// that stride would lead out of the chroma plane, the FormatConverter does the work.
class TAVO_CV_API CvBackendBase : public ICvBackend {
public:
    CvBackendBase();
    ~CvBackendBase() override;

    /// @throws Exception what FormatConverter throws
    void colorCvt(const Frame& src, Frame& dst, Rect src_roi) override;

    /// @throws Exception what Scaler throws
    void resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) override;

    void convert(const Frame& src, Frame& dst, Rect src_roi) override;

    /// @param src_roi is cut to the frame, and what remains gives the size only: the area of that
    ///                size at the top left is changed
    void add(Frame& src_dst, float value, Rect src_roi) override;

    /// @param src_roi as for `add`
    void mul(Frame& src_dst, float value, Rect src_roi) override;

    /// Not implemented here.
    /// @throws Exception TAVO_STATUS_NOT_SUPPORTED
    void warpAffine(
        const Frame& src, Frame& dst, const float (*matrix)[3], Rect roi, bool invert) override;

    /// Knows CV_PROPERTY_RESIZE_METHOD. The value is not tested here; one that is no ResizeMethod
    /// fails when the next frame is scaled.
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
