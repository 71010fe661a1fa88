#include "support/allocations.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> allocations{0};

void* allocate(std::size_t bytes, std::size_t alignment) noexcept {
    ++allocations;
    void* block = nullptr;
    return posix_memalign(&block, alignment, bytes != 0 ? bytes : 1) == 0 ? block : nullptr;
}

void* allocateOrThrow(std::size_t bytes, std::size_t alignment) {
    if (void* const block = allocate(bytes, alignment)) {
        return block;
    }
    throw std::bad_alloc();
}

}  // namespace

long support::allocationCount() {
    return allocations;
}

void* operator new(std::size_t bytes) {
    return allocateOrThrow(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
    return allocateOrThrow(bytes, std::size_t(alignment));
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return allocate(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocate(bytes, std::size_t(alignment));
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
    std::free(block);
}
