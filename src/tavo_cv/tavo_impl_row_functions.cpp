#include "tavo_cv/tavo_impl_row_functions.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tavo_cv/tavo_impl_samples.h"

namespace tavo::impl {
namespace {

using Byte = unsigned char;

/// The address of a component's first sample; null when its plane has no row here.
Byte* componentRow(const RowData& row, int plane, int offset) {
    return row.plane[plane] ? row.plane[plane] + offset : nullptr;
}

// ---- Samples that only change their place -------------------------------------------------------

template <int SrcStep, int DstStep>
void copySamples(const Byte* __restrict src, Byte* __restrict dst, std::ptrdiff_t count) {
    if (SrcStep == 1 && DstStep == 1) {
        std::memcpy(dst, src, std::size_t(count));
        return;
    }
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        dst[i * DstStep] = src[i * SrcStep];
    }
}

using CopyFunction = void (*)(const Byte*, Byte*, std::ptrdiff_t);

// By the steps of source and destination, minus 1.
constexpr CopyFunction COPY_LUMA[3][3] = {
    {copySamples<1, 1>, copySamples<1, 2>, copySamples<1, 3>},
    {copySamples<2, 1>, copySamples<2, 2>, copySamples<2, 3>},
    {copySamples<3, 1>, copySamples<3, 2>, copySamples<3, 3>},
};

void copyLuma(const Byte* src, int src_step, Byte* dst, int dst_step, int width) {
    COPY_LUMA[src_step - 1][dst_step - 1](src, dst, width);
}

// ---- BGR to YUV ---------------------------------------------------------------------------------
// Coefficients have 8 fractional bits. Raw chroma carries its offset of 128 and is never negative:
// it lies in 4208..61328, and a sum of four of them is far below 31 bits.

inline int lumaOf(const Byte* bgr) {
    return (129 * bgr[1] + 25 * bgr[0] + 65 * bgr[2] + 4096) >> 8;
}
inline int rawU(const Byte* bgr) {
    return 32768 + 112 * bgr[0] - 74 * bgr[1] - 38 * bgr[2];
}
inline int rawV(const Byte* bgr) {
    return 32768 - 18 * bgr[0] - 94 * bgr[1] + 112 * bgr[2];
}

template <int Step>
void lumaOfBgr(const Byte* __restrict bgr, Byte* __restrict y, std::ptrdiff_t width) {
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        y[x * Step] = Byte(lumaOf(bgr + 3 * x));
    }
}

/// The truncated mean of the chroma of Rows rows of Pixels pixels each, both 1 or 2.
template <int Pixels, int Rows>
inline void meanChroma(const Byte* const (&bgr)[Rows], std::ptrdiff_t x, Byte* u, Byte* v) {
    constexpr int SHIFT = 8 + (Pixels - 1) + (Rows - 1);
    int sum_u = 0;
    int sum_v = 0;
    for (int r = 0; r < Rows; ++r) {
        for (int i = 0; i < Pixels; ++i) {
            sum_u += rawU(bgr[r] + 3 * (x + i));
            sum_v += rawV(bgr[r] + 3 * (x + i));
        }
    }
    *u = Byte(sum_u >> SHIFT);
    *v = Byte(sum_v >> SHIFT);
}

template <int Step, int Subsampling, int Rows>
void chromaOfBgr(const Byte* const (&rows)[Rows],
                 Byte* __restrict u,
                 Byte* __restrict v,
                 std::ptrdiff_t width) {
    const std::ptrdiff_t whole = width / Subsampling;
    for (std::ptrdiff_t k = 0; k < whole; ++k) {
        meanChroma<Subsampling, Rows>(rows, k * Subsampling, u + k * Step, v + k * Step);
    }
    if (whole * Subsampling < width) {
        meanChroma<1, Rows>(rows, width - 1, u + whole * Step, v + whole * Step);
    }
}

