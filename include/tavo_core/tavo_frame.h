/// @file
/// Frames: images of one pixel format in one to three planes, over shared or foreign memory.
#pragma once

#include <cstdint>
#include <memory>

#include "tavo_core/tavo_buffer.h"
#include "tavo_core/tavo_export.h"
#include "tavo_core/tavo_geometry.h"

namespace tavo {

/// Pixel formats. The numbers are fixed. Samples of one pixel, and of one pair, follow each other
/// in the order told. Samples of 16 and 32 bits are in the processor's byte order. Subsampled sides
/// round up: (side + 1) / 2. The conversions take YUV for BT.601 of limited range: Y 16 to 235, U
/// and V 16 to 240 with 128 for no colour.
enum FrameFormat : std::int32_t {
    FRAME_INVALID = 0,      ///< of an uninitialized frame
    FRAME_GRAY8 = 1,        ///< 8-bit luma
    FRAME_RGB24 = 2,        ///< packed R, G, B
    FRAME_RGB_PLANAR = 3,   ///< planes R, G, B
    FRAME_BGR24 = 4,        ///< packed B, G, R
    FRAME_BGR_PLANAR = 5,   ///< planes B, G, R
    FRAME_I420 = 6,         ///< planes Y, U, V; chroma of half width and half height
    FRAME_YV12 = 7,         ///< planes Y, V, U; chroma of half width and half height
    FRAME_NV12 = 8,         ///< planes Y and U, V pairs of half width and half height
    FRAME_NV21 = 9,         ///< planes Y and V, U pairs of half width and half height
    FRAME_YV16 = 10,        ///< planes Y, V, U; chroma of half width
    FRAME_YUYV = 11,        ///< packed Y, U, Y, V
    FRAME_UYVY = 12,        ///< packed U, Y, V, Y
    FRAME_NV16 = 13,        ///< planes Y and U, V pairs of half width
    FRAME_YUV444 = 14,      ///< packed Y, U, V
    FRAME_I444 = 15,        ///< planes Y, U, V
    FRAME_8U_C2 = 16,       ///< two 8-bit samples per pixel
    FRAME_8U_C3 = 17,       ///< three 8-bit samples per pixel
    FRAME_8U_C4 = 18,       ///< four 8-bit samples per pixel
    FRAME_16U_C1 = 19,      ///< one 16-bit sample per pixel
    FRAME_32U_C1 = 20,      ///< one 32-bit sample per pixel
    FRAME_GRAY_32F = 24,    ///< one float per pixel
    FRAME_BGR_32F = 25,     ///< packed B, G, R floats
    FRAME_PLANAR_32F = 26,  ///< three planes of floats; they have no colour order of their own
};

/// The name of a format.
/// @param format any number
/// @return a literal such as "FRAME_NV12"; "FRAME_UNKNOWN" for numbers that are no format
TAVO_CORE_API const char* toString(FrameFormat format);

/// One plane of a frame. An element is a pixel, a chroma sample, a pair of them, or a group of two
/// pixels in FRAME_YUYV and FRAME_UYVY.
struct PlaneLayout {
    std::int32_t width = 0;              ///< elements of `channels` samples in a row
    std::int32_t height = 0;             ///< rows
    std::uint16_t bits_per_channel = 0;  ///< 8, 16 or 32
    std::uint16_t channels = 0;          ///< samples per element
    std::int32_t stride = 0;             ///< bytes from one row to the next; negative bottom-up
    std::int32_t row_bytes = 0;          ///< payload bytes of a row: width * channels * bits / 8
    std::uint32_t size_bytes = 0;        ///< bytes of the whole plane: |stride| * height
};

/// The whole description of a frame's memory.
class TAVO_CORE_API FrameLayout {
public:
    FrameFormat format = FRAME_INVALID;  ///< FRAME_INVALID for an empty layout
    std::int32_t plane_count = 0;        ///< 1 to 3; 0 for an empty layout
    Size size;                           ///< in pixels

private:
    friend class Frame;
    std::uint32_t _buffer_bytes = 0;  // a Buffer for all planes, spare bytes included

public:
    PlaneLayout plane[4];                    ///< the first `plane_count` are in use
    std::uint32_t offset[4] = {0, 0, 0, 0};  ///< first row of each plane in the Buffer, in bytes

    /// The empty layout.
    FrameLayout() = default;

    /// Lays out the planes of a format. Each plane starts at a multiple of 64 bytes. In
    /// FRAME_YUYV and FRAME_UYVY `plane[0].width` counts groups of two pixels with 4 channels, and
    /// rows cover whole groups.
    /// @param format    any but FRAME_INVALID
    /// @param size      in pixels, at least 1 x 1
    /// @param alignment bytes; strides are rounded up to a multiple of it, whatever number it is.
    ///                  0 means rows without padding.
    /// @throws Exception TAVO_STATUS_BAD_FORMAT for an unknown format; TAVO_STATUS_OUT_OF_RANGE for
    ///         an empty size or a frame that 32-bit fields can't describe
    FrameLayout(FrameFormat format, Size size, unsigned int alignment);

