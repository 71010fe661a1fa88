/// @file
/// Bilinear scaling in 16.16 fixed point: of both axes, of the width alone, of the height alone. It
/// is the textbook interpolation between two neighbours, with the centres of both images' samples
/// in line.
///
/// For one axis of source length s and output length d, output i lies at source position
/// max(0, start + i * step), with step = (s << 16) / d and start = (step - 0x10000) / 2: the centre
/// of the output sample, clamped at the first source sample. With f the lower 16 bits of the
/// position, a and b the source samples on both sides, and b = a at the last one:
///
///     out = (f * b + (0x10000 - f) * a) >> 16
///
/// Results are truncated. With both axes the horizontal results of the two rows are truncated
/// before the vertical step. A subsampled plane uses the table of plane 0 from its start. Planes 1
/// and 2 are interpolated vertically only in formats whose chroma has half the height; in other
/// formats ScalerBilinearXY and ScalerBilinearY take the upper source row.
///
/// Formats: all 8-bit formats, FRAME_16U_C1, FRAME_32U_C1. FRAME_YUYV is handled in elements of
/// 3 samples, and the last byte of each four is not written. A stage whose own axis does not change
/// passes every format (ScalerBilinearX, ScalerBilinearY).
///
/// All three share these rules. `reuse` prepares a pass over a frame, which must outlive it, or
/// over another producer; tables are kept while the sizes stay the same. It throws
/// TAVO_STATUS_ASSERTION_FAILED for an uninitialized source, an empty output or a source side of
/// 32768 and more; over a producer also TAVO_STATUS_OUT_OF_RANGE when the source has fewer rows
/// than the stage needs at once: 2, or 4 when chroma has half the height. `produce` throws
/// TAVO_STATUS_NOT_SUPPORTED for other formats, and TAVO_STATUS_ASSERTION_FAILED before a
/// successful `reuse`.
#pragma once

#include <memory>

#include "tavo_cv/tavo_row_producer.h"

namespace tavo {

/// Scales both axes.
class TAVO_CV_API ScalerBilinearXY : public IRowProducer {
public:
    ScalerBilinearXY();
    ~ScalerBilinearXY() override;

    /// Prepares a pass over a frame.
    /// @param src_frame must outlive the pass
    /// @param dst_size  output pixels
    /// @throws Exception as told at the head of this file
    void reuse(const Frame& src_frame, Size dst_size);

    /// Prepares a pass over another stage.
    /// @param src_producer must outlive the pass
    /// @param dst_size     output pixels
    /// @throws Exception as told at the head of this file
    void reuse(IRowProducer& src_producer, Size dst_size);

    /// @return true once a `reuse` has succeeded
    bool initialized() const;

    const FrameLayout& layout() const override;
    void produce(RowData& row) override;
    bool next() override;

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};

/// Scales the width; the output keeps the source height.
class TAVO_CV_API ScalerBilinearX : public IRowProducer {
public:
    ScalerBilinearX();
    ~ScalerBilinearX() override;

    /// Prepares a pass over a frame.
    /// @param src_frame must outlive the pass
    /// @param dst_width output columns, at least 1
    /// @throws Exception as told at the head of this file
    void reuse(const Frame& src_frame, int dst_width);

    /// Prepares a pass over another stage.
    /// @param src_producer must outlive the pass
    /// @param dst_width    output columns, at least 1
    /// @throws Exception as told at the head of this file
    void reuse(IRowProducer& src_producer, int dst_width);

    /// @return true once a `reuse` has succeeded
    bool initialized() const;

    const FrameLayout& layout() const override;
    void produce(RowData& row) override;
    bool next() override;

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};

/// Scales the height; the output keeps the source width.
class TAVO_CV_API ScalerBilinearY : public IRowProducer {
public:
    ScalerBilinearY();
    ~ScalerBilinearY() override;

    /// Prepares a pass over a frame.
    /// @param src_frame  must outlive the pass
    /// @param dst_height output rows, at least 1
    /// @throws Exception as told at the head of this file
    void reuse(const Frame& src_frame, int dst_height);

    /// Prepares a pass over another stage.
    /// @param src_producer must outlive the pass
    /// @param dst_height   output rows, at least 1
    /// @throws Exception as told at the head of this file
    void reuse(IRowProducer& src_producer, int dst_height);

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
