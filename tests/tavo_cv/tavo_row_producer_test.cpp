#include "tavo_cv/tavo_row_producer.h"

#include "support/frames.h"
#include "tavo_cv/tavo_row_copier.h"

namespace {

using namespace tavo;

TEST(ProduceFrame, CopiesEveryFormatAtOddSizes) {
    for (const FrameFormat format : support::allFormats()) {
        const Frame source = support::randomFrame(format, Size(7, 5), 1);
        RowCopier copier;
        copier.reuse(source);
        Frame target;
        produceFrame(copier, target);
        EXPECT_TRUE(support::samePixels(target, source));
    }
}

}  // namespace
