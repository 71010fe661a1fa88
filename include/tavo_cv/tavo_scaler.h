/// @file
/// The facade over the scalers: one stage for every change of size.
#pragma once

#include <cstdint>
#include <memory>

#include "tavo_cv/tavo_row_producer.h"
#include "tavo_cv/tavo_scaler_precision.h"

namespace tavo {

/// How a Scaler computes its samples.
enum ScaleMethod : std::int32_t {
    SCALE_NEAREST = 0,   ///< nearest neighbour
    SCALE_BILINEAR = 1,  ///< bilinear interpolation
    SCALE_AREA = 2,      ///< mean of the covered area
};

/// The methods as callers of the backends choose them; the numbers are those of ScaleMethod.
enum ResizeMethod : std::int32_t {
    ResizeNearestNeighbour = 0,
    ResizeBilinear = 1,
    ResizeArea = 2,
};

/// Scales by the cheapest stage for the method and the axes that really change. Each stage keeps
/// its tables and rows while others are in use.
class TAVO_CV_API Scaler : public IRowProducer {
public:
    /// Nothing is set up.
    Scaler();
    ~Scaler() override;

    /// Prepares a pass over a frame.
    /// @param src_frame must outlive the pass
    /// @param dst_size  output pixels; the source size copies rows, whatever the method
    /// @param method    area takes 16S precision, first along the width, then along the height
    /// @throws Exception TAVO_STATUS_ASSERTION_FAILED for an uninitialized source or an empty size,
    ///         TAVO_STATUS_INVALID_PARAMETER for an unknown method; what the stage throws
    void reuse(const Frame& src_frame, Size dst_size, ScaleMethod method);

    /// Prepares a pass over another stage.
    /// @param src_producer must outlive the pass
    /// @param dst_size     as above
    /// @param method       as above
    /// @throws Exception as above
    void reuse(IRowProducer& src_producer, Size dst_size, ScaleMethod method);

    /// The sense is inverted, callers depend on it.
    /// @return true while no `reuse` has succeeded yet
    bool initialized() const;

    // These must not be called before a successful `reuse`.
    const FrameLayout& layout() const override;
    void produce(RowData& row) override;
    bool next() override;

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};

}  // namespace tavo
