// Shrinking of bytes by the mean of the area that a destination pixel covers.
//
// The formula of the horizontal pass is told in simd_column_sums.h. With one channel the running
// sums make a row of their own.
//
// Row weights need 16 bits. Whole rows in between are summed first, of which 16 bits hold 257.
// Where each pixel takes 2 x 2 or 3 x 3 whole cells there is one sum of them, without running sums.

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/neon/simd_streams.h"
#include "simd/neon/simd_vectors.h"
#include "simd/simd_area_tables.h"
#include "simd/simd_column_sums.h"
#include "simd/simd_resizer.h"
#include "simd/simd_resizer_ratios.h"
#include "simd/simd_resizer_tables.h"
#include "simd/simd_row_step.h"
#include "simd/simd_whole_cells.h"

namespace Simd {
namespace Neon {
namespace {

constexpr std::uint32_t MAX_CHANNELS = 4;
constexpr std::size_t BLOCK = 32;            // bytes of a source row
constexpr std::uint32_t COLUMN_BLOCK = 8;    // destination pixels of one channel
constexpr std::int32_t MIN_FULL_WEIGHT = 8;  // 2048 / 8 = 256 rows to a pixel
constexpr std::int32_t MAX_WEIGHT = 0xFFFF;
constexpr std::uint32_t WORD_SHIFT = 16;
constexpr std::uint32_t BYTE_SHIFT = 6;  // 22 in all

/// 32 neighbouring elements, in an order that the target of the vertical pass chooses.
struct Bytes {
    uint8x8_t val[4];
};

struct Words {
    uint16x8_t val[4];
};

struct Sums {
    uint32x4_t low[4];   // of the first halves of the words
    uint32x4_t high[4];  // of the second halves
};

inline Words widen(const Bytes& bytes) {
    return {{vmovl_u8(bytes.val[0]), vmovl_u8(bytes.val[1]), vmovl_u8(bytes.val[2]),
             vmovl_u8(bytes.val[3])}};
}

inline void add(Words& words, const Bytes& bytes) {
    words.val[0] = vaddw_u8(words.val[0], bytes.val[0]);
    words.val[1] = vaddw_u8(words.val[1], bytes.val[1]);
    words.val[2] = vaddw_u8(words.val[2], bytes.val[2]);
    words.val[3] = vaddw_u8(words.val[3], bytes.val[3]);
}

template <int J>
inline void assignProduct(Sums& sums, const Words& words, uint16x4_t weight) {
    sums.low[J] = vmull_u16(vget_low_u16(words.val[J]), weight);
    sums.high[J] = vmull_u16(vget_high_u16(words.val[J]), weight);
}

inline Sums product(const Words& words, uint16x4_t weight) {
    Sums sums;
    assignProduct<0>(sums, words, weight);
    assignProduct<1>(sums, words, weight);
    assignProduct<2>(sums, words, weight);
    assignProduct<3>(sums, words, weight);
    return sums;
}

template <int J>
inline void addProduct(Sums& sums, const Words& words, uint16x4_t weight) {
    sums.low[J] = vmlal_u16(sums.low[J], vget_low_u16(words.val[J]), weight);
    sums.high[J] = vmlal_u16(sums.high[J], vget_high_u16(words.val[J]), weight);
}

inline void addProduct(Sums& sums, const Words& words, uint16x4_t weight) {
    addProduct<0>(sums, words, weight);
    addProduct<1>(sums, words, weight);
    addProduct<2>(sums, words, weight);
    addProduct<3>(sums, words, weight);
}

/// The source rows of a destination row.
struct Rows {
    const std::uint8_t* first;
    RowStep stride;
    std::uint32_t middleCount;
    uint16x4_t firstWeight;
    uint16x4_t middleWeight;
    uint16x4_t lastWeight;
};

// Without tests inside, the sums stay in registers.
template <class Target, bool HAS_MIDDLE, bool HAS_LAST>
inline Sums sumBlock(const Rows& rows, std::size_t offset) {
    const std::uint8_t* row = rows.first + offset;
    Sums sums = product(widen(Target::load(row)), rows.firstWeight);
    if constexpr (HAS_MIDDLE) {
        row += rows.stride;
        Words words = widen(Target::load(row));
        for (std::uint32_t i = 1; i < rows.middleCount; ++i) {
            row += rows.stride;
            add(words, Target::load(row));
        }
        addProduct(sums, words, rows.middleWeight);
    }
    if constexpr (HAS_LAST) {
        addProduct(sums, widen(Target::load(row + rows.stride)), rows.lastWeight);
    }
    return sums;
}

/// Turns 16 elements, of which lane k of vector j is element 4 k + j, into their running sums. They
/// start from @p carry in all lanes. In this order the sums of four neighbours need no shuffles.
/// @return the last sum in all lanes
inline uint32x4_t accumulate(uint32x4_t (&v)[4], uint32x4_t carry) {
    const uint32x4_t zero = vdupq_n_u32(0);
    v[1] = vaddq_u32(v[1], v[0]);
    v[2] = vaddq_u32(v[2], v[1]);
    v[3] = vaddq_u32(v[3], v[2]);
    uint32x4_t fours = v[3];
    fours = vaddq_u32(fours, vextq_u32(zero, fours, 3));
    fours = vaddq_u32(fours, vextq_u32(zero, fours, 2));
    fours = vaddq_u32(fours, carry);
    const uint32x4_t before = vextq_u32(carry, fours, 3);
    v[0] = vaddq_u32(v[0], before);
    v[1] = vaddq_u32(v[1], before);
    v[2] = vaddq_u32(v[2], before);
    v[3] = fours;
    return vdupq_lane_u32(vget_high_u32(fours), 1);
}

/// Keeps the column sums of a row of several channels.
struct PlainSums {
    std::uint32_t* sums;

