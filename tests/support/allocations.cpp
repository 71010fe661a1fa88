#include "support/allocations.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

// The linker leads calls of the program's own objects to __wrap_ and names the system's __real_.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" int __real_posix_memalign(void** block, std::size_t alignment, std::size_t bytes);
extern "C" void __real_free(void* block);

namespace {

constexpr long NEVER = std::numeric_limits<long>::max();

std::atomic<long> allocations{0};
std::atomic<long> live_blocks{0};
std::atomic<long> live_bytes{0};

// Allocations are numbered; these fail, both ends included.
std::atomic<long> first_failure{NEVER};
std::atomic<long> last_failure{NEVER};

int allocate(void** block, std::size_t alignment, std::size_t bytes) {
    const long number = ++allocations;
    const bool fails = first_failure <= number && number <= last_failure;
    const int error =
        fails ? ENOMEM : __real_posix_memalign(block, alignment, bytes != 0 ? bytes : 1);
    if (error == 0) {
        ++live_blocks;
        live_bytes += long(malloc_usable_size(*block));
    }
    return error;
}

void release(void* block) {
    if (block) {
        --live_blocks;
        live_bytes -= long(malloc_usable_size(block));
        __real_free(block);
    }
}

void* allocateOrNull(std::size_t bytes, std::size_t alignment) noexcept {
    void* block = nullptr;
    return allocate(&block, alignment, bytes) == 0 ? block : nullptr;
}

void* allocateOrThrow(std::size_t bytes, std::size_t alignment) {
    if (void* const block = allocateOrNull(bytes, alignment)) {
        return block;
    }
    throw std::bad_alloc();
}

}  // namespace

extern "C" int __wrap_posix_memalign(void** block, std::size_t alignment, std::size_t bytes) {
    return allocate(block, alignment, bytes);
}
extern "C" void __wrap_free(void* block) {
    release(block);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace support {

long allocationCount() {
    return allocations;
}

HeapUse heapUse() {
    return {live_blocks, live_bytes};
}

FailingAllocation::FailingAllocation(long nth, bool lasting) : _first(allocations + nth) {
    last_failure = lasting ? NEVER : _first;
    first_failure = _first;
}

FailingAllocation::~FailingAllocation() {
    first_failure = NEVER;
}

bool FailingAllocation::happened() const {
    return allocations >= _first;
}

}  // namespace support

void* operator new(std::size_t bytes) {
    return allocateOrThrow(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
    return allocateOrThrow(bytes, std::size_t(alignment));
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return allocateOrNull(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocateOrNull(bytes, std::size_t(alignment));
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    release(block);
}
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
    release(block);
}
