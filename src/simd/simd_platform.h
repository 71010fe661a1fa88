// What the kernel layer knows of the machine. All of it is settled while the library is loaded and
// stays fixed, except the thread count.
#pragma once

#include <cstdint>

namespace Simd {

namespace Neon {

/// Width of a vector in bytes, and the narrowest image that the NEON kernels accept.
constexpr std::uint32_t A = 16;

/// True when the processor has NEON. Every dispatch reads this flag.
#ifdef TAVO_NEON
extern const bool Enable;
#else
constexpr bool Enable = false;
#endif

}  // namespace Neon

namespace Avx2 {

/// Width of a vector in bytes, and the narrowest image that the AVX2 kernels accept.
constexpr std::uint32_t A = 32;

/// True when the processor has AVX2, FMA and F16C, and the system keeps their registers.
#ifdef TAVO_AVX2
extern const bool Enable;
#else
constexpr bool Enable = false;
#endif

}  // namespace Avx2

/// Assumed alignment of vectors: 16 with NEON, otherwise 4.
extern const std::uint32_t Alignment;

/// How the machine is built.
struct Machine {
    std::uint32_t socketCount;      ///< physical sockets; 0 when unknown
    std::uint32_t coreCount;        ///< physical cores; 0 when unknown
    std::uint32_t hardwareThreads;  ///< logical processors; 0 when unknown
    std::uint32_t l1CacheSize;      ///< level 1 data cache in bytes
    std::uint32_t l2CacheSize;      ///< level 2 cache in bytes
    std::uint32_t l3CacheSize;      ///< level 3 cache in bytes
};

extern const Machine CpuInfo;

/// Threads that a kernel may use; starts at 1.
extern std::uint32_t ThreadCount;

std::uint32_t GetThreadCount();

/// Stores @p count, but not more than the machine's threads, and at least 1.
void SetThreadCount(std::uint32_t count);

/// True when the process's auxiliary vector has an entry @p tag whose value shares a bit with
/// @p mask. An unreadable vector has no entries.
bool AuxvBitSet(std::uint32_t tag, std::uint32_t mask);

/// The same on a file: pairs of machine words (tag, value), ended by tag 0.
bool AuxvBitSet(const char* path, std::uint32_t tag, std::uint32_t mask);

/// True when the processor has a fused multiply-add beyond what the build counts on: VFPv4 on
/// 32-bit ARM, FMA with AVX2 and F16C on x86-64. What is compiled for it apart may then run.
bool HasFusedMultiplyAdd();

/// Distinct ids that `lscpu` lists; 0 when no pipeline can be started.
std::uint32_t CpuSocketCount();
std::uint32_t CpuCoreCount();

/// Bytes of the cache of @p level 1 to 3, or a usual size when unknown; 0 for other levels.
std::uint32_t CpuCacheSize(std::uint32_t level);

/// Offsets of the YUV arithmetic as vectors: 16 for luma, 128 for chroma in two widths.
extern const std::uint8_t LumaOffset8[8];
extern const std::int16_t ChromaOffset16[8];
extern const std::int32_t ChromaOffset32[4];

}  // namespace Simd
