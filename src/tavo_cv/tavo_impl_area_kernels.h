// The pixel loops of the area scalers: they turn source rows into one output row of a plane.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tavo_cv/tavo_impl_scaled_planes.h"

namespace tavo::impl {

/// Where an output of one axis begins, and what its first source sample contributes.
///
/// A whole output weighs one = 1 << shift, and a whole source sample the full weight, at most one.
/// When shrinking, output i takes its entry's weight of the first sample, the full weight of those
/// in between, and of the last what entry i + 1 leaves of the full weight. When growing, it takes
/// its own entry's weight, and the rest of the full weight of the next sample.
struct AreaTableEntry {
    std::uint16_t pos;
    std::uint16_t weight;
};

/// An output row of a plane from one source row.
struct AreaColumns {
    const AreaTableEntry* entries;  // count + 1
    std::uint16_t full_weight;
    int shift;
    bool shrinking;
    std::ptrdiff_t count;  // output elements
    std::ptrdiff_t last;   // element of the source row; positions behind it take this one
};

/// An output row of a plane from the source rows that it covers. Sums are those of AreaColumns.
struct AreaRows {
    const unsigned char* first;
    const unsigned char* const* whole;  // rows of full weight; null where the source has none
    int whole_count;
    const unsigned char* last;  // never null; weight 0 when there is none
    std::uint16_t first_weight;
    std::uint16_t full_weight;
    std::uint16_t last_weight;
    int shift;
};

/// A source row and its 16.16 share of an output row.
struct AreaRowEntry {
    std::uint32_t weight;
    const unsigned char* row;
};

/// Divides by the 32.32 area of an output.
class AreaDivider {
public:
    /// @param step_x, step_y 16.16 source samples of an output, at least one each
    AreaDivider(std::uint32_t step_x, std::uint32_t step_y)
        : _area(std::uint64_t(step_x) * step_y),
          _reciprocal(std::uint32_t(~std::uint64_t(0) / _area)) {}

    /// (sum << 32) / area. The estimate from the reciprocal is exact or one short.
    std::uint32_t divide(std::uint32_t sum) const {
        const std::uint64_t quotient = (std::uint64_t(sum) * _reciprocal) >> 32;
        const std::uint64_t rest = (std::uint64_t(sum) << 32) - quotient * _area;
        return std::uint32_t(quotient + (rest >= _area ? 1 : 0));
    }

private:
    std::uint64_t _area;  // at least 1 << 32, which keeps the reciprocal below it
    std::uint32_t _reciprocal;
};

/// An output row of a plane from the rectangles that its elements cover. Output i covers the
/// 16.16 columns from i * step_x on.
struct AreaRectangles {
    const AreaRowEntry* rows;
    std::ptrdiff_t row_count;
    std::uint32_t step_x;
    AreaDivider divider;
    std::ptrdiff_t count;  // output elements
    std::ptrdiff_t last;   // element of the source rows; columns behind it take this one
};

struct AreaKernels {
    int samples;  // of an element
    void (*scale_columns)(const AreaColumns&, const unsigned char* src, unsigned char* dst);
    /// @param accumulator room for @p samples sums of 32 bits (8-bit samples) or 64 bits, aligned
    void (*scale_rows)(const AreaRows&,
                       std::ptrdiff_t samples,
                       unsigned char* accumulator,
                       unsigned char* dst);
    void (*average_rectangles)(const AreaRectangles&, unsigned char* dst);
};

/// @param element any but NONE
const AreaKernels& areaKernels(Element element);

}  // namespace tavo::impl
