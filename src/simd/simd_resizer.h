// Resizers: objects that scale whole planes, each made for one pair of sizes, one element type, one
// number of channels and one method.
//
// Constructors, destructors and `Resize` of the tables are compiled in base/ only, where nothing is
// built for NEON.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simd/simd_bicubic_rows.h"
#include "simd/simd_memory.h"
#include "simd/simd_nearest_rows.h"

namespace Simd {

template <class T>
struct BilinearRows;
struct RatioForm;

/// The type of one channel of a pixel.
enum ResizerChannelType : std::uint32_t {
    ResizerChannelByte = 0,   ///< unsigned, 8 bits
    ResizerChannelShort = 1,  ///< unsigned, 16 bits
    ResizerChannelFloat = 2,  ///< 32-bit float
};

/// The filter, and where destination index i lies in the source.
enum ResizerMethod : std::uint32_t {
    ResizerMethodNearest = 0,          ///< (i + 0.5) src / dst, truncated
    ResizerMethodNearestCorner = 1,    ///< i src / dst, in integers
    ResizerMethodBilinear = 2,         ///< (i + 0.5) src / dst - 0.5
    ResizerMethodBilinearCorner = 3,   ///< i (src - 1) / (dst - 1)
    ResizerMethodBilinearTopLeft = 4,  ///< i src / dst
    ResizerMethodBicubic = 5,          ///< four taps, centred as bilinear
    ResizerMethodArea = 6,             ///< mean of the area that a destination pixel covers
    ResizerMethodAreaFast = 7,  ///< the same on sums of 2 x 2 pixels, where it shrinks enough
};

/// Up to 8 neighbouring pairs of bytes that lie within a window of 16 bytes of a source row.
struct GatherBlock {
    std::int32_t src;          ///< first byte of the window
    std::uint32_t dst;         ///< first byte in a row of pairs
    std::uint8_t shuffle[16];  ///< position in the window, for each byte of a pair
};

/// What a resizer is made for. All sizes are at least 1.
struct ResizerParam {
    std::uint32_t type;       ///< a ResizerChannelType
    std::uint32_t method;     ///< a ResizerMethod
    std::uint32_t srcWidth;   ///< pixels
    std::uint32_t srcHeight;  ///< rows
    std::uint32_t dstWidth;   ///< pixels
    std::uint32_t dstHeight;  ///< rows
    std::uint32_t channels;   ///< interleaved channels per pixel
    std::uint32_t alignment;  ///< of the row buffers, in bytes
};

/// Scales planes of fixed sizes. An object serves one thread at a time. Where memory is exhausted,
/// making one and running it throw std::bad_alloc; the object is then only good to be deleted.
class Resizer : protected Deletable {
public:
    explicit Resizer(const ResizerParam& parameters);
    ~Resizer() override;

    /// Scales one plane. The first call may build tables, which later calls use.
    /// @param srcStride, dstStride in bytes, for every element type
    virtual void Run(const std::uint8_t* src,
                     std::uint32_t srcStride,
                     std::uint8_t* dst,
                     std::uint32_t dstStride) = 0;

protected:
    const ResizerParam param;
};

namespace Base {

/// Makes a resizer, which belongs to the caller.
/// @param channels interleaved channels per pixel
/// @param type     a ResizerChannelType
/// @param method   a ResizerMethod. A source of width or height 1 gives the nearest resizer, which
///                 has no tables but for its own two methods and then repeats the first pixel.
/// @return null when there is no resizer for the combination
Resizer* ResizerInit(std::uint32_t srcWidth,
                     std::uint32_t srcHeight,
                     std::uint32_t dstWidth,
                     std::uint32_t dstHeight,
                     std::uint32_t channels,
                     std::uint32_t type,
                     std::uint32_t method);

/// Copies the nearest pixel, of any element type.
class ResizerNearest : public Resizer {
public:
    explicit ResizerNearest(const ResizerParam& parameters);
    ~ResizerNearest() override;

    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;

protected:
    void EstimateRows();
    void EstimateColumns();

    // By which row functions in vectors a row is written, if by any. Halves need no columns.
    bool ChooseHalves();
    void ChooseBlocks();
    bool TakesEverySecond() const;

    /// @return what a block takes for each of its pixels, of the time of a copy; 1 if it is of no
    ///         use
    float EstimateCost(const NearestRows::Form& form) const;

    /// @return whether few enough blocks hold the pixels of a row
    bool CutIntoBlocks(const NearestRows::Form& form);
    void FindInnerPixels();

    std::uint32_t pixelSize = 0;  ///< bytes; 0 until the tables are built
    Table<std::uint32_t> ix;      ///< byte offset in a source row, for each destination column
    Table<std::uint32_t> iy;      ///< source row of each destination row; the last one twice
    std::size_t innerEnd = 0;     ///< behind the pixels before it there is a byte in both rows

