#include "tavo_cv/tavo_row_index.h"

#include "tavo_cv/tavo_impl_row_mask.h"

namespace tavo {

void RowIndex::reuse(const FrameLayout& layout) {
    *this = RowIndex();
    height = layout.size.height;
    plane_count = layout.plane_count;
    for (int i = 1; i < plane_count; ++i) {
        mask[i] = impl::rowMask(layout, i);
    }
}

bool RowIndex::next() {
    if (row[0] < height) {
        for (int i = 1; i < plane_count; ++i) {
            row[i] += impl::leavesRow(mask[i], row[0]) ? 1 : 0;
        }
        ++row[0];
    }
    return row[0] < height;
}

}  // namespace tavo
