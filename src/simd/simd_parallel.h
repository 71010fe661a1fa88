// Runs a function over a range of rows, in blocks on several threads.
#pragma once

#include <algorithm>
#include <cstdint>
#include <future>
#include <thread>
#include <vector>

namespace Simd {

/// Calls @p function(thread, blockBegin, blockEnd) for blocks that together cover begin to end - 1,
/// and waits for all of them. With one thread, or at most one row, that is one call on the calling
/// thread. Blocks have equal sizes but the last, and thread indices count from 0. An exception of
/// @p function passes to the caller from the calling thread only; in a block of its own it is
/// dropped.
/// @param blockStep 1; blocks are not rounded
template <class Function>
void Parallel(std::uint32_t begin,
              std::uint32_t end,
              const Function& function,
              std::uint32_t threadCount,
              std::uint32_t /*blockStep*/) {
    // The system is asked only when it matters: the C library opens a file for that.
    const std::uint32_t threads =
        threadCount <= 1 || end - begin <= 1
            ? 1
            : std::min(threadCount, std::uint32_t(std::thread::hardware_concurrency()));
    if (threads <= 1) {
        function(std::uint32_t(0), begin, end);
        return;
    }
    const std::uint32_t blockSize = (end - begin + threads - 1) / threads;
    std::vector<std::future<void>> futures;
    std::uint32_t blockBegin = begin;
    for (std::uint32_t thread = 0; thread < threads && blockBegin < end; ++thread) {
        const std::uint32_t blockEnd = std::min(blockBegin + blockSize, end);
        futures.push_back(std::async(
            [&function, thread, blockBegin, blockEnd] { function(thread, blockBegin, blockEnd); }));
        blockBegin += blockSize;
    }
    for (const std::future<void>& future : futures) {
        future.wait();
    }
}

}  // namespace Simd
