/// @file
/// The stage that passes rows through.
#pragma once

#include "tavo_cv/tavo_row_producer.h"
#include "tavo_cv/tavo_row_reader.h"

namespace tavo {

/// Delivers the rows of a frame or of another producer as they are.
class TAVO_CV_API RowCopier : public IRowProducer {
public:
    /// Starts at the top of a frame.
    /// @param src_frame must outlive the pass
    /// @throws Exception TAVO_STATUS_ASSERTION_FAILED for an uninitialized frame
    void reuse(const Frame& src_frame);

    /// Passes on what another stage delivers, from its current row.
    /// @param src_producer must outlive the pass
    /// @throws Exception TAVO_STATUS_ASSERTION_FAILED for a producer with an empty size
    void reuse(IRowProducer& src_producer);

    /// Back to the empty state.
    void clear();

    /// @return true when there is a source
    bool initialized() const;

    const FrameLayout& layout() const override;
    void produce(RowData& row) override;
    bool next() override;

private:
    FrameLayout _layout;
    RowReader _reader;
    IRowProducer* _producer = nullptr;
};

}  // namespace tavo
