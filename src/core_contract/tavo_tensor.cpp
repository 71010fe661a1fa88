#include "tavo_core/tavo_tensor.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>

#include "core_contract/tavo_impl_zeroed_buffer.h"
#include "tavo_core/tavo_exception.h"

namespace tavo {

bool operator==(const TensorSize& a, const TensorSize& b) {
    return a.count == b.count && std::equal(std::begin(a.dim), std::end(a.dim), std::begin(b.dim));
}

TensorLayout::TensorLayout(TensorDataType dataType_,
                           TensorFormat format_,
                           const TensorSize& size_,
                           const TensorSize& strides_,
                           TensorChannelOrder channelOrder_)
    : dataType(dataType_),
      format(format_),
      size(size_),
      strides(strides_),
      channelOrder(channelOrder_) {
    if (size.count < 1 || size.count > 4 || strides.count != size.count) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Tensor has %d sizes and %d strides.", size.count,
                   strides.count);
    }
    std::uint64_t furthest = 0;
    for (int i = 0; i < size.count; ++i) {
        if (size.dim[i] < 1 || strides.dim[i] < 0) {
            TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Tensor dimension %d has size %d and stride %d.",
                       i, size.dim[i], strides.dim[i]);
        }
        furthest = std::max(furthest, std::uint64_t(size.dim[i]) * std::uint64_t(strides.dim[i]));
    }
    if (furthest == 0 || furthest > std::numeric_limits<std::uint32_t>::max()) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Tensor payload is empty or exceeds 32 bits.");
    }
    size_bytes = std::uint32_t(furthest);
}

DeviceContext Tensor::deviceContext() const {
    return initialized() ? _buffer->device_context : DeviceContext();
}

void Tensor::reuse(const TensorLayout& layout, const DeviceContext& context) {
    if (layout.size_bytes == 0) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Tensor layout is empty.");
    }
    _buffer = makeZeroedBuffer(context, layout.size_bytes);
    _layout = layout;
}

}  // namespace tavo
