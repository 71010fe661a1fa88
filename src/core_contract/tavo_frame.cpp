#include "tavo_core/tavo_frame.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <limits>

#include "core_contract/tavo_impl_zeroed_buffer.h"
#include "tavo_core/tavo_exception.h"

namespace tavo {
namespace {

constexpr unsigned int PLANE_ALIGNMENT = 64;
constexpr unsigned int SPARE_BYTES = 64;

/// How the samples of a plane relate to the pixels of the frame.
struct PlaneShape {
    std::uint8_t channels;
    std::uint8_t bytes_per_channel;
    std::uint8_t x_subsampling;  // pixels per element
    std::uint8_t y_subsampling;  // image rows per row
};

struct FormatShape {
    FrameFormat format;
    const char* name;
    int plane_count;
    PlaneShape first;
    PlaneShape further;  // planes 1 and 2
};

constexpr PlaneShape NO_PLANE = {0, 0, 0, 0};
constexpr PlaneShape BYTES_1 = {1, 1, 1, 1};
constexpr PlaneShape BYTES_2 = {2, 1, 1, 1};
constexpr PlaneShape BYTES_3 = {3, 1, 1, 1};
constexpr PlaneShape BYTES_4 = {4, 1, 1, 1};
constexpr PlaneShape WORD = {1, 2, 1, 1};
constexpr PlaneShape DOUBLE_WORD = {1, 4, 1, 1};
constexpr PlaneShape FLOATS_3 = {3, 4, 1, 1};
constexpr PlaneShape PACKED_422 = {4, 1, 2, 1};
constexpr PlaneShape CHROMA_422 = {1, 1, 2, 1};
constexpr PlaneShape CHROMA_420 = {1, 1, 2, 2};
constexpr PlaneShape PAIRS_422 = {2, 1, 2, 1};
constexpr PlaneShape PAIRS_420 = {2, 1, 2, 2};

constexpr FormatShape FORMAT_SHAPES[] = {
    {FRAME_GRAY8, "FRAME_GRAY8", 1, BYTES_1, NO_PLANE},
    {FRAME_RGB24, "FRAME_RGB24", 1, BYTES_3, NO_PLANE},
    {FRAME_RGB_PLANAR, "FRAME_RGB_PLANAR", 3, BYTES_1, BYTES_1},
    {FRAME_BGR24, "FRAME_BGR24", 1, BYTES_3, NO_PLANE},
    {FRAME_BGR_PLANAR, "FRAME_BGR_PLANAR", 3, BYTES_1, BYTES_1},
    {FRAME_I420, "FRAME_I420", 3, BYTES_1, CHROMA_420},
    {FRAME_YV12, "FRAME_YV12", 3, BYTES_1, CHROMA_420},
    {FRAME_NV12, "FRAME_NV12", 2, BYTES_1, PAIRS_420},
    {FRAME_NV21, "FRAME_NV21", 2, BYTES_1, PAIRS_420},
    {FRAME_YV16, "FRAME_YV16", 3, BYTES_1, CHROMA_422},
    {FRAME_YUYV, "FRAME_YUYV", 1, PACKED_422, NO_PLANE},
    {FRAME_UYVY, "FRAME_UYVY", 1, PACKED_422, NO_PLANE},
    {FRAME_NV16, "FRAME_NV16", 2, BYTES_1, PAIRS_422},
    {FRAME_YUV444, "FRAME_YUV444", 1, BYTES_3, NO_PLANE},
    {FRAME_I444, "FRAME_I444", 3, BYTES_1, BYTES_1},
    {FRAME_8U_C2, "FRAME_8U_C2", 1, BYTES_2, NO_PLANE},
    {FRAME_8U_C3, "FRAME_8U_C3", 1, BYTES_3, NO_PLANE},
    {FRAME_8U_C4, "FRAME_8U_C4", 1, BYTES_4, NO_PLANE},
    {FRAME_16U_C1, "FRAME_16U_C1", 1, WORD, NO_PLANE},
    {FRAME_32U_C1, "FRAME_32U_C1", 1, DOUBLE_WORD, NO_PLANE},
    {FRAME_GRAY_32F, "FRAME_GRAY_32F", 1, DOUBLE_WORD, NO_PLANE},
    {FRAME_BGR_32F, "FRAME_BGR_32F", 1, FLOATS_3, NO_PLANE},
    {FRAME_PLANAR_32F, "FRAME_PLANAR_32F", 3, DOUBLE_WORD, DOUBLE_WORD},
};

const FormatShape* findShape(FrameFormat format) {
    for (const FormatShape& shape : FORMAT_SHAPES) {
        if (shape.format == format) {
            return &shape;
        }
    }
    return nullptr;
}

const FormatShape& shapeOf(FrameFormat format) {
    const FormatShape* const shape = findShape(format);
    if (!shape) {
        TAVO_RAISE(TAVO_STATUS_BAD_FORMAT, "Unknown frame format %d.", int(format));
    }
    return *shape;
}

constexpr std::uint64_t alignUp(std::uint64_t value, std::uint64_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

/// Elements or rows of a plane that cover @p length pixels.
constexpr std::int64_t subsampled(std::int64_t length, int subsampling) {
    return (length + subsampling - 1) / subsampling;
}

[[noreturn]] void raiseTooLarge(Size size) {
    TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Frame of %d x %d pixels exceeds 32 bits.", size.width,
               size.height);
}

PlaneLayout layoutPlane(const PlaneShape& shape, Size size, unsigned int alignment) {
    const auto width = std::uint64_t(subsampled(size.width, shape.x_subsampling));
    const auto height = std::uint64_t(subsampled(size.height, shape.y_subsampling));
    const std::uint64_t row_bytes = width * shape.channels * shape.bytes_per_channel;
    const std::uint64_t stride = alignment == 0 ? row_bytes : alignUp(row_bytes, alignment);
    if (stride > std::uint64_t(std::numeric_limits<std::int32_t>::max()) ||
        stride * height > std::numeric_limits<std::uint32_t>::max()) {
        raiseTooLarge(size);
    }
    PlaneLayout plane;
    plane.width = std::int32_t(width);
    plane.height = std::int32_t(height);
    plane.bits_per_channel = std::uint16_t(8 * shape.bytes_per_channel);
    plane.channels = shape.channels;
    plane.stride = std::int32_t(stride);
    plane.row_bytes = std::int32_t(row_bytes);
    plane.size_bytes = std::uint32_t(stride * height);
    return plane;
}

std::uint64_t planeBytes(const PlaneLayout& plane) {
    return std::uint64_t(std::abs(std::int64_t(plane.stride))) * std::uint64_t(plane.height);
}

/// Copies rows between planes that may be two views of the same memory with the same stride: each
/// row moves as a whole, and the order of rows keeps a row from being overwritten before it was
/// read.
void copyRows(const unsigned char* src,
              std::ptrdiff_t src_stride,
              unsigned char* dst,
              std::ptrdiff_t dst_stride,
              std::size_t row_bytes,
              int rows) {
    const bool moves_forward = std::less<>()(src, dst);
    if (moves_forward == (src_stride > 0)) {
        src += src_stride * (rows - 1);
        dst += dst_stride * (rows - 1);
        src_stride = -src_stride;
        dst_stride = -dst_stride;
    }
    for (int y = 0; y < rows; ++y) {
        std::memmove(dst, src, row_bytes);
        src += src_stride;
        dst += dst_stride;
    }
}

}  // namespace

const char* toString(FrameFormat format) {
    if (format == FRAME_INVALID) {
        return "FRAME_INVALID";
    }
    const FormatShape* const shape = findShape(format);
    return shape ? shape->name : "FRAME_UNKNOWN";
}

FrameLayout::FrameLayout(FrameFormat format_, Size size_, unsigned int alignment) {
    const FormatShape& shape = shapeOf(format_);
    if (size_.empty()) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE, "Frame size %d x %d is empty.", size_.width,
                   size_.height);
    }
    format = format_;
    plane_count = shape.plane_count;
    size = size_;

    std::uint64_t end = 0;
    for (int i = 0; i < plane_count; ++i) {
        plane[i] = layoutPlane(i == 0 ? shape.first : shape.further, size, alignment);
        const std::uint64_t start = alignUp(end, PLANE_ALIGNMENT);
        end = start + plane[i].size_bytes;
        if (end + SPARE_BYTES > std::numeric_limits<std::uint32_t>::max()) {
            raiseTooLarge(size);
        }
        offset[i] = std::uint32_t(start);
    }
    _buffer_bytes = std::uint32_t(end + SPARE_BYTES);
}

