// The two steps of bilinear scaling in float arithmetic, on rows, and where their variants stand.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Simd {

/// Row functions on elements of type @p T. Destinations overlap nothing else.
template <class T>
struct BilinearRows {
    /// dst[i] = src[ix[i]] (1 - ax[i]) + src[ix[i] + step] ax[i]
    using Interpolate = void(const T* src,
                             std::uint32_t step,
                             const std::int32_t* ix,
                             const float* ax,
                             std::uint32_t size,
                             float* dst);

    /// dst[i] = upper[i] (1 - ay) + lower[i] ay; integers are rounded, halves upward.
    using Blend =
        void(const float* upper, const float* lower, float ay, std::uint32_t size, T* dst);

    /// Both steps at once, without rows between them.
    using Sample = void(const T* upper,
                        const T* lower,
                        std::uint32_t step,
                        const std::int32_t* ix,
                        const float* ax,
                        float ay,
                        std::uint32_t size,
                        T* dst);

    Interpolate* interpolate;
    Blend* blend;
    Sample* sample;
};

// Steps with one rounding for the product and one for the fused sum. Fma has the same functions as
// Base, compiled for processors with such an instruction; without it a step is a call of the C
// library.

namespace Base {
extern const BilinearRows<float> FloatRows;
extern const BilinearRows<std::uint16_t> ShortRows;
}  // namespace Base

namespace Fma {
extern const BilinearRows<float> FloatRows;
extern const BilinearRows<std::uint16_t> ShortRows;
}  // namespace Fma

// Steps in vectors of four elements, where both products and their sum are rounded. What is left of
// a row, and pixels of 2 or 4 channels, have fused steps; so the last bit can differ from Base. The
// vectors of 32-bit processors also take subnormal numbers for zero.
namespace Neon {
extern const BilinearRows<float> FloatRows;
extern const BilinearRows<std::uint16_t> ShortRows;

/// The same values as FloatRows where both weights are halves and a column lies between the pixels
/// that follow its double. Null where there is no special form.
/// @param width of the destination, at least HALVE_WIDTH
using HalveFloats = void(const float* upper, const float* lower, std::uint32_t width, float* dst);
constexpr std::uint32_t HALVE_WIDTH = 4;
extern HalveFloats* const FloatHalves[4];  // for 1 to 4 channels
}  // namespace Neon

// Fused steps in vectors of eight elements.
namespace Avx2 {
extern const BilinearRows<std::uint16_t> ShortRows;

/// Functions for rows whose samples lie in one way.
struct FloatForm {
    /// Two destination rows that lie between the same source rows.
    /// @param ay      of both
    /// @param dstStep elements from one to the other
    using SampleTwo = void(const float* upper,
                           const float* lower,
                           std::uint32_t step,
                           const std::int32_t* ix,
                           const float* ax,
                           const float* ay,
                           std::uint32_t size,
                           float* dst,
                           std::ptrdiff_t dstStep);

    BilinearRows<float> rows;
    BilinearRows<float>::Sample* sampleAhead;  ///< where rows are read one after the other
    SampleTwo* sampleTwo;
};

/// @param channels from 1 to 4
/// @param size elements of a row, for which the tables are
const FloatForm& FloatFormOf(std::uint32_t channels,
                             const std::int32_t* ix,
                             const float* ax,
                             std::uint32_t size);

/// As those of Neon, for a width of at least 8.
using HalveFloats = Neon::HalveFloats;
extern HalveFloats* const FloatHalves[4];
}  // namespace Avx2

/// The fused steps in the form that suits this processor.
template <class T>
const BilinearRows<T>& FusedRows();

template <>
const BilinearRows<float>& FusedRows();
template <>
const BilinearRows<std::uint16_t>& FusedRows();

}  // namespace Simd
