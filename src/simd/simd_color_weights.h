// The weights of the color arithmetic; the formulas stand with the portable variants.
#pragma once

namespace Simd {

/// Weights of the bytes of a BGR pixel.
struct BgrWeights {
    int b;
    int g;
    int r;
};

constexpr int BGR_WEIGHTS_SHIFT = 14;  ///< fractional bits of what follows
constexpr BgrWeights BGR_TO_GRAY = {1868, 9617, 4899};
constexpr BgrWeights BGR_TO_Y = {1606, 8258, 4211};
constexpr BgrWeights BGR_TO_U = {7193, -4768, -2425};
constexpr BgrWeights BGR_TO_V = {-1163, -6029, 7193};

constexpr int LUMA_OFFSET = 16;
constexpr int CHROMA_OFFSET = 128;

/// Weights of luma and of centred chroma.
struct YuvWeights {
    int y;
    int uToBlue;
    int uToGreen;
    int vToGreen;
    int vToRed;
    int shift;  ///< fractional bits
};

constexpr YuvWeights PLANAR_TO_BGR = {9535, 16531, -3203, -6660, 13074, 13};
constexpr YuvWeights NV12_TO_BGR = {298, 516, -100, -208, 409, 8};

}  // namespace Simd
