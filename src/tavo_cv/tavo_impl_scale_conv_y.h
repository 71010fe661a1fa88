// The vertical stage of the convolutional scaler.
#pragma once

#include "tavo_cv/tavo_impl_scale_data.h"
#include "tavo_cv/tavo_row_index.h"
#include "tavo_cv/tavo_row_producer.h"
#include "tavo_cv/tavo_row_window.h"

namespace tavo::impl {

/// Reduces the height; the output keeps the source width. Planes are rows of bytes here:
///
///     out = clamp(sum(row[k] * w[k]) / unit), truncated
///
/// Tap k is always the window's row k. The window follows the table of plane 0 and stops at the
/// last rows that fill it; it is as high as the longest kernel of any plane.
template <class T>
class ScaleY : public IRowProducer {
public:
    /// Prepares a pass over @p producer. Tables and `layout` are kept while the kernel object, the
    /// format, the source height and @p dst_height stay the same, whatever the source's width.
    /// @throws Exception; the stage is then empty
    void reuse(IKernel& kernel, IRowProducer& producer, int dst_height);
    void clear();

    bool initialized() const { return _window.initialized(); }

    const FrameLayout& layout() const override { return _layout; }
    void produce(RowData& row) override;
    bool next() override;

    void _reuseScaleData(IKernel& kernel, const FrameLayout& src, int dst_height);

private:
    void _resizeAccumulator();
    void _scalePlane(int plane, unsigned char* dst);

    RowIndex _row_index;
    int _last_start = 0;  // where the taps of plane 0 start; deliberately kept by `reuse`
    Buffer _accumulator;  // 32-bit sums of one row
    const IKernel* _kernel = nullptr;  // only compared
    FrameLayout _src_layout;
    FrameLayout _layout;
    RowWindow _window;
    ScaleData<T> _scale_data[4];
};

}  // namespace tavo::impl
