/// @file
/// Resampling kernels for ScalerConvolutional.
#pragma once

#include "tavo_cv/tavo_cv_export.h"

namespace tavo {

/// A one-dimensional resampling kernel, as callers may bring their own. A scaler weighs each source
/// pixel by the integral of the kernel over it and normalises the weights, so a kernel need not
/// integrate to 1; its integral must be positive. A scaler uses the kernel during `reuse` only, but
/// remembers its address to tell whether its tables are still good: a kernel whose shape changed
/// must be another object.
class TAVO_CV_API IKernel {
public:
    /// Sets the support for a reduction; called at the start of every table.
    /// @param scale source length / destination length
    virtual void configure(float scale) = 0;

    /// The kernel's value. A scaler integrates it by the trapezoidal rule in steps of 1/16 source
    /// pixels.
    /// @param x distance from the centre, in source pixels; negative on the left
    /// @return any finite number
    virtual float value(float x) = 0;

    /// The full width of the support.
    /// @return source pixels, above 0; constant from one `configure` to the next
    virtual float aperture() const = 0;

    virtual ~IKernel();

protected:
    /// @cond
    IKernel() = default;
    IKernel(const IKernel&) = default;
    IKernel& operator=(const IKernel&) = default;
    /// @endcond
};

/// 1 where |x| <= scale / 2 + 0.001, else 0: the weights are the areas that source pixels share
/// with the destination pixel. The tolerance keeps the edges of the support from losing their
/// share. The aperture is `scale`.
class TAVO_CV_API BoxKernel : public IKernel {
public:
    void configure(float scale) override;
    float value(float x) override;
    float aperture() const override;

private:
    float _width = 0;
    float _aperture = 0;
};

/// Linear interpolation, widened by the reduction so that it does not alias:
///
///     value(x) = max(0, 1 - |x| / s)    with s = max(scale, 1)
///
/// The aperture is 2 s. This is the B-spline of first order. At scale 1 its integrals still smooth
/// a little: 1/8, 3/4, 1/8.
class TAVO_CV_API TriangleKernel : public IKernel {
public:
    void configure(float scale) override;
    float value(float x) override;
    float aperture() const override;

private:
    float _scale = 0;
};

/// The sinc of an ideal low-pass, windowed by the main lobe of a sinc three times as wide:
///
///     value(x) = sinc(x / s) sinc(x / (3 s)) for |x| < 3 s, else 0
///     with sinc(t) = sin(pi t) / (pi t), s = max(scale, 1)
///
/// The aperture is 6 s. The negative lobes keep edges sharp and let them ring slightly. After
/// C. E. Duchon, "Lanczos Filtering in One and Two Dimensions", Journal of Applied Meteorology 18
/// (1979). Values are the same on all processors.
class TAVO_CV_API LanczosKernel : public IKernel {
public:
    void configure(float scale) override;
    float value(float x) override;
    float aperture() const override;

private:
    float _scale = 0;
};

}  // namespace tavo
