#include <gmock/gmock.h>

#include <algorithm>
#include <array>

#include "support/frames.h"
#include "tavo_cv/tavo_row_index.h"
#include "tavo_cv/tavo_row_reader.h"
#include "tavo_cv/tavo_row_writer.h"

namespace {

using namespace tavo;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

/// Image rows that share one row of a plane. The only row of an image of height 1 counts as the
/// first of two, in every plane.
int rowsPerPlaneRow(FrameFormat format, int height, int plane) {
    const bool is_420 = format == FRAME_I420 || format == FRAME_YV12 || format == FRAME_NV12 ||
                        format == FRAME_NV21;
    return height == 1 || (is_420 && plane > 0) ? 2 : 1;
}

/// Walks @p frame beyond its end. Reader and index may have walked another frame before.
void walk(Frame frame, RowReader& reader, RowIndex& index) {
    const int height = frame.height();
    RowWriter writer;
    reader.reuse(frame);
    writer.reuse(frame);
    index.reuse(frame.layout());
    for (int steps = 0; steps <= height + 2; ++steps) {
        const int y = std::min(steps, height);
        unsigned char* address[4] = {};
        unsigned char* target[4] = {};
        int row[4] = {y, 0, 0, 0};
        for (int p = 0; p < frame.layout().plane_count; ++p) {
            const int shared = rowsPerPlaneRow(frame.format(), height, p);
            row[p] = p == 0 ? y : y / shared;
            address[p] = frame.planeData(p) + frame.layout().plane[p].stride * (y / shared);
            target[p] = steps <= height && y % shared == 0 ? address[p] : nullptr;
        }
        EXPECT_THAT(index.row, ElementsAreArray(row));
        EXPECT_THAT(reader.row.plane, ElementsAreArray(address));
        EXPECT_THAT(writer.current, ElementsAreArray(address));
        EXPECT_THAT(writer.row.plane, ElementsAreArray(target));
        EXPECT_THAT((std::array{reader.index, writer.index}), Each(y));
        EXPECT_THAT((std::array{reader.height, writer.height, index.height}), Each(height));
        EXPECT_THAT((std::array{index.next(), reader.next(), writer.next()}),
                    Each(steps + 1 < height));
    }
}

TEST(RowCursors, WalkEveryFormatAndHeight) {
    RowReader reader;
    RowIndex index;
    for (const FrameFormat format : support::allFormats()) {
        for (int height = 1; height <= 6; ++height) {
            for (const bool bottom_up : {false, true}) {
                SCOPED_TRACE(std::string(toString(format)) + " of height " +
                             std::to_string(height) + (bottom_up ? ", bottom-up" : ""));
                support::GuardedFrame guarded(format, Size(5, height), 3, bottom_up);
                walk(guarded.frame(), reader, index);
            }
        }
    }
}

TEST(RowCursors, KeepTheirRowsWhenTheyForgetTheirFrame) {
    Frame frame = support::randomFrame(FRAME_I420, Size(4, 4), 1);
    Frame gray = support::randomFrame(FRAME_GRAY8, Size(4, 4), 1);
    Frame none;
    unsigned char* const y = frame.planeData(0);
    unsigned char* const u = frame.planeData(1);
    unsigned char* const v = frame.planeData(2);
    RowReader reader;
    RowWriter writer;
    for (const bool fails : {true, false}) {
        reader.reuse(frame);
        writer.reuse(frame);
        writer.next();
        if (fails) {
            // Both texts name the writer; only the path differs.
            const char* const text =
                "Failure in RowWriter::RowWriter(...) : frame is not initialized.";
            const auto reject = [&](const std::function<void()>& reuse, const char* file) {
                const Status status = TAVO_STATUS_NOT_INITIALIZED;
                return support::throwsFailure(reuse, status, text, "reuse", file);
            };
            EXPECT_TRUE(reject([&] { reader.reuse(none); }, "src/tavo_cv/tavo_row_reader"));
            EXPECT_TRUE(reject([&] { writer.reuse(none); }, "src/tavo_cv/tavo_row_writer"));
        } else {
            reader.clear();
            writer.clear();
        }
        EXPECT_THAT(reader.row.plane, ElementsAre(y, u, v, nullptr));
        EXPECT_THAT(writer.current, ElementsAre(y + 4, u, v, nullptr));
        EXPECT_THAT(writer.row.plane, ElementsAre(y + 4, nullptr, nullptr, nullptr));
        EXPECT_EQ(reader.index | reader.height | reader.stride[0] | reader.mask[1], 0);
        EXPECT_EQ(writer.index | writer.height | writer.stride[0] | writer.mask[1], 0);
    }
    writer.reuse(frame);
    writer.reuse(gray);  // planes that it lacks stay
    EXPECT_THAT(writer.row.plane, ElementsAre(gray.planeData(0), u, v, nullptr));
}

}  // namespace
