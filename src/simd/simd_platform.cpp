#include "simd/simd_platform.h"

#ifdef __x86_64__
#include <cpuid.h>
#endif
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace Simd {
namespace {

// Hardware capabilities are entry 16 (AT_HWCAP) of the auxiliary vector; only ARM has bits to ask
// for.
[[maybe_unused]] constexpr std::uint32_t HWCAP_TAG = 16;
#ifdef __aarch64__
[[maybe_unused]] constexpr std::uint32_t HWCAP_NEON = 1u << 1;  // "asimd"
#else
[[maybe_unused]] constexpr std::uint32_t HWCAP_NEON = 1u << 12;  // "neon" of 32-bit ARM
#endif

bool hasNeon() {
#ifdef TAVO_NEON
    return AuxvBitSet(HWCAP_TAG, HWCAP_NEON);
#else
    return false;
#endif
}

/// The number on the last line that a shell pipeline prints; 0 when it can't be started.
std::uint32_t numberFromPipeline(const char* command) {
    std::FILE* const stream = popen(command, "r");
    if (!stream) {
        return 0;
    }
    char line[4096] = "";
    while (std::fgets(line, sizeof(line), stream)) {
    }
    const long number = std::strtol(line, nullptr, 10);
    pclose(stream);
    return std::uint32_t(number);
}

std::uint32_t cacheSize(int name, std::uint32_t usual) {
    const long bytes = sysconf(name);
    return bytes > 0 ? std::uint32_t(bytes) : usual;
}

#ifdef __x86_64__
/// Not every compiler's builtin knows it by name.
bool hasHalfPrecision() {
    unsigned eax;
    unsigned ebx;
    unsigned ecx;
    unsigned edx;
    return __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_F16C) != 0;
}
#endif

}  // namespace

// The initialisers below run in this order. The last one starts processes.

const std::uint8_t LumaOffset8[8] = {16, 16, 16, 16, 16, 16, 16, 16};
const std::int16_t ChromaOffset16[8] = {128, 128, 128, 128, 128, 128, 128, 128};
const std::int32_t ChromaOffset32[4] = {128, 128, 128, 128};

#ifdef TAVO_NEON
const bool Neon::Enable = hasNeon();
#endif
#ifdef TAVO_AVX2
const bool Avx2::Enable = HasFusedMultiplyAdd();
#endif

const std::uint32_t Alignment = hasNeon() ? 16 : 4;

const Machine CpuInfo = {
    CpuSocketCount(), CpuCoreCount(),  std::thread::hardware_concurrency(),
    CpuCacheSize(1),  CpuCacheSize(2), CpuCacheSize(3),
};

std::uint32_t ThreadCount = 1;

std::uint32_t GetThreadCount() {
    return ThreadCount;
}

void SetThreadCount(std::uint32_t count) {
    const std::uint32_t limited =
        std::min(count, std::uint32_t(std::thread::hardware_concurrency()));
    ThreadCount = std::max<std::uint32_t>(limited, 1);
}

bool AuxvBitSet(std::uint32_t tag, std::uint32_t mask) {
    return AuxvBitSet("/proc/self/auxv", tag, mask);
}

bool AuxvBitSet(const char* path, std::uint32_t tag, std::uint32_t mask) {
    // The vector's words are as wide as the processor's.
    constexpr std::size_t BLOCK_BYTES = 256;
    constexpr std::size_t BLOCK_WORDS = BLOCK_BYTES / sizeof(unsigned long);

    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    bool found = false;
    bool is_set = false;
    std::size_t words = BLOCK_WORDS;
    while (!found && words == BLOCK_WORDS) {
        unsigned long block[BLOCK_WORDS];
        const ssize_t bytes = read(file, block, BLOCK_BYTES);
        words = bytes > 0 ? std::size_t(bytes) / sizeof(unsigned long) : 0;
        for (std::size_t i = 0; i + 1 < words && !found; i += 2) {
            found = block[i] == tag || block[i] == 0;
            is_set = block[i] == tag && (block[i + 1] & mask) != 0;
        }
    }
    close(file);
    return is_set;
}

bool HasFusedMultiplyAdd() {
#if defined(__arm__)
    constexpr std::uint32_t HWCAP_VFPV4 = 1u << 16;
    static const bool has = AuxvBitSet(HWCAP_TAG, HWCAP_VFPV4);
    return has;
#elif defined(__x86_64__)
    __builtin_cpu_init();  // other initialisers may come first
    static const bool has = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                            hasHalfPrecision();  // asking is slow in a virtual machine
    return has;
#else
    return false;
#endif
}

std::uint32_t CpuSocketCount() {
    return numberFromPipeline(
        "lscpu -b -p=Socket 2>/dev/null | grep -v '^#' | sort -u 2>/dev/null | wc -l 2>/dev/null");
}

std::uint32_t CpuCoreCount() {
    return numberFromPipeline(
        "lscpu -b -p=Core 2>/dev/null | grep -v '^#' | sort -u 2>/dev/null | wc -l 2>/dev/null");
}

std::uint32_t CpuCacheSize(std::uint32_t level) {
    switch (level) {
        case 1:
            return cacheSize(_SC_LEVEL1_DCACHE_SIZE, 32768);
        case 2:
            return cacheSize(_SC_LEVEL2_CACHE_SIZE, 0x40000);
        case 3:
            return cacheSize(_SC_LEVEL3_CACHE_SIZE, 0x200000);
        default:
            return 0;
    }
}

}  // namespace Simd
