// Runs of floats: from bytes and back, constant arithmetic, and half precision; the formulas stand
// with the portable variant, and what it fuses is fused here. Of two NaN either may come out of a
// sum, as in the portable loops; all else is the same to the bit.

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "simd/avx2/simd_vectors.h"
#include "simd/simd_blocks.h"
#include "simd/simd_kernels.h"

namespace Simd {
namespace Avx2 {
namespace {

constexpr std::uint32_t FLOATS = A / sizeof(float);  ///< of a vector
constexpr std::size_t CACHE_LINE = 64;
constexpr std::size_t PREFETCH_BLOCKS = 24;

using ByteSource = Source<A>;
using ByteTarget = Target<A>;
using FloatSource = Source<A * sizeof(float)>;
using FloatTarget = Target<A * sizeof(float)>;
constexpr std::uint32_t ONE_ROW = 0;  ///< its stride

inline const std::uint8_t* bytesOf(const float* floats) {
    return reinterpret_cast<const std::uint8_t*>(floats);
}

inline std::uint8_t* bytesOf(float* floats) {
    return reinterpret_cast<std::uint8_t*>(floats);
}

inline __m256 loadFloats(const std::uint8_t* src) {
    return _mm256_castsi256_ps(load(src));
}

inline void storeFloats(std::uint8_t* dst, __m256 value) {
    store(dst, _mm256_castps_si256(value));
}

/// Fetches the lines of a block that comes later. Always inlined: the compiler takes calls of
/// functions that only prefetch for calls without effect.
template <std::size_t BLOCK_BYTES>
[[gnu::always_inline]] inline void prefetchAfter(const void* block) {
    const std::uint8_t* const later =
        static_cast<const std::uint8_t*>(block) + PREFETCH_BLOCKS * BLOCK_BYTES;
    for (std::size_t i = 0; i < BLOCK_BYTES; i += CACHE_LINE) {
        __builtin_prefetch(later + i);
    }
}

/// All bits in the first @p count elements.
inline __m256i firstElements(std::uint32_t count) {
    const __m256i index = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    return _mm256_cmpgt_epi32(_mm256_set1_epi32(int(count)), index);
}

// ---- Half precision ----------------------------------------------------------------------------

constexpr std::uint32_t HALVES = A / sizeof(unsigned short);  ///< of a block

inline bool anyBit(__m256i v) {
    return _mm256_testz_si256(v, v) == 0;
}

// The instructions agree with the portable conversions but for NaN, which they make quiet, and for
// numbers beyond the largest half, which they limit to it. Blocks with such take some steps more.

constexpr int MANTISSA_SHIFT = 13;  ///< from a half's place in a single
constexpr float LARGEST_HALF = 65504.0f;
constexpr std::int32_t HALF_INFINITY = 0x7C00;
constexpr std::int32_t SINGLE_INFINITY = 0x7F800000;

[[gnu::target("f16c")]] inline __m256 widenAny(__m128i halves) {
    const __m256i bits = _mm256_cvtepu16_epi32(halves);
    const __m256i magnitude = _mm256_and_si256(bits, _mm256_set1_epi32(0x7FFF));
    const __m256i isNan = _mm256_cmpgt_epi32(magnitude, _mm256_set1_epi32(HALF_INFINITY));
    const __m256i sign = _mm256_slli_epi32(_mm256_srli_epi32(bits, 15), 31);
    const __m256i nan = _mm256_or_si256(_mm256_slli_epi32(magnitude, MANTISSA_SHIFT),
                                        _mm256_or_si256(sign, _mm256_set1_epi32(SINGLE_INFINITY)));
    return _mm256_blendv_ps(_mm256_cvtph_ps(halves), _mm256_castsi256_ps(nan),
                            _mm256_castsi256_ps(isNan));
}

[[gnu::target("f16c")]] inline __m128i narrowAny(__m256 values) {
    const __m256i bits = _mm256_castps_si256(values);
    const __m256i magnitude = _mm256_and_si256(bits, _mm256_set1_epi32(INT32_MAX));
    const __m256i infinity = _mm256_set1_epi32(SINGLE_INFINITY);
    // What is left of a NaN must not be nothing.
    const __m256i least =
        _mm256_and_si256(_mm256_cmpgt_epi32(magnitude, infinity),
                         _mm256_set1_epi32(SINGLE_INFINITY | 1 << MANTISSA_SHIFT));
    const __m256i raised = _mm256_max_epi32(_mm256_max_epi32(magnitude, infinity), least);
    const __m256i half =
        _mm256_and_si256(_mm256_srli_epi32(raised, MANTISSA_SHIFT), _mm256_set1_epi32(0x7FFF));
    const __m256i sign = _mm256_slli_epi32(_mm256_srli_epi32(bits, 31), 15);
    const __m256i beyond = _mm256_or_si256(half, sign);
    const __m256i isBeyond =
        _mm256_cmpgt_epi32(magnitude, _mm256_castps_si256(_mm256_set1_ps(LARGEST_HALF)));
    return _mm_blendv_epi8(_mm256_cvtps_ph(values, _MM_FROUND_TO_ZERO),
                           _mm_packus_epi32(lowLane(beyond), highLane(beyond)),
                           _mm_packs_epi32(lowLane(isBeyond), highLane(isBeyond)));
}

[[gnu::target("f16c")]] inline void widen(const unsigned short* src, float* dst) {
    prefetchAfter<HALVES * sizeof(*src)>(src);
    prefetchAfter<HALVES * sizeof(*dst)>(dst);
    const __m256i magnitude = _mm256_and_si256(load(src), _mm256_set1_epi16(0x7FFF));
    if (anyBit(_mm256_cmpgt_epi16(magnitude, _mm256_set1_epi16(HALF_INFINITY)))) {
        _mm256_storeu_ps(dst, widenAny(loadLane(src)));
        _mm256_storeu_ps(dst + FLOATS, widenAny(loadLane(src + FLOATS)));
        return;
    }
    _mm256_storeu_ps(dst, _mm256_cvtph_ps(loadLane(src)));
    _mm256_storeu_ps(dst + FLOATS, _mm256_cvtph_ps(loadLane(src + FLOATS)));
}

[[gnu::target("f16c")]] inline void narrow(const float* src, unsigned short* dst) {
    prefetchAfter<HALVES * sizeof(*src)>(src);
    prefetchAfter<HALVES * sizeof(*dst)>(dst);
    const __m256 front = _mm256_loadu_ps(src);
    const __m256 back = _mm256_loadu_ps(src + FLOATS);
    const __m256i sign = _mm256_set1_epi32(INT32_MIN);
    // The patterns of positive numbers are in their order.
    const __m256i largest = _mm256_max_epi32(_mm256_andnot_si256(sign, _mm256_castps_si256(front)),
                                             _mm256_andnot_si256(sign, _mm256_castps_si256(back)));
    if (anyBit(_mm256_cmpgt_epi32(largest, _mm256_castps_si256(_mm256_set1_ps(LARGEST_HALF))))) {
        storeLane(dst, narrowAny(front));
        storeLane(dst + FLOATS, narrowAny(back));
        return;
    }
    storeLane(dst, _mm256_cvtps_ph(front, _MM_FROUND_TO_ZERO));
    storeLane(dst + FLOATS, _mm256_cvtps_ph(back, _MM_FROUND_TO_ZERO));
}

/// Blocks of a run that is at least one long; the last may overlap the one before.
template <class From, class To, void (*CONVERT)(const From*, To*)>
[[gnu::target("f16c")]] inline void convertBlocks(const From* __restrict src,
                                                  std::uint32_t size,
                                                  To* __restrict dst) {
    for (std::uint32_t blocks = size / HALVES; blocks != 0; --blocks) {
        CONVERT(src, dst);
        src += HALVES;
        dst += HALVES;
    }
    if (const std::uint32_t rest = size % HALVES) {
        CONVERT(src - (HALVES - rest), dst - (HALVES - rest));
    }
}

/// Replaces samples by what @p function makes of them.
template <class Function>
inline void replaceEach(float* data, std::uint32_t size, Function function) {
#pragma GCC unroll 4
    for (; size >= FLOATS; size -= FLOATS, data += FLOATS) {
        _mm256_storeu_ps(data, function(_mm256_loadu_ps(data)));
    }
    const __m256i rest = firstElements(size);
    _mm256_maskstore_ps(data, rest, function(_mm256_maskload_ps(data, rest)));
}

}  // namespace

void Uint8ToFloat32(const std::uint8_t* src,
                    std::uint32_t size,
                    const float* lower,
                    const float* upper,
                    float* dst) {
    const __m256 offset = _mm256_set1_ps(*lower);
    const __m256 scale = _mm256_set1_ps((*upper - *lower) / 255.0f);
    const auto kernel = [=](const std::uint8_t* __restrict bytes, std::uint8_t* __restrict floats) {
        prefetchAfter<A>(bytes);
        prefetchAfter<A * sizeof(float)>(floats);
#pragma GCC unroll 4
        for (std::size_t i = 0; i < A; i += FLOATS) {
            const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i_u*>(bytes + i));
            const __m256 value = _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(eight));
            storeFloats(floats + i * sizeof(float), _mm256_fmadd_ps(scale, value, offset));
        }
    };
    process<A>(size, 1, kernel, ByteSource{src, ONE_ROW}, FloatTarget{bytesOf(dst), ONE_ROW});
}

