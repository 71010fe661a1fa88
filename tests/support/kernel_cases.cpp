#include "support/kernel_cases.h"

#include "simd/simd.h"
#include "tavo_cv/tavo_cv_helpers.h"

namespace support {

namespace {

namespace Base = Simd::Base;
namespace Neon = Simd::Neon;
namespace Avx2 = Simd::Avx2;

Variant noted = Variant::Wrapper;

template <Variant Which, class... Arguments>
void note(Arguments...) {
    noted = Which;
}

/// @p call passes planes and size to a kernel in that kernel's order of arguments.
template <class Kernel, class Call>
auto bind(Kernel kernel, Call call) {
    return [=](const Plane* s, const Plane* t, std::uint32_t w, std::uint32_t h) {
        call(kernel, s, t, w, h);
    };
}

/// A kernel whose wrapper looks at the width.
template <class Function, std::size_t WidthIndex, class Call>
KernelCalls wrapped(const Simd::Wrapper<Function, WidthIndex>& wrapper,
                    Function* base,
                    Function* neon,
                    Function* avx2,
                    Call call) {
    // The same wrapper with variants that only tell which of them was called.
    Simd::Wrapper<Function, WidthIndex> probe = wrapper;
    probe.base = note<Variant::Base>;
    probe.neon.call = note<Variant::Neon>;
    probe.avx2.call = note<Variant::Avx2>;
    const auto choice = [=](const Plane* s, const Plane* t, std::uint32_t w, std::uint32_t h) {
        noted = Variant::Wrapper;
        call(probe, s, t, w, h);
        return noted;
    };
    return {{bind(wrapper, call), bind(base, call), bind(neon, call), bind(avx2, call)},
            choice,
            wrapper.base == base && wrapper.neon.call == neon && wrapper.avx2.call == avx2};
}

/// A kernel behind a function of the same arguments.
template <class Function, class Call>
KernelCalls direct(Function* wrapper, Function* base, Function* neon, Function* avx2, Call call) {
    return {{bind(wrapper, call), bind(base, call), bind(neon, call), bind(avx2, call)}, nullptr};
}

/// A kernel with a portable variant only.
template <class Function, class Call>
KernelCalls portable(Function* wrapper, Function* base, Call call) {
    return {{bind(wrapper, call), bind(base, call), nullptr, nullptr}, nullptr};
}

template <class T>
T* as(const Plane& plane) {
    return static_cast<T*>(static_cast<void*>(plane.data));
}

// clang-format off

// The orders of arguments.
const auto oneToOne = [](auto f, auto s, auto t, auto w, auto h) { f(s->data, w, h, s->stride, t->data, t->stride); };
const auto toYuv    = [](auto f, auto s, auto t, auto w, auto h) { f(s->data, w, h, s->stride, t[0].data, t[0].stride, t[1].data, t[1].stride, t[2].data, t[2].stride); };
const auto toPairs  = [](auto f, auto s, auto t, auto w, auto h) { f(s->data, w, h, s->stride, t[0].data, t[0].stride, t[1].data, t[1].stride); };
const auto split2   = [](auto f, auto s, auto t, auto w, auto h) { f(s->data, s->stride, w, h, t[0].data, t[0].stride, t[1].data, t[1].stride); };
const auto split3   = [](auto f, auto s, auto t, auto w, auto h) { f(s->data, s->stride, w, h, t[0].data, t[0].stride, t[1].data, t[1].stride, t[2].data, t[2].stride); };
const auto join2    = [](auto f, auto s, auto t, auto w, auto h) { f(s[0].data, s[0].stride, s[1].data, s[1].stride, w, h, t->data, t->stride); };
const auto join3    = [](auto f, auto s, auto t, auto w, auto h) { f(s[0].data, s[0].stride, s[1].data, s[1].stride, s[2].data, s[2].stride, w, h, t->data, t->stride); };
const auto fromNv12 = [](auto f, auto s, auto t, auto w, auto h) { f(s[0].data, s[1].data, t->data, int(w), int(h), int(s->stride), int(t->stride)); };
const auto toFloats = [](auto f, auto s, auto t, auto w, auto) { f(s->data, w, &FLOAT_LOWER, &FLOAT_UPPER, as<float>(*t)); };
const auto toBytes  = [](auto f, auto s, auto t, auto w, auto) { f(as<float>(*s), w, &FLOAT_LOWER, &FLOAT_UPPER, t->data); };
const auto add      = [](auto f, auto, auto t, auto w, auto) { f(&FLOAT_ADDEND, as<float>(*t), w); };
const auto multiply = [](auto f, auto s, auto t, auto w, auto) { f(as<float>(*s), w, &FLOAT_FACTOR, as<float>(*t)); };
const auto scale    = [](auto f, auto, auto t, auto w, auto) { f(&FLOAT_FACTOR, as<float>(*t), w); };
const auto widen    = [](auto f, auto s, auto t, auto w, auto) { f(as<unsigned short>(*s), w, as<float>(*t)); };
const auto narrow   = [](auto f, auto s, auto t, auto w, auto) { f(as<float>(*s), w, as<unsigned short>(*t)); };

auto copy(std::uint32_t size) {
    return [=](auto f, auto s, auto t, auto w, auto h) { f(s->data, s->stride, w, h, size, t->data, t->stride); };
}

auto transform(std::uint32_t mode, std::uint32_t size) {
    return [=](auto f, auto s, auto t, auto w, auto h) { f(s->data, s->stride, w, h, size, mode, t->data, t->stride); };
}

std::vector<KernelCase> makeCases() {
    const PlaneShape one = {1}, two = {2}, three = {3};
    const PlaneShape half_x = {1, 2, 1}, half_xy = {1, 2, 2};
    const PlaneShape pairs_half_x = {2, 2, 1}, pairs_half_xy = {2, 2, 2};
    const PlaneShape half = {2, 1, 1, false, Sample::Half}, single = {4, 1, 1, false, Sample::Float};

    std::vector<KernelCase> cases = {
        {"BgrToGray",       "Channel", 16, 1, 1, {three},         {one},           wrapped(Simd::BgrToGray,       Base::BgrToGray,       Neon::BgrToGray,       Avx2::BgrToGray,       oneToOne)},
        {"GrayToBgr",       "Channel", 16, 1, 1, {one},           {three},         wrapped(Simd::GrayToBgr,       Base::GrayToBgr,       Neon::GrayToBgr,       Avx2::GrayToBgr,       oneToOne)},
        {"BgrToRgb",        "Channel", 16, 1, 1, {three},         {three},         wrapped(Simd::BgrToRgb,        Base::BgrToRgb,        Neon::BgrToRgb,        Avx2::BgrToRgb,        oneToOne)},
        {"DeinterleaveBgr", "Channel", 16, 1, 1, {three},         {one, one, one}, wrapped(Simd::DeinterleaveBgr, Base::DeinterleaveBgr, Neon::DeinterleaveBgr, Avx2::DeinterleaveBgr, split3)},
        {"InterleaveBgr",   "Channel", 16, 1, 1, {one, one, one}, {three},         wrapped(Simd::InterleaveBgr,   Base::InterleaveBgr,   Neon::InterleaveBgr,   Avx2::InterleaveBgr,   join3)},
        {"DeinterleaveUv",  "Channel", 16, 1, 1, {two},           {one, one},      wrapped(Simd::DeinterleaveUv,  Base::DeinterleaveUv,  Neon::DeinterleaveUv,  Avx2::DeinterleaveUv,  split2)},
        {"InterleaveUv",    "Channel", 16, 1, 1, {one, one},      {two},           wrapped(Simd::InterleaveUv,    Base::InterleaveUv,    Neon::InterleaveUv,    Avx2::InterleaveUv,    join2)},
        {"CopyPlane 1",     "Channel", 1,  1, 1, {one},           {one},           portable(Base::CopyPlane, Base::CopyPlane, copy(1))},
        {"CopyPlane 3",     "Channel", 1,  1, 1, {three},         {three},         portable(Base::CopyPlane, Base::CopyPlane, copy(3))},

        {"Yuv420pToBgr", "YuvToBgr", 32, 2, 2, {one, half_xy, half_xy}, {three}, wrapped(Simd::Yuv420pToBgr, Base::Yuv420pToBgr, Neon::Yuv420pToBgr, Avx2::Yuv420pToBgr, join3)},
        {"Yuv420pToRgb", "YuvToBgr", 32, 2, 2, {one, half_xy, half_xy}, {three}, wrapped(Simd::Yuv420pToRgb, Base::Yuv420pToRgb, Neon::Yuv420pToRgb, Avx2::Yuv420pToRgb, join3)},
        {"Yuv422pToBgr", "YuvToBgr", 32, 2, 1, {one, half_x, half_x},   {three}, wrapped(Simd::Yuv422pToBgr, Base::Yuv422pToBgr, Neon::Yuv422pToBgr, Avx2::Yuv422pToBgr, join3)},
        {"Yuv422pToRgb", "YuvToBgr", 32, 2, 1, {one, half_x, half_x},   {three}, wrapped(Simd::Yuv422pToRgb, Base::Yuv422pToRgb, Neon::Yuv422pToRgb, Avx2::Yuv422pToRgb, join3)},
        {"Yuv444pToBgr", "YuvToBgr", 16, 1, 1, {one, one, one},         {three}, wrapped(Simd::Yuv444pToBgr, Base::Yuv444pToBgr, Neon::Yuv444pToBgr, Avx2::Yuv444pToBgr, join3)},
        {"Nv12ToBgr",    "YuvToBgr", 1,  1, 1, {one, pairs_half_xy},    {three}, direct(tavo::NV12toBGR_neon, Base::Nv12ToBgr, Neon::Nv12ToBgr, Avx2::Nv12ToBgr, fromNv12), UINT32_MAX, true},

        {"BgrToYuv420p", "BgrToYuv", 32, 2, 2, {three}, {one, half_xy, half_xy}, wrapped(Simd::BgrToYuv420p, Base::BgrToYuv420p, Neon::BgrToYuv420p, Avx2::BgrToYuv420p, toYuv)},
        {"BgrToYuv422p", "BgrToYuv", 32, 2, 1, {three}, {one, half_x, half_x},   wrapped(Simd::BgrToYuv422p, Base::BgrToYuv422p, Neon::BgrToYuv422p, Avx2::BgrToYuv422p, toYuv)},
        {"BgrToYuv444p", "BgrToYuv", 16, 1, 1, {three}, {one, one, one},         wrapped(Simd::BgrToYuv444p, Base::BgrToYuv444p, Neon::BgrToYuv444p, Avx2::BgrToYuv444p, toYuv)},
        {"BgrToNv12",    "BgrToYuv", 32, 2, 2, {three}, {one, pairs_half_xy}, wrapped(Simd::BgrToNv12, Base::BgrToNv12, Neon::BgrToNv12, Avx2::BgrToNv12, toPairs)},
        {"BgrToNv16",    "BgrToYuv", 32, 2, 1, {three}, {one, pairs_half_x}, wrapped(Simd::BgrToNv16, Base::BgrToNv16, Neon::BgrToNv16, Avx2::BgrToNv16, toPairs)},

        {"Uint8ToFloat32",   "Float", 16, 1, 1, {one},    {single}, wrapped(Simd::Uint8ToFloat32, Base::Uint8ToFloat32, Neon::Uint8ToFloat32, Avx2::Uint8ToFloat32, toFloats), 1},
        {"Float32ToUint8",   "Float", 16, 1, 1, {single}, {one},    wrapped(Simd::Float32ToUint8, Base::Float32ToUint8, Neon::Float32ToUint8, Avx2::Float32ToUint8, toBytes), 1},
        {"AddValue",         "Float", 1,  1, 1, {},       {single}, direct(Simd::AddValue, Base::AddValue, Neon::AddValue, Avx2::AddValue, add), 1},
        {"MultiplyValue",    "Float", 1,  1, 1, {},       {single}, direct(Simd::MultiplyValue, Base::MultiplyValue, Neon::MultiplyValue, Avx2::MultiplyValue, scale), 1},
        {"AddProduct",       "Float", 1,  1, 1, {single}, {single}, direct(Simd::AddProduct, Base::AddProduct, Neon::AddProduct, Avx2::AddProduct, multiply), 1},
        {"Float16ToFloat32", "Float", 16, 1, 1, {half},   {single}, wrapped(Simd::Float16ToFloat32, Base::Float16ToFloat32, Neon::Float16ToFloat32, Avx2::Float16ToFloat32, widen), 1},
        {"Float32ToFloat16", "Float", 16, 1, 1, {single}, {half},   wrapped(Simd::Float32ToFloat16, Base::Float32ToFloat16, Neon::Float32ToFloat16, Avx2::Float32ToFloat16, narrow), 1},
    };
    for (std::uint32_t mode = 0; mode < 8; ++mode) {
        const bool turned = mode == 1 || mode == 3 || mode == 4 || mode == 6;
        for (std::uint32_t size = 1; size <= 4; ++size) {
            cases.push_back({transformName(mode, size), "Transform", 8, 1, 1, {{size}}, {{size, 1, 1, turned}},
                             wrapped(Simd::ImageTransform, Base::ImageTransform, Neon::ImageTransform, Avx2::ImageTransform, transform(mode, size))});
        }
    }
    for (KernelCase& kernel : cases) {
        const bool chooses = kernel.threshold > 1;
        kernel.avx2_threshold = !chooses ? 1 : kernel.family == "Transform" ? 16 : 32;
    }
    return cases;
}

// clang-format on

}  // namespace

Variant KernelCase::expected(std::uint32_t width) const {
    if (!hasNeon()) {
        return Variant::Base;
    }
    if (Simd::Neon::Enable) {
        return width >= threshold ? Variant::Neon : Variant::Base;
    }
    return Simd::Avx2::Enable && width >= avx2_threshold ? Variant::Avx2 : Variant::Base;
}

const std::vector<KernelCase>& kernelCases() {
    static const std::vector<KernelCase> cases = makeCases();
    return cases;
}

std::string transformName(std::uint32_t mode, std::uint32_t pixel_size) {
    static const std::string names[] = {"Copy",          "Rotate90",    "Rotate180",
                                        "Rotate270",     "Transpose",   "FlipHorizontal",
                                        "AntiTranspose", "FlipVertical"};
    return "ImageTransform " + names[mode] + " " + std::to_string(pixel_size);
}

}  // namespace support