    NearestRows::Halve* halve = nullptr;    ///< where it serves, it writes whole rows
    NearestRows::Gather* gather = nullptr;  ///< where it serves, it writes `blocks`
    Table<NearestBlock> blocks;
    Table<std::uint8_t> positions;  ///< as `gather` wants them
    std::uint32_t blockCount = 0;
    std::uint32_t doneInVectors = 0;  ///< leading pixels of a row that need no copies
};

/// Separable linear interpolation of bytes, with weights of 4 fractional bits.
class ResizerByteBilinear : public Resizer {
public:
    explicit ResizerByteBilinear(const ResizerParam& parameters);
    ~ResizerByteBilinear() override;

    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;

protected:
    void EstimateRows();
    void EstimateColumns();

    Table<std::int32_t> ax;     ///< horizontal weight of each destination element
    Table<std::int32_t> ix;     ///< element offset of its left sample in a source row
    Table<std::int32_t> ay;     ///< vertical weight of each destination row
    Table<std::int32_t> iy;     ///< upper source row of each destination row
    Table<std::int32_t> bx[2];  ///< two horizontally interpolated rows
};

/// What the area resizers of bytes have in common.
class ResizerByteArea : public Resizer {
public:
    explicit ResizerByteArea(const ResizerParam& parameters);
    ~ResizerByteArea() override;

protected:
    /// Both passes, on rows of the image or on pairs of them.
    template <std::size_t CHANNELS, class Rows>
    void RunRows(const Rows& rows, std::uint8_t* dst, std::uint32_t dstStride);

    Table<std::int32_t> ax;  ///< weight of the source column right of each destination edge
    Table<std::int32_t> ix;  ///< that source column
    Table<std::int32_t> ay;  ///< weight of the source row below each destination edge
    Table<std::int32_t> iy;  ///< that source row
    Table<std::int32_t> by;  ///< one row of weighted column sums
};

/// Area weights on the source itself. 1 to 4 channels; with any other number nothing is written.
class ResizerByteArea1x1 : public ResizerByteArea {
public:
    explicit ResizerByteArea1x1(const ResizerParam& parameters);
    ~ResizerByteArea1x1() override;

    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;
};

/// Area weights on sums of 2 x 2 pixels. 1 to 4 channels; with any other number nothing is written.
class ResizerByteArea2x2 : public ResizerByteArea {
public:
    explicit ResizerByteArea2x2(const ResizerParam& parameters);
    ~ResizerByteArea2x2() override;

    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;
};

/// Tables and row buffers of linear interpolation in float arithmetic, and the walk over the rows.
class BilinearTables {
protected:
    /// @param padding elements that are added to each array for columns
    BilinearTables(const ResizerParam& parameters, std::uint32_t padding);
    ~BilinearTables();

    /// Interpolates source rows and then blends them, each as long as two destination rows need it.
    /// Strides are in elements.
    template <class T>
    void Scale(const ResizerParam& parameters,
               const BilinearRows<T>& functions,
               const T* src,
               std::uint32_t srcStride,
               T* dst,
               std::uint32_t dstStride);

    /// The same values, each at once from its four samples: for rows that are not shared.
    template <class T>
    void Sample(const ResizerParam& parameters,
                const BilinearRows<T>& functions,
                const T* src,
                std::uint32_t srcStride,
                T* dst,
                std::uint32_t dstStride);

    Table<std::int32_t> ix;  ///< element offset of the left sample of each destination element
    Table<std::int32_t> iy;  ///< upper source row of each destination row
    Table<float> ax;         ///< horizontal weights
    Table<float> ay;         ///< vertical weights
    Table<float> bx[2];      ///< two horizontally interpolated rows
};

/// Linear interpolation of 16-bit elements in float arithmetic. 1 to 4 channels; with any other
/// number nothing is written.
class ResizerShortBilinear : public Resizer, protected BilinearTables {
public:
    explicit ResizerShortBilinear(const ResizerParam& parameters);
    ~ResizerShortBilinear() override;

    /// Addresses are multiples of the element's size.
    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;

    /// The same, with strides in elements.
    virtual void Run(const std::uint16_t* src,
                     std::uint32_t srcStride,
                     std::uint16_t* dst,
                     std::uint32_t dstStride);

protected:
    void RunWith(const BilinearRows<std::uint16_t>& functions,
                 const std::uint16_t* src,
                 std::uint32_t srcStride,
                 std::uint16_t* dst,
                 std::uint32_t dstStride);
};

/// Linear interpolation of floats, by the three bilinear methods.
class ResizerFloatBilinear : public Resizer, protected BilinearTables {
public:
    explicit ResizerFloatBilinear(const ResizerParam& parameters);
    ~ResizerFloatBilinear() override;