Frame::Frame(const FrameLayout& layout, unsigned char* const planes[4]) {
    if (layout.plane_count == 0) {
        TAVO_RAISE(TAVO_STATUS_NOT_INITIALIZED, "Frame layout is not initialized.");
    }
    if (layout.plane_count != shapeOf(layout.format).plane_count) {
        TAVO_RAISE(TAVO_STATUS_INVALID_PARAMETER, "%s does not have %d planes.",
                   toString(layout.format), layout.plane_count);
    }
    if (!planes) {
        TAVO_RAISE(TAVO_STATUS_NULL_POINTER, "Parameter 'planes' is null.");
    }
    FrameLayout own = layout;
    for (int i = 0; i < layout.plane_count; ++i) {
        PlaneLayout& plane = own.plane[i];
        if (!planes[i]) {
            TAVO_RAISE(TAVO_STATUS_NULL_POINTER, "Address of plane %d is null.", i);
        }
        if (planeBytes(plane) > std::numeric_limits<std::uint32_t>::max()) {
            raiseTooLarge(layout.size);
        }
        plane.size_bytes = std::uint32_t(planeBytes(plane));
        if (plane.height > 1 && std::abs(std::int64_t(plane.stride)) < plane.row_bytes) {
            TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE,
                       "Stride %d of plane %d is shorter than a row of %d bytes.", plane.stride, i,
                       plane.row_bytes);
        }
    }
    _layout = own;
    std::copy_n(planes, layout.plane_count, _data);
}

