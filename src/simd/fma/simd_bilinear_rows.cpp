// The fused row functions where a fused step is an instruction.

#include "simd/simd_bilinear_rows_fused.h"

namespace Simd {
namespace Fma {

const BilinearRows<float> FloatRows = FUSED_ROWS<float>;
const BilinearRows<std::uint16_t> ShortRows = FUSED_ROWS<std::uint16_t>;

}  // namespace Fma
}  // namespace Simd