/// Chroma of full height, from the row alone.
template <int LumaStep, int ChromaStep, int Subsampling>
void bgrToYuv(Rows rows, Byte* y, Byte* u, Byte* v, int width) {
    const Byte* const bgr = rows[0]->plane[0];
    lumaOfBgr<LumaStep>(bgr, y, width);
    if (u && v) {
        chromaOfBgr<ChromaStep, Subsampling, 1>({bgr}, u, v, width);
    }
}

/// Chroma of half height, from the row and the next one where there is one.
template <int ChromaStep>
void bgrToYuv420(Rows rows, Byte* y, Byte* u, Byte* v, int width) {
    if (!u || !v || !rows[1]) {
        bgrToYuv<1, ChromaStep, 2>(rows, y, u, v, width);
        return;
    }
    const Byte* const bgr = rows[0]->plane[0];
    lumaOfBgr<1>(bgr, y, width);
    chromaOfBgr<ChromaStep, 2, 2>({bgr, rows[1]->plane[0]}, u, v, width);
}

// ---- YUV to BGR ---------------------------------------------------------------------------------
// B = (297 (Y - 16) + 516 D) / 256 and so on, D and E being U and V less 128. Sums stay within
// +-145000. Truncating toward zero and clamping to 0..255 is the same as clamping to 0 first.

inline Byte colour(int sum) {
    return Byte(std::min(std::max(sum, 0) >> 8, 255));
}

struct ChromaTerms {
    int b;
    int g;
    int r;
};

inline ChromaTerms chromaTerms(int u, int v) {
    const int d = u - 128;
    const int e = v - 128;
    return {516 * d, -100 * d - 207 * e, 408 * e};
}

inline void storeBgr(int y, const ChromaTerms& chroma, Byte* bgr) {
    const int c = 297 * (y - 16);
    bgr[0] = colour(c + chroma.b);
    bgr[1] = colour(c + chroma.g);
    bgr[2] = colour(c + chroma.r);
}

template <int LumaStep, int ChromaStep, int Subsampling>
void yuvToBgr(const Byte* __restrict y,
              const Byte* __restrict u,
              const Byte* __restrict v,
              Byte* __restrict bgr,
              std::ptrdiff_t width) {
    const std::ptrdiff_t whole = width / Subsampling;
    for (std::ptrdiff_t k = 0; k < whole; ++k) {
        const ChromaTerms chroma = chromaTerms(u[k * ChromaStep], v[k * ChromaStep]);
        for (int i = 0; i < Subsampling; ++i) {
            const std::ptrdiff_t x = k * Subsampling + i;
            storeBgr(y[x * LumaStep], chroma, bgr + 3 * x);
        }
    }
    if (whole * Subsampling < width) {
        const ChromaTerms chroma = chromaTerms(u[whole * ChromaStep], v[whole * ChromaStep]);
        storeBgr(y[(width - 1) * LumaStep], chroma, bgr + 3 * (width - 1));
    }
}

// ---- Chroma of one subsampling to another -------------------------------------------------------
// A destination sample is the truncated mean over its pixels in all rows; a source sample counts
// once for each pixel that it covers. The number of terms is 1, 2 or 4.

template <int Pixels, int SrcStep, int SrcSubsampling, int Rows>
inline Byte meanSample(const Byte* const (&src)[2], std::ptrdiff_t x) {
    unsigned sum = 0;
    for (int r = 0; r < Rows; ++r) {
        for (int i = 0; i < Pixels; ++i) {
            sum += src[r][(x + i) / SrcSubsampling * SrcStep];
        }
    }
    return Byte(sum / unsigned(Pixels * Rows));
}

template <int SrcStep, int SrcSubsampling, int DstStep, int DstSubsampling, int Rows>
void resampleChroma(const Byte* const (&src)[2],
                    Byte* __restrict dst,
                    std::ptrdiff_t width,
                    std::ptrdiff_t limit) {
    const Byte* const rows[2] = {src[0], src[1]};
    const std::ptrdiff_t whole = width / DstSubsampling;
    for (std::ptrdiff_t k = 0; k < std::min(whole, limit); ++k) {
        dst[k * DstStep] =
            meanSample<DstSubsampling, SrcStep, SrcSubsampling, Rows>(rows, k * DstSubsampling);
    }
    if (whole * DstSubsampling < width && whole < limit) {
        dst[whole * DstStep] = meanSample<1, SrcStep, SrcSubsampling, Rows>(rows, width - 1);
    }
}