    /// Back to the empty layout.
    void clear() { *this = FrameLayout(); }
};

/// An image. Copies share the pixels; the pixels live as long as a frame shows them.
class TAVO_CORE_API Frame {
public:
    /// An uninitialized frame.
    Frame() = default;

    /// A frame over memory of somebody else, who keeps it alive. A negative stride describes
    /// bottom-up memory: the plane's address is then that of its top row. The frame counts as one
    /// on the CPU.
    /// @param layout format, size and strides; its offsets are not looked at
    /// @param planes the address of each plane's first row, of any alignment; as many are read as
    ///               the format has planes
    /// @throws Exception TAVO_STATUS_NOT_INITIALIZED for an empty layout;
    ///         TAVO_STATUS_BAD_FORMAT for an unknown format; TAVO_STATUS_INVALID_PARAMETER for a
    ///         number of planes that is not the format's; TAVO_STATUS_NULL_POINTER for a missing
    ///         plane; TAVO_STATUS_OUT_OF_RANGE for rows that overlap and planes beyond 32 bits
    Frame(const FrameLayout& layout, unsigned char* const planes[4]);

    /// @return true when there are pixels
    bool initialized() const { return _layout.plane_count != 0; }
    /// @return the pixel format; FRAME_INVALID when uninitialized
    FrameFormat format() const { return _layout.format; }
    /// @return the size in pixels; 0 x 0 when uninitialized
    Size size() const { return _layout.size; }
    /// @return the width in pixels
    int width() const { return _layout.size.width; }
    /// @return the height in pixels
    int height() const { return _layout.size.height; }
    /// @return format, size and planes; valid as long as this object
    const FrameLayout& layout() const { return _layout; }
    /// @return where the pixels are labelled to live; the CPU over foreign memory
    DeviceContext deviceContext() const;

    /// The address of a plane's first row. The pixels may be written through it.
    /// @param plane 0 to `layout().plane_count - 1`
    /// @return the address; null for planes that the format does not have
    unsigned char* planeData(int plane) const;

    /// Makes this a frame of that format and size. A frame that is one already stays as it is,
    /// also as a region or over foreign memory. Otherwise it gets a layout of its own in a block
    /// that nobody else shares; a fresh block is zero, a kept one has its old bytes.
    /// @param format    any but FRAME_INVALID
    /// @param size      in pixels, at least 1 x 1
    /// @param context   of another device than before makes a new frame, too
    /// @param alignment of rows, as for FrameLayout; not looked at when the frame stays as it is
    /// @throws Exception as FrameLayout, or TAVO_STATUS_OUT_OF_MEMORY; the frame then stays as it
    ///         was
    void reuse(FrameFormat format, Size size, const DeviceContext& context, unsigned int alignment);

    /// Back to the uninitialized state; other frames over the same pixels keep them.
    void clear() { *this = Frame(); }

    /// Fills the pixels of every row with 0. What lies between rows stays. An uninitialized frame
    /// stays one.
    void setZero();

    /// Copies the pixels. A region of the same format but another size takes the common top left
    /// part; any other target that does not match is first made to match. Views of the same memory
    /// may overlap when their strides are equal.
    /// @param target gets a label of the CPU when it is made to match; may be this frame
    /// @throws Exception TAVO_STATUS_NOT_INITIALIZED when this frame is uninitialized, or
    ///         TAVO_STATUS_OUT_OF_MEMORY; @p target then stays as it was
    void copyTo(Frame& target) const;

private:
    friend TAVO_CORE_API Frame getRegion(Frame& frame, Rect rect);

    FrameLayout _layout;
    bool _is_region = false;          // shows a part of another frame
    std::shared_ptr<Buffer> _buffer;  // null over foreign memory
    unsigned char* _data[4] = {nullptr, nullptr, nullptr, nullptr};
};

/// A frame over a part of another, sharing its pixels. Subsampled planes start at (x / 2, y / 2),
/// so that at an odd corner chroma begins one pixel before luma.
/// @param frame the whole, or a region itself
/// @param rect  in pixels of @p frame
/// @return the region; it has the strides of @p frame
/// @throws Exception TAVO_STATUS_NOT_INITIALIZED for an uninitialized frame;
///         TAVO_STATUS_OUT_OF_RANGE for a rectangle that is empty or does not lie within the frame
TAVO_CORE_API Frame getRegion(Frame& frame, Rect rect);

}  // namespace tavo
