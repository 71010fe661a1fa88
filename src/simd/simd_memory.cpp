#include "simd/simd_memory.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace Simd {
namespace {

constexpr std::uint32_t MARGIN = 64;

}  // namespace

void* Allocate(std::uint32_t bytes, std::uint32_t align) {
    // 64-bit systems refuse alignments below the size of a pointer.
    const std::uint32_t a = std::max((align + 3) & ~std::uint32_t(3), std::uint32_t(sizeof(void*)));
    const std::uint32_t total = (bytes + a + 2 * MARGIN - 1) & (0u - a);
    void* block = nullptr;
    // A total that has wrapped can't hold the request.
    if (total < bytes || posix_memalign(&block, a, total) != 0 || !block) {
        std::cout << "The function posix_memalign can't allocate " << total << " bytes with align "
                  << a << " !" << std::endl
                  << std::flush;
        return nullptr;
    }
    return static_cast<unsigned char*>(block) + MARGIN;
}

void Free(void* data) {
    if (data) {
        std::free(static_cast<unsigned char*>(data) - MARGIN);
    }
}

}  // namespace Simd