/// @p limit is the most samples to write.
using ResampleFunction = void (*)(const Byte* const (&)[2],
                                  Byte*,
                                  std::ptrdiff_t width,
                                  std::ptrdiff_t limit);

/// How chroma lies in a row: the index of the tables below. Step 1 comes with and without
/// subsampling, every other step with one of them.
constexpr std::size_t chromaShape(int step, int subsampling) {
    return std::size_t(step == 1 ? subsampling - 1 : step);
}

using ByRows = std::array<ResampleFunction, 2>;
using ByDestination = std::array<ByRows, 5>;

template <int SrcStep, int SrcSubsampling, int DstStep, int DstSubsampling>
constexpr ByRows byRows() {
    // Only planar and semi-planar 4:2:0 average two rows.
    constexpr int MOST_ROWS = DstSubsampling == 2 && DstStep <= 2 ? 2 : 1;
    return {resampleChroma<SrcStep, SrcSubsampling, DstStep, DstSubsampling, 1>,
            resampleChroma<SrcStep, SrcSubsampling, DstStep, DstSubsampling, MOST_ROWS>};
}

template <int SrcStep, int SrcSubsampling>
constexpr ByDestination byDestination() {
    return {byRows<SrcStep, SrcSubsampling, 1, 1>(), byRows<SrcStep, SrcSubsampling, 1, 2>(),
            byRows<SrcStep, SrcSubsampling, 2, 2>(), byRows<SrcStep, SrcSubsampling, 3, 1>(),
            byRows<SrcStep, SrcSubsampling, 4, 2>()};
}

constexpr std::array<ByDestination, 5> RESAMPLE_CHROMA = {
    byDestination<1, 1>(), byDestination<1, 2>(), byDestination<2, 2>(), byDestination<3, 1>(),
    byDestination<4, 2>()};

// ---- Floats -------------------------------------------------------------------------------------

/// Conversion toward zero to 32 bits, saturating; NaN gives 0.
inline std::uint32_t saturate(float value) {
    constexpr float TWO_TO_32 = 4294967296.0f;
    constexpr float LARGEST_BELOW = 4294967040.0f;
    const float limited = value > 0.0f ? std::min(value, LARGEST_BELOW) : 0.0f;
    return value >= TWO_TO_32 ? 0xffffffffu : std::uint32_t(limited);
}

template <int SrcStep>
void bytesToFloats(const Byte* __restrict src, Byte* __restrict dst, std::ptrdiff_t count) {
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        storeSample(dst, i, float(src[i * SrcStep]));
    }
}

}  // namespace

// ---- The functions ------------------------------------------------------------------------------

void rowGrayToBgr(Rows rows, RowData& dst, int width, const Context&) {
    const Byte* __restrict gray = rows[0]->plane[0];
    Byte* __restrict bgr = dst.plane[0];
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        bgr[3 * x] = gray[x];
        bgr[3 * x + 1] = gray[x];
        bgr[3 * x + 2] = gray[x];
    }
}

void rowGrayToYuv(Rows rows, RowData& dst, int width, const Context& context) {
    const FormatInfo& info = context.dst_info;
    const Byte* const gray = rows[0]->plane[0];
    Byte* const y = componentRow(dst, info.y_plane, info.y_offset);
    Byte* const u = componentRow(dst, info.u_plane, info.u_offset);
    Byte* const v = componentRow(dst, info.v_plane, info.v_offset);
    if (!u || !v) {
        std::memcpy(y, gray, std::size_t(width));
        return;
    }
    copyLuma(gray, 1, y, info.y_step, width);
    // Chroma of gray is 0 here, not the neutral 128.
    const int samples = (width + info.x_subsampling - 1) / info.x_subsampling;
    for (std::ptrdiff_t i = 0; i < samples; ++i) {
        u[i * info.u_step] = 0;
        v[i * info.v_step] = 0;
    }
}

