#include "tavo_cv/tavo_row_window.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <list>
#include <map>
#include <random>
#include <string>
#include <utility>

#include "support/frames.h"
#include "tavo_cv/tavo_row_copier.h"

namespace {

using namespace tavo;
using support::FrameProducer;
using testing::ElementsAre;
using Bytes = std::vector<unsigned char>;

const char* const SOURCE = "src/tavo_cv/tavo_row_window";

/// Image rows that share one row of a plane; a single row counts as the first of two.
int rowsPerPlaneRow(const Frame& frame, int plane) {
    return frame.height() == 1 || frame.layout().plane[plane].height < frame.height() ? 2 : 1;
}

/// Null for planes that the frame does not have.
unsigned char* rowAddress(const Frame& frame, int plane, int image_row) {
    if (plane >= frame.layout().plane_count) {
        return nullptr;
    }
    const int row = image_row / rowsPerPlaneRow(frame, plane);
    return frame.planeData(plane) + frame.layout().plane[plane].stride * row;
}

Bytes rowBytes(const Frame& frame, int plane, const unsigned char* row) {
    return Bytes(row, row + frame.layout().plane[plane].row_bytes);
}

Bytes sourceRow(const Frame& frame, int plane, int image_row) {
    return rowBytes(frame, plane, rowAddress(frame, plane, image_row));
}

/// What a window over a producer has to do, kept by source row instead of by slot.
struct Model {
    Frame source;
    int window_size = 0;
    int pulled = 0;
    int end = 0;
    std::vector<Bytes> ring[4];
    std::size_t free[4] = {};
    std::map<int, std::size_t> ring_row_of[4];
    std::vector<int> produced;
    std::vector<std::vector<bool>> produced_planes;
    int next_calls = 0;

    /// Rings outlive a `reuse` with the same shape, unless @p source was cleared meanwhile.
    void reuse(const Frame& frame, int size) {
        const bool same_shape = source.format() == frame.format() &&
                                source.size() == frame.size() && window_size == size;
        for (int p = 0; !same_shape && p < frame.layout().plane_count; ++p) {
            ring[p].assign(std::size_t(size), Bytes(sourceRow(frame, p, 0).size(), 0));
            free[p] = 0;
        }
        source = frame;
        window_size = size;
        end = next_calls = 0;
        produced.clear();
        produced_planes.clear();
    }

    void show(int begin) {
        for (; pulled < begin; ++pulled) {
            ++next_calls;
        }
        for (int row = std::max(begin, end); row < begin + window_size; ++row, ++pulled) {
            // The window wants `row`, but gets the row on which the producer stands.
            const int delivered = next_calls++;
            produced.push_back(delivered);
            produced_planes.emplace_back();
            for (int p = 0; p < source.layout().plane_count; ++p) {
                const int shared = rowsPerPlaneRow(source, p);
                produced_planes.back().push_back(row % shared == 0);
                if (row % shared == 0) {
                    ring[p][free[p]] = sourceRow(source, p, delivered);
                }
                ring_row_of[p][row] = free[p];
                if (row % shared == shared - 1) {
                    free[p] = (free[p] + 1) % ring[p].size();
                }
            }
        }
        end = begin + window_size;
    }

