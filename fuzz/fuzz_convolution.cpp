// The convolutional scaler with kernels of any support and any values, over frames and producers,
// several passes with one object. What it writes stays within the rows of the target.

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "fuzz_input.h"
#include "tavo_cv/tavo_cv.h"

namespace {

using fuzz::ForeignFrame;
using fuzz::Guard;
using fuzz::Input;
using tavo::Size;

/// A table of values over a support that follows the scale, or does not.
class TableKernel : public tavo::IKernel {
public:
    explicit TableKernel(Input& input)
        : _follows_scale(input.flag()),
          _support(input.rarely() ? input.number() : float(input.between(1, 640)) / 64.0f) {
        const bool tame = input.between(0, 2) != 0;
        const int count = input.between(1, 12);
        for (int i = 0; i < count; ++i) {
            _values.push_back(tame ? float(input.between(-20, 100)) / 50.0f : input.number());
        }
        _throws = input.rarely() ? input.between(1, 200) : 0;
    }

    void configure(float scale) override {
        FUZZ_CHECK(scale >= 1.0f, "scale %f", double(scale));
        _aperture = _follows_scale ? _support * scale : _support;
    }

    float value(float x) override {
        if (_throws != 0 && --_throws == 0) {
            throw std::runtime_error("a kernel that fails");
        }
        const float place = _aperture > 0 ? (x / _aperture + 0.5f) * float(_values.size()) : 0.0f;
        const bool inside = place >= 0 && place < float(_values.size());
        return inside ? _values[std::size_t(place)] : _values.front();
    }

    float aperture() const override { return _aperture; }

private:
    bool _follows_scale;
    float _support;
    float _aperture = 0;
    std::vector<float> _values;
    int _throws;
};

std::unique_ptr<tavo::IKernel> makeKernel(Input& input) {
    switch (input.between(0, 5)) {
        case 0:
            return std::make_unique<tavo::BoxKernel>();
        case 1:
            return std::make_unique<tavo::TriangleKernel>();
        case 2:
            return std::make_unique<tavo::LanczosKernel>();
        default:
            return std::make_unique<TableKernel>(input);
    }
}

/// Mostly not larger than the source.
Size targetSize(Input& input, Size source) {
    if (input.rarely()) {
        return Size(input.anyInt(), input.anyInt());
    }
    return Size(input.between(1, source.width), input.between(1, source.height));
}

/// One pass into a guarded target. A layout of another size than asked for is stated where tables
/// are kept, so the target has that of the layout.
void runPass(Input& input, tavo::ScalerConvolutional& scaler, const char* what) {
    const tavo::FrameLayout& layout = scaler.layout();
    ForeignFrame dst(input, layout.format, layout.size, false);
    std::vector<Guard> guards = dst.guard(dst.frame());
    fuzz::statusOf([&] { produceFrame(scaler, dst.frame()); });
    checkAll(guards, false, what);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    tavo::ScalerConvolutional scaler;
    FUZZ_CHECK(!scaler.initialized(), "an empty scaler");
    std::vector<std::unique_ptr<tavo::IKernel>> kernels;
    kernels.push_back(makeKernel(input));
    tavo::FrameFormat format = input.oneOf(fuzz::FORMATS);
    Size target(1, 1);
    for (int pass = 0; pass < 4 && !input.done(); ++pass) {
        const bool fresh = pass == 0 || input.flag();
        if (input.flag()) {
            kernels.push_back(makeKernel(input));
        }
        if (fresh && pass != 0) {
            format = input.oneOf(fuzz::FORMATS);
        }
        tavo::IKernel& kernel = *kernels[std::size_t(input.between(0, int(kernels.size()) - 1))];
        const Size source =
            input.rarely() ? Size(input.between(1, 700), input.between(1, 3)) : input.size(80);
        if (fresh || input.flag()) {
            target = targetSize(input, source);
        }
        const tavo::ScalerPrecision precision = input.rarely()
                                                    ? tavo::ScalerPrecision(input.between(0, 17))
                                                : input.flag() ? tavo::TAVO_SCALER_FIXED_POINT_8S
                                                               : tavo::TAVO_SCALER_FIXED_POINT_16S;
        ForeignFrame src(input, format, source, false);
        std::vector<Guard> guards = src.guard(src.frame());
        if (input.flag()) {
            const int status =
                fuzz::statusOf([&] { scaler.reuse(kernel, src.frame(), target, precision); });
            if (status == 0) {
                FUZZ_CHECK(scaler.initialized(), "after a reuse");
                runPass(input, scaler, "convolution of a frame");
            }
        } else {
            tavo::ScalerNearestNeighbor before;
            fuzz::statusOf([&] {
                before.reuse(src.frame(), input.size(80));
                scaler.reuse(kernel, before, target, precision);
                runPass(input, scaler, "convolution of a producer");
            });
        }
        checkAll(guards, true, "source of a convolution");
    }
    return 0;
}
