// Addresses of vectors.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Simd {
namespace Neon {
// Compiled into each kernel apart: nothing that is built for NEON may serve other code.
namespace {

/// Bytes as elements. Vector loads and stores need no alignment.
template <class T>
inline const T* as(const std::uint8_t* data) {
    return static_cast<const T*>(static_cast<const void*>(data));
}

template <class T>
inline T* as(std::uint8_t* data) {
    return static_cast<T*>(static_cast<void*>(data));
}

/// A pointer that the compiler cannot derive from another. So loads and stores move their pointers
/// themselves, where it would else add up addresses.
template <class T>
inline T* moved(T* pointer, std::ptrdiff_t step) {
    pointer += step;
    asm("" : "+r"(pointer));
    return pointer;
}

template <class Pointer>
inline void advance(Pointer& pointer, std::ptrdiff_t step) {
    pointer = moved(pointer, step);
}

}  // namespace
}  // namespace Neon
}  // namespace Simd
