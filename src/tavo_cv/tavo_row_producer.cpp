#include "tavo_cv/tavo_row_producer.h"

#include <cstring>

#include "tavo_cv/tavo_row_writer.h"

namespace tavo {

IRowProducer::~IRowProducer() = default;

void copyRowData(const FrameLayout& layout, const RowData& src, RowData& dst) {
    for (int i = 0; i < layout.plane_count; ++i) {
        if (dst.plane[i]) {
            std::memcpy(dst.plane[i], src.plane[i], std::size_t(layout.plane[i].row_bytes));
        }
    }
}

void produceFrame(IRowProducer& producer, Frame& dst) {
    const FrameLayout& layout = producer.layout();
    const bool matches =
        dst.initialized() && dst.size() == layout.size && dst.format() == layout.format;
    if (!matches) {
        dst.reuse(layout.format, layout.size, DeviceContext(), 0);
    }
    RowWriter writer;
    writer.reuse(dst);
    do {
        producer.produce(writer.row);
        producer.next();
    } while (writer.next());
}

}  // namespace tavo
