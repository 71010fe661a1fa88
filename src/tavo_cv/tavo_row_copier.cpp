#include "tavo_cv/tavo_row_copier.h"

#include "tavo_core/tavo_exception.h"

namespace tavo {

void RowCopier::reuse(const Frame& src_frame) {
    TAVO_ASSERT(src_frame.initialized());
    _layout = src_frame.layout();
    _reader.reuse(src_frame);
    _producer = nullptr;
}

void RowCopier::reuse(IRowProducer& src_producer) {
    TAVO_ASSERT(!src_producer.layout().size.empty());
    _layout = src_producer.layout();
    _producer = &src_producer;
    _reader.clear();
}

void RowCopier::clear() {
    _layout.clear();
    _reader.clear();
    _producer = nullptr;
}

bool RowCopier::initialized() const {
    return _producer != nullptr || _reader.height != 0;
}

const FrameLayout& RowCopier::layout() const {
    return _layout;
}

void RowCopier::produce(RowData& row) {
    if (_producer) {
        _producer->produce(row);
    } else {
        copyRowData(_layout, _reader.row, row);
    }
}

bool RowCopier::next() {
    return _producer ? _producer->next() : _reader.next();
}

}  // namespace tavo