    /// Addresses are multiples of the element's size.
    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;

    /// The same, with strides in elements.
    virtual void Run(const float* src,
                     std::uint32_t srcStride,
                     float* dst,
                     std::uint32_t dstStride);
};

/// Separable four-tap Lagrange interpolation of bytes, with weights of 7 fractional bits. 1 to 4
/// channels; with any other number nothing is written.
class ResizerByteBicubic : public Resizer {
public:
    explicit ResizerByteBicubic(const ResizerParam& parameters);
    ~ResizerByteBicubic() override;

    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;

protected:
    void EstimateTaps();

    /// Decides whether rows are summed in vectors.
    void ChooseRows();
    void CutIntoBlocks(std::uint32_t window);

    template <std::int32_t CHANNELS>
    void RunChannels(const std::uint8_t* src,
                     std::uint32_t srcStride,
                     std::uint8_t* dst,
                     std::uint32_t dstStride);

    /// Sums 16 samples for each destination element: for rows that are hardly shared.
    template <std::int32_t CHANNELS>
    void SumDirectly(const std::uint8_t* src,
                     std::uint32_t srcStride,
                     std::uint8_t* dst,
                     std::uint32_t dstStride) const;

    /// Sums each source row once, and then rows.
    template <std::int32_t CHANNELS>
    void SumThroughRing(const std::uint8_t* src,
                        std::uint32_t srcStride,
                        std::uint8_t* dst,
                        std::uint32_t dstStride);

    /// The same by row functions in vectors.
    template <std::int32_t CHANNELS>
    void SumInVectors(const std::uint8_t* src,
                      std::uint32_t srcStride,
                      std::uint8_t* dst,
                      std::uint32_t dstStride);

    Table<std::int32_t> ix;     ///< byte offset of the second tap of each destination column
    Table<std::int32_t> iy;     ///< source row of the second tap of each destination row
    Table<std::int32_t> ax;     ///< four weights of each destination column
    Table<std::int32_t> ay;     ///< four weights of each destination row
    Table<std::int32_t> bx[4];  ///< ring of horizontally summed rows
    std::uint32_t xn = 0;       ///< first column that doesn't start at the left edge
    std::uint32_t xt = 0;       ///< first column that ends at the right edge
    std::uint32_t sxl = 0;      ///< byte offset of the last possible second tap

    BicubicRows::Sum* sumBlocks = nullptr;  ///< where vectors serve, sums the inner columns
    BicubicRows::Blend* blendSums = nullptr;
    Table<BicubicBlock> blocks;
    std::uint32_t blockCount = 0;
    Table<std::int16_t> sums[4];  ///< in place of `bx` where vectors serve
};

}  // namespace Base

namespace Neon {

#ifdef TAVO_NEON

/// As Base::ResizerInit, with vector variants. The source must be wider and higher than 1 unless
/// the method is a nearest one.
Resizer* ResizerInit(std::uint32_t srcWidth,
                     std::uint32_t srcHeight,
                     std::uint32_t dstWidth,
                     std::uint32_t dstHeight,
                     std::uint32_t channels,
                     std::uint32_t type,
                     std::uint32_t method);

/// The same bytes as Base, for at least 16 destination columns. 1 to 4 channels; with any other
/// number nothing is written.
class ResizerByteBilinear : public Base::ResizerByteBilinear {
public:
    explicit ResizerByteBilinear(const ResizerParam& parameters);
    ~ResizerByteBilinear() override;

    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;

protected:
    void EstimateTables();

    // The inherited `ix` holds pixel numbers here; the inherited `ax` and `bx` stay empty.
    Table<std::uint8_t> weights;   ///< a pair (16 - weight, weight) for each destination element
    Table<std::uint8_t> rows[2];   ///< two horizontally interpolated rows, of 16-bit elements
    std::uint32_t blockCount = 0;  ///< 0 when pairs are fetched one by one
    Table<GatherBlock> blocks;
    const RatioForm* ratio = nullptr;  ///< that the columns follow
};

/// The same bytes as Base.
class ResizerByteArea1x1 : public Base::ResizerByteArea1x1 {
public:
    explicit ResizerByteArea1x1(const ResizerParam& parameters);
    ~ResizerByteArea1x1() override;

    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;
};

/// The vectors multiply and add where Base fuses: a value may differ from Base by one.
class ResizerShortBilinear : public Base::ResizerShortBilinear {
public:
    explicit ResizerShortBilinear(const ResizerParam& parameters);
    ~ResizerShortBilinear() override;

