// The affine warp: objects that map byte images of one size into images of another through a 2 x 3
// matrix. Which columns of a destination row lie in the source is found once per object, so that
// the loop over pixels has no tests where that is safe.
//
// Constructors and destructors are compiled in base/ only, where nothing is built for NEON.
#pragma once

#include <cstdint>

#include "simd/simd_memory.h"

namespace Simd {

/// Bits of `WarpAffineParam::flags`.
enum WarpAffineFlags : std::uint32_t {
    WarpAffineChannelBit = 1,         ///< elements are no bytes: black border, no bilinear
    WarpAffineInterpBilinear = 2,     ///< bilinear; without it nearest
    WarpAffineBorderTransparent = 4,  ///< what lies outside stays; without it `border` fills it
};

/// What a warp is made for.
struct WarpAffineParam {
    std::uint32_t flags;     ///< of WarpAffineFlags
    float mat[6];            ///< from source to destination, row by row
    float inv[6];            ///< from destination to source, row by row
    std::uint8_t border[4];  ///< one byte per channel
    std::uint32_t srcW;      ///< pixels
    std::uint32_t srcH;      ///< rows
    std::uint32_t srcS;      ///< bytes; of a bottom-up image negative and wrapped
    std::uint32_t dstW;      ///< pixels
    std::uint32_t dstH;      ///< rows
    std::uint32_t dstS;      ///< bytes, as `srcS`
    std::uint32_t channels;  ///< bytes per pixel, 1 to 4
    std::uint32_t align;     ///< of scratch widths
};

/// Corners, each a neighbour of the next.
struct WarpAffineQuad {
    float x[4];
    float y[4];
};

/// Warps planes of fixed sizes. Rows may be spread over threads, but an object serves one caller at
/// a time. Where memory is exhausted, making one and running it throw std::bad_alloc; the object is
/// then only good to be deleted.
class WarpAffine : protected Deletable {
public:
    explicit WarpAffine(const WarpAffineParam& parameters);
    ~WarpAffine() override;

    /// Warps one plane. Nothing outside the widths of the rows is read or written. The two must not
    /// overlap.
    virtual void Run(const std::uint8_t* src, std::uint8_t* dst) = 0;

protected:
    /// Where the matrix takes a rectangle of the source, from its top left corner on.
    WarpAffineQuad ToDestination(float left, float top, float right, float bottom) const;

    WarpAffineParam param;
    bool first = true;         ///< until the end of the first `Run`
    std::uint32_t stride = 0;  ///< bytes of scratch per thread
    std::uint32_t threads;     ///< as they were at creation
    Table<std::uint8_t>
        buffer;  ///< `threads` times `stride` bytes; blocks of pixels are on the stack
};

namespace Base {

/// Makes a warp, which belongs to the caller. Sizes are at least 1.
/// @param channels 1 to 4
/// @param mat      six floats, from source to destination. Any value is allowed: where a position
///                 comes out without a number, the destination gets the border.
/// @param flags    of WarpAffineFlags
/// @param border   @p channels bytes, or null for black
/// @return null for other channels, a matrix that has no inverse, and bilinear without bytes
WarpAffine* WarpAffineInit(std::uint32_t srcW,
                           std::uint32_t srcH,
                           std::uint32_t srcS,
                           std::uint32_t dstW,
                           std::uint32_t dstH,
                           std::uint32_t dstS,
                           std::uint32_t channels,
                           const float* mat,
                           std::uint32_t flags,
                           const std::uint8_t* border);

/// The columns of each destination row that lie in the source.
struct WarpRanges {
    const std::int32_t* beg;  ///< the first column that needs no tests
    const std::int32_t* end;  ///< the column behind the last such
    const std::int32_t* lo;   ///< bilinear: the first column that has any sample in the source
    const std::int32_t* hi;   ///< bilinear: the column behind the last such
};

/// Warps the rows `begin` to `end - 1` of the destination @p dst.
using WarpRowFunction = void(const WarpAffineParam& param,
                             std::uint32_t begin,
                             std::uint32_t end,
                             const WarpRanges& ranges,
                             const std::uint8_t* src,
                             std::uint8_t* dst);

/// Takes the source pixel next to each position.
class WarpAffineNearest : public WarpAffine {
public:
    explicit WarpAffineNearest(const WarpAffineParam& parameters);
    ~WarpAffineNearest() override;

    void Run(const std::uint8_t* src, std::uint8_t* dst) override;

protected:
    /// Sets the ranges to the columns within a quadrilateral, both ends rounded to pixels.
    virtual void SetRange(const WarpAffineQuad& quad);

    void Prepare();

    Table<std::int32_t> beg;  ///< as in WarpRanges, a column per destination row
    Table<std::int32_t> end;
    WarpRowFunction* run;
};

/// Interpolates between the four source pixels around each position, with weights of 5 fractional
/// bits.
class WarpAffineByteBilinear : public WarpAffine {
public:
    explicit WarpAffineByteBilinear(const WarpAffineParam& parameters);
    ~WarpAffineByteBilinear() override;

    void Run(const std::uint8_t* src, std::uint8_t* dst) override;

protected:
    /// Sets a range to the columns within a quadrilateral, but not beyond @p limits where given.
    virtual void SetRange(const WarpAffineQuad& quad,
                          std::int32_t* begColumns,
                          std::int32_t* endColumns,
                          const std::int32_t* limits);

    void Prepare();

    Table<std::int32_t> range;    ///< the four below, one after another
    std::int32_t* beg = nullptr;  ///< as in WarpRanges, a column per destination row
    std::int32_t* end = nullptr;
    std::int32_t* lo = nullptr;
    std::int32_t* hi = nullptr;
    WarpRowFunction* run;
};

}  // namespace Base
}  // namespace Simd
