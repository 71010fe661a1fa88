// Scaling by copies of the nearest pixel.
//
// Destination index i stands for source index trunc((i + 0.5) src / dst), in single precision, or
// for the quotient (i src) / dst. Both are clamped to the source, because the product may be
// rounded up to its size, or wrap.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/simd_nearest_rows.h"
#include "simd/simd_platform.h"
#include "simd/simd_resizer.h"
#include "simd/simd_row_step.h"

namespace Simd {
namespace Base {
namespace {

std::uint32_t elementSize(std::uint32_t type) {
    return type == ResizerChannelByte ? 1 : type == ResizerChannelShort ? 2 : 4;
}

void estimateCentred(std::uint32_t src,
                     std::uint32_t dst,
                     std::uint32_t step,
                     std::uint32_t* index) {
    const std::int32_t last = std::int32_t(src) - 1;
    const float scale = float(src) / float(dst);
    for (std::int32_t i = 0; i < std::int32_t(dst); ++i) {
        const auto nearest = std::int32_t((float(i) + 0.5f) * scale);
        index[i] = std::uint32_t(nearest < last ? nearest : last) * step;
    }
}

void estimateCorner(std::uint32_t src,
                    std::uint32_t dst,
                    std::uint32_t step,
                    std::uint32_t* index) {
    std::uint32_t product = 0;
    for (std::uint32_t i = 0; i < dst; ++i, product += src) {
        const std::uint32_t nearest = product / dst;
        index[i] = (nearest < src ? nearest : src - 1) * step;
    }
}

/// The source index of each of @p dst places, times @p step.
void estimate(std::uint32_t method,
              std::uint32_t src,
              std::uint32_t dst,
              std::uint32_t step,
              std::uint32_t* index) {
    if (method == ResizerMethodNearest) {
        estimateCentred(src, dst, step, index);
    } else if (method == ResizerMethodNearestCorner) {
        estimateCorner(src, dst, step, index);
    } else if (dst != 0) {
        std::memset(index, 0, dst * sizeof(*index));
    }
}

/// The pixels of a row that are copied one by one.
struct PixelRange {
    const std::uint32_t* offset;  // in the source row, by column
    std::size_t begin;
    std::size_t inner;  // behind the pixels before this column there is a byte in both rows
    std::size_t end;
    std::uint32_t size;
};

/// Copies pixels whose size is known to the compiler.
template <std::uint32_t SIZE>
void copyPixels(const std::uint8_t* __restrict src,
                const PixelRange& pixels,
                std::uint8_t* __restrict dst) {
    const std::uint32_t* __restrict offset = pixels.offset;
    const std::size_t end = pixels.end;
#pragma GCC unroll 4
    for (std::size_t x = pixels.begin; x < end; ++x) {
        std::memcpy(dst + x * SIZE, src + offset[x], SIZE);
    }
}

/// Copies a fourth byte with a pixel where it can, which the next pixel then replaces.
template <>
void copyPixels<3>(const std::uint8_t* __restrict src,
                   const PixelRange& pixels,
                   std::uint8_t* __restrict dst) {
    const std::uint32_t* __restrict offset = pixels.offset;
    const std::size_t inner = pixels.inner;
    std::size_t x = pixels.begin;
#pragma GCC unroll 4
    for (; x < inner; ++x) {
        std::memcpy(dst + x * 3, src + offset[x], 4);
    }
    for (; x < pixels.end; ++x) {
        std::memcpy(dst + x * 3, src + offset[x], 3);
    }
}

void copyPixelsOfAny(const std::uint8_t* __restrict src,
                     const PixelRange& pixels,
                     std::uint8_t* __restrict dst) {
    for (std::size_t x = pixels.begin; x < pixels.end; ++x) {
        std::memcpy(dst + x * pixels.size, src + pixels.offset[x], pixels.size);
    }
}

constexpr decltype(&copyPixelsOfAny) COPY_PIXELS[] = {
    copyPixelsOfAny, copyPixels<1>,   copyPixels<2>,   copyPixels<3>, copyPixels<4>,
    copyPixelsOfAny, copyPixels<6>,   copyPixelsOfAny, copyPixels<8>, copyPixelsOfAny,
    copyPixelsOfAny, copyPixelsOfAny, copyPixels<12>};

constexpr std::uint32_t LARGEST_FIXED_SIZE = 12;

constexpr std::uint32_t MARGIN = NEAREST_WORD - 1;  // of a table of positions

/// Writes @p count positions from @p from on in whole words, hence up to MARGIN more.
inline void writePositions(std::uint32_t from, std::uint32_t count, std::uint8_t* positions) {
    constexpr std::uint8_t ORDER[NEAREST_WORD] = {0, 1, 2, 3};
    constexpr std::uint32_t EACH = 0x01010101;
    std::uint32_t word;
    std::memcpy(&word, ORDER, sizeof(word));
    word += from * EACH;
    for (std::uint32_t i = 0; i < count; i += NEAREST_WORD, word += NEAREST_WORD * EACH) {
        std::memcpy(positions + i, &word, sizeof(word));
    }
}

/// Row functions in vectors; null where the processor has none.
const NearestRows* vectorRows() {
#ifdef TAVO_NEON
    if (Neon::Enable) {
        return &Neon::NearestVectors;
    }
#endif
#ifdef TAVO_AVX2
    if (Avx2::Enable) {
        return &Avx2::NearestVectors;
    }
#endif
    return nullptr;
}

}  // namespace

ResizerNearest::ResizerNearest(const ResizerParam& parameters) : Resizer(parameters) {}

ResizerNearest::~ResizerNearest() = default;

void ResizerNearest::EstimateRows() {
    const std::uint32_t height = param.dstHeight;
    iy.Resize(std::uint64_t{height} + 1, param.alignment);
    estimate(param.method, param.srcHeight, height, 1, iy.data);
    iy.data[height] = iy.data[height - 1];
}

void ResizerNearest::EstimateColumns() {
    ix.Resize(param.dstWidth, param.alignment);
    estimate(param.method, param.srcWidth, param.dstWidth, pixelSize, ix.data);
}

void ResizerNearest::FindInnerPixels() {
    const std::uint32_t last = param.dstWidth - 1;
    const std::uint32_t edge = (param.srcWidth - 1) * pixelSize;
    const std::uint32_t* const offset = ix.data;
    const auto* const end = std::find(offset + std::min(doneInVectors, last), offset + last, edge);
    innerEnd = std::size_t(end - offset);
}

bool ResizerNearest::TakesEverySecond() const {
    constexpr std::uint32_t LIMIT = 1u << 22;  // up to which floats hold the products
    return param.method == ResizerMethodNearest && param.srcWidth <= LIMIT &&
           param.srcWidth == 2 * param.dstWidth;
}

bool ResizerNearest::CutIntoBlocks(const NearestRows::Form& form) {
    const std::uint32_t size = pixelSize;
    const std::uint32_t width = param.dstWidth * size;
    const std::uint32_t window = form.window;
    const std::uint32_t lastWindow = param.srcWidth * size - window;
    const std::uint32_t* pixel = ix.data;
    std::uint32_t done = 0;  // bytes of the pixel that stand in the blocks before
    std::uint32_t to = 0;
    for (blockCount = 0; to + form.block <= width; ++blockCount) {
        if (blockCount == blocks.size) {
            return false;
        }
        // From a pixel's first byte on, to which a repeated pixel comes back.
        const std::uint32_t first = std::min(*pixel, lastWindow);
        blocks.data[blockCount] = {first, to};
        std::uint8_t* position = positions.data + std::size_t(blockCount) * form.block;
        const std::uint32_t end = to + form.block;
        // What remains of a pixel, and then whole ones.
        std::uint32_t count = size - done;
        while (count <= end - to && *pixel + done - first <= window - count) {
            writePositions(*pixel + done - first, count, position);
            position += count;
            to += count;
            done = 0;
            count = size;
            ++pixel;
        }
        // What there is room for of the next one.
        if (to < end && *pixel + done - first < window) {
            const std::uint32_t from = *pixel + done - first;
            count = std::min(end - to, window - from);
            writePositions(from, count, position);
            to += count;
            done += count;
        }
        if (form.words && to < end) {
            return false;
        }
    }
    doneInVectors = std::uint32_t(pixel - ix.data);
    return true;
}

bool ResizerNearest::ChooseHalves() {
    const NearestRows* const rows = vectorRows();
    if (rows != nullptr && pixelSize <= NearestRows::HALVE_SIZE &&
        param.dstWidth >= rows->halveWidth && TakesEverySecond()) {
        halve = rows->halve[pixelSize - 1];
    }
    return halve != nullptr;
}

float ResizerNearest::EstimateCost(const NearestRows::Form& form) const {
    const bool fits = form.window >= pixelSize && form.window <= param.srcWidth * pixelSize &&
                      form.least <= param.dstWidth * pixelSize;
    const auto size = float(pixelSize);
    const float step = float(param.srcWidth) / float(param.dstWidth);
    const float reached = 1.0f + float(form.window - pixelSize) / (step * size);
    const float most = float(form.block) / size;
    const bool isServed = !form.words || (pixelSize % NEAREST_WORD == 0 &&
                                          form.block % pixelSize == 0 && reached >= most);
    return fits && isServed ? form.cost / std::min(reached, most) : 1.0f;
}

void ResizerNearest::ChooseBlocks() {
    const NearestRows* const rows = vectorRows();
    if (rows == nullptr) {
        return;
    }
    // The form that is quickest, if any is quicker than copies.
    const NearestRows::Form* best = nullptr;
    float least = 1.0f;
    for (std::uint32_t i = 0; i < rows->formCount; ++i) {
        const float cost = EstimateCost(rows->forms[i]);
        best = cost < least ? &rows->forms[i] : best;
        least = std::min(least, cost);
    }
    if (best != nullptr) {
        blocks.Resize(std::uint32_t(float(param.dstWidth) / best->cost), param.alignment);
        const std::uint32_t each = best->spread != nullptr ? best->window : best->block;
        positions.Resize(std::uint64_t(blocks.size) * each + MARGIN, param.alignment);
        if (CutIntoBlocks(*best)) {
            gather = best->gather;
            if (best->spread != nullptr) {
                best->spread(positions.data, blockCount);
            }
            return;
        }
    }
    blockCount = doneInVectors = 0;
    blocks.Resize(0);
    positions.Resize(0);
}

void ResizerNearest::Run(const std::uint8_t* src,
                         std::uint32_t srcStride,
                         std::uint8_t* dst,
                         std::uint32_t dstStride) {
    if (pixelSize == 0) {
        pixelSize = param.channels * elementSize(param.type);
        EstimateRows();
        if (!ChooseHalves()) {
            EstimateColumns();
            ChooseBlocks();
            if (pixelSize == 3) {
                FindInnerPixels();
            }
        }
    }
    const std::uint32_t width = param.dstWidth;
    const PixelRange pixels = {ix.data, doneInVectors, innerEnd, width, pixelSize};
    const auto copy = pixelSize <= LARGEST_FIXED_SIZE ? COPY_PIXELS[pixelSize] : copyPixelsOfAny;
    const auto rowAt = [&](std::uint32_t y) {
        return src + std::ptrdiff_t(iy.data[y]) * RowStep(srcStride);
    };
    const std::uint8_t* above = nullptr;
    const std::uint8_t* row = rowAt(0);
    for (std::uint32_t y = 0; y < param.dstHeight; ++y, dst += RowStep(dstStride)) {
        const std::uint8_t* const next = rowAt(y + 1);
        if (row == above) {
            std::memcpy(dst, dst - RowStep(dstStride), std::size_t{width} * pixelSize);
        } else if (halve != nullptr) {
            halve(row, next, width, dst);
        } else {
            if (blockCount != 0) {
                gather(row, next, blocks.data, positions.data, blockCount, dst);
            }
            copy(row, pixels, dst);
        }
        above = row;
        row = next;
    }
}

}  // namespace Base
}  // namespace Simd
