// Blocks of interpolated bytes: sums of 16 bits, along a row of the source.
//
// Shuffles bring the two samples of up to 8 elements together within a lane, where one instruction
// weighs and adds them. They come from as many windows of 16 source bytes as the ratio asks for.
// Weights are at most 16, which suits the signed operand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/avx2/simd_vectors.h"
#include "simd/simd_memory.h"

namespace Simd {
namespace Avx2 {
// Compiled into each kernel apart: nothing that is built for AVX2 may serve other code.
namespace {

constexpr std::int32_t FRACTION = 16;  ///< sum of the weights of two samples

/// Two lanes of sums. Each takes its samples from windows of 16 bytes of the source row.
template <std::size_t WINDOWS>
struct alignas(VECTOR) Block {
    std::uint8_t weights[VECTOR];             // a pair for each element
    std::uint8_t positions[WINDOWS][VECTOR];  // in a window, for each sample that lies there
    std::int32_t src[WINDOWS][2];             // first bytes of the windows

    __m256i sums(const std::uint8_t* row) const {
        __m256i bytes = samples(row, 0);
        for (std::size_t i = 1; i < WINDOWS; ++i) {
            bytes = _mm256_or_si256(bytes, samples(row, i));
        }
        return _mm256_maddubs_epi16(bytes, load(weights));
    }

    __m256i samples(const std::uint8_t* row, std::size_t i) const {
        const __m256i bytes = lanesOf(loadLane(row + src[i][0]), loadLane(row + src[i][1]));
        return _mm256_shuffle_epi8(bytes, load(positions[i]));
    }
};

template <std::size_t WINDOWS>
Block<WINDOWS>* blocksIn(const Table<std::uint8_t>& table) {
    return static_cast<Block<WINDOWS>*>(static_cast<void*>(table.data));
}

/// Elements of a row that are made at once: four lanes, the first and the third one in a block. The
/// last ones of a row overlap those before.
struct Steps {
    static constexpr std::uint32_t LANES = 4;

    std::uint32_t size;  // of the row
    std::uint32_t lane;  // elements in it

    std::uint32_t count() const { return (size + LANES * lane - 1) / (LANES * lane); }

    std::uint32_t start(std::uint32_t step) const {
        const std::uint32_t start = step * LANES * lane;
        const std::uint32_t last = size - LANES * lane;
        return start < last ? start : last;
    }
};

inline void setPair(std::uint8_t* pair, std::int32_t first, std::int32_t second) {
    const auto both = std::uint16_t(first + second * 256);
    std::memcpy(pair, &both, sizeof(both));
}

/// The way of samples into blocks.
struct Columns {
    const std::int32_t* index;   // left pixels
    const std::int32_t* weight;  // of the right ones
    std::int32_t channels;
    std::int32_t lastWindow;  // that lies within the source row
    Steps steps;

    std::uint32_t pixelOf(std::uint32_t element) const { return element / std::uint32_t(channels); }

    /// The last one of the pixels up to @p last that lie in a window together with @p first.
    std::uint32_t lastBeside(std::uint32_t first, std::uint32_t last) const {
        const std::int32_t reach = index[first] + std::int32_t(LANE) / channels - 2;
        while (first != last && index[first + 1] <= reach) {
            ++first;
        }
        return first;
    }

    /// First byte of a window for pixels. It is a multiple of its size where that serves, so that
    /// it mostly lies within a line of memory.
    std::int32_t windowOf(std::uint32_t first, std::uint32_t last) const {
        constexpr auto SIZE = std::int32_t(LANE);
        const std::int32_t begin = index[first] * channels;
        const std::int32_t end = (index[last] + 2) * channels;
        const std::int32_t multiple = begin / SIZE * SIZE;
        const std::int32_t window = end <= multiple + SIZE ? multiple : begin;
        return window < lastWindow ? window : lastWindow;
    }

    /// @param element the first one in @p lane
    /// @return whether the windows hold the samples of the lane
    template <std::size_t WINDOWS>
    bool fill(Block<WINDOWS>& block, std::size_t lane, std::uint32_t element) const {
        const std::uint32_t end = element + steps.lane;
        const std::uint32_t last = pixelOf(end - 1);
        std::uint32_t x = pixelOf(element);
        auto channel = std::int32_t(element - x * std::uint32_t(channels));
        std::int32_t window = 0;
        std::size_t pair = lane * LANE;
        for (std::size_t i = 0; i < WINDOWS; ++i) {
            if (x <= last) {
                const std::uint32_t lastInside = lastBeside(x, last);
                window = windowOf(x, lastInside);
                for (; x <= lastInside; ++x, channel = 0) {
                    const std::int32_t left = index[x] * channels - window;
                    const std::int32_t right = weight[x];
                    for (; channel != channels && element != end; ++channel, ++element, pair += 2) {
                        setPair(block.positions[i] + pair, left + channel,
                                left + channel + channels);
                        setPair(block.weights + pair, FRACTION - right, right);
                    }
                }
            }
            // A lane that needs fewer windows loads the last one again.
            block.src[i][lane] = window;
        }
        return element == end;
    }
};

/// @return whether the windows hold all samples
template <std::size_t WINDOWS>
bool estimateBlocks(const Columns& columns, Table<std::uint8_t>& table) {
    const Steps& steps = columns.steps;
    Block<WINDOWS> sample;
    if (!columns.fill(sample, 0, 0)) {
        return false;  // as mostly, without any memory taken
    }
    table.Resize(std::uint64_t{2} * steps.count() * sizeof(Block<WINDOWS>), VECTOR);
    Block<WINDOWS>* block = blocksIn<WINDOWS>(table);
    bool fits = true;
    for (std::uint32_t step = 0; fits && step < steps.count(); ++step, block += 2) {
        std::memset(block, Shuffle::ZERO, 2 * sizeof(*block));
        for (std::uint32_t i = 0; fits && i < Steps::LANES; ++i) {
            fits = columns.fill(block[i % 2], i / 2, steps.start(step) + i * steps.lane);
        }
    }
    return fits;
}

}  // namespace
}  // namespace Avx2
}  // namespace Simd