    static Bytes load(const std::uint8_t* src) {
        const uint8x16_t first = vld1q_u8(src);
        const uint8x16_t second = vld1q_u8(src + BLOCK / 2);
        return {
            {vget_low_u8(first), vget_high_u8(first), vget_low_u8(second), vget_high_u8(second)}};
    }

    void start(std::size_t) {}

    void take(const Sums& block, std::size_t offset) {
        std::uint32_t* target = sums + offset;
        for (int j = 0; j < 4; ++j, target += 8) {
            vst1q_u32(target, block.low[j]);
            vst1q_u32(target + 4, block.high[j]);
        }
    }
};

/// Keeps the running column sums of a row of one channel, behind a zero.
struct RunningSums {
    std::uint32_t* sums;
    uint32x4_t carry;

    static Bytes load(const std::uint8_t* src) {
        const uint8x8x4_t bytes = vld4_u8(src);
        return {{bytes.val[0], bytes.val[1], bytes.val[2], bytes.val[3]}};
    }

    static void store(const uint32x4_t (&block)[4], std::uint32_t* target) {
        uint32x4x4_t v;
        declareWritten(v);
        v.val[0] = block[0];
        v.val[1] = block[1];
        v.val[2] = block[2];
        v.val[3] = block[3];
        vst4q_u32(target, v);
    }

    void start(std::size_t offset) { carry = vld1q_dup_u32(sums + offset); }