void Float32ToUint8(const float* src,
                    std::uint32_t size,
                    const float* lower,
                    const float* upper,
                    std::uint8_t* dst) {
    if (!(*lower < *upper)) {
        Base::Float32ToUint8(src, size, lower, upper, dst);
        return;
    }
    // What is done to a value keeps the order of values. So it does to limit the result: what is
    // too small becomes negative, which narrows to 0 like the least number that a NaN becomes.
    const float distance = *upper - *lower;
    const float top = distance * (255.0f / distance);
    const __m256 low = _mm256_set1_ps(*lower);
    const __m256 scale = _mm256_set1_ps(255.0f / distance);
    const __m256 limit = _mm256_set1_ps(top < 255.0f ? top : 255.0f);
    const auto byteOf = [=](const std::uint8_t* floats) {
        const __m256 value = _mm256_mul_ps(_mm256_sub_ps(loadFloats(floats), low), scale);
        return _mm256_cvttps_epi32(_mm256_min_ps(limit, value));
    };
    const auto kernel = [=](const std::uint8_t* __restrict floats, std::uint8_t* __restrict bytes) {
        prefetchAfter<A * sizeof(float)>(floats);
        prefetchAfter<A>(bytes);
        const __m256i front = _mm256_packs_epi32(byteOf(floats), byteOf(floats + A));
        const __m256i back = _mm256_packs_epi32(byteOf(floats + std::size_t{2} * A),
                                                byteOf(floats + std::size_t{3} * A));
        // In 32-bit elements: the low halves of the four vectors, then the high ones.
        const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
        store(bytes, _mm256_permutevar8x32_epi32(_mm256_packus_epi16(front, back), order));
    };
    process<A>(size, 1, kernel, FloatSource{bytesOf(src), ONE_ROW}, ByteTarget{dst, ONE_ROW});
}

