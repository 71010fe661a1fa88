// Counts what the program takes from the heap, and makes it run dry.
//
// Watched are operator new of the program and its shared libraries, and posix_memalign and free of
// what is linked into the program itself.
#pragma once

namespace support {

/// Allocations so far.
long allocationCount();

/// What has been taken and not been given back.
struct HeapUse {
    long blocks;
    long bytes;

    bool operator==(const HeapUse& other) const {
        return blocks == other.blocks && bytes == other.bytes;
    }
};

HeapUse heapUse();

/// While it lives, an allocation fails: the @p nth from its start on, and all further ones when
/// @p lasting. One at a time.
class FailingAllocation {
public:
    FailingAllocation(long nth, bool lasting);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// Whether it has come to that.
    bool happened() const;

private:
    long _first;  // by number
};

}  // namespace support
