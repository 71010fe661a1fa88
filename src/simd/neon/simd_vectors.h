// What several NEON kernels of colour share.
#pragma once

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/simd_platform.h"

namespace Simd {
namespace Neon {
// Compiled into each kernel apart: nothing that is built for NEON may serve other code.
namespace {

constexpr std::uint32_t PAIRS_BLOCK = 2 * A;    // pixels where two share a chroma sample
constexpr std::size_t PREFETCH_DISTANCE = 384;  // bytes ahead of a block

/// Keeps the compiler from mixing the instructions before and after, which would need more
/// registers than 32-bit ARM has. Costs nothing itself.
inline void scheduleInOrder() {
#ifdef __arm__
    asm volatile("");
#endif
}

/// Like vcombine, which costs moves on 32-bit ARM; there registers of both sizes overlap. On 64-bit
/// ARM only vcombine keeps out of memory.
template <class Whole, class Half>
inline Whole join(Half low, Half high) {
#ifdef __aarch64__
    return reinterpret_cast<Whole>(
        vcombine_u8(reinterpret_cast<uint8x8_t>(low), reinterpret_cast<uint8x8_t>(high)));
#else
    Whole joined;
    std::memcpy(&joined, &low, sizeof low);
    std::memcpy(reinterpret_cast<char*>(&joined) + sizeof low, &high, sizeof high);
    return joined;
#endif
}

/// The reverse, for structure stores.
inline uint8x8x2_t halvesOf(uint8x16_t whole) {
#ifdef __aarch64__
    return {{vget_low_u8(whole), vget_high_u8(whole)}};
#else
    uint8x8x2_t halves;
    std::memcpy(&halves, &whole, sizeof halves);
    return halves;
#endif
}

}  // namespace
}  // namespace Neon
}  // namespace Simd
