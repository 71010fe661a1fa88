// Vectors taken from and put to memory one after the other, the address moving on. On 32-bit ARM
// the instruction itself moves it, but GCC makes use of that only where it does not see how the
// addresses of an unrolled loop hang together.
#pragma once

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "simd/neon/simd_addresses.h"
#include "simd/neon/simd_vectors.h"

namespace Simd {
namespace Neon {
// Compiled into each kernel apart: nothing that is built for NEON may serve other code.
namespace {

/// Structures of three vectors are accessed by halves; the second half's address is shared.
template <class Address>
inline void advanceHalves(Address& address, std::ptrdiff_t elements) {
    advance(address, elements / 2);
    advance(address, elements / 2);
}

/// Declares the registers of a structure written, which costs nothing. Otherwise the compiler,
/// seeing one of them written at a time, keeps all of them alive around the whole loop.
template <class Structure>
inline void declareWritten(Structure& structure) {
#if defined(__arm__) && !defined(__clang__)
    asm("" : "=w"(structure));
#else
    (void)structure;
#endif
}

inline uint8x16_t take(const std::uint8_t*& src) {
    const uint8x16_t v = vld1q_u8(src);
    advance(src, 16);
    return v;
}

inline uint8x16x2_t takePairs(const std::uint8_t*& src) {
    const uint8x16x2_t v = vld2q_u8(src);
    advance(src, 32);
    return v;
}

inline uint8x16x3_t takePixels(const std::uint8_t*& src) {
    const uint8x16x3_t v = vld3q_u8(src);
    advanceHalves(src, 48);
    return v;
}

/// 32 bytes at once.
inline float32x4x2_t take(const float*& src) {
#if defined(__arm__) && !defined(__clang__)
    // GCC knows no intrinsic for this before version 14.
    float32x4x2_t v;
    asm("vld1.32 %h0, [%1]!" : "=w"(v), "+r"(src) : "m"(reinterpret_cast<const float(&)[8]>(*src)));
#else
    const float32x4x2_t v = vld1q_f32_x2(src);
    advance(src, 8);
#endif
    return v;
}

inline void put(std::uint8_t*& dst, uint8x8_t v) {
    vst1_u8(dst, v);
    advance(dst, 8);
}

inline void put(std::uint8_t*& dst, uint8x16_t v) {
    vst1q_u8(dst, v);
    advance(dst, 16);
}

/// 32 bytes at once.
inline void put(std::uint8_t*& dst, uint8x16x2_t v) {
#if defined(__arm__) && !defined(__clang__)
    asm("vst1.8 %h2, [%0]!"
        : "+r"(dst), "=m"(reinterpret_cast<std::uint8_t(&)[32]>(*dst))
        : "w"(v));
#else
    vst1q_u8_x2(dst, v);
    advance(dst, 32);
#endif
}

inline void put(float*& dst, float32x4x2_t v) {
#if defined(__arm__) && !defined(__clang__)
    asm("vst1.32 %h2, [%0]!" : "+r"(dst), "=m"(reinterpret_cast<float(&)[8]>(*dst)) : "w"(v));
#else
    vst1q_f32_x2(dst, v);
    advance(dst, 8);
#endif
}

/// Bytes of the low and of the high half in turn.
inline void putHalvesInTurn(std::uint8_t*& dst, uint8x16_t v) {
    vst2_u8(dst, halvesOf(v));
    advance(dst, 16);
}

inline void putPairs(std::uint8_t*& dst, uint8x16x2_t v) {
    vst2q_u8(dst, v);
    advance(dst, 32);
}

/// Two bytes of the pixels each.
inline void putPixels(std::uint8_t*& dst, uint16x8x3_t v) {
    vst3q_u16(as<std::uint16_t>(dst), v);
    advanceHalves(dst, 48);
}

inline void putPixels(std::uint8_t*& dst, uint8x16x3_t v) {
    vst3q_u8(dst, v);
    advanceHalves(dst, 48);
}

}  // namespace
}  // namespace Neon
}  // namespace Simd