void AddValue(const float* value, float* data, std::uint32_t size) {
    const __m256 addend = _mm256_set1_ps(*value);
    replaceEach(data, size, [=](__m256 v) { return _mm256_add_ps(v, addend); });
}

void MultiplyValue(const float* value, float* data, std::uint32_t size) {
    const __m256 factor = _mm256_set1_ps(*value);
    replaceEach(data, size,
                [=](__m256 v) { return _mm256_fmadd_ps(factor, v, _mm256_setzero_ps()); });
}

void AddProduct(const float* __restrict src,
                std::uint32_t size,
                const float* value,
                float* __restrict dst) {
    const __m256 factor = _mm256_set1_ps(*value);
#pragma GCC unroll 4
    for (; size >= FLOATS; size -= FLOATS, src += FLOATS, dst += FLOATS) {
        const __m256 from = _mm256_loadu_ps(src);
        _mm256_storeu_ps(dst, _mm256_fmadd_ps(factor, from, _mm256_loadu_ps(dst)));
    }
    const __m256i rest = firstElements(size);
    const __m256 from = _mm256_maskload_ps(src, rest);
    const __m256 to = _mm256_maskload_ps(dst, rest);
    _mm256_maskstore_ps(dst, rest, _mm256_fmadd_ps(factor, from, to));
}

[[gnu::target("f16c")]] void Float16ToFloat32(const unsigned short* src,
                                              std::uint32_t size,
                                              float* dst) {
    convertBlocks<unsigned short, float, widen>(src, size, dst);
}

[[gnu::target("f16c")]] void Float32ToFloat16(const float* src,
                                              std::uint32_t size,
                                              unsigned short* dst) {
    convertBlocks<float, unsigned short, narrow>(src, size, dst);
}

}  // namespace Avx2
}  // namespace Simd
