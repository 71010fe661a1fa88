// Layouts, frames over memory of their own and of others, regions, copies, reuse; and the geometry,
// buffers and tensors beside them.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "tavo_core/tavo_core.h"

namespace {

using fuzz::ForeignFrame;
using fuzz::Guard;
using fuzz::Input;
using fuzz::pixelsOf;
using tavo::Frame;
using tavo::FrameLayout;
using tavo::PlaneLayout;
using tavo::Rect;
using tavo::Size;

constexpr std::uint64_t LARGEST = 1 << 20;  // bytes that a frame here takes at most

/// What every layout promises.
void checkLayout(const FrameLayout& layout, unsigned alignment) {
    std::uint64_t end = 0;
    for (int p = 0; p < layout.plane_count; ++p) {
        const PlaneLayout& plane = layout.plane[p];
        FUZZ_CHECK(plane.width > 0 && plane.height > 0 && plane.row_bytes > 0, "plane %d", p);
        FUZZ_CHECK(plane.stride >= plane.row_bytes, "plane %d", p);
        FUZZ_CHECK(alignment == 0 ? plane.stride == plane.row_bytes
                                  : unsigned(plane.stride) % alignment == 0,
                   "plane %d: stride %d", p, plane.stride);
        FUZZ_CHECK(layout.offset[p] >= end && layout.offset[p] % 64 == 0, "plane %d", p);
        FUZZ_CHECK(plane.size_bytes == std::uint64_t(plane.stride) * std::uint64_t(plane.height),
                   "plane %d", p);
        FUZZ_CHECK(std::uint64_t(plane.width) * plane.channels * plane.bits_per_channel / 8 ==
                       std::uint64_t(plane.row_bytes),
                   "plane %d", p);
        end = std::uint64_t(layout.offset[p]) + plane.size_bytes;
    }
}

Size anySize(Input& input) {
    return input.rarely() ? Size(input.anyInt(), input.anyInt()) : input.size(60);
}

unsigned anyAlignment(Input& input) {
    return input.rarely() ? unsigned(input.anyInt()) : unsigned(input.between(0, 70));
}

/// @return false where it fails or would be large
bool makeLayout(tavo::FrameFormat format, Size size, unsigned alignment) {
    std::uint64_t bytes = 0;
    const int status = fuzz::statusOf([&] {
        const FrameLayout layout(format, size, alignment);
        checkLayout(layout, alignment);
        for (int p = 0; p < layout.plane_count; ++p) {
            bytes += layout.plane[p].size_bytes;
        }
    });
    return status == 0 && bytes <= LARGEST;
}

void fuzzReuse(Input& input, Frame& frame) {
    const tavo::FrameFormat format = input.format();
    const Size size = anySize(input);
    const unsigned alignment = anyAlignment(input);
    const std::uint8_t* const pixels = frame.planeData(0);
    const FrameLayout before = frame.layout();
    const bool same = frame.initialized() && before.format == format && before.size == size;
    if (size.empty()) {
        const int status =
            fuzz::statusOf([&] { frame.reuse(format, size, tavo::DeviceContext(), alignment); });
        FUZZ_CHECK(status != 0, "an empty size");
        FUZZ_CHECK(frame.planeData(0) == pixels && frame.size() == before.size, "a failure");
        return;
    }
    if (!makeLayout(format, size, alignment)) {
        return;
    }
    frame.reuse(format, size, tavo::DeviceContext(), alignment);
    FUZZ_CHECK(frame.format() == format && frame.size() == size, "reuse");
    FUZZ_CHECK(!same || frame.planeData(0) == pixels, "storage of a frame that is one already");
    frame.setZero();  // the sanitizer sees whether the block is large enough
    const std::vector<std::uint8_t> bytes = pixelsOf(frame);
    FUZZ_CHECK(std::count(bytes.begin(), bytes.end(), 0) == std::ptrdiff_t(bytes.size()), "zeros");
}

/// A region shows what lies at its place, by a count of its own.
void checkRegion(const Frame& frame, const Frame& region, const Rect& rect) {
    for (int p = 0; p < frame.layout().plane_count; ++p) {
        const PlaneLayout& whole = frame.layout().plane[p];
        const PlaneLayout& part = region.layout().plane[p];
        const bool packed =
            frame.format() == tavo::FRAME_YUYV || frame.format() == tavo::FRAME_UYVY;
        const bool half_width = frame.format() >= tavo::FRAME_I420 &&
                                frame.format() <= tavo::FRAME_NV16 && (p > 0 || packed);
        const bool half_height =
            p > 0 && frame.format() >= tavo::FRAME_I420 && frame.format() <= tavo::FRAME_NV21;
        const int x = rect.x / (half_width ? 2 : 1);
        const int y = rect.y / (half_height ? 2 : 1);
        FUZZ_CHECK(part.width == (half_width ? (rect.width + 1) / 2 : rect.width), "plane %d", p);
        FUZZ_CHECK(part.height == (half_height ? (rect.height + 1) / 2 : rect.height), "plane %d",
                   p);
        FUZZ_CHECK(part.stride == whole.stride, "plane %d", p);
        FUZZ_CHECK(x + part.width <= whole.width && y + part.height <= whole.height,
                   "plane %d of region (%d, %d, %d x %d) leaves the plane", p, rect.x, rect.y,
                   rect.width, rect.height);
        const std::ptrdiff_t element = whole.channels * whole.bits_per_channel / 8;
        FUZZ_CHECK(region.planeData(p) ==
                       frame.planeData(p) + std::ptrdiff_t(y) * whole.stride + x * element,
                   "plane %d", p);
    }
}

/// @param frame by value: it may be the target, too
bool takeRegion(Input& input, Frame frame, Frame& part) {
    const Rect rect = input.region(frame.initialized() ? frame.size() : Size(1, 1));
    const int status = fuzz::statusOf([&] { part = getRegion(frame, rect); });
    const Rect bounds(0, 0, frame.width(), frame.height());
    const bool inside = frame.initialized() && !rect.empty() && rect.x >= 0 && rect.y >= 0 &&
                        rect.x <= bounds.width - rect.width &&
                        rect.y <= bounds.height - rect.height;
    FUZZ_CHECK(inside == (status == 0), "region (%d, %d, %d x %d) of %d x %d: status %d", rect.x,
               rect.y, rect.width, rect.height, frame.width(), frame.height(), status);
    if (status == 0) {
        checkRegion(frame, part, rect);
    }
    return status == 0;
}

/// The pixels of the common top left part.
std::vector<std::uint8_t> commonPart(Frame frame, Size other) {
    const Size size(std::min(frame.width(), other.width), std::min(frame.height(), other.height));
    return pixelsOf(getRegion(frame, Rect(0, 0, size.width, size.height)));
}

void fuzzCopy(const Frame& source, Frame& target) {
    if (!source.initialized()) {
        FUZZ_CHECK(
            fuzz::statusOf([&] { source.copyTo(target); }) == tavo::TAVO_STATUS_NOT_INITIALIZED,
            "copy of nothing");
        return;
    }
    const Size before = target.size();
    const std::vector<std::uint8_t> pixels = pixelsOf(source);
    const std::vector<std::uint8_t> common =
        commonPart(source, target.initialized() ? before : source.size());
    source.copyTo(target);
    FUZZ_CHECK(target.format() == source.format(), "copy");
    if (target.size() == source.size()) {
        FUZZ_CHECK(pixelsOf(target) == pixels, "copy of %s, %d x %d", toString(source.format()),
                   source.width(), source.height());
    } else {
        FUZZ_CHECK(target.size() == before, "a region that changed its size");
        FUZZ_CHECK(commonPart(target, source.size()) == common, "common part of %s",
                   toString(source.format()));
    }
}

/// A region of foreign memory as a target, with all around it guarded.
void fuzzForeign(Input& input, const Frame& source) {
    ForeignFrame foreign(input, input.oneOf(fuzz::FORMATS), input.size(60), false);
    Frame region = foreign.frame();
    for (int depth = input.between(0, 3); depth > 0; --depth) {
        Frame inner;
        if (takeRegion(input, region, inner)) {
            region = inner;
        }
    }
    std::vector<Guard> guards = foreign.guard(region);
    if (input.flag()) {
        region.setZero();
    } else if (input.flag()) {
        Frame copy;
        region.copyTo(copy);
        FUZZ_CHECK(pixelsOf(copy) == pixelsOf(region), "copy of foreign memory");
        fuzz::fillBytes(copy.planeData(0), std::size_t(copy.layout().plane[0].row_bytes), 3);
        fuzzCopy(copy, region);
    } else {
        fuzzCopy(source, region);
    }
    checkAll(guards, false, "foreign region");
}

/// Descriptions of foreign memory that don't hold together.
void fuzzForeignLayout(Input& input) {
    FrameLayout layout(input.oneOf(fuzz::FORMATS), input.size(20), 0);
    const std::size_t bytes = std::size_t{20} * 20 * 12;
    const std::unique_ptr<std::uint8_t[]> memory(new std::uint8_t[bytes]());
    std::uint8_t* planes[4] = {memory.get(), memory.get(), memory.get(), memory.get()};
    const int p = input.between(0, 3);
    bool fails = false;
    switch (input.between(0, 3)) {
        case 0:
            layout.format = input.format();
            break;
        case 1: {
            const int count = input.between(0, 4);
            fails = layout.plane_count != count;
            layout.plane_count = count;
            break;
        }
        case 2:
            planes[p] = nullptr;
            fails = p < layout.plane_count;
            break;
        default: {
            PlaneLayout& plane = layout.plane[p];
            plane.stride = input.flag() ? input.anyInt() : input.between(-100, 100);
            const std::int64_t step = std::abs(std::int64_t(plane.stride));
            fails = p < layout.plane_count && ((plane.height > 1 && step < plane.row_bytes) ||
                                               step * plane.height > UINT32_MAX);
        }
    }
    Frame frame;
    const int status = fuzz::statusOf([&] { frame = Frame(layout, planes); });
    FUZZ_CHECK(!fails || status != 0, "accepted");
    if (status == 0 && layout.format == frame.format() && input.flag()) {
        Frame region;
        fuzz::statusOf([&] { region = getRegion(frame, input.region(frame.size())); });
    }
    fuzz::statusOf([&] { const Frame nowhere(layout, nullptr); });
}

void fuzzGeometry(Input& input) {
    Rect rect(input.anyInt(), input.anyInt(), input.anyInt(), input.anyInt());
    const Rect before = rect;
    const Size size(input.anyInt(), input.anyInt());
    rect.crop(size);
    FUZZ_CHECK(
        rect == Rect() ||
            (rect.x >= 0 && rect.y >= 0 && !rect.empty() && rect.x <= size.width - rect.width &&
             rect.y <= size.height - rect.height && rect.x >= before.x && rect.y >= before.y),
        "(%d, %d, %d x %d) of %d x %d", before.x, before.y, before.width, before.height, size.width,
        size.height);
    float matrix[2][3];
    Rect a;
    Rect b;
    Size turned;
    const float angle = input.number();
    fuzz::statusOf([&] {
        getRotationMatrix2D(angle, tavo::Point(input.anyInt(), input.anyInt()), matrix,
                            input.number());
    });
    fuzz::statusOf([&] { getRotationRoi(angle, before, a, turned, b); });
}

void fuzzBuffer(Input& input) {
    tavo::Buffer buffer;
    std::vector<std::uint8_t> model;
    for (int step = 0; step < 6 && !input.done(); ++step) {
        const auto bytes = unsigned(input.between(0, 300));
        const bool keep = input.flag();
        buffer.resize(bytes, keep);
        const std::size_t kept = keep ? std::min<std::size_t>(bytes, model.size()) : 0;
        FUZZ_CHECK(buffer.size() == bytes && buffer.capacity() >= bytes, "resize");
        FUZZ_CHECK(kept == 0 || std::memcmp(buffer.data, model.data(), kept) == 0, "kept content");
        fuzz::fillBytes(buffer.data, bytes, input.seed());
        if (input.rarely()) {
            buffer.setZero();
        }
        if (input.rarely()) {
            buffer.clear();
        }
        model.assign(buffer.data, buffer.data + buffer.size());
    }
}

void fuzzTensor(Input& input) {
    tavo::TensorSize size;
    tavo::TensorSize strides;
    size.count = input.between(-1, 5);
    strides.count = input.rarely() ? input.anyInt() : size.count;
    for (int i = 0; i < 4; ++i) {
        size.dim[i] = input.rarely() ? input.anyInt() : input.between(0, 9);
        strides.dim[i] = input.rarely() ? input.anyInt() : input.between(0, 99);
    }
    tavo::Tensor tensor;
    fuzz::statusOf([&] {
        const tavo::TensorLayout layout(tavo::TENSOR_FLOAT_32, tavo::TensorFormat(0), size, strides,
                                        tavo::TensorChannelOrder(0));
        if (layout.size_bytes <= LARGEST) {
            tensor.reuse(layout, tavo::DeviceContext());
            std::memset(tensor.data(), 1, layout.size_bytes);
        }
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Frame frames[4];
    for (int step = 0; step < 12 && !input.done(); ++step) {
        Frame& frame = frames[input.between(0, 3)];
        Frame& other = frames[input.between(0, 3)];
        switch (input.between(0, 10)) {
            case 0:
            case 1:
                fuzzReuse(input, frame);
                break;
            case 2:
                takeRegion(input, frame, other);
                break;
            case 3:
                frame = other;
                break;
            case 4:
                frame.clear();
                break;
            case 5:
                for (int p = 0; p < frame.layout().plane_count; ++p) {
                    fuzz::fillBytes(frame.planeData(p),
                                    std::size_t(frame.layout().plane[p].row_bytes), input.seed());
                }
                break;
            case 6:
                fuzzForeign(input, frame);
                break;
            case 7:
                fuzzForeignLayout(input);
                break;
            case 8:
                fuzzGeometry(input);
                break;
            case 9:
                input.flag() ? fuzzBuffer(input) : fuzzTensor(input);
                break;
            default:
                fuzzCopy(frame, other);
        }
    }
    return 0;
}
