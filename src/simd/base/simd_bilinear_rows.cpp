// The fused row functions on any processor, and the choice between them and those of Fma.

#include "simd/simd_bilinear_rows_fused.h"
#include "simd/simd_platform.h"

namespace Simd {
namespace Base {

const BilinearRows<float> FloatRows = FUSED_ROWS<float>;
const BilinearRows<std::uint16_t> ShortRows = FUSED_ROWS<std::uint16_t>;

}  // namespace Base

#ifdef TAVO_FMA

namespace {

bool fmaEnabled() {
#ifdef __arm__
    constexpr std::uint32_t HARDWARE_CAPABILITIES = 16;
    constexpr std::uint32_t VFPV4 = 1u << 16;
    static const bool enabled = AuxvBitSet(HARDWARE_CAPABILITIES, VFPV4);
    return enabled;
#else
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#endif
}

}  // namespace

template <>
const BilinearRows<float>& FusedRows() {
    return fmaEnabled() ? Fma::FloatRows : Base::FloatRows;
}

template <>
const BilinearRows<std::uint16_t>& FusedRows() {
    return fmaEnabled() ? Fma::ShortRows : Base::ShortRows;
}

#else

template <>
const BilinearRows<float>& FusedRows() {
    return Base::FloatRows;
}

template <>
const BilinearRows<std::uint16_t>& FusedRows() {
    return Base::ShortRows;
}

#endif

}  // namespace Simd
