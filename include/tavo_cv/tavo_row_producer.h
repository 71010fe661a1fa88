/// @file
/// The pull model of rows: what travels between stages, the interface of a stage, and the sink.
#pragma once

#include "tavo_core/tavo_frame.h"
#include "tavo_cv/tavo_cv_export.h"

namespace tavo {

/// The address of one row of each plane; borrowed. In a destination, null means that the plane has
/// no row at this image row, and nothing is written for it.
struct RowData {
    unsigned char* plane[4] = {nullptr, nullptr, nullptr, nullptr};  ///< of any alignment
};

/// A stage of a pipeline: it delivers the rows of an image one after another, top row first.
/// A stage and all its sources belong to one thread at a time. Callers may write stages of their
/// own; what the stages of this library throw before they are prepared is told with them.
class TAVO_CV_API IRowProducer {
public:
    /// The layout of the delivered rows: after a successful `reuse` of the concrete stage.
    /// @return format, size and planes; strides say nothing about where rows go
    virtual const FrameLayout& layout() const = 0;

    /// Writes the current row, at most `row_bytes` of each plane.
    /// @param row where to; planes with null are passed over
    virtual void produce(RowData& row) = 0;

    /// Moves to the next row.
    /// @return true when there is one; past the last row nothing changes
    virtual bool next() = 0;

    virtual ~IRowProducer();

protected:
    /// @cond
    IRowProducer() = default;
    IRowProducer(const IRowProducer&) = default;
    IRowProducer& operator=(const IRowProducer&) = default;
    /// @endcond
};

/// Copies one row: `row_bytes` of each plane whose destination is not null.
/// @param layout tells planes and their `row_bytes`
/// @param src    not null where @p dst is not, and not overlapping it
/// @param dst    addresses of the copies
TAVO_CV_API void copyRowData(const FrameLayout& layout, const RowData& src, RowData& dst);

/// Pulls all rows of a stage into a frame.
/// @param producer prepared, and not advanced since
/// @param dst stays as it is when it has the producer's format and size, so that a region or a
///            frame over foreign memory is written through; otherwise it is made to match. It must
///            not share pixels with the producer's source.
/// @throws Exception what the stages and `Frame::reuse` throw; rows written so far stay in @p dst
TAVO_CV_API void produceFrame(IRowProducer& producer, Frame& dst);

}  // namespace tavo
