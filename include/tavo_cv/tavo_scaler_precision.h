/// @file
/// The precision of the fixed-point scalers.
#pragma once

#include <cstdint>

namespace tavo {

/// Bits of a weight, sign included. The area scalers take 1.0 as `1 << (precision - 1)`, the
/// convolutional scaler as `1 << (precision - 2)`, because its weights may exceed 1.
enum ScalerPrecision : std::int32_t {
    TAVO_SCALER_FIXED_POINT_8S = 8,    ///< weights in a byte
    TAVO_SCALER_FIXED_POINT_16S = 16,  ///< weights in 16 bits
};

}  // namespace tavo
