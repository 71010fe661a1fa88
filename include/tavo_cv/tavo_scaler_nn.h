/// @file
/// Scaling by the nearest source sample.
#pragma once

#include <memory>

#include "tavo_cv/tavo_row_producer.h"

namespace tavo {

/// Gives every output sample the source sample under its centre. For one axis of source length s
/// and output length d, output i takes source (step / 2 + i * step) >> 16, with
/// step = (s << 16) / d.
///
/// Formats: FRAME_GRAY8, FRAME_BGR24, FRAME_BGR_PLANAR, all YUV formats, FRAME_8U_C2 to
/// FRAME_32U_C1. FRAME_YUYV is handled in elements of 3 bytes, and the last byte of each four is
/// not written when the width changes. Any format passes when the width does not change.
class TAVO_CV_API ScalerNearestNeighbor : public IRowProducer {
public:
    ScalerNearestNeighbor();
    ~ScalerNearestNeighbor() override;

    /// Prepares a pass over a frame. Tables are kept while both sizes stay the same.
    /// @param src_frame must outlive the pass
    /// @param dst_size  output pixels
    /// @throws Exception TAVO_STATUS_ASSERTION_FAILED for an uninitialized source, an empty size or
    ///         a source side of 32768 and more
    void reuse(const Frame& src_frame, Size dst_size);

    /// Prepares a pass over another stage.
    /// @param src_producer must outlive the pass
    /// @param dst_size     output pixels
    /// @throws Exception as above
    void reuse(IRowProducer& src_producer, Size dst_size);

    /// @return true once a `reuse` has succeeded
    bool initialized() const;

    const FrameLayout& layout() const override;

    /// @copydoc IRowProducer::produce
    /// @throws Exception TAVO_STATUS_NOT_SUPPORTED for a format that can't change its width;
    ///         TAVO_STATUS_ASSERTION_FAILED before a successful `reuse`
    void produce(RowData& row) override;
    bool next() override;

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};

}  // namespace tavo
