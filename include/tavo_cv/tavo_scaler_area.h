/// @file
/// Area scaling: each output sample is the mean of the source samples that its rectangle covers,
/// where partly covered samples count by the covered fraction. Results are truncated.
///
/// Formats of all three: the 8-bit formats but FRAME_RGB24 and FRAME_RGB_PLANAR, and FRAME_16U_C1.
/// FRAME_YUYV is handled in elements of 3 samples, and the last byte of each four is not written.
/// `produce` throws TAVO_STATUS_NOT_SUPPORTED for other formats; for FRAME_32U_C1 it does so after
/// the row has been written. A subsampled plane uses the positions of plane 0 from its start.
/// `reuse` throws TAVO_STATUS_ASSERTION_FAILED for an uninitialized source, an empty output or a
/// bad precision; this and a refused size leave the stage as it was. When it fails later, the stage
/// is empty. `produce` throws TAVO_STATUS_ASSERTION_FAILED before a successful `reuse`.
#pragma once

#include <memory>

#include "tavo_cv/tavo_row_producer.h"
#include "tavo_cv/tavo_scaler_precision.h"

namespace tavo {

/// Scales the width; the output keeps the source height. When growing it interpolates between two
/// neighbours. Rows are copied, whatever the format, when the width does not change.
///
/// For source length s, output length d and one = 1 << (precision - 1), a whole source sample
/// weighs full = min(one, step), with step = (d * one) / s. Output i begins at source sample
/// pos[i] = i * s / d, which contributes w[i] = clamp(step * (pos[i] + 1) - i * one, 0, one);
/// w[d] = full. With n = pos[i + 1] and all divisions truncated,
///
///     shrinking: (w[i] src[pos[i]] + full (src[pos[i] + 1] + ... + src[n - 1])
///                 + (full - w[i + 1]) src[n]) / one
///     growing:   (w[i] src[pos[i]] + (full - w[i]) src[pos[i] + 1]) / one
///
/// where what lies behind a row's last sample takes that sample. A plane counts as shrinking when
/// its output is narrower than plane 0 of the source. The table of positions and weights is kept
/// while both widths stay the same, even when the precision changes.
class TAVO_CV_API ScalerAreaX : public IRowProducer {
public:
    ScalerAreaX();
    ~ScalerAreaX() override;

    /// Prepares a pass over a frame.
    /// @param src_frame must outlive the pass
    /// @param dst_width output columns, at least 1
    /// @param precision of the weights
    /// @throws Exception also TAVO_STATUS_OUT_OF_RANGE when the source has more than 65535 pixels,
    ///         or `dst_width * one` does not fit 31 bits
    void reuse(const Frame& src_frame, int dst_width, ScalerPrecision precision);

    /// Prepares a pass over another stage.
    /// @param src_producer must outlive the pass
    /// @param dst_width    as above
    /// @param precision    as above
    /// @throws Exception as above
    void reuse(IRowProducer& src_producer, int dst_width, ScalerPrecision precision);

    /// @return true once a `reuse` has succeeded
    bool initialized() const;

    const FrameLayout& layout() const override;
    void produce(RowData& row) override;
    bool next() override;

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};

/// Scales the height; the output keeps the source width. All is as in ScalerAreaX, along the other
/// axis. Of FRAME_UYVY, FRAME_8U_C4 and FRAME_8U_C2 only the first `plane[0].width` bytes of a row
/// are written. Chroma rows that the source does not have count as zero.
class TAVO_CV_API ScalerAreaY : public IRowProducer {
public:
    ScalerAreaY();
    ~ScalerAreaY() override;

    /// Prepares a pass over a frame.
    /// @param src_frame  must outlive the pass
    /// @param dst_height output rows, at least 1
    /// @param precision  of the weights
    /// @throws Exception also TAVO_STATUS_OUT_OF_RANGE when the source has more than 65535 rows,
    ///         or `dst_height * one` does not fit 31 bits
    void reuse(const Frame& src_frame, int dst_height, ScalerPrecision precision);

    /// Prepares a pass over another stage.
    /// @param src_producer must outlive the pass
    /// @param dst_height   as above
    /// @param precision    as above
    /// @throws Exception as above
    void reuse(IRowProducer& src_producer, int dst_height, ScalerPrecision precision);

    /// @return true once a `reuse` has succeeded
    bool initialized() const;

    const FrameLayout& layout() const override;
    void produce(RowData& row) override;
    bool next() override;

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};

/// Shrinks both axes at once in 16.16 fixed point. An axis may also keep its length.
///
/// With step = (s << 16) / d for each axis, output i covers the source from i * step to
/// (i + 1) * step. In each row whole samples are added, and of those that are covered in part
/// (weight * sample) >> 16. With the rows' own weights, 0x10000 for whole ones,
///
///     out = ((sum of (weight * row sum) >> 16) << 32) / (step_x * step_y)
///
/// In FRAME_16U_C1 a share of 32768 or more of a sample that is covered in part counts 65536 too
/// little.
class TAVO_CV_API scaleAreaXY : public IRowProducer {
public:
    scaleAreaXY();
    ~scaleAreaXY() override;

    /// Prepares a pass over a frame.
    /// @param src_frame must outlive the pass
    /// @param dst_size  output pixels, on neither axis more than the source has
    /// @param precision checked, but without effect
    /// @throws Exception also TAVO_STATUS_NOT_SUPPORTED for an axis that grows;
    ///         TAVO_STATUS_OUT_OF_RANGE for a source side of 32768 and more, and when the source
    ///         has fewer rows than the stage looks at: those of an output row, or three times as
    ///         many when chroma has half the height
    void reuse(const Frame& src_frame, Size dst_size, ScalerPrecision precision);

    /// @return true once a `reuse` has succeeded
    bool initialized() const;

    const FrameLayout& layout() const override;
    void produce(RowData& row) override;
    bool next() override;

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};

}  // namespace tavo