    Bytes row(int plane, int row) const { return ring[plane][ring_row_of[plane].at(row)]; }
};

void runRandomPasses(unsigned seed) {
    const FrameFormat formats[] = {FRAME_I420, FRAME_NV21,  FRAME_YV16,      FRAME_NV16,
                                   FRAME_YUYV, FRAME_BGR24, FRAME_PLANAR_32F};
    std::mt19937 random(seed);
    const auto below = [&](int limit) { return int(random() % unsigned(limit)); };
    RowWindow window;
    Model model;
    std::list<FrameProducer> producers;  // all alive, so that none has the address of another
    FrameFormat format = FRAME_INVALID;
    Size size;
    int window_size = 0;
    for (int pass = 0; pass < 8; ++pass) {
        const auto changes = [&] { return pass == 0 || below(5) == 0; };
        if (changes()) {
            window.clear();
            model.source.clear();
        }
        format = changes() ? formats[below(7)] : format;
        size = changes() ? Size(1 + below(40), 1 + below(14)) : size;
        window_size = std::min(changes() ? 1 + below(5) : window_size, size.height);
        support::GuardedFrame guarded(format, size, below(8), below(2) == 0);
        support::fillRandom(guarded.frame(), seed * 8 + unsigned(pass));
        const Frame source = guarded.frame();
        FrameProducer& producer = producers.emplace_back(source);
        const bool from_frame = below(5) == 0;
        if (from_frame) {
            window.reuse(source, window_size);
            model.source.clear();
        } else {
            window.reuse(producer, window_size);
            model.reuse(source, window_size);
        }
        ASSERT_EQ(window._begin, 0);
        ASSERT_EQ(window._layout.format, format);
        ASSERT_EQ(window._layout.size, size);
        RowData shown[14];
        for (int begin = 0, end = 0, moves = below(8); moves >= 0; --moves) {
            begin = std::min(begin + below(2 * window_size + 2), size.height - window_size);
            window._begin = begin;
            if (!from_frame) {
                model.show(begin);
            }
            for (int i = 0, slot = below(window_size); i < window_size; ++i) {
                slot = (slot + 1) % window_size;
                const int row = begin + slot;
                const RowData previous = std::exchange(shown[row], *window.rowData(slot));
                for (int p = 0; p < 4; ++p) {
                    SCOPED_TRACE("plane " + std::to_string(p) + ", row " + std::to_string(row));
                    const unsigned char* const address = shown[row].plane[p];
                    if (row < end) {
                        ASSERT_EQ(address, previous.plane[p]);
                    }
                    if (from_frame || p >= source.layout().plane_count) {
                        ASSERT_EQ(address, rowAddress(source, p, row));
                    } else {
                        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(address) % 64, 0u);
                        ASSERT_EQ(rowBytes(source, p, address), model.row(p, row));
                    }
                }
            }
            end = begin + window_size;
        }
        if (!from_frame) {
            ASSERT_EQ(producer.produced, model.produced);
            ASSERT_EQ(producer.produced_planes, model.produced_planes);
            ASSERT_EQ(producer.next_calls, model.next_calls);
        }
    }
}

TEST(RowWindow, DoesWhatTheModelDoesUnderRandomMoves) {
    for (unsigned seed = 0; seed < 300 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        runRandomPasses(seed);
    }
}

TEST(RowWindow, SkipsOnTheFirstPassOnly) {
    FrameProducer producer(support::randomFrame(FRAME_GRAY8, Size(3, 10), 1));
    RowWindow window;
    for (const bool first : {true, false}) {
        producer.restart();
        producer.produced.clear();
        window.clear();
        EXPECT_FALSE(window.initialized());
        window.reuse(producer, 2);
        window.advanceTo(7);
        window.advanceTo(5);  // never back
        window.rowData(1);
        EXPECT_THAT(producer.produced, first ? ElementsAre(7, 8) : ElementsAre(0, 1));
    }
    window.advanceTo(100);
    EXPECT_EQ(window._begin, 8);
}

TEST(RowWindow, ShowsNoFreshChromaAfterARestartOnAnOddRow) {
    const Frame source = support::randomFrame(FRAME_I420, Size(4, 8), 2);
    FrameProducer producer(source);
    RowWindow window;
    window.reuse(producer, 1);
    const auto chroma = [&](int row) {
        window._begin = row;
        return rowBytes(source, 2, window.rowData(0)->plane[2]);
    };
    EXPECT_EQ(chroma(3), Bytes(2, 0));
    EXPECT_EQ(chroma(4), sourceRow(source, 2, 4));
    EXPECT_EQ(chroma(7), sourceRow(source, 2, 4));
}

TEST(RowWindow, AllocatesOnlyForANewShape) {
    const Frame source = support::randomFrame(FRAME_NV12, Size(33, 9), 3);
    RowWindow window;
    const auto pass = [&] {
        RowCopier copier;
        copier.reuse(source);
        window.reuse(copier, 4);
        for (window._begin = 0; window._begin <= 5; ++window._begin) {
            window.rowData(3);
        }
    };
    EXPECT_GT(support::allocationsDuring(pass), 0);
    EXPECT_EQ(support::allocationsDuring(pass), 0);
    EXPECT_EQ(support::allocationsDuring([&] { window.reuse(source, 4); }), 0);
}

