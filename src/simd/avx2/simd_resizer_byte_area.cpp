// Scaling of bytes by the mean of the area that a destination pixel covers.
//
// The weights of both directions may be applied in any order: all sums are taken modulo 2^32. Where
// a pixel takes 2 x 2 or 3 x 3 whole cells there is one sum of them. Where columns take no more
// than two cells, or there is one channel, source rows are weighed along first, and a row that two
// or more destination rows share is weighed once. Elsewhere rows are added first.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "simd/avx2/simd_area_columns.h"
#include "simd/avx2/simd_area_rows.h"
#include "simd/avx2/simd_vectors.h"
#include "simd/simd_area_tables.h"
#include "simd/simd_gather_blocks.h"
#include "simd/simd_resizer.h"
#include "simd/simd_resizer_ratios.h"
#include "simd/simd_resizer_tables.h"
#include "simd/simd_row_step.h"
#include "simd/simd_whole_cells.h"

namespace Simd {
namespace Avx2 {
namespace {

std::int16_t* wordsOf(std::int32_t* pairs) {
    return static_cast<std::int16_t*>(static_cast<void*>(pairs));
}

std::uint32_t* sumsOf(std::int32_t* elements) {
    return static_cast<std::uint32_t*>(static_cast<void*>(elements));
}

/// Adds rows before they are weighed along.
/// @param sums has a margin of three elements
/// @return false where a row is too narrow, or weights don't fit
template <std::size_t CHANNELS, class Cells>
bool sumThenWeigh(const ResizerParam& p,
                  const CellRows<Cells>& image,
                  const AreaAxis& columns,
                  const AreaAxis& rows,
                  std::uint32_t* sums,
                  std::uint8_t* dst,
                  RowStep dstStep) {
    const std::size_t size = p.srcWidth / Cells::SIDE * CHANNELS;
    if (size < CELL_BLOCK<Cells> || rows.full() < LEAST_FULL<Cells> || !fitsWord(rows.full())) {
        return false;
    }
    for (std::uint32_t y = 0; y < p.dstHeight; ++y, dst += dstStep) {
        sumRows(image, rows, y, size, sums);
        if (p.srcWidth % Cells::SIDE != 0) {
            sumSingleColumn<CHANNELS>(image, rows, y, size, sums + size);
        }
        sumColumns<CHANNELS, ColumnWords>(sums, columns, p.dstWidth, dst);
    }
    return true;
}

/// @return false where the pairs don't serve
bool estimatePairs(const ResizerParam& p,
                   const AreaAxis& columns,
                   const AreaAxis& rows,
                   AreaTables& tables) {
    const std::uint32_t size = p.dstWidth * p.channels;
    if (size <= GATHER_PAIRS / 2 || p.srcWidth * p.channels < GATHER_WINDOW ||
        rows.full() < LEAST_FULL<PlainCells> || columns.furthestReach(p.dstWidth) > 1) {
        return false;
    }
    tables.first.Resize(p.dstWidth, p.alignment);
    tables.weights.Resize(size + GATHER_PAIRS / 2, p.alignment);
    if (!estimateAreaPairs(p, columns, tables.first.data, wordsOf(tables.weights.data))) {
        return false;
    }
    tables.blocks.Resize(size, p.alignment);
    tables.blockCount = estimateGatherBlocks(p, tables.first.data, tables.blocks.data);
    return true;
}

/// Leaves `windowCount` 0 where the windows don't serve.
template <class Cells>
void estimateWindows(const ResizerParam& p,
                     const AreaAxis& columns,
                     const AreaAxis& rows,
                     AreaTables& tables) {
    if (p.channels != 1 || p.srcWidth / Cells::SIDE < CELL_BLOCK<Cells> ||
        columns.full() < LEAST_FULL<Cells> || !fitsWord(columns.full()) ||
        rows.full() < LEAST_FULL<Cells>) {
        return;
    }
    const auto reach = std::uint32_t(columns.furthestReach(p.dstWidth));
    const std::uint32_t padded = roundedUp(p.dstWidth, AREA_BLOCK);
    const std::uint32_t count = reach / AREA_WINDOW + 1;
    tables.first.Resize(padded, p.alignment);
    tables.weights.Resize(std::uint64_t{padded} * count * AREA_WINDOW / 2, p.alignment);
    tables.words.Resize(p.srcWidth / 2 + (count + 1) * AREA_WINDOW, p.alignment);
    estimateAreaWindows(columns, p.dstWidth, count, tables.first.data,
                        wordsOf(tables.weights.data));
    tables.windowCount = count;
}

/// Rows of sums that are weighed along already.
template <class SumRows>
class WeighedSums {
public:
    WeighedSums(AreaTables& tables, SumRows sumRows) : _tables(tables), _sumRows(sumRows) {}