    void take(Sums& block, std::size_t offset) {
        carry = accumulate(block.low, carry);
        store(block.low, sums + offset + 1);
        scheduleInOrder();
        carry = accumulate(block.high, carry);
        store(block.high, sums + offset + 1 + BLOCK / 2);
    }
};

/// @param size bytes of a row, at least one block
template <bool HAS_MIDDLE, bool HAS_LAST, class Target>
inline void sumRows(const Rows& rows, std::size_t size, Target target) {
    target.start(0);
    std::size_t offset = 0;
    for (; offset + BLOCK <= size; offset += BLOCK) {
        Sums block = sumBlock<Target, HAS_MIDDLE, HAS_LAST>(rows, offset);
        target.take(block, offset);
    }
    // What remains is narrower than a block, so the last block overlaps the one before.
    if (offset < size) {
        offset = size - BLOCK;
        target.start(offset);
        Sums block = sumBlock<Target, HAS_MIDDLE, HAS_LAST>(rows, offset);
        target.take(block, offset);
    }
}

/// The vertical pass from one edge to the next, of which the first lies in row @p src. A function
/// of its own, as the horizontal pass is, so that each has all registers.
template <class Target>
[[gnu::noinline]] void sumRows(const std::uint8_t* src,
                               RowStep stride,
                               const std::int32_t* edge,
                               const std::int32_t* weight,
                               std::int32_t full,
                               std::size_t size,
                               Target target) {
    const std::int32_t count = edge[1] - edge[0];
    const std::int32_t first = count == 0 ? weight[0] - weight[1] : weight[0];
    const std::int32_t last = count == 0 ? 0 : full - weight[1];
    const Rows rows = {src,
                       stride,
                       std::uint32_t(count - 1),
                       vdup_n_u16(std::uint16_t(first)),
                       vdup_n_u16(std::uint16_t(full)),
                       vdup_n_u16(std::uint16_t(last))};
    if (count > 1) {
        last != 0 ? sumRows<true, true>(rows, size, target)
                  : sumRows<true, false>(rows, size, target);
    } else {
        last != 0 ? sumRows<false, true>(rows, size, target)
                  : sumRows<false, false>(rows, size, target);
    }
}

/// (sum + (1 << 21)) >> 22: no bit below the 16 that go first takes part in the rounding.
inline uint8x8_t roundOff(uint32x4_t low, uint32x4_t high) {
    const uint16x8_t words =
        vcombine_u16(vshrn_n_u32(low, WORD_SHIFT), vshrn_n_u32(high, WORD_SHIFT));
    return vrshrn_n_u16(words, BYTE_SHIFT);
}

/// E of four edges; the sums are running ones.
inline uint32x4_t edgeSums(const std::uint32_t* sums,
                           const std::int32_t* edge,
                           const std::int32_t* weight,
                           uint32x4_t full) {
    const uint32x4_t first = vcombine_u32(vld1_u32(sums + edge[0]), vld1_u32(sums + edge[1]));
    const uint32x4_t second = vcombine_u32(vld1_u32(sums + edge[2]), vld1_u32(sums + edge[3]));
    const uint32x4x2_t running = vuzpq_u32(first, second);
    const uint32x4_t own = vsubq_u32(running.val[1], running.val[0]);
    const uint32x4_t shares = vmulq_u32(own, vreinterpretq_u32_s32(vld1q_s32(weight)));
    return vmlsq_u32(shares, running.val[1], full);
}

/// Edges that border on 8 destination pixels.
/// @param before E of the first edge, in the last lane
/// @return E of the last edge, in the last lane
inline uint32x4_t sumColumnBlock(const std::uint32_t* sums,
                                 const std::int32_t* edge,
                                 const std::int32_t* weight,
                                 uint32x4_t full,
                                 uint32x4_t before,
                                 std::uint8_t* dst) {
    const uint32x4_t low = edgeSums(sums, edge + 1, weight + 1, full);
    const uint32x4_t high = edgeSums(sums, edge + 5, weight + 5, full);
    vst1_u8(dst, roundOff(vsubq_u32(vextq_u32(before, low, 3), low),
                          vsubq_u32(vextq_u32(low, high, 3), high)));
    return high;
}

/// The horizontal pass on running sums of one channel; @p width is at least one block.
[[gnu::noinline]] void weighRunningSums(const std::uint32_t* __restrict sums,
                                        const std::int32_t* __restrict edge,
                                        const std::int32_t* __restrict weight,
                                        std::uint32_t width,
                                        std::uint8_t* __restrict dst) {
    const uint32x4_t full = vdupq_n_u32(std::uint32_t(weight[0]));
    uint32x4_t before = vdupq_n_u32(0);
    for (std::uint32_t blocks = width / COLUMN_BLOCK; blocks != 0; --blocks) {
        before = sumColumnBlock(sums, edge, weight, full, before, dst);
        edge += COLUMN_BLOCK;
        weight += COLUMN_BLOCK;
        dst += COLUMN_BLOCK;
    }
    if (const std::uint32_t rest = width % COLUMN_BLOCK) {
        const std::uint32_t back = COLUMN_BLOCK - rest;
        edge -= back;
        weight -= back;
        const std::uint32_t running = sums[*edge + 1];
        const std::uint32_t own = running - sums[*edge];
        before = vmlsq_u32(vdupq_n_u32(own * std::uint32_t(*weight)), vdupq_n_u32(running), full);
        sumColumnBlock(sums, edge, weight, full, before, dst - back);
    }
}

/// The words of the horizontal pass on pixels of 2 to 4 channels.
struct ColumnWords {
    using Quad = uint32x4_t;

