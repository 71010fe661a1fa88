// The colour conversions of the fast backend: a sparse matrix of source and destination formats
// with FRAME_BGR24 as its hub.
#pragma once

#include "tavo_core/tavo_frame.h"

namespace tavo {
namespace impl {

/// One conversion.
struct ColorJob {
    const Frame& src;
    Frame& dst;       ///< of the size of `src`
    Frame& temp;      ///< takes any shape
    bool has_region;  ///< the caller asked for a region of the source
};

/// A cell of the matrix.
struct ColorRoute {
    FrameFormat src;
    FrameFormat dst;
    bool even;                         ///< width and height must be even
    void (*convert)(const ColorJob&);  ///< null where two steps are taken
    FrameFormat via = FRAME_INVALID;   ///< format between the two steps, both of them direct
};

/// @return null for a pair that is not converted
const ColorRoute* findColorRoute(FrameFormat src, FrameFormat dst);

/// True when a conversion of the pair needs an even width and height. Where there is none, the
/// source decides: that failure comes first.
bool needsEvenSides(FrameFormat src, FrameFormat dst);

/// Makes @p yuv the FRAME_I444 form of a region of a FRAME_BGR24.
void roiToYuv444(Frame& src, const Rect& roi, Frame& yuv);

}  // namespace impl
}  // namespace tavo
