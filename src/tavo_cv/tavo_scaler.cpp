#include "tavo_cv/tavo_scaler.h"

#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_impl_state.h"
#include "tavo_cv/tavo_row_copier.h"
#include "tavo_cv/tavo_scaler_area.h"
#include "tavo_cv/tavo_scaler_bilinear.h"
#include "tavo_cv/tavo_scaler_nn.h"

namespace tavo {
namespace {

/// The state behind the facade.
struct Stages {
    template <class Source>
    void reuse(Source& source, Size src_size, Size dst_size, ScaleMethod method);

    ScalerNearestNeighbor _nearest;
    ScalerBilinearXY _bilinear_xy;
    ScalerBilinearX _bilinear_x;
    ScalerBilinearY _bilinear_y;
    ScalerAreaX _area_x;
    ScalerAreaY _area_y;
    RowCopier _copier;
    IRowProducer* _active = nullptr;  // the selected one of the above

private:
    template <class Source>
    IRowProducer& _prepareBilinear(Source& source, Size src_size, Size dst_size);
    template <class Source>
    IRowProducer& _prepareArea(Source& source, Size src_size, Size dst_size);
};

template <class Source>
IRowProducer& Stages::_prepareBilinear(Source& source, Size src_size, Size dst_size) {
    if (src_size.width == dst_size.width) {
        _bilinear_y.reuse(source, dst_size.height);
        return _bilinear_y;
    }
    if (src_size.height == dst_size.height) {
        _bilinear_x.reuse(source, dst_size.width);
        return _bilinear_x;
    }
    _bilinear_xy.reuse(source, dst_size);
    return _bilinear_xy;
}

template <class Source>
IRowProducer& Stages::_prepareArea(Source& source, Size src_size, Size dst_size) {
    constexpr ScalerPrecision PRECISION = TAVO_SCALER_FIXED_POINT_16S;
    if (src_size.width == dst_size.width) {
        _area_y.reuse(source, dst_size.height, PRECISION);
        return _area_y;
    }
    _area_x.reuse(source, dst_size.width, PRECISION);
    if (src_size.height == dst_size.height) {
        return _area_x;
    }
    // The vertical stage comes second: it often works on rows that are already narrow.
    _area_y.reuse(_area_x, dst_size.height, PRECISION);
    return _area_y;
}

template <class Source>
void Stages::reuse(Source& source, Size src_size, Size dst_size, ScaleMethod method) {
    if (src_size == dst_size) {
        _copier.reuse(source);
        _active = &_copier;
        return;
    }
    _copier.clear();
    switch (method) {
        case SCALE_NEAREST:
            _nearest.reuse(source, dst_size);
            _active = &_nearest;
            return;
        case SCALE_BILINEAR:
            _active = &_prepareBilinear(source, src_size, dst_size);
            return;
        case SCALE_AREA:
            _active = &_prepareArea(source, src_size, dst_size);
            return;
    }
    TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER,
               "Failure in Scaler::reuse(...) : parameter 'method' is invalid %u.",
               unsigned(method));
}

}  // namespace

struct Scaler::Impl : Stages {};

Scaler::Scaler() : _impl(impl::makeState<Impl>()) {}
Scaler::~Scaler() = default;

void Scaler::reuse(const Frame& src_frame, Size dst_size, ScaleMethod method) {
    TAVO_ASSERT(src_frame.initialized());
    TAVO_ASSERT(!dst_size.empty());
    _impl->reuse(src_frame, src_frame.size(), dst_size, method);
}

void Scaler::reuse(IRowProducer& src_producer, Size dst_size, ScaleMethod method) {
    TAVO_ASSERT(!src_producer.layout().size.empty());
    TAVO_ASSERT(!dst_size.empty());
    _impl->reuse(src_producer, src_producer.layout().size, dst_size, method);
}

bool Scaler::initialized() const {
    return _impl->_active == nullptr;
}

const FrameLayout& Scaler::layout() const {
    return _impl->_active->layout();
}

void Scaler::produce(RowData& row) {
    _impl->_active->produce(row);
}

bool Scaler::next() {
    return _impl->_active->next();
}

}  // namespace tavo
