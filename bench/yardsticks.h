// Plain loops over whole planes with the arithmetic of the row pipeline: what it would cost without
// stages, windows and cursors. They give the same bytes.
#pragma once

#include "bench_case.h"

namespace bench {

/// Of FRAME_NV12 with even sides to FRAME_BGR24.
Run nv12ToBgrYardstick();

/// Of FRAME_BGR24, to a smaller size.
Run bilinearYardstick();
Run areaYardstick();

}  // namespace bench