    static Quad zero() { return vdupq_n_u32(0); }
    static Quad load(const std::uint32_t* src) { return vld1q_u32(src); }
    static Quad repeat(const std::int32_t* element) {
        return vreinterpretq_u32_s32(vld1q_dup_s32(element));
    }
    static Quad add(Quad a, Quad b) { return vaddq_u32(a, b); }
    static Quad subtract(Quad a, Quad b) { return vsubq_u32(a, b); }
    static Quad multiply(Quad a, Quad b) { return vmulq_u32(a, b); }
    static Quad subtractProduct(Quad a, Quad b, Quad c) { return vmlsq_u32(a, b, c); }

    static void store(Quad first, Quad second, std::uint8_t* to, std::uint8_t* next) {
        const uint32x2_t pair = vreinterpret_u32_u8(roundOff(first, second));
        vst1_lane_u32(as<std::uint32_t>(to), pair, 0);
        vst1_lane_u32(as<std::uint32_t>(next), pair, 1);
    }
};

}  // namespace

ResizerByteArea1x1::ResizerByteArea1x1(const ResizerParam& parameters)
    : Base::ResizerByteArea1x1(parameters) {}

ResizerByteArea1x1::~ResizerByteArea1x1() = default;

void ResizerByteArea1x1::Run(const std::uint8_t* src,
                             std::uint32_t srcStride,
                             std::uint8_t* dst,
                             std::uint32_t dstStride) {
    if (param.channels == 0 || param.channels > MAX_CHANNELS) {
        return;
    }
    const AreaAxis columns = {ix.data, ax.data};
    const AreaAxis rows = {iy.data, ay.data};
    if (scaleWholeCells(param, columns, rows, RatioForms[RatioHalf],
                        MeansOfThirds[param.channels - 1], src, srcStride, dst, dstStride)) {
        return;
    }
    const std::size_t size = std::size_t{param.srcWidth} * param.channels;
    const std::int32_t full = rows.full();
    if (size < BLOCK || param.dstWidth < COLUMN_BLOCK || full < MIN_FULL_WEIGHT ||
        full > MAX_WEIGHT) {
        Base::ResizerByteArea1x1::Run(src, srcStride, dst, dstStride);
        return;
    }
    auto* const sums = static_cast<std::uint32_t*>(static_cast<void*>(by.data));
    withChannels(param.channels, [&](auto channels) {
        for (std::uint32_t y = 0; y < param.dstHeight; ++y, dst += RowStep(dstStride)) {
            const std::uint8_t* const first = src + iy.data[y] * RowStep(srcStride);
            const auto sumInto = [&](auto target) {
                sumRows(first, srcStride, iy.data + y, ay.data + y, full, size, target);
            };
            // Both forms may touch up to three elements of the margin behind the buffer.
            if constexpr (channels == 1) {
                sums[0] = 0;
                sumInto(RunningSums{sums, vdupq_n_u32(0)});
                weighRunningSums(sums, ix.data, ax.data, param.dstWidth, dst);
            } else {
                sumInto(PlainSums{sums});
                sumColumns<channels, ColumnWords>(sums, columns, param.dstWidth, dst);
            }
        }
    });
}

}  // namespace Neon
}  // namespace Simd