void rowBgrToGray(Rows rows, RowData& dst, int width, const Context&) {
    const Byte* __restrict bgr = rows[0]->plane[0];
    Byte* __restrict gray = dst.plane[0];
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        gray[x] = Byte((152 * bgr[3 * x + 1] + 28 * bgr[3 * x] + 76 * bgr[3 * x + 2]) >> 8);
    }
}

void rowYuvToGray(Rows rows, RowData& dst, int width, const Context& context) {
    const FormatInfo& info = context.src_info;
    copyLuma(componentRow(*rows[0], info.y_plane, info.y_offset), info.y_step, dst.plane[0], 1,
             width);
}

void rowSwapFirstThird(Rows rows, RowData& dst, int width, const Context&) {
    const Byte* __restrict in = rows[0]->plane[0];
    Byte* __restrict out = dst.plane[0];
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        out[3 * x] = in[3 * x + 2];
        out[3 * x + 1] = in[3 * x + 1];
        out[3 * x + 2] = in[3 * x];
    }
}

void rowDeinterleave(Rows rows, RowData& dst, int width, const Context&) {
    for (int c = 0; c < 3; ++c) {
        copySamples<3, 1>(rows[0]->plane[0] + c, dst.plane[c], width);
    }
}

void rowInterleave(Rows rows, RowData& dst, int width, const Context&) {
    for (int c = 0; c < 3; ++c) {
        copySamples<1, 3>(rows[0]->plane[c], dst.plane[0] + c, width);
    }
}

void rowBytesToFloat(Rows rows, RowData& dst, int width, const Context&) {
    bytesToFloats<1>(rows[0]->plane[0], dst.plane[0], 3 * std::ptrdiff_t(width));
}

void rowDeinterleaveToFloat(Rows rows, RowData& dst, int width, const Context&) {
    for (int c = 0; c < 3; ++c) {
        bytesToFloats<3>(rows[0]->plane[0] + c, dst.plane[c], width);
    }
}

void rowFloatToBytes(Rows rows, RowData& dst, int width, const Context&) {
    const Byte* __restrict in = rows[0]->plane[0];
    Byte* __restrict out = dst.plane[0];
    for (std::ptrdiff_t i = 0; i < 3 * std::ptrdiff_t(width); ++i) {
        out[i] = Byte(saturate(loadSample<float>(in, i)) & 0xff);
    }
}

void rowBgrToPlanar420(Rows rows, RowData& dst, int width, const Context& context) {
    const FormatInfo& info = context.dst_info;
    bgrToYuv420<1>(rows, dst.plane[0], dst.plane[info.u_plane], dst.plane[info.v_plane], width);
}

void rowBgrToSemiPlanar420(Rows rows, RowData& dst, int width, const Context& context) {
    const FormatInfo& info = context.dst_info;
    bgrToYuv420<2>(rows, dst.plane[0], componentRow(dst, 1, info.u_offset),
                   componentRow(dst, 1, info.v_offset), width);
}

void rowBgrToYv16(Rows rows, RowData& dst, int width, const Context&) {
    bgrToYuv<1, 1, 2>(rows, dst.plane[0], dst.plane[2], dst.plane[1], width);
}

void rowBgrToNv16(Rows rows, RowData& dst, int width, const Context&) {
    bgrToYuv<1, 2, 2>(rows, dst.plane[0], componentRow(dst, 1, 0), componentRow(dst, 1, 1), width);
}

void rowBgrToPacked422(Rows rows, RowData& dst, int width, const Context& context) {
    const FormatInfo& info = context.dst_info;
    Byte* const row = dst.plane[0];
    bgrToYuv<2, 4, 2>(rows, row + info.y_offset, row + info.u_offset, row + info.v_offset, width);
    if (width % 2 != 0) {
        row[info.y_offset + 2 * width] = 0;  // the second luma of the last group
    }
}

