#include "tavo_cv/tavo_row_reader.h"

#include <algorithm>
#include <iterator>

#include "tavo_core/tavo_exception.h"
#include "tavo_cv/tavo_impl_row_mask.h"

namespace tavo {

void RowReader::reuse(const Frame& frame) {
    clear();
    if (!frame.initialized()) {
        // Readers and writers share this text; the source path tells them apart.
        TAVO_RAISE(TAVO_STATUS_NOT_INITIALIZED,
                   "Failure in RowWriter::RowWriter(...) : frame is not initialized.");
    }
    const FrameLayout& layout = frame.layout();
    height = layout.size.height;
    row = RowData();
    for (int i = 0; i < layout.plane_count; ++i) {
        row.plane[i] = frame.planeData(i);
        stride[i] = layout.plane[i].stride;
        mask[i] = impl::rowMask(layout, i);
    }
}

void RowReader::clear() {
    std::fill(std::begin(stride), std::end(stride), 0);
    std::fill(std::begin(mask), std::end(mask), 0);
    index = 0;
    height = 0;
}

bool RowReader::next() {
    if (index >= height) {
        return false;
    }
    for (int i = 0; i < 4; ++i) {
        if (impl::leavesRow(mask[i], index)) {
            row.plane[i] += stride[i];
        }
    }
    ++index;
    return index < height;
}

}  // namespace tavo
