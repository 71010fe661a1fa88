#include "simd/simd_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "simd/simd_parallel.h"

namespace {

TEST(SimdMemory, BlocksAreAlignedAndHaveMargins) {
    for (const std::uint32_t align : {1u, 2u, 4u, 8u, 16u, 32u, 64u, 128u}) {
        for (const std::uint32_t bytes : {0u, 1u, 100u, 4096u}) {
            auto* const data = static_cast<unsigned char*>(Simd::Allocate(bytes, align));
            ASSERT_NE(data, nullptr);
            const std::uint32_t granted = align < sizeof(void*) ? sizeof(void*) : align;
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data - 64) % granted, 0u);
            std::memset(data - 64, 1, bytes + 128);  // the sanitizer knows the real block
            Simd::Free(data);
        }
    }
    Simd::Free(nullptr);
}

TEST(SimdMemory, FailureIsReportedInOneLine) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(Simd::Allocate(0xffffffffu, 16), nullptr);  // the total wraps
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "The function posix_memalign can't allocate 128 bytes with align 16 !\n");
}

TEST(SimdMemory, ArrayKeepsItsContentOnlyAtTheSameSize) {
    Simd::Array<std::uint32_t> array;
    EXPECT_EQ(array.data, nullptr);
    array.Resize(5);
    array.data[4] = 77;
    const std::uint32_t* const block = array.data;
    array.Resize(5);
    EXPECT_EQ(array.data, block);
    EXPECT_EQ(array.data[4], 77u);
    array.Resize(9, 64);
    EXPECT_EQ(array.size, 9u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array.data) % 64, 0u);
    array.Resize(0);
    EXPECT_EQ(array.data, nullptr);
    EXPECT_EQ(array.size, 0u);
}

using Block = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;

std::vector<Block> blocksOf(std::uint32_t begin, std::uint32_t end, std::uint32_t threads) {
    std::vector<Block> blocks;
    std::mutex mutex;
    Simd::Parallel(
        begin, end,
        [&](std::uint32_t thread, std::uint32_t from, std::uint32_t to) {
            const std::lock_guard<std::mutex> lock(mutex);
            blocks.emplace_back(thread, from, to);
        },
        threads, 1);
    std::sort(blocks.begin(), blocks.end());
    return blocks;
}

TEST(SimdParallel, SplitsIntoEqualBlocksUnderThreadIndices) {
    const std::uint32_t hardware = std::thread::hardware_concurrency();
    if (hardware < 2) {
        GTEST_SKIP() << "one processor: everything runs on the calling thread";
    }
    EXPECT_EQ(blocksOf(0, 10, 2), (std::vector<Block>{{0, 0, 5}, {1, 5, 10}}));
    EXPECT_EQ(blocksOf(3, 10, 2), (std::vector<Block>{{0, 3, 7}, {1, 7, 10}}));
    EXPECT_EQ(blocksOf(0, 1, 2), (std::vector<Block>{{0, 0, 1}}));
    EXPECT_EQ(blocksOf(0, 7, 1), (std::vector<Block>{{0, 0, 7}}));
    EXPECT_EQ(blocksOf(0, 7, 0), (std::vector<Block>{{0, 0, 7}}));
    if (hardware >= 4) {
        EXPECT_EQ(blocksOf(0, 10, 4),
                  (std::vector<Block>{{0, 0, 3}, {1, 3, 6}, {2, 6, 9}, {3, 9, 10}}));
        EXPECT_EQ(blocksOf(0, 9, 4), (std::vector<Block>{{0, 0, 3}, {1, 3, 6}, {2, 6, 9}}));
    }
}

TEST(SimdParallel, ExceptionsPassOnlyFromTheCallingThread) {
    const auto fail = [](std::uint32_t, std::uint32_t, std::uint32_t) {
        throw std::runtime_error("block");
    };
    EXPECT_THROW(Simd::Parallel(0, 5, fail, 1, 1), std::runtime_error);
    if (std::thread::hardware_concurrency() >= 2) {
        EXPECT_NO_THROW(Simd::Parallel(0, 5, fail, 2, 1));
    }
}

}  // namespace
