#include "tavo_core/tavo_geometry.h"

#include <algorithm>

namespace tavo {

void Rect::crop(const Size& size) {
    // 64 bits, because x + width of a far-off rectangle does not fit 32.
    const std::int64_t left = std::max<std::int64_t>(x, 0);
    const std::int64_t top = std::max<std::int64_t>(y, 0);
    const std::int64_t right = std::min<std::int64_t>(std::int64_t(x) + width, size.width);
    const std::int64_t bottom = std::min<std::int64_t>(std::int64_t(y) + height, size.height);
    if (right <= left || bottom <= top) {
        *this = Rect();
        return;
    }
    *this = Rect(std::int32_t(left), std::int32_t(top), std::int32_t(right - left),
                 std::int32_t(bottom - top));
}

}  // namespace tavo
