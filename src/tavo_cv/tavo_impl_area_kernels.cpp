#include "tavo_cv/tavo_impl_area_kernels.h"

#include <algorithm>
#include <type_traits>

#include "tavo_cv/tavo_impl_samples.h"

namespace tavo::impl {
namespace {

/// Weights of an output add up to twice one at most, which is 0x10000 in the finer precision: sums
/// of 16-bit samples just fit 32 bits.
template <class T>
using Sum = std::conditional_t<(sizeof(T) < 4), std::uint32_t, std::uint64_t>;

/// A source row of elements.
template <class T, int Channels, bool Inside>
struct SourceRow {
    const unsigned char* samples;
    std::ptrdiff_t last;

    T load(std::ptrdiff_t element, int channel) const {
        const std::ptrdiff_t index = Inside ? element : std::min(element, last);
        return loadSample<T>(samples, index * Channels + channel);
    }
};

template <class T, int Channels, bool Inside>
void shrinkColumns(const AreaColumns& columns,
                   std::ptrdiff_t begin,
                   std::ptrdiff_t end,
                   const unsigned char* __restrict samples,
                   unsigned char* __restrict dst) {
    const SourceRow<T, Channels, Inside> src = {samples, columns.last};
    const AreaTableEntry* __restrict const entries = columns.entries;
    const Sum<T> full_weight = columns.full_weight;
    const int shift = columns.shift;
    for (std::ptrdiff_t i = begin; i < end; ++i) {
        const AreaTableEntry first = entries[i];
        const AreaTableEntry next = entries[i + 1];
        Sum<T> sums[Channels] = {};
        for (std::ptrdiff_t k = first.pos + 1; k < next.pos; ++k) {
            for (int c = 0; c < Channels; ++c) {
                sums[c] += src.load(k, c);
            }
        }
        const Sum<T> rest = full_weight - next.weight;
        for (int c = 0; c < Channels; ++c) {
            const Sum<T> sum = full_weight * sums[c] +
                               Sum<T>(first.weight) * src.load(first.pos, c) +
                               rest * src.load(next.pos, c);
            storeSample<T>(dst, i * Channels + c, T(sum >> shift));
        }
    }
}

template <class T, int Channels, bool Inside>
void growColumns(const AreaColumns& columns,
                 std::ptrdiff_t begin,
                 std::ptrdiff_t end,
                 const unsigned char* __restrict samples,
                 unsigned char* __restrict dst) {
    const SourceRow<T, Channels, Inside> src = {samples, columns.last};
    const AreaTableEntry* __restrict const entries = columns.entries;
    const Sum<T> full_weight = columns.full_weight;
    const int shift = columns.shift;
    for (std::ptrdiff_t i = begin; i < end; ++i) {
        const AreaTableEntry first = entries[i];
        const Sum<T> rest = full_weight - first.weight;
        for (int c = 0; c < Channels; ++c) {
            const Sum<T> sum =
                Sum<T>(first.weight) * src.load(first.pos, c) + rest * src.load(first.pos + 1, c);
            storeSample<T>(dst, i * Channels + c, T(sum >> shift));
        }
    }
}

/// Positions never fall, so outputs that reach beyond the source row are at the end.
template <class T, int Channels>
void scaleColumns(const AreaColumns& columns, const unsigned char* src, unsigned char* dst) {
    std::ptrdiff_t inside = columns.count;
    if (columns.shrinking) {
        while (inside > 0 && columns.entries[inside].pos > columns.last) {
            --inside;
        }
        shrinkColumns<T, Channels, true>(columns, 0, inside, src, dst);
        shrinkColumns<T, Channels, false>(columns, inside, columns.count, src, dst);
    } else {
        while (inside > 0 && columns.entries[inside - 1].pos >= columns.last) {
            --inside;
        }
        growColumns<T, Channels, true>(columns, 0, inside, src, dst);
        growColumns<T, Channels, false>(columns, inside, columns.count, src, dst);
    }
}

/// A product of 32 bits. Weights are at most 0x8000, so products of 16-bit samples have no sign to
/// extend, and only those of 32-bit samples wrap. 16-bit factors of byte samples let compilers take
/// a widening multiplication.
template <class T>
inline Sum<T> product(std::uint16_t weight, T sample) {
    using Factor = std::conditional_t<sizeof(T) == 1, std::uint16_t, T>;
    return std::uint32_t(weight) * std::uint32_t(Factor(sample));
}

template <class T>
void addRow(std::uint16_t weight,
            const unsigned char* __restrict src,
            std::ptrdiff_t samples,
            Sum<T>* __restrict sums) {
    for (std::ptrdiff_t i = 0; i < samples; ++i) {
        sums[i] += product(weight, loadSample<T>(src, i));
    }
}

/// Stores the means of the first and the last row, and of those in between when they are @p Summed.
template <class T, bool Summed>
void finishRow(const AreaRows& rows,
               std::ptrdiff_t samples,
               const Sum<T>* __restrict sums,
               unsigned char* __restrict dst) {
    const unsigned char* __restrict const first = rows.first;
    const unsigned char* __restrict const last = rows.last;
    const std::uint16_t first_weight = rows.first_weight;
    const std::uint16_t last_weight = rows.last_weight;
    const int shift = rows.shift;
    for (std::ptrdiff_t i = 0; i < samples; ++i) {
        const Sum<T> sum = (Summed ? sums[i] : Sum<T>(0)) +
                           product(first_weight, loadSample<T>(first, i)) +
                           product(last_weight, loadSample<T>(last, i));
        storeSample<T>(dst, i, T(sum >> shift));
    }
}

template <class T>
void scaleRows(const AreaRows& rows,
               std::ptrdiff_t samples,
               unsigned char* accumulator,
               unsigned char* dst) {
    auto* const sums = static_cast<Sum<T>*>(static_cast<void*>(accumulator));
    if (rows.whole_count == 0) {
        finishRow<T, false>(rows, samples, sums, dst);
        return;
    }
    std::fill_n(sums, samples, Sum<T>(0));
    for (int i = 0; i < rows.whole_count; ++i) {
        if (rows.whole[i]) {
            addRow<T>(rows.full_weight, rows.whole[i], samples, sums);
        }
    }
    finishRow<T, true>(rows, samples, sums, dst);
}

constexpr int SHIFT = 16;
constexpr std::uint32_t ONE = 1u << SHIFT;
constexpr std::uint32_t MASK = ONE - 1;

constexpr std::ptrdiff_t wholePart(std::uint32_t position) {
    return std::ptrdiff_t(position >> SHIFT);
}

/// Sums of the samples that an output covers in one row.
template <class T>
using RowSum = std::conditional_t<sizeof(T) == 1, std::uint32_t, std::uint64_t>;

/// A share below 1 of a sample. Products of 16-bit samples are signed and 32 bits wide: the upper
/// half extends its sign.
template <class T>
inline RowSum<T> share(std::uint32_t weight, T sample) {
    if constexpr (sizeof(T) == 2) {
        const std::uint64_t high = (weight * sample) >> SHIFT;
        return (high ^ 0x8000u) - 0x8000u;
    } else {
        return (RowSum<T>(weight) * sample) >> SHIFT;
    }
}

template <class T, int Channels, bool Inside>
void averagePart(const AreaRectangles& area,
                 std::ptrdiff_t begin,
                 std::ptrdiff_t end,
                 unsigned char* __restrict dst) {
    const AreaRowEntry* const rows_end = area.rows + area.row_count;
    for (std::ptrdiff_t i = begin; i < end; ++i) {
        const std::uint32_t x0 = std::uint32_t(i) * area.step_x;
        const std::uint32_t x1 = x0 + area.step_x;
        const std::ptrdiff_t first = wholePart(x0);
        const std::ptrdiff_t next = wholePart(x1);
        // An output that begins on a sample takes it whole, with those in between.
        const std::uint32_t first_weight = (ONE - (x0 & MASK)) & MASK;
        const std::uint32_t next_weight = x1 & MASK;
        const std::ptrdiff_t whole = first_weight == 0 ? first : first + 1;
        std::uint32_t sums[Channels] = {};  // the division takes no more than the low 32 bits
        for (const AreaRowEntry* entry = area.rows; entry != rows_end; ++entry) {
            const SourceRow<T, Channels, Inside> src = {entry->row, area.last};
            RowSum<T> row_sums[Channels];
            for (int c = 0; c < Channels; ++c) {
                row_sums[c] =
                    share(first_weight, src.load(first, c)) + share(next_weight, src.load(next, c));
            }
            for (std::ptrdiff_t k = whole; k < next; ++k) {
                for (int c = 0; c < Channels; ++c) {
                    row_sums[c] += src.load(k, c);
                }
            }
            for (int c = 0; c < Channels; ++c) {
                sums[c] += std::uint32_t((std::uint64_t(entry->weight) * row_sums[c]) >> SHIFT);
            }
        }
        for (int c = 0; c < Channels; ++c) {
            storeSample<T>(dst, i * Channels + c, T(area.divider.divide(sums[c])));
        }
    }
}

template <class T, int Channels>
void averageRectangles(const AreaRectangles& area, unsigned char* dst) {
    std::ptrdiff_t inside = area.count;
    while (inside > 0 && wholePart(std::uint32_t(inside) * area.step_x) > area.last) {
        --inside;
    }
    averagePart<T, Channels, true>(area, 0, inside, dst);
    averagePart<T, Channels, false>(area, inside, area.count, dst);
}

template <class T, int Channels>
constexpr AreaKernels kernelsOf() {
    return {Channels, scaleColumns<T, Channels>, scaleRows<T>, averageRectangles<T, Channels>};
}

constexpr AreaKernels KERNELS[ELEMENT_KINDS] = {
    kernelsOf<std::uint8_t, 1>(), kernelsOf<std::uint8_t, 2>(),  kernelsOf<std::uint8_t, 3>(),
    kernelsOf<std::uint8_t, 4>(), kernelsOf<std::uint16_t, 1>(), kernelsOf<std::uint32_t, 1>(),
};

}  // namespace

const AreaKernels& areaKernels(Element element) {
    return KERNELS[int(element)];
}

}  // namespace tavo::impl
