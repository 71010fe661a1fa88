#include "tavo_cv/tavo_cv_helpers.h"

#include "simd/simd_kernels.h"

namespace tavo {

void NV12toBGR_neon(const std::uint8_t* y,
                    const std::uint8_t* uv,
                    std::uint8_t* bgr,
                    int width,
                    int height,
                    int stride,
                    int bgrStride) {
    const auto convert = Simd::Neon::Enable ? Simd::Neon::Nv12ToBgr : Simd::Base::Nv12ToBgr;
    convert(y, uv, bgr, width, height, stride, bgrStride);
}

void convertFp16ToFp32(const unsigned short* src, unsigned int size, float* dst) {
    Simd::Base::Float16ToFloat32(src, size, dst);
}

void convertFp32ToFp16(const float* src, unsigned int size, unsigned short* dst) {
    Simd::Base::Float32ToFloat16(src, size, dst);
}

}  // namespace tavo
