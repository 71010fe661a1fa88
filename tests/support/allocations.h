// Counts what the program takes from the heap.
#pragma once

namespace support {

/// Calls of any operator new of this program and its shared libraries so far.
long allocationCount();

}  // namespace support
