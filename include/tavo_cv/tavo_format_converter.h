/// @file
/// Conversion of pixel formats, row by row.
#pragma once

#include <memory>

#include "tavo_cv/tavo_row_copier.h"
#include "tavo_cv/tavo_row_producer.h"
#include "tavo_cv/tavo_row_window.h"

namespace tavo {

class ImplFormatConverter;

/// Turns rows of one format into rows of another of the same size. Colours are BT.601 of limited
/// range, in integers, with coefficients of 8 fractional bits; all results but clamped ones are
/// truncated:
///
///     Y = (129 G + 25 B + 65 R + 4096) >> 8
///     U = (32768 + 112 B - 74 G - 38 R) >> 8
///     V = (32768 - 18 B - 94 G + 112 R) >> 8
///     gray of BGR = (152 G + 28 B + 76 R) >> 8, full range
///
///     B = clamp((297 (Y - 16) + 516 (U - 128)) / 256)
///     G = clamp((297 (Y - 16) - 100 (U - 128) - 207 (V - 128)) / 256)
///     R = clamp((297 (Y - 16) + 408 (V - 128)) / 256)
///
/// Subsampled chroma is the truncated mean over its pixels. Chroma made from FRAME_GRAY8 is 0, not
/// the neutral 128. Floats have the range 0.0 to 255.0; back to bytes they are truncated, keeping
/// the low 8 bits.
class TAVO_CV_API FormatConverter : public IRowProducer {
public:
    /// Nothing is set up.
    FormatConverter();
    ~FormatConverter() override;

    /// Prepares a pass over a frame. Equal formats are copied.
    /// @param frame      must outlive the pass
    /// @param dst_format of the rows that this stage delivers
    /// @throws Exception TAVO_STATUS_INVALID_PARAMETER for an uninitialized frame,
    ///         TAVO_STATUS_BAD_FORMAT for a format without conversions, TAVO_STATUS_NOT_SUPPORTED
    ///         for a pair that does not exist, TAVO_STATUS_OUT_OF_RANGE for a frame of one row into
    ///         a format with chroma of half height
    void reuse(const Frame& frame, FrameFormat dst_format);

    /// Prepares a pass over another stage.
    /// @param producer   must outlive the pass
    /// @param dst_format of the rows that this stage delivers
    /// @throws Exception as above
    void reuse(IRowProducer& producer, FrameFormat dst_format);

    /// @return true when a conversion or a copy is set up
    bool initialized() const;

    const FrameLayout& layout() const override;

    /// @copydoc IRowProducer::produce
    ///
    /// Behind the last row nothing is written.
    /// @throws Exception TAVO_STATUS_INSTANCE_NOT_INITIALIZED before a successful `reuse`
    void produce(RowData& row) override;

    /// Moves to the next row.
    /// @return true also on the step that leaves the last row, false after it
    bool next() override;

private:
    template <class Source>
    TAVO_CV_LOCAL void _reuse(Source& source,
                              const FrameLayout& src_layout,
                              FrameFormat dst_format);

    bool _converting = false;
    const FrameLayout* _src_layout = nullptr;
    FrameLayout _layout;
    int _row = 0;
    RowWindow _window;
    const RowData* _rows[2] = {nullptr, nullptr};
    RowCopier _copier;
    std::unique_ptr<ImplFormatConverter> _impl;
};

}  // namespace tavo