    using Base::ResizerShortBilinear::Run;
    void Run(const std::uint16_t* src,
             std::uint32_t srcStride,
             std::uint16_t* dst,
             std::uint32_t dstStride) override;
};

/// The vectors multiply and add where Base fuses: a value may differ from Base in its last bit.
class ResizerFloatBilinear : public Base::ResizerFloatBilinear {
public:
    explicit ResizerFloatBilinear(const ResizerParam& parameters);
    ~ResizerFloatBilinear() override;

    using Base::ResizerFloatBilinear::Run;
    void Run(const float* src,
             std::uint32_t srcStride,
             float* dst,
             std::uint32_t dstStride) override;
};

#else

using Base::ResizerInit;

#endif

}  // namespace Neon

namespace Avx2 {

#ifdef TAVO_AVX2

/// As Base::ResizerInit, with vector variants. All of them give the same bytes as Base.
Resizer* ResizerInit(std::uint32_t srcWidth,
                     std::uint32_t srcHeight,
                     std::uint32_t dstWidth,
                     std::uint32_t dstHeight,
                     std::uint32_t channels,
                     std::uint32_t type,
                     std::uint32_t method);

/// For at least 32 destination columns, 16 source bytes, and 1 to 4 channels.
class ResizerByteBilinear : public Base::ResizerByteBilinear {
public:
    explicit ResizerByteBilinear(const ResizerParam& parameters);
    ~ResizerByteBilinear() override;

    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;

protected:
    void EstimateRows();
    void EstimateBlocks();

    /// Makes destination rows from @p y on by the functions of the ratio.
    /// @return how many rows; 0 where they don't serve
    std::uint32_t ScaleByRatio(std::uint32_t y,
                               const std::uint8_t* upper,
                               const std::uint8_t* lower,
                               std::uint8_t* dst,
                               std::ptrdiff_t dstStep) const;

    // The inherited `ix` and `ax` hold a number for each pixel here; the inherited `bx` stay empty.
    Table<std::uint8_t> rows[2];       ///< two horizontally interpolated rows, of 16-bit elements
    Table<std::uint8_t> blocks;        ///< empty until a row needs them
    std::uint32_t blockForm = 0;       ///< by the windows that they have
    const RatioForm* ratio = nullptr;  ///< that the columns follow
};

/// What areas need that are weighed along rows before rows are added. Either pairs or windows of
/// cells serve, or none.
struct AreaTables {
    bool isEstimated = false;
    Table<std::int32_t> first;      ///< cell of each column
    Table<std::int32_t> weights;    ///< of cells, two in each
    Table<std::int32_t> words;      ///< a row of sums of cells, two in each
    Table<std::int32_t> sums[3];    ///< weighed rows
    Table<GatherBlock> blocks;      ///< of pairs
    std::uint32_t blockCount = 0;   ///< 0 where pairs don't serve
    std::uint32_t windowCount = 0;  ///< of a column; 0 where windows don't serve
};

/// For 1 to 4 channels.
class ResizerByteArea1x1 : public Base::ResizerByteArea1x1 {
public:
    explicit ResizerByteArea1x1(const ResizerParam& parameters);
    ~ResizerByteArea1x1() override;

    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;

protected:
    AreaTables tables;
};

class ResizerByteArea2x2 : public Base::ResizerByteArea2x2 {
public:
    explicit ResizerByteArea2x2(const ResizerParam& parameters);
    ~ResizerByteArea2x2() override;

    void Run(const std::uint8_t* src,
             std::uint32_t srcStride,
             std::uint8_t* dst,
             std::uint32_t dstStride) override;

protected:
    AreaTables tables;
};

class ResizerShortBilinear : public Base::ResizerShortBilinear {
public:
    explicit ResizerShortBilinear(const ResizerParam& parameters);
    ~ResizerShortBilinear() override;

    using Base::ResizerShortBilinear::Run;
    void Run(const std::uint16_t* src,
             std::uint32_t srcStride,
             std::uint16_t* dst,
             std::uint32_t dstStride) override;
};

class ResizerFloatBilinear : public Base::ResizerFloatBilinear {
public:
    explicit ResizerFloatBilinear(const ResizerParam& parameters);
    ~ResizerFloatBilinear() override;

    using Base::ResizerFloatBilinear::Run;
    void Run(const float* src,
             std::uint32_t srcStride,
             float* dst,
             std::uint32_t dstStride) override;
};

#else

using Base::ResizerInit;

#endif

}  // namespace Avx2

// Code built for NEON must not leave behind copies of these that portable code would then call.
extern template class Array<std::int32_t>;
extern template class Array<std::uint32_t>;
extern template class Array<std::uint8_t>;
extern template class Array<float>;
extern template class Array<GatherBlock>;
extern template class Table<std::int32_t>;
extern template class Table<std::uint32_t>;
extern template class Table<std::uint8_t>;
extern template class Table<float>;
extern template class Table<GatherBlock>;

}  // namespace Simd
