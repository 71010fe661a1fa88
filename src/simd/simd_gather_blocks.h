// Tables of linear interpolation of bytes by look-ups: a row is cut into blocks of neighbouring
// elements whose samples lie within a window of the source row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/simd_resizer.h"
#include "simd/simd_resizer_ratios.h"

namespace Simd {
// Compiled into each variant apart: code built for a vector unit must not serve the portable one.
namespace {

constexpr std::uint32_t GATHER_WINDOW = 16;       // source bytes of a block
constexpr std::uint32_t GATHER_PAIRS = 16;        // bytes of a block's pairs
constexpr std::uint32_t GATHER_MAX_CHANNELS = 4;  // so that any pixel fits

/// For rows of at least a window.
/// @param blocks has room for one for each element
/// @return how many there are
inline std::uint32_t estimateGatherBlocks(const ResizerParam& p,
                                          const std::int32_t* index,
                                          GatherBlock* blocks) {
    const std::uint32_t channels = p.channels;
    const std::uint32_t lastStart = p.srcWidth * channels - GATHER_WINDOW;
    const std::uint32_t reach = GATHER_WINDOW - channels;  // left samples, so that right ones fit
    GatherBlock* block = blocks;
    GatherBlock* end = blocks;
    std::uint32_t start = 0;
    std::uint32_t count = GATHER_PAIRS;  // bytes that the current block has
    for (std::uint32_t x = 0, pair = 0; x < p.dstWidth; ++x) {
        std::uint32_t sample = std::uint32_t(index[x]) * channels;
        for (std::uint32_t c = 0; c < channels; ++c, ++sample, pair += 2) {
            if (count == GATHER_PAIRS || sample - start >= reach) {
                block = end++;
                // Where a row grows, the next pixel's samples may lie further left.
                const std::uint32_t next =
                    x + 1 < p.dstWidth ? std::uint32_t(index[x + 1]) * channels : sample;
                start = next < sample ? next : sample;
                start = start < lastStart ? start : lastStart;
                std::memset(block, 0, sizeof(*block));
                block->src = std::int32_t(start);
                block->dst = pair;
                count = 0;
            }
            block->shuffle[count] = std::uint8_t(sample - start);
            block->shuffle[count + 1] = std::uint8_t(sample - start + channels);
            count += 2;
        }
    }
    return std::uint32_t(end - blocks);
}

/// The form that scales by the ratio that the columns follow.
/// @return null when there is none
inline const RatioForm* findRatio(const RatioForm (&forms)[RatioCount], const ResizerParam& p) {
    for (const RatioForm& form : forms) {
        if (p.dstWidth >= form.narrowest && form.functions[p.channels - 1] != nullptr &&
            columnsFollow(form.ratio, p.srcWidth, p.dstWidth)) {
            return &form;
        }
    }
    return nullptr;
}

}  // namespace
}  // namespace Simd
