// The fused row functions on any processor, and the choice between them and those of Fma.

#include "simd/simd_bilinear_rows_fused.h"
#include "simd/simd_platform.h"

namespace Simd {
namespace Base {

const BilinearRows<float> FloatRows = FUSED_ROWS<float>;
const BilinearRows<std::uint16_t> ShortRows = FUSED_ROWS<std::uint16_t>;

}  // namespace Base

template <>
const BilinearRows<float>& FusedRows() {
#ifdef TAVO_FMA
    if (HasFusedMultiplyAdd()) {
        return Fma::FloatRows;
    }
#endif
    return Base::FloatRows;
}

template <>
const BilinearRows<std::uint16_t>& FusedRows() {
#ifdef TAVO_FMA
    if (HasFusedMultiplyAdd()) {
        return Fma::ShortRows;
    }
#endif
    return Base::ShortRows;
}

}  // namespace Simd
