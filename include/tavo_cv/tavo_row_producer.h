/// @file
/// The pull model of rows: what travels between stages, the interface of a stage, and the sink.
#pragma once

#include "tavo_core/tavo_frame.h"
#include "tavo_cv/tavo_cv_export.h"

namespace tavo {

/// The address of one row of each plane; borrowed. In a destination, null means that the plane has
/// no row at this image row, and nothing is written for it.
struct RowData {
    unsigned char* plane[4] = {nullptr, nullptr, nullptr, nullptr};
};

/// A stage of a pipeline: it delivers the rows of an image one after another, top row first.
/// A stage and all its sources belong to one thread at a time.
class TAVO_CV_API IRowProducer {
public:
    /// The layout of the delivered rows. Valid after a successful `reuse` of the concrete stage.
    virtual const FrameLayout& layout() const = 0;

    /// Writes the current row to the given addresses, at most `row_bytes` of each plane.
    virtual void produce(RowData& row) = 0;

    /// Moves to the next row.
    /// @return true when there is one; past the last row nothing changes
    virtual bool next() = 0;

    virtual ~IRowProducer();

protected:
    IRowProducer() = default;
    IRowProducer(const IRowProducer&) = default;
    IRowProducer& operator=(const IRowProducer&) = default;
};

/// Copies `row_bytes` of each plane of @p layout whose destination is not null.
TAVO_CV_API void copyRowData(const FrameLayout& layout, const RowData& src, RowData& dst);

/// Pulls all rows of @p producer into @p dst.
/// @param dst stays as it is when it has the producer's format and size, so that a region or a
///            frame over foreign memory is written through; otherwise it is made to match. It must
///            not share pixels with the producer's source.
/// @throws Exception what the stages and `Frame::reuse` throw; rows written so far stay in @p dst
TAVO_CV_API void produceFrame(IRowProducer& producer, Frame& dst);

}  // namespace tavo
