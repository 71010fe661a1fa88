#include "tavo_cv/tavo_scaler_convolutional.h"

#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_impl_scale_conv_x.h"
#include "tavo_cv/tavo_impl_scale_conv_y.h"
#include "tavo_cv/tavo_impl_state.h"

namespace tavo {
namespace {

/// The two stages of one precision.
template <class T>
struct StagePair {
    impl::ScaleX<T> x;
    impl::ScaleY<T> y;

    template <class Source>
    void reuse(IKernel& kernel, Source& source, Size dst_size) {
        try {
            x.reuse(kernel, source, dst_size.width);
            y.reuse(kernel, x, dst_size.height);
        } catch (...) {
            x.clear();
            y.clear();
            throw;
        }
    }
};

/// The state behind the scaler.
struct Convolution {
    StagePair<signed char> stages8;
    StagePair<short> stages16;
    ScalerPrecision precision = ScalerPrecision(0);

    template <class Source>
    void reuse(IKernel& kernel, Source& source, Size dst_size, ScalerPrecision new_precision);
    bool initialized() const;
    IRowProducer* activeStage();
};

template <class Source>
void Convolution::reuse(IKernel& kernel,
                        Source& source,
                        Size dst_size,
                        ScalerPrecision new_precision) {
    precision = new_precision;
    try {
        switch (precision) {
            case TAVO_SCALER_FIXED_POINT_8S:
                return stages8.reuse(kernel, source, dst_size);
            case TAVO_SCALER_FIXED_POINT_16S:
                return stages16.reuse(kernel, source, dst_size);
        }
    } catch (const Exception& error) {
        TAVO_TRANSLATE(error, "%s", error.what());
    }
    TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "Parameter 'precision' is incorrect.");
}

bool Convolution::initialized() const {
    switch (precision) {
        case TAVO_SCALER_FIXED_POINT_8S:
            return stages8.y.initialized();
        case TAVO_SCALER_FIXED_POINT_16S:
            return stages16.y.initialized();
    }
    return false;
}

/// The stage whose rows are the result; null with no valid precision.
IRowProducer* Convolution::activeStage() {
    switch (precision) {
        case TAVO_SCALER_FIXED_POINT_8S:
            return &stages8.y;
        case TAVO_SCALER_FIXED_POINT_16S:
            return &stages16.y;
    }
    return nullptr;
}

}  // namespace

struct ScalerConvolutional::Impl : Convolution {};

ScalerConvolutional::ScalerConvolutional() : _impl(impl::makeState<Impl>()) {}
ScalerConvolutional::~ScalerConvolutional() = default;

void ScalerConvolutional::reuse(IKernel& kernel,
                                const Frame& frame,
                                Size dst_size,
                                ScalerPrecision precision) {
    if (!frame.initialized()) {
        TAVO_RAISE(TAVO_STATUS_NOT_INITIALIZED,
                   "Failure in ScalerConvolutional::reuse(...) : frame is not initialized.");
    }
    if (dst_size.empty()) {
        TAVO_RAISE(TAVO_STATUS_NOT_INITIALIZED,
                   "Failure in ScalerConvolutional::reuse(...) : parameter 'dst_size' is empty.");
    }
    _impl->reuse(kernel, frame, dst_size, precision);
}

void ScalerConvolutional::reuse(IKernel& kernel,
                                IRowProducer& producer,
                                Size dst_size,
                                ScalerPrecision precision) {
    if (dst_size.empty()) {
        TAVO_RAISE(TAVO_STATUS_NOT_INITIALIZED,
                   "Failure in ScalerConvolutional::reuse(...) : parameter 'dst_size' is empty.");
    }
    if (producer.layout().plane_count == 0) {
        TAVO_RAISE(TAVO_STATUS_NOT_INITIALIZED,
                   "Failure in ScalerConvolutional::reuse(...) : layout is not initialized.");
    }
    _impl->reuse(kernel, producer, dst_size, precision);
}

bool ScalerConvolutional::initialized() const {
    return _impl->initialized();
}

const FrameLayout& ScalerConvolutional::layout() const {
    const IRowProducer* const stage = _impl->activeStage();
    if (!stage) {
        TAVO_RAISE(TAVO_STATUS_INSTANCE_NOT_INITIALIZED, "instance not initialized");
    }
    return stage->layout();
}

void ScalerConvolutional::produce(RowData& row) {
    IRowProducer* const stage = _impl->activeStage();
    if (!stage) {
        TAVO_RAISE(TAVO_STATUS_INSTANCE_NOT_INITIALIZED,
                   "Failure in ScalerConvolutional::produce(...) : instance not initialized");
    }
    try {
        stage->produce(row);
    } catch (const Exception& error) {
        TAVO_TRANSLATE(error, "%s", error.what());
    }
}

bool ScalerConvolutional::next() {
    IRowProducer* const stage = _impl->activeStage();
    if (!stage) {
        TAVO_RAISE(TAVO_STATUS_INSTANCE_NOT_INITIALIZED,
                   "Failure in ScalerConvolutional::next(...) : instance not initialized");
    }
    try {
        return stage->next();
    } catch (const Exception& error) {
        TAVO_TRANSLATE(error, "%s", error.what());
    }
}

}  // namespace tavo
