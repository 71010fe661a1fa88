// Frames, sources and failures for tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tavo_core/tavo_core.h"
#include "tavo_cv/tavo_row_producer.h"

namespace support {

/// The formats of frames, in the order of their numbers.
const std::vector<tavo::FrameFormat>& allFormats();

/// Fills the pixels with reproducible random bytes (floats: values in -300 .. 600).
void fillRandom(tavo::Frame& frame, std::uint32_t seed);

/// A frame of its own memory with random pixels.
tavo::Frame randomFrame(tavo::FrameFormat format, tavo::Size size, std::uint32_t seed);

/// A frame of its own memory with @p value in every byte of its pixels.
tavo::Frame flatFrame(tavo::FrameFormat format, tavo::Size size, unsigned char value);

/// The payload bytes of all planes, row after row.
std::vector<unsigned char> pixels(const tavo::Frame& frame);

/// Passes when both frames have the same format, size and pixels; tells the first difference.
testing::AssertionResult samePixels(const tavo::Frame& actual, const tavo::Frame& expected);

/// A frame over foreign memory with @p margin sentinel bytes (0xA5 and its like) before, behind and
/// between all rows of each plane. Padding makes strides odd where @p margin is.
class GuardedFrame {
public:
    GuardedFrame(tavo::FrameFormat format, tavo::Size size, int margin = 7, bool bottom_up = false);

    tavo::Frame& frame() { return _frame; }

    /// Passes while every sentinel byte is as it was.
    testing::AssertionResult sentinelsIntact() const;

private:
    struct Plane {
        std::vector<unsigned char> memory;
        std::vector<bool> is_pixel;
    };
    std::vector<Plane> _planes;
    tavo::Frame _frame;
};

/// A frame whose planes each lie between two inaccessible pages: the last row ends right before the
/// page behind (@p at_end), or the first row starts right behind the page before it. Any access
/// outside ends the test program.
class PageGuardedFrame {
public:
    PageGuardedFrame(tavo::FrameFormat format, tavo::Size size, bool at_end);
    ~PageGuardedFrame();
    PageGuardedFrame(const PageGuardedFrame&) = delete;
    PageGuardedFrame& operator=(const PageGuardedFrame&) = delete;

    tavo::Frame& frame() { return _frame; }

private:
    struct Mapping {
        void* address;
        std::size_t bytes;
    };
    std::vector<Mapping> _mappings;
    tavo::Frame _frame;
};

/// A producer of a frame's rows that does not use the library's cursors, and keeps a record.
/// Planes with a null destination are skipped. `restart` goes back to row 0.
class FrameProducer : public tavo::IRowProducer {
public:
    explicit FrameProducer(tavo::Frame frame);

    const tavo::FrameLayout& layout() const override { return _layout; }
    void produce(tavo::RowData& row) override;
    bool next() override;
    void restart() { _row = 0; }

    std::vector<int> produced;                       ///< image rows in the order of `produce`
    std::vector<std::vector<bool>> produced_planes;  ///< per call, which planes had a destination
    int next_calls = 0;

private:
    tavo::Frame _frame;
    tavo::FrameLayout _layout;
    int _row = 0;
};

/// Passes when @p action throws a tavo::Exception with exactly these.
testing::AssertionResult throwsFailure(const std::function<void()>& action,
                                       tavo::Status status,
                                       const std::string& text,
                                       const std::string& function,
                                       const std::string& file);

/// As above, for a violated precondition: the text is "Assertion failed: " and @p condition.
testing::AssertionResult throwsAssertion(const std::function<void()>& action,
                                         const std::string& condition,
                                         const std::string& function,
                                         const std::string& file);

/// The number of calls of operator new during @p action.
long allocationsDuring(const std::function<void()>& action);

}  // namespace support
