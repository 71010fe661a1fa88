#include "tavo_cv/tavo_row_writer.h"

#include <algorithm>
#include <iterator>

#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_impl_row_mask.h"

namespace tavo {

void RowWriter::reuse(Frame& frame) {
    clear();
    if (!frame.initialized()) {
        TAVO_RAISE(TAVO_STATUS_NOT_INITIALIZED,
                   "Failure in RowWriter::RowWriter(...) : frame is not initialized.");
    }
    const FrameLayout& layout = frame.layout();
    height = layout.size.height;
    for (int i = 0; i < layout.plane_count; ++i) {
        current[i] = frame.planeData(i);
        row.plane[i] = current[i];
        stride[i] = layout.plane[i].stride;
        mask[i] = impl::rowMask(layout, i);
    }
}

void RowWriter::clear() {
    std::fill(std::begin(stride), std::end(stride), 0);
    std::fill(std::begin(mask), std::end(mask), 0);
    index = 0;
    height = 0;
}

bool RowWriter::next() {
    if (index >= height) {
        row = RowData();
        return false;
    }
    for (int i = 0; i < 4; ++i) {
        if (impl::leavesRow(mask[i], index)) {
            current[i] += stride[i];
            row.plane[i] = current[i];
        } else {
            row.plane[i] = nullptr;
        }
    }
    ++index;
    return index < height;
}

}  // namespace tavo
