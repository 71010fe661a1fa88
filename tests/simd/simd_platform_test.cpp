#include "simd/simd_platform.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

/// A file of machine words, removed with the object.
class WordFile {
public:
    explicit WordFile(const std::vector<unsigned long>& words) {
        _path = testing::TempDir() + "auxv_" + std::to_string(std::uintptr_t(this));
        std::ofstream file(_path, std::ios::binary);
        for (const unsigned long word : words) {
            char bytes[sizeof(word)];
            std::memcpy(bytes, &word, sizeof(word));
            file.write(bytes, sizeof(word));
        }
    }
    ~WordFile() { std::remove(_path.c_str()); }

    bool bitSet(std::uint32_t tag, std::uint32_t mask) const {
        return Simd::AuxvBitSet(_path.c_str(), tag, mask);
    }

private:
    std::string _path;
};

// The runs under emulation say what the processor they chose has.
TEST(SimdPlatform, FlagsFollowTheProcessor) {
    if (const char* const expected = std::getenv("TAVO_EXPECT_NEON")) {
        EXPECT_EQ(Simd::Neon::Enable, std::string(expected) == "1");
    } else {
#ifndef TAVO_NEON
        EXPECT_FALSE(Simd::Neon::Enable);
#endif
    }
    EXPECT_EQ(Simd::Alignment, Simd::Neon::Enable ? 16u : 4u);
    if (const char* const expected = std::getenv("TAVO_EXPECT_AVX2")) {
        EXPECT_EQ(Simd::Avx2::Enable, std::string(expected) == "1");
    }
}

TEST(SimdPlatform, AuxiliaryVectorIsReadInPairsToItsEnd) {
    const WordFile file({3, 16, 16, 0x1001, 25, 0xffff, 0, 0, 33, 1});
    EXPECT_TRUE(file.bitSet(16, 0x1000));
    EXPECT_TRUE(file.bitSet(16, 0x1801));
    EXPECT_FALSE(file.bitSet(16, 0x0800));
    EXPECT_FALSE(file.bitSet(17, 0xffffffff)) << "no such entry";
    EXPECT_FALSE(file.bitSet(33, 1)) << "behind the end";
    EXPECT_FALSE(file.bitSet(0x1001, 25)) << "a value is no tag";

    EXPECT_FALSE(WordFile({}).bitSet(16, 1));
    EXPECT_FALSE(WordFile({16}).bitSet(16, 1)) << "a tag without its value";
    EXPECT_FALSE(Simd::AuxvBitSet("/nonexistent/auxv", 16, 1));
}

TEST(SimdPlatform, AuxiliaryVectorMayBeLongerThanOneBlock) {
    // 64 words fill a block of 32-bit words, two blocks of 64-bit words.
    for (const std::size_t words_before : {30u, 32u, 62u, 64u, 128u, 200u}) {
        std::vector<unsigned long> words(words_before, 7);
        words.insert(words.end(), {16, 0x1000, 0, 0});
        EXPECT_TRUE(WordFile(words).bitSet(16, 0x1000)) << words_before;
        words[words_before + 1] = 1;
        EXPECT_FALSE(WordFile(words).bitSet(16, 0x1000)) << words_before;
    }
}

TEST(SimdPlatform, MachineFactsAreFilled) {
    EXPECT_EQ(Simd::CpuInfo.hardwareThreads, std::thread::hardware_concurrency());
    EXPECT_EQ(Simd::CpuInfo.socketCount, Simd::CpuSocketCount());
    EXPECT_EQ(Simd::CpuInfo.coreCount, Simd::CpuCoreCount());
    EXPECT_EQ(Simd::CpuInfo.l1CacheSize, Simd::CpuCacheSize(1));
    EXPECT_EQ(Simd::CpuInfo.l2CacheSize, Simd::CpuCacheSize(2));
    EXPECT_EQ(Simd::CpuInfo.l3CacheSize, Simd::CpuCacheSize(3));
    EXPECT_GT(Simd::CpuCacheSize(1), 0u);
    EXPECT_GT(Simd::CpuCacheSize(2), 0u);
    EXPECT_GT(Simd::CpuCacheSize(3), 0u);
    EXPECT_EQ(Simd::CpuCacheSize(0), 0u);
    EXPECT_EQ(Simd::CpuCacheSize(4), 0u);
}

TEST(SimdPlatform, ThreadCountStaysWithinTheMachine) {
    const std::uint32_t hardware = std::thread::hardware_concurrency();
    EXPECT_EQ(Simd::GetThreadCount(), 1u);
    Simd::SetThreadCount(0);
    EXPECT_EQ(Simd::GetThreadCount(), 1u);
    Simd::SetThreadCount(hardware + 5);
    EXPECT_EQ(Simd::GetThreadCount(), hardware);
    Simd::SetThreadCount(1);
    EXPECT_EQ(Simd::GetThreadCount(), 1u);
}

}  // namespace