void rowBgrToYuv444(Rows rows, RowData& dst, int width, const Context&) {
    Byte* const row = dst.plane[0];
    bgrToYuv<3, 3, 1>(rows, row, row + 1, row + 2, width);
}

void rowBgrToI444(Rows rows, RowData& dst, int width, const Context&) {
    bgrToYuv<1, 1, 1>(rows, dst.plane[0], dst.plane[1], dst.plane[2], width);
}

void rowPlanar420ToBgr(Rows rows, RowData& dst, int width, const Context& context) {
    const FormatInfo& info = context.src_info;
    const RowData& src = *rows[0];
    yuvToBgr<1, 1, 2>(src.plane[0], src.plane[info.u_plane], src.plane[info.v_plane], dst.plane[0],
                      width);
}

void rowSemiPlanar420ToBgr(Rows rows, RowData& dst, int width, const Context& context) {
    const FormatInfo& info = context.src_info;
    const RowData& src = *rows[0];
    yuvToBgr<1, 2, 2>(src.plane[0], src.plane[1] + info.u_offset, src.plane[1] + info.v_offset,
                      dst.plane[0], width);
}

void rowYv16ToBgr(Rows rows, RowData& dst, int width, const Context&) {
    const RowData& src = *rows[0];
    yuvToBgr<1, 1, 2>(src.plane[0], src.plane[2], src.plane[1], dst.plane[0], width);
}

void rowNv16ToBgr(Rows rows, RowData& dst, int width, const Context&) {
    const RowData& src = *rows[0];
    yuvToBgr<1, 2, 2>(src.plane[0], src.plane[1], src.plane[1] + 1, dst.plane[0], width);
}

void rowPacked422ToBgr(Rows rows, RowData& dst, int width, const Context& context) {
    const FormatInfo& info = context.src_info;
    const Byte* const row = rows[0]->plane[0];
    yuvToBgr<2, 4, 2>(row + info.y_offset, row + info.u_offset, row + info.v_offset, dst.plane[0],
                      width);
}

void rowYuv444ToBgr(Rows rows, RowData& dst, int width, const Context&) {
    const Byte* const row = rows[0]->plane[0];
    yuvToBgr<3, 3, 1>(row, row + 1, row + 2, dst.plane[0], width);
}

void rowI444ToBgr(Rows rows, RowData& dst, int width, const Context&) {
    const RowData& src = *rows[0];
    yuvToBgr<1, 1, 1>(src.plane[0], src.plane[1], src.plane[2], dst.plane[0], width);
}

void rowYuvToYuv(Rows rows, RowData& dst, int width, const Context& context) {
    const FormatInfo& from = context.src_info;
    const FormatInfo& to = context.dst_info;
    copyLuma(componentRow(*rows[0], from.y_plane, from.y_offset), from.y_step,
             componentRow(dst, to.y_plane, to.y_offset), to.y_step,
             std::min(width, context.limits.y));
    Byte* const u = componentRow(dst, to.u_plane, to.u_offset);
    Byte* const v = componentRow(dst, to.v_plane, to.v_offset);
    if (!u || !v) {
        return;
    }
    const bool two_rows = to.y_subsampling == 2 && rows[1] != nullptr;
    const RowData& second = two_rows ? *rows[1] : *rows[0];
    const ByRows& functions = RESAMPLE_CHROMA[chromaShape(from.u_step, from.x_subsampling)]
                                             [chromaShape(to.u_step, to.x_subsampling)];
    const ResampleFunction resample = functions[two_rows ? 1 : 0];
    resample({componentRow(*rows[0], from.u_plane, from.u_offset),
              componentRow(second, from.u_plane, from.u_offset)},
             u, width, context.limits.u);
    resample({componentRow(*rows[0], from.v_plane, from.v_offset),
              componentRow(second, from.v_plane, from.v_offset)},
             v, width, context.limits.v);
}

}  // namespace tavo::impl
