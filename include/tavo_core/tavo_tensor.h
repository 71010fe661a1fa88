/// @file
/// Dense arrays of up to four dimensions for inference data.
#pragma once

#include <cstdint>
#include <memory>

#include "tavo_core/tavo_buffer.h"
#include "tavo_core/tavo_export.h"

namespace tavo {

/// Element types that the image library reads; other numbers are only carried.
enum TensorDataType : std::int32_t {
    TENSOR_FLOAT_16 = 3,  ///< IEEE 754 binary16
    TENSOR_FLOAT_32 = 5,  ///< IEEE 754 binary32
};

/// The meaning of the dimensions; only carried.
enum TensorFormat : std::int32_t {};

/// The order of colours; only carried.
enum TensorChannelOrder : std::int32_t {};

/// One number per dimension: elements for a size, bytes for strides.
struct TensorSize {
    int count = 0;              ///< dimensions in use, 1 to 4
    int dim[4] = {0, 0, 0, 0};  ///< the first `count` are in use
};

/// @param a numbers of one tensor
/// @param b those of another
/// @return true when the counts and all four numbers are equal, those not in use as well
TAVO_CORE_API bool operator==(const TensorSize& a, const TensorSize& b);
/// @param a numbers of one tensor
/// @param b those of another
/// @return true when the counts or one of the four numbers differ
inline bool operator!=(const TensorSize& a, const TensorSize& b) {
    return !(a == b);
}

/// The description of a tensor's memory.
struct TAVO_CORE_API TensorLayout {
    TensorDataType dataType = TensorDataType(0);  ///< of the elements
    TensorFormat format = TensorFormat(0);        ///< only carried

private:
    [[maybe_unused]] std::int32_t _reserved = 0;

public:
    TensorSize size;     ///< elements
    TensorSize strides;  ///< bytes from one element of a dimension to the next
    TensorChannelOrder channelOrder = TensorChannelOrder(0);  ///< only carried
    std::uint32_t size_bytes = 0;  ///< of the payload: the largest `size.dim[i] * strides.dim[i]`

    /// The empty layout.
    TensorLayout() = default;

    /// Describes a payload and computes its `size_bytes`. The data type plays no part in that.
    /// @param dataType     of the elements
    /// @param format       only carried
    /// @param size         elements of 1 to 4 dimensions
    /// @param strides      bytes, 0 or more; as many as there are dimensions
    /// @param channelOrder only carried
    /// @throws Exception TAVO_STATUS_OUT_OF_RANGE when the counts are not equal and 1 to 4, when a
    ///         dimension is below 1, a stride negative, or the payload 0 or above 32 bits
    TensorLayout(TensorDataType dataType,
                 TensorFormat format,
                 const TensorSize& size,
                 const TensorSize& strides,
                 TensorChannelOrder channelOrder);
};

/// A tensor. Copies share the elements.
class TAVO_CORE_API Tensor {
public:
    /// An uninitialized tensor.
    Tensor() = default;

    /// @return true when there is a payload
    bool initialized() const { return _buffer && _buffer->data != nullptr; }
    /// @return types, dimensions and strides; valid as long as this object
    const TensorLayout& layout() const { return _layout; }
    /// @return where the payload is labelled to live; the CPU when uninitialized
    DeviceContext deviceContext() const;

    /// @return the address of the payload, a multiple of 64; null for an uninitialized tensor
    unsigned char* data() const { return _buffer ? _buffer->data : nullptr; }

    /// Takes that layout and a fresh block of `size_bytes` zeros.
    /// @param layout  not empty
    /// @param context the label of the block
    /// @throws Exception TAVO_STATUS_OUT_OF_RANGE for an empty layout, or
    ///         TAVO_STATUS_OUT_OF_MEMORY; the tensor then stays as it was
    void reuse(const TensorLayout& layout, const DeviceContext& context);

    /// Back to the uninitialized state; other tensors over the same elements keep them.
    void clear() { *this = Tensor(); }

private:
    TensorLayout _layout;
    std::shared_ptr<Buffer> _buffer;
};

}  // namespace tavo
