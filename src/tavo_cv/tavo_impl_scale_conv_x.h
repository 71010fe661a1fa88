// The horizontal stage of the convolutional scaler.
#pragma once

#include "tavo_cv/tavo_impl_scale_data.h"
#include "tavo_cv/tavo_row_producer.h"
#include "tavo_cv/tavo_row_window.h"

namespace tavo::impl {

/// Reduces the width of each row; the output keeps the source height. With s the source pixels from
/// the start of an output on, and w its weights:
///
///     out = clamp(sum(s[j] * w[j]) / unit), truncated
///
/// Byte sums stay below 2^8 times the sum of the absolute weights, so they fit 32 bits; kernels
/// whose lobes exceed that wrap.
template <class T>
class ScaleX : public IRowProducer {
public:
    /// Prepares a pass over a frame or a producer. Tables and `layout` are kept while the kernel
    /// object, the format and @p dst_width stay the same, whatever the source's size.
    /// @throws Exception; the stage is then empty
    void reuse(IKernel& kernel, const Frame& frame, int dst_width);
    void reuse(IKernel& kernel, IRowProducer& producer, int dst_width);
    void clear();

    bool initialized() const { return _window.initialized(); }

    const FrameLayout& layout() const override { return _layout; }
    void produce(RowData& row) override;
    bool next() override;

    void _reuseScaleData(IKernel& kernel, const FrameLayout& src, int dst_width);

private:
    template <class Source>
    void _reuse(IKernel& kernel, Source& source, const FrameLayout& src, int dst_width);

    const IKernel* _kernel = nullptr;  // only compared
    FrameFormat _src_format = FRAME_INVALID;
    FrameLayout _layout;
    RowWindow _window;
    ScaleData<T> _scale_data[4];
    int _inside[4] = {0, 0, 0, 0};  // leading outputs whose taps all lie within the source row
};

}  // namespace tavo::impl
