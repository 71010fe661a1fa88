/// @file
/// Reduction with any resampling kernel.
#pragma once

#include <memory>

#include "tavo_cv/tavo_row_producer.h"
#include "tavo_cv/tavo_scale_kernel.h"
#include "tavo_cv/tavo_scaler_precision.h"

namespace tavo {

/// Shrinks both axes, first the width, then the height, by a separable filter in fixed point:
/// weights of 6 fractional bits with TAVO_SCALER_FIXED_POINT_8S, of 14 with
/// TAVO_SCALER_FIXED_POINT_16S. Results are truncated and clamped after each axis. Inside the image
/// all destination pixels share 16 kernels, one for each sixteenth of a source pixel, unless there
/// are no more than 16 phases. At the left and right edge the image is mirrored, edge pixel
/// repeated.
///
/// An axis keeps its length or gets shorter, by at most 32 times in 8S, and a source side is at
/// most 8192. The source must have as many rows as the kernel has taps. Formats: FRAME_GRAY8,
/// FRAME_BGR24, FRAME_I420 to FRAME_YV16, FRAME_NV16 to FRAME_8U_C4.
///
/// Preparing again is cheap when the kernel object, the format and the sizes stay the same. The
/// width of the source takes no part in that test: the horizontal tables and `layout().size` follow
/// it only when the kernel object, the format or the destination changes with it. On every pass but
/// the first, the source rows lag behind by the first step of the pass.
class TAVO_CV_API ScalerConvolutional : public IRowProducer {
public:
    /// Nothing is set up.
    ScalerConvolutional();
    ~ScalerConvolutional() override;

    /// Prepares a pass over a frame.
    /// @param kernel    used during the call only
    /// @param frame     must outlive the pass
    /// @param dst_size  output pixels
    /// @param precision of the weights
    /// @throws Exception TAVO_STATUS_NOT_INITIALIZED for an uninitialized frame or an empty
    ///         @p dst_size, TAVO_STATUS_INVALID_PARAMETER for another @p precision,
    ///         TAVO_STATUS_OUT_OF_RANGE for sizes beyond the limits,
    ///         TAVO_STATUS_CAPACITY_EXCEEDED for a kernel too wide for the precision,
    ///         TAVO_STATUS_NULL_POINTER for a kernel whose integral is not positive;
    ///         TAVO_STATUS_INVALID_PARAMETER for what else the kernel throws: an Exception of its
    ///         own keeps its status. The first leaves the scaler as it was, the others leave it
    ///         empty.
    void reuse(IKernel& kernel, const Frame& frame, Size dst_size, ScalerPrecision precision);

    /// Prepares a pass over another stage.
    /// @param kernel    used during the call only
    /// @param producer  must outlive the pass
    /// @param dst_size  output pixels
    /// @param precision of the weights
    /// @throws Exception as above
    void reuse(IKernel& kernel, IRowProducer& producer, Size dst_size, ScalerPrecision precision);

    /// @return true once a `reuse` has succeeded
    bool initialized() const;

    /// @copydoc IRowProducer::layout
    /// @throws Exception TAVO_STATUS_INSTANCE_NOT_INITIALIZED before the first `reuse`
    const FrameLayout& layout() const override;

    /// @copydoc IRowProducer::produce
    /// @throws Exception TAVO_STATUS_INSTANCE_NOT_INITIALIZED before a successful `reuse`,
    ///         TAVO_STATUS_NOT_SUPPORTED for other formats; what the producer throws
    void produce(RowData& row) override;

    /// @copydoc IRowProducer::next
    /// @throws Exception TAVO_STATUS_INSTANCE_NOT_INITIALIZED before the first `reuse`
    bool next() override;

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};

}  // namespace tavo
