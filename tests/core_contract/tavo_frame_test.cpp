#include "tavo_core/tavo_frame.h"

#include <sys/resource.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <vector>

#include "support/frames.h"

namespace {

using namespace tavo;
using support::flatFrame;
using support::randomFrame;

/// What one element of a plane holds, and how many pixels and image rows it covers.
struct Elements {
    int bits, channels, across, down;
};

/// The planes of the formats by number.
const std::vector<Elements>& planesOf(FrameFormat format) {
    static const Elements Y{8, 1, 1, 1}, Y2{8, 2, 1, 1}, Y3{8, 3, 1, 1}, Y4{8, 4, 1, 1};
    static const Elements W{16, 1, 1, 1}, F{32, 1, 1, 1}, F3{32, 3, 1, 1}, YUYV{8, 4, 2, 1};
    static const Elements C420{8, 1, 2, 2}, UV420{8, 2, 2, 2}, C422{8, 1, 2, 1}, UV422{8, 2, 2, 1};
    // clang-format off
    static const std::vector<std::vector<Elements>> planes = {
        {}, {Y}, {Y3}, {Y, Y, Y}, {Y3}, {Y, Y, Y}, {Y, C420, C420}, {Y, C420, C420}, {Y, UV420},
        {Y, UV420}, {Y, C422, C422}, {YUYV}, {YUYV}, {Y, UV422}, {Y3}, {Y, Y, Y}, {Y2}, {Y3}, {Y4},
        {W}, {F}, {}, {}, {}, {F}, {F3}, {F, F, F}};
    // clang-format on
    return planes[std::size_t(format)];
}

/// Checks all of a plane but its place.
void expectPlane(const PlaneLayout& plane, const Elements& elements, Size size, int stride) {
    const auto [bits, channels, across, down] = elements;
    EXPECT_EQ(plane.width, size.width / across + size.width % across);
    EXPECT_EQ(plane.height, size.height / down + size.height % down);
    EXPECT_TRUE(plane.bits_per_channel == bits && plane.channels == channels);
    EXPECT_EQ(plane.row_bytes, plane.width * channels * bits / 8);
    EXPECT_EQ(plane.stride, stride);
    EXPECT_EQ(plane.size_bytes, unsigned(std::abs(stride) * plane.height));
}

TEST(FrameLayout, DescribesEveryFormat) {
    for (const FrameFormat format : support::allFormats()) {
        for (const Size size : {Size(1, 1), Size(2, 2), Size(9, 1), Size(1, 9), Size(7, 5)}) {
            for (const int unit : {1, 48, 64}) {
                SCOPED_TRACE(testing::Message() << toString(format) << size.width << size.height);
                const FrameLayout layout(format, size, unit == 1 ? 0 : unsigned(unit));
                EXPECT_TRUE(layout.format == format && layout.size == size);
                ASSERT_EQ(std::size_t(layout.plane_count), planesOf(format).size());
                unsigned end = 0;
                for (int p = 0; p < layout.plane_count; ++p) {
                    const PlaneLayout& plane = layout.plane[p];
                    const int stride = (plane.row_bytes + unit - 1) / unit * unit;
                    expectPlane(plane, planesOf(format)[std::size_t(p)], size, stride);
                    EXPECT_TRUE(layout.offset[p] % 64 == 0 && layout.offset[p] >= end);
                    end = layout.offset[p] + plane.size_bytes;
                }
            }
        }
    }
    EXPECT_STREQ(toString(FRAME_PLANAR_32F), "FRAME_PLANAR_32F");
    EXPECT_STREQ(toString(FRAME_INVALID), "FRAME_INVALID");
    EXPECT_STREQ(toString(FrameFormat(22)), "FRAME_UNKNOWN");
}

TEST(Frame, KeepsSharesAndReplacesStorage) {
    const DeviceContext cpu;
    Frame frame;
    EXPECT_TRUE(!frame.initialized() && !frame.planeData(0) && frame.size() == Size());
    frame.reuse(FRAME_I420, Size(9, 7), cpu, 0);
    EXPECT_TRUE(support::samePixels(frame, flatFrame(FRAME_I420, Size(9, 7), 0))) << "fresh";
    unsigned char* const block = frame.planeData(0);
    EXPECT_TRUE(reinterpret_cast<std::uintptr_t>(block) % 64 == 0 && !frame.planeData(3));
    std::memset(frame.planeData(2) + frame.layout().plane[2].size_bytes, 1, 64);  // spare bytes
    frame.reuse(FRAME_I420, Size(9, 7), cpu, 64);
    EXPECT_EQ(frame.layout().plane[0].stride, 9) << "a frame that matches stays as it is";
    frame.reuse(FRAME_BGR24, Size(3, 2), cpu, 0);
    frame.reuse(FRAME_I420, Size(9, 7), cpu, 0);
    EXPECT_EQ(frame.planeData(0), block) << "a block that is large enough is kept";

    Frame copy = frame;
    support::fillRandom(copy, 1);
    copy.reuse(FRAME_GRAY8, Size(2, 2), cpu, 0);
    copy.setZero();
    copy.reuse(FRAME_GRAY8, Size(2, 2), DeviceContext(1, 2), 0);
    EXPECT_EQ(copy.deviceContext(), DeviceContext(1, 2));
    copy.reuse(FRAME_GRAY8, Size(999, 9), cpu, 0);
    support::fillRandom(copy, 2);  // outside memory if the block did not grow
    copy = getRegion(copy, Rect(0, 0, 4, 4));
    copy.reuse(FRAME_GRAY8, Size(5, 5), cpu, 0);
    randomFrame(FRAME_GRAY8, Size(3, 3), 3).copyTo(copy);
    EXPECT_EQ(copy.size(), Size(3, 3)) << "what was a region is a frame of its own";
    copy.clear();
    EXPECT_FALSE(copy.initialized());
    EXPECT_TRUE(support::samePixels(frame, randomFrame(FRAME_I420, Size(9, 7), 1)));
}

using Memory = std::map<const unsigned char*, unsigned char>;

/// The pixels of @p frame, by address, once @p region of it took what it has of @p source.
Memory overlaid(const Frame& frame, const Frame& region, const Frame& source) {
    Memory memory;
    for (const Frame* const from : {&frame, &source}) {
        const Frame& to = from == &frame ? frame : region;
        for (int p = 0; p < frame.layout().plane_count; ++p) {
            const PlaneLayout& read = from->layout().plane[p];
            const PlaneLayout& write = to.layout().plane[p];
            for (int y = 0; y < std::min(read.height, write.height); ++y) {
                for (int x = 0; x < std::min(read.row_bytes, write.row_bytes); ++x) {
                    memory[to.planeData(p) + write.stride * y + x] =
                        from->planeData(p)[read.stride * y + x];
                }
            }
        }
    }
    return memory;
}

Memory memoryOf(const Frame& frame) {
    return overlaid(frame, frame, frame);
}

/// A region that was checked against its parent's planes.
Frame checkedRegion(Frame& parent, Rect rect) {
    Frame region = getRegion(parent, rect);
    EXPECT_TRUE(region.format() == parent.format() && region.width() == rect.width);
    for (int p = 0; p < parent.layout().plane_count; ++p) {
        const Elements& elements = planesOf(parent.format())[std::size_t(p)];
        const int stride = parent.layout().plane[p].stride;
        expectPlane(region.layout().plane[p], elements, Size(rect.width, rect.height), stride);
        const auto [bits, channels, across, down] = elements;
        EXPECT_EQ(region.planeData(p) - parent.planeData(p),
                  rect.y / down * stride + rect.x / across * channels * bits / 8);
    }
    return region;
}

TEST(Frame, RegionsShowAndTakePixelsOfEveryFormat) {
    const Size size(9, 7);
    const Size overlap(6, 5);
    for (int i = 0; i < 3 * int(support::allFormats().size()); ++i) {
        const FrameFormat format = support::allFormats()[std::size_t(i / 3)];
        const bool bottom_up = i % 3 == 2;
        support::GuardedFrame foreign(format, size, 5, bottom_up);
        Frame parent = i % 3 == 0 ? flatFrame(format, size, 0) : foreign.frame();
        for (const Rect rect : {Rect(2, 4, 4, 2), Rect(3, 1, 5, 4), Rect(8, 6, 1, 1),
                                Rect(1, 3, 8, 4), Rect(0, 0, 6, 5), Rect(2, 2, 7, 5)}) {
            SCOPED_TRACE(testing::Message() << toString(format) << i % 3 << rect.x << rect.y);
            support::fillRandom(parent, 5);
            Frame region = checkedRegion(parent, rect);
            checkedRegion(region, Rect(rect.width / 2, rect.height / 2, 1, 1));
            Memory expected = overlaid(parent, region, flatFrame(format, size, 0));
            region.setZero();
            EXPECT_EQ(memoryOf(parent), expected);

            // Sources of the same size, narrower, flatter, and a view that overlaps.
            region = getRegion(region, Rect(0, 0, rect.width, rect.height));
            support::fillRandom(parent, 6);
            for (const Size other : {region.size(), Size(3, 9), Size(9, 2), overlap}) {
                support::GuardedFrame guarded(format, other, 2, !bottom_up);
                support::fillRandom(guarded.frame(), 7);
                const Frame source =
                    other == overlap ? getRegion(parent, Rect(1, 1, 6, 5)) : guarded.frame();
                expected = overlaid(parent, region, source);
                source.copyTo(region);
                EXPECT_EQ(memoryOf(parent), expected) << other.width << "x" << other.height;
                EXPECT_EQ(region.size(), Size(rect.width, rect.height));
            }
            region.reuse(format, region.size(), DeviceContext(), 0);
            EXPECT_EQ(region.layout().plane[0].stride, parent.layout().plane[0].stride);
        }
        EXPECT_TRUE(foreign.sentinelsIntact());
    }
}

TEST(Frame, CopyToMakesOtherTargetsMatch) {
    const Frame source = randomFrame(FRAME_NV12, Size(5, 3), 9);
    Frame parent = randomFrame(FRAME_GRAY8, Size(9, 9), 10);
    support::GuardedFrame smaller(FRAME_NV12, Size(3, 3));
    Frame elsewhere;
    elsewhere.reuse(FRAME_NV12, Size(5, 3), DeviceContext(1, 0), 0);
    for (Frame target : {Frame(), randomFrame(FRAME_NV12, Size(4, 4), 11), elsewhere,
                         smaller.frame(), getRegion(parent, Rect(1, 1, 4, 4))}) {
        const Frame witness = target;
        const Memory before = memoryOf(witness);
        source.copyTo(target);
        EXPECT_TRUE(support::samePixels(target, source));
        EXPECT_EQ(target.deviceContext(), DeviceContext());
        EXPECT_EQ(memoryOf(witness), before) << "pixels that others show are left alone";
    }
}

TEST(Frame, BadInputLeavesItAsItWas) {
    Frame frame = randomFrame(FRAME_I420, Size(5, 3), 14);
    const Frame before = frame;
    const Memory memory = memoryOf(frame);
    const auto expectFailure = [&](Status status, const std::function<void()>& action) {
        try {
            action();
            ADD_FAILURE() << "nothing thrown";
        } catch (const Exception& error) {
            EXPECT_EQ(error.status, status) << error.what();
        }
        // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): not a byte may change
        EXPECT_EQ(std::memcmp(&frame.layout(), &before.layout(), sizeof(FrameLayout)), 0);
        EXPECT_EQ(memoryOf(frame), memory);
    };
    const auto reuse = [&](Rect input) {  // format, alignment, size
        const Size size(input.width, input.height);
        frame.reuse(FrameFormat(input.x), size, DeviceContext(), unsigned(input.y));
    };
    for (const int number : {-1, 0, 21, 23, 27}) {
        expectFailure(TAVO_STATUS_BAD_FORMAT, [&] { reuse(Rect(number, 0, 4, 4)); });
    }
    for (const Rect bad :
         {Rect(1, 0, 0, 4), Rect(1, 0, -4, 3), Rect(1, 0, 3, INT_MIN), Rect(1, 0, 65536, 65536),
          Rect(1, 0, 65535, 65537), Rect(1, 64, INT_MAX, INT_MAX), Rect(1, 64, INT_MAX, 1),
          Rect(1, INT_MIN, 1, 3), Rect(11, 0, INT_MAX, 1), Rect(25, 0, 1 << 30, 1),
          Rect(6, 0, INT_MAX, 2), Rect(15, 0, 40000, 40000)}) {
        SCOPED_TRACE(testing::Message() << bad.x << ", " << bad.width << "x" << bad.height);
        expectFailure(TAVO_STATUS_OUT_OF_RANGE, [&] { reuse(bad); });
    }
    for (const Rect rect : {Rect(-1, 0, 2, 2), Rect(0, -1, 2, 2), Rect(4, 0, 2, 2),
                            Rect(0, 2, 2, 2), Rect(0, 0, 0, 3), Rect(1, 1, 2, -1),
                            Rect(1, 1, INT_MAX, INT_MAX), Rect(INT_MIN, 0, INT_MIN, 3)}) {
        SCOPED_TRACE(testing::Message() << rect.x << " " << rect.y << " " << rect.width);
        expectFailure(TAVO_STATUS_OUT_OF_RANGE, [&] { frame = getRegion(frame, rect); });
    }
    Frame none;
    expectFailure(TAVO_STATUS_NOT_INITIALIZED, [&] { none.copyTo(frame); });
    expectFailure(TAVO_STATUS_NOT_INITIALIZED, [&] { frame = getRegion(none, Rect(0, 0, 1, 1)); });
    unsigned char* const planes[4] = {frame.planeData(0), nullptr, frame.planeData(2), nullptr};
    FrameLayout layout(FRAME_GRAY8, Size(5, 3), 0);
    const auto view = [&] { frame = Frame(layout, planes); };
    for (const int stride : {4, -4, 0, INT_MIN, INT_MAX}) {
        layout.plane[0].stride = stride;
        expectFailure(TAVO_STATUS_OUT_OF_RANGE, view);
    }
    layout = frame.layout();
    expectFailure(TAVO_STATUS_NULL_POINTER, view);
    expectFailure(TAVO_STATUS_NULL_POINTER, [&] { frame = Frame(layout, nullptr); });
    layout.plane_count = 1;
    expectFailure(TAVO_STATUS_INVALID_PARAMETER, view);
    layout.clear();
    expectFailure(TAVO_STATUS_NOT_INITIALIZED, view);

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they die without memory
    rlimit unlimited = {};
    getrlimit(RLIMIT_AS, &unlimited);
    const rlimit limited = {1u << 30, unlimited.rlim_max};
    setrlimit(RLIMIT_AS, &limited);
    const volatile std::size_t bytes = 3900000000u;
    void* const volatile available = std::malloc(bytes);  // emulators hand it out nevertheless
    std::free(available);
    if (!available) {
        expectFailure(TAVO_STATUS_OUT_OF_MEMORY, [&] { reuse(Rect(1, 0, 65000, 60000)); });
    }
    setrlimit(RLIMIT_AS, &unlimited);
#endif
}

}  // namespace
