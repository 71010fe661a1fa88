// Table look-ups in a window of bytes. Positions outside of the window give 0.
#pragma once

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Simd {
namespace Neon {
// Compiled into each kernel apart: nothing that is built for NEON may serve other code.
namespace {

template <std::size_t BYTES>
class Window;

#ifdef __aarch64__

template <>
class Window<16> {
public:
    explicit Window(const std::uint8_t* bytes) : table(vld1q_u8(bytes)) {}

    uint8x8_t at(uint8x8_t position) const { return vqtbl1_u8(table, position); }
    uint8x16_t at(uint8x16_t position) const { return vqtbl1q_u8(table, position); }

private:
    uint8x16_t table;
};

template <>
class Window<32> {
public:
    explicit Window(const std::uint8_t* bytes) : table{{vld1q_u8(bytes), vld1q_u8(bytes + 16)}} {}

    uint8x8_t at(uint8x8_t position) const { return vqtbl2_u8(table, position); }
    uint8x16_t at(uint8x16_t position) const { return vqtbl2q_u8(table, position); }

private:
    uint8x16x2_t table;
};

#else

/// Both halves of a vector. Other ways cost moves.
inline uint8x16_t joinBytes(uint8x8_t low, uint8x8_t high) {
    const uint8x8x2_t halves = {{low, high}};
    uint8x16_t joined;
    std::memcpy(&joined, &halves, sizeof(joined));
    return joined;
}

/// Loads a table's registers at once, for which not every compiler has an intrinsic.
template <class Table>
inline void load(const std::uint8_t* bytes, Table& table) {
#ifdef __clang__
    std::memcpy(&table, bytes, sizeof(table));
#else
    struct Bytes {
        std::uint8_t all[sizeof(Table)];
    };
    asm("vld1.8 %h0, [%1]"
        : "=w"(table)
        : "r"(bytes), "m"(*static_cast<const Bytes*>(static_cast<const void*>(bytes))));
#endif
}

template <>
class Window<16> {
public:
    explicit Window(const std::uint8_t* bytes) { load(bytes, table); }

    uint8x8_t at(uint8x8_t position) const { return vtbl2_u8(table, position); }
    uint8x16_t at(uint8x16_t position) const {
        return joinBytes(at(vget_low_u8(position)), at(vget_high_u8(position)));
    }

private:
    uint8x8x2_t table;
};

template <>
class Window<32> {
public:
    explicit Window(const std::uint8_t* bytes) { load(bytes, table); }

    uint8x8_t at(uint8x8_t position) const { return vtbl4_u8(table, position); }
    uint8x16_t at(uint8x16_t position) const {
        return joinBytes(at(vget_low_u8(position)), at(vget_high_u8(position)));
    }

private:
    uint8x8x4_t table;
};

#endif

/// What stands at @p position of the @p WINDOW bytes from @p window on.
template <std::size_t WINDOW>
inline uint8x16_t lookUp(const std::uint8_t* window, uint8x16_t position) {
    return Window<WINDOW>(window).at(position);
}

template <>
inline uint8x16_t lookUp<64>(const std::uint8_t* window, uint8x16_t position) {
    const uint8x16_t second = vsubq_u8(position, vdupq_n_u8(32));
    return vorrq_u8(lookUp<32>(window, position), lookUp<32>(window + 32, second));
}

}  // namespace
}  // namespace Neon
}  // namespace Simd