DeviceContext Frame::deviceContext() const {
    return _buffer ? _buffer->device_context : DeviceContext();
}

unsigned char* Frame::planeData(int plane) const {
    if (plane < 0 || plane >= _layout.plane_count) {
        return nullptr;
    }
    return _buffer ? _buffer->data + _layout.offset[plane] : _data[plane];
}

void Frame::reuse(FrameFormat format,
                  Size size,
                  const DeviceContext& context,
                  unsigned int alignment) {
    if (initialized() && _layout.format == format && _layout.size == size &&
        deviceContext() == context) {
        return;
    }
    const FrameLayout layout(format, size, alignment);
    const bool keeps_block = _buffer && _buffer.use_count() == 1 &&
                             _buffer->device_context == context &&
                             _buffer->capacity() >= layout._buffer_bytes;
    if (!keeps_block) {
        _buffer = makeZeroedBuffer(context, layout._buffer_bytes);
    }
    _layout = layout;
    _is_region = false;
    std::fill(std::begin(_data), std::end(_data), nullptr);
}

void Frame::setZero() {
    for (int i = 0; i < _layout.plane_count; ++i) {
        const PlaneLayout& plane = _layout.plane[i];
        unsigned char* row = planeData(i);
        for (int y = 0; y < plane.height; ++y, row += plane.stride) {
            std::memset(row, 0, std::size_t(plane.row_bytes));
        }
    }
}

void Frame::copyTo(Frame& target) const {
    if (!initialized()) {
        TAVO_RAISE(TAVO_STATUS_NOT_INITIALIZED, "Frame is not initialized.");
    }
    if (&target == this) {
        return;
    }
    const bool takes_common_part =
        target._is_region && target.format() == format() && target.size() != size();
    if (!takes_common_part) {
        target.reuse(format(), size(), DeviceContext(), 0);
    }
    for (int i = 0; i < target._layout.plane_count; ++i) {
        const PlaneLayout& from = _layout.plane[i];
        const PlaneLayout& to = target._layout.plane[i];
        if (planeData(i) == target.planeData(i) && from.stride == to.stride) {
            continue;
        }
        copyRows(planeData(i), from.stride, target.planeData(i), to.stride,
                 std::size_t(std::min(from.row_bytes, to.row_bytes)),
                 std::min(from.height, to.height));
    }
}

Frame getRegion(Frame& frame, Rect rect) {
    if (!frame.initialized()) {
        TAVO_RAISE(TAVO_STATUS_NOT_INITIALIZED, "Frame is not initialized.");
    }
    Rect inside = rect;
    inside.crop(frame.size());
    if (rect.empty() || inside != rect) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_RANGE,
                   "Region (%d, %d, %d x %d) does not lie within the frame of %d x %d.", rect.x,
                   rect.y, rect.width, rect.height, frame.width(), frame.height());
    }
    const FormatShape& shape = shapeOf(frame.format());
    const Size size(rect.width, rect.height);
    Frame region = frame;
    region._layout.size = size;
    region._is_region = frame._is_region || size != frame.size();
    for (int i = 0; i < frame._layout.plane_count; ++i) {
        const PlaneShape& plane_shape = i == 0 ? shape.first : shape.further;
        PlaneLayout& plane = region._layout.plane[i];
        const std::int32_t stride = plane.stride;
        plane = layoutPlane(plane_shape, size, 0);
        plane.stride = stride;
        plane.size_bytes = std::uint32_t(planeBytes(plane));

        const std::ptrdiff_t element_bytes =
            std::ptrdiff_t(plane_shape.channels) * plane_shape.bytes_per_channel;
        const std::ptrdiff_t shift = std::ptrdiff_t(stride) * (rect.y / plane_shape.y_subsampling) +
                                     element_bytes * (rect.x / plane_shape.x_subsampling);
        if (region._buffer) {
            region._layout.offset[i] = std::uint32_t(region._layout.offset[i] + shift);
        } else {
            region._data[i] += shift;
        }
    }
    return region;
}

}  // namespace tavo