    /// One row, which the next destination row may need, too.
    const std::int32_t* single(std::int32_t row) {
        _latest ^= _held[_latest] == row ? 0 : 1;
        std::int32_t* const sums = _tables.sums[_latest].data;
        if (_held[_latest] != row) {
            _sumRows(row, 1, sums);
            _held[_latest] = row;
        }
        return sums;
    }

    const std::int32_t* several(std::int32_t row, std::int32_t count) {
        _sumRows(row, count, _tables.sums[2].data);
        return _tables.sums[2].data;
    }

private:
    AreaTables& _tables;
    SumRows _sumRows;
    std::int32_t _held[2] = {-1, -1};
    std::size_t _latest = 0;
};

/// @param sumRows called with the first of some rows, their number, and the place for their sums
template <class SumRows>
void weighThenBlend(const ResizerParam& p,
                    const AreaAxis& axis,
                    AreaTables& tables,
                    SumRows sumRows,
                    std::uint8_t* dst,
                    RowStep dstStep) {
    const std::uint32_t size = p.dstWidth * p.channels;
    WeighedSums<SumRows> sums(tables, sumRows);
    for (std::uint32_t y = 0; y < p.dstHeight; ++y, dst += dstStep) {
        const std::int32_t top = axis.index[y];
        const std::int32_t reach = axis.reach(y);
        if (reach == 0 && y != 0 && axis.reach(y - 1) == 0 &&
            axis.cellWeight(y, 0) == axis.cellWeight(y - 1, 0)) {
            std::memcpy(dst, dst - dstStep, size);
            continue;
        }
        WeighedRows rows;
        const bool isTopWhole = reach != 0 && axis.weight[y] == axis.full();
        const std::int32_t whole = reach - (isTopWhole ? 0 : 1);
        if (!isTopWhole) {
            rows.add(sums.single(top), axis.cellWeight(y, 0));
        }
        if (whole > 0) {
            rows.add(sums.several(top + reach - whole, whole), axis.full());
        }
        if (reach != 0 && axis.cellWeight(y, reach) != 0) {
            rows.add(sums.single(top + reach), axis.cellWeight(y, reach));
        }
        blendRows(rows, size, dst);
    }
}

/// @return false where neither pairs nor windows serve
template <std::size_t CHANNELS, class Cells>
bool weighThenBlend(const ResizerParam& p,
                    const CellRows<Cells>& image,
                    const AreaAxis& rows,
                    AreaTables& tables,
                    std::uint8_t* dst,
                    RowStep dstStep) {
    const std::int16_t* const weights = wordsOf(tables.weights.data);
    if (Cells::SIDE == 1 && tables.blockCount != 0) {
        const auto sumRows = [&](std::int32_t row, std::int32_t count, std::int32_t* to) {
            sumPairs(image.added(row, count), tables.blocks.data, tables.blockCount, weights, to);
        };
        weighThenBlend(p, rows, tables, sumRows, dst, dstStep);
        return true;
    }
    if constexpr (CHANNELS == 1) {
        if (tables.windowCount != 0) {
            std::int16_t* const words = wordsOf(tables.words.data);
            const auto sum = tables.windowCount == 1 ? sumWindows<1> : sumWindows<0>;
            const auto sumRows = [&](std::int32_t row, std::int32_t count, std::int32_t* to) {
                sumWords<Cells>(image.added(row, count), p.srcWidth, words);
                sum(words, tables.first.data, weights, tables.windowCount, p.dstWidth, to);
            };
            weighThenBlend(p, rows, tables, sumRows, dst, dstStep);
            return true;
        }
    }
    return false;
}

template <class Cells>
void estimate(const ResizerParam& p,
              const AreaAxis& columns,
              const AreaAxis& rows,
              AreaTables& tables) {
    if (Cells::SIDE != 1 || !estimatePairs(p, columns, rows, tables)) {
        estimateWindows<Cells>(p, columns, rows, tables);
    }
    if (tables.blockCount != 0 || tables.windowCount != 0) {
        const std::uint32_t size = roundedUp(p.dstWidth * p.channels, VECTOR) + GATHER_PAIRS / 2;
        for (Table<std::int32_t>& row : tables.sums) {
            row.Resize(size, p.alignment);
        }
    }
    tables.isEstimated = true;
}

/// @param sums row of column sums, with a margin of three elements
/// @return false where the portable form serves
template <std::size_t CHANNELS, class Cells>
bool scaleArea(const ResizerParam& p,
               const CellRows<Cells>& image,
               const AreaAxis& columns,
               const AreaAxis& rows,
               AreaTables& tables,
               std::int32_t* sums,
               std::uint8_t* dst,
               RowStep dstStep) {
    if (!tables.isEstimated) {
        estimate<Cells>(p, columns, rows, tables);
    }
    return weighThenBlend<CHANNELS>(p, image, rows, tables, dst, dstStep) ||
           sumThenWeigh<CHANNELS>(p, image, columns, rows, sumsOf(sums), dst, dstStep);
}

}  // namespace

ResizerByteArea1x1::ResizerByteArea1x1(const ResizerParam& parameters)
    : Base::ResizerByteArea1x1(parameters) {}

ResizerByteArea1x1::~ResizerByteArea1x1() = default;

void ResizerByteArea1x1::Run(const std::uint8_t* src,
                             std::uint32_t srcStride,
                             std::uint8_t* dst,
                             std::uint32_t dstStride) {
    const AreaAxis columns = {ix.data, ax.data};
    const AreaAxis rows = {iy.data, ay.data};
    if (scaleWholeCells(param, columns, rows, RatioForms[RatioHalf],
                        MeansOfThirds[param.channels - 1], src, srcStride, dst, dstStride)) {
        return;
    }
    bool isDone = false;
    withChannels(param.channels, [&](auto channels) {
        const CellRows<PlainCells> image = {src, srcStride, param.srcHeight};
        isDone = scaleArea<channels>(param, image, columns, rows, tables, by.data, dst, dstStride);
    });
    if (!isDone) {
        Base::ResizerByteArea1x1::Run(src, srcStride, dst, dstStride);
    }
}

ResizerByteArea2x2::ResizerByteArea2x2(const ResizerParam& parameters)
    : Base::ResizerByteArea2x2(parameters) {}

ResizerByteArea2x2::~ResizerByteArea2x2() = default;

void ResizerByteArea2x2::Run(const std::uint8_t* src,
                             std::uint32_t srcStride,
                             std::uint8_t* dst,
                             std::uint32_t dstStride) {
    const AreaAxis columns = {ix.data, ax.data};
    const AreaAxis rows = {iy.data, ay.data};
    bool isDone = false;
    withChannels(param.channels, [&](auto channels) {
        const CellRows<PairedCells<channels>> image = {src, srcStride, param.srcHeight};
        isDone = scaleArea<channels>(param, image, columns, rows, tables, by.data, dst, dstStride);
    });
    if (!isDone) {
        Base::ResizerByteArea2x2::Run(src, srcStride, dst, dstStride);
    }
}

}  // namespace Avx2
}  // namespace Simd
