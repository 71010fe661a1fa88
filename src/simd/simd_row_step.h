// Strides as kernels are given them: 32 unsigned bits, which wrap for images stored bottom-up.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Simd {
// Compiled into each variant apart: code built for a vector unit must not serve other code.
namespace {

/// The way from one row to the next in bytes, or in elements where the stride is so.
struct RowStep {
    std::ptrdiff_t step;

    constexpr RowStep(std::uint32_t stride) : step(std::int32_t(stride)) {}
    constexpr RowStep(std::ptrdiff_t bytes) : step(bytes) {}
    constexpr operator std::ptrdiff_t() const { return step; }
};

/// A stride of bytes as one of elements.
template <class T>
inline std::uint32_t elementStride(std::uint32_t stride) {
    return std::uint32_t(RowStep(stride) / std::ptrdiff_t(sizeof(T)));
}

}  // namespace
}  // namespace Simd