TEST(RowWindow, StaysAsItWasWhenParametersAreRejected) {
    const char* const bad_size = "Parameter 'window_size' is out of range.";
    const char* const bad_slot = "0 <= row_index_in_window && row_index_in_window < _window_size";
    const Frame source = support::randomFrame(FRAME_NV12, Size(4, 5), 6);
    FrameProducer producer(source);
    FrameProducer other(support::randomFrame(FRAME_NV21, Size(4, 5), 6));
    const Frame no_frame;
    RowCopier none;
    RowWindow window;
    const auto rejects = [&](auto& from, int size, Status status, const char* text) {
        const auto reuse = [&] { window.reuse(from, size); };
        return support::throwsFailure(reuse, status, text, "reuse", SOURCE);
    };
    const auto rejectsSlot = [&](int slot, const char* condition, const char* function) {
        const auto row_data = [&] { window.rowData(slot); };
        return support::throwsAssertion(row_data, condition, function, SOURCE);
    };
    EXPECT_TRUE(rejectsSlot(0, bad_slot, "rowData"));
    window._window_size = 1;
    EXPECT_TRUE(rejectsSlot(0, "initialized()", "_update"));
    window.reuse(producer, 5);
    const Status status = TAVO_STATUS_NOT_INITIALIZED;
    EXPECT_TRUE(rejects(none, 1, status, "Row producer is not initialized."));
    EXPECT_TRUE(rejects(no_frame, 1, status, "Frame is not initialized."));
    for (const int size : {-1, 0, 6}) {
        EXPECT_TRUE(rejects(other, size, TAVO_STATUS_OUT_OF_RANGE, bad_size));
        EXPECT_TRUE(rejects(source, size, TAVO_STATUS_OUT_OF_RANGE, bad_size));
    }
    EXPECT_TRUE(rejectsSlot(-1, bad_slot, "rowData"));
    EXPECT_TRUE(rejectsSlot(5, bad_slot, "rowData"));
    EXPECT_EQ(rowBytes(source, 1, window.rowData(4)->plane[1]), sourceRow(source, 1, 4));
    EXPECT_THAT(producer.produced, ElementsAre(0, 1, 2, 3, 4));
}

TEST(RowWindow, IsEmptyAfterAFailedAllocation) {
    // So many rows that their table alone exceeds 32 bits. Their pixels are never touched.
    const int height = int((1ull << 31) / sizeof(RowData));
    unsigned char pixel = 0;
    unsigned char* const planes[4] = {&pixel, nullptr, nullptr, nullptr};
    const Frame huge(FrameLayout(FRAME_GRAY8, Size(1, height), 0), planes);
    RowCopier copier;
    copier.reuse(huge);
    RowWindow window;
    const auto expectEmptied = [&](const std::function<void()>& reuse, const char* prefix) {
        const std::string text = std::string(prefix) + "Row storage exceeds 32 bits.";
        window.reuse(support::randomFrame(FRAME_GRAY8, Size(3, 4), 8), 2);
        EXPECT_TRUE(support::throwsFailure(reuse, TAVO_STATUS_OUT_OF_RANGE, text, "reuse", SOURCE));
        EXPECT_FALSE(window.initialized());
        EXPECT_EQ(window._window_size | window._layout.plane_count, 0);
    };
    expectEmptied([&] { window.reuse(huge, height); }, "Buffer allocation failure: ");
    expectEmptied([&] { window.reuse(copier, height); }, "Data buffer allocation failure: ");
}

/// Throws once, in place of the row behind the first five.
class BrokenProducer : public FrameProducer {
public:
    using FrameProducer::FrameProducer;
    void produce(RowData& row) override {
        if (produced.size() == 5) {
            produced.push_back(-1);
            throw 42;
        }
        FrameProducer::produce(row);
    }
};

TEST(RowWindow, LetsUpstreamFailuresThrough) {
    BrokenProducer producer(support::randomFrame(FRAME_GRAY8, Size(3, 12), 9));
    RowWindow window;
    window.reuse(producer, 3);
    window.rowData(0);
    window._begin = 3;
    EXPECT_THROW(window.rowData(0), int);
    EXPECT_EQ(window._begin, 3);
    // Nothing counts as loaded: the window is filled anew from where the producer stands.
    window.rowData(0);
    EXPECT_THAT(producer.produced, ElementsAre(0, 1, 2, 3, 4, -1, 5, 6, 7));
}

}  // namespace
