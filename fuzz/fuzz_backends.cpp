// The operations of both backends and the free functions: any formats, sizes, strides, bottom-up
// memory, regions, matrices. Nothing outside the rows is touched; a failed call leaves its target
// alone; and the same pixels in memory of their own, with a fresh backend, give the same result.

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "tavo_cv/tavo_cv.h"

namespace {

using fuzz::ForeignFrame;
using fuzz::Guard;
using fuzz::Input;
using fuzz::isFloat;
using fuzz::ownCopy;
using fuzz::samePixels;
using tavo::Frame;
using tavo::FrameFormat;
using tavo::Rect;
using tavo::Size;

constexpr int MOST = 80;

bool hasWideSamples(FrameFormat format) {
    return tavo::FrameLayout(format, Size(1, 1), 0).plane[0].bits_per_channel == 32;
}

bool isKnown(FrameFormat format) {
    return std::find(std::begin(fuzz::FORMATS), std::end(fuzz::FORMATS), format) !=
           std::end(fuzz::FORMATS);
}

bool liesWithin(const Rect& roi, Size size) {
    return !roi.empty() && roi.x >= 0 && roi.y >= 0 && roi.width <= size.width &&
           roi.height <= size.height && roi.x <= size.width - roi.width &&
           roi.y <= size.height - roi.height;
}

/// The part of @p frame that a region stands for.
Frame viewOf(Frame frame, const Rect& roi) {
    return liesWithin(roi, frame.size()) ? getRegion(frame, roi) : frame;
}

/// What the fast way and the portable way have stated exceptions for.
bool dependsOnStrides(FrameFormat src, FrameFormat dst) {
    return src == tavo::FRAME_NV12 && dst == tavo::FRAME_BGR24;
}

/// From YUV to these the portable converter writes as for the YUV format that it wrote before, and
/// fails when there was none.
bool dependsOnEarlier(FrameFormat src, FrameFormat dst) {
    const bool is_yuv = src >= tavo::FRAME_I420 && src <= tavo::FRAME_I444;
    return is_yuv && (dst == tavo::FRAME_RGB24 || dst == tavo::FRAME_RGB_PLANAR ||
                      dst == tavo::FRAME_BGR_PLANAR || dst == tavo::FRAME_BGR_32F ||
                      dst == tavo::FRAME_PLANAR_32F);
}

/// Formats that the fast way converts come more often.
FrameFormat knownFormat(Input& input) {
    constexpr FrameFormat CONVERTED[] = {
        tavo::FRAME_GRAY8,      tavo::FRAME_RGB24, tavo::FRAME_RGB_PLANAR, tavo::FRAME_BGR24,
        tavo::FRAME_BGR_PLANAR, tavo::FRAME_I420,  tavo::FRAME_NV12,       tavo::FRAME_NV21,
        tavo::FRAME_NV16,       tavo::FRAME_I444,  tavo::FRAME_BGR_32F,    tavo::FRAME_PLANAR_32F};
    return input.flag() ? input.oneOf(CONVERTED) : input.oneOf(fuzz::FORMATS);
}

std::unique_ptr<ForeignFrame> makeFrame(Input& input, FrameFormat format, Size size) {
    const bool aligned = hasWideSamples(format) && !input.rarely();
    return std::make_unique<ForeignFrame>(input, format, size, aligned);
}

bool isAligned(const Frame& frame) {
    bool aligned = true;
    for (int p = 0; p < frame.layout().plane_count; ++p) {
        const auto address = reinterpret_cast<std::uintptr_t>(frame.planeData(p));
        aligned = aligned && address % 4 == 0 && frame.layout().plane[p].stride % 4 == 0;
    }
    return aligned;
}

/// A backend and another one in the same state, which has no past.
struct Backends {
    std::unique_ptr<tavo::ICvBackend> kept[2] = {std::make_unique<tavo::CvBackendBase>(),
                                                 std::make_unique<tavo::CvBackendSimd>()};

    static std::unique_ptr<tavo::ICvBackend> fresh(const tavo::ICvBackend& like, bool fast) {
        std::unique_ptr<tavo::ICvBackend> backend;
        if (fast) {
            backend = std::make_unique<tavo::CvBackendSimd>();
            backend->setIntProperty(tavo::CV_PROPERTY_WARP_METHOD,
                                    like.getIntProperty(tavo::CV_PROPERTY_WARP_METHOD));
        } else {
            backend = std::make_unique<tavo::CvBackendBase>();
        }
        backend->setIntProperty(tavo::CV_PROPERTY_RESIZE_METHOD,
                                like.getIntProperty(tavo::CV_PROPERTY_RESIZE_METHOD));
        return backend;
    }
};

/// One call, as an action on any backend and frames.
struct Call {
    const char* name;
    Rect dst_roi;  // what may be written
    std::function<void(tavo::ICvBackend&, const Frame& src, Frame& dst)> run;
};

void checkCall(tavo::ICvBackend& backend,
               bool fast,
               const Call& call,
               ForeignFrame& src,
               const Rect& src_roi,
               ForeignFrame& dst) {
    const bool strides_decide = dependsOnStrides(src.frame().format(), dst.frame().format());
    const Frame own_src = ownCopy(src.frame());
    Frame own_dst = ownCopy(dst.frame());
    // The portable way may read chroma at the stride of the luma.
    std::vector<Guard> sources =
        src.guard(strides_decide ? src.frame() : viewOf(src.frame(), src_roi), !strides_decide);
    std::vector<Guard> targets = dst.guard(viewOf(dst.frame(), call.dst_roi));

    const int status = fuzz::statusOf([&] { call.run(backend, src.frame(), dst.frame()); });
    checkAll(sources, true, call.name);
    // Area scaling by rows writes samples of 32 bits before it refuses them.
    const bool writes_first = !fast && dst.frame().format() == tavo::FRAME_32U_C1;
    checkAll(targets, status != 0 && !writes_first, call.name);

    const std::unique_ptr<tavo::ICvBackend> other = Backends::fresh(backend, fast);
    const int own_status = fuzz::statusOf([&] { call.run(*other, own_src, own_dst); });
    const bool remembers = !fast && dependsOnEarlier(src.frame().format(), dst.frame().format());
    const bool may_differ = remembers || (status == tavo::TAVO_STATUS_INVALID_PARAMETER &&
                                          !(isAligned(src.frame()) && isAligned(dst.frame())));
    FUZZ_CHECK(status == own_status || may_differ, "%s, %s to %s: status %d, in own memory %d",
               call.name, toString(src.frame().format()), toString(dst.frame().format()), status,
               own_status);
    if (status == 0 && !strides_decide && !remembers) {
        FUZZ_CHECK(samePixels(dst.frame(), own_dst),
                   "%s, %s %dx%d to %s %dx%d: other pixels in own memory", call.name,
                   toString(src.frame().format()), src.frame().width(), src.frame().height(),
                   toString(dst.frame().format()), dst.frame().width(), dst.frame().height());
    }
}

void fillMatrix(Input& input, float (&matrix)[2][3]) {
    const bool any = input.between(0, 2) == 0;
    for (int i = 0; i < 6; ++i) {
        const float part = float(input.between(-300, 300)) / 100.0f;
        matrix[i / 3][i % 3] = any          ? input.number()
                               : i % 3 == 2 ? 20.0f * part
                                            : part + (i % 4 == 0 ? 1.0f : 0.0f);
    }
}

void fuzzOperation(Input& input, tavo::ICvBackend& backend, bool fast) {
    const FrameFormat format = knownFormat(input);
    const auto src = makeFrame(input, format, input.size(MOST));
    const Size size = src->frame().size();
    const Rect roi = input.region(size);
    const Size part = roi.empty() ? size : Size(roi.width, roi.height);
    const bool fits = liesWithin(roi, size) && !input.rarely();
    const Size same = roi.empty() || fits ? part : input.size(MOST);
    const auto target = [&](FrameFormat f, Size s) {
        return makeFrame(input, f, s.empty() || s.width > MOST || s.height > MOST ? Size(1, 1) : s);
    };
    switch (input.between(0, 3)) {
        case 0: {
            const auto dst = target(knownFormat(input), same);
            const auto run = [&](tavo::ICvBackend& b, const Frame& s, Frame& d) {
                b.colorCvt(s, d, roi);
            };
            return checkCall(backend, fast, {"colorCvt", Rect(), run}, *src, roi, *dst);
        }
        case 1: {
            const auto dst = target(knownFormat(input), input.flag() ? same : input.size(MOST));
            const auto run = [&](tavo::ICvBackend& b, const Frame& s, Frame& d) {
                b.convert(s, d, roi);
            };
            return checkCall(backend, fast, {"convert", Rect(), run}, *src, roi, *dst);
        }
        case 2: {
            const auto dst = target(input.rarely() ? knownFormat(input) : format, input.size(MOST));
            const Rect dst_roi = input.region(dst->frame().size());
            const auto run = [&](tavo::ICvBackend& b, const Frame& s, Frame& d) {
                b.resize(s, d, roi, dst_roi);
            };
            return checkCall(backend, fast, {"resize", dst_roi, run}, *src, roi, *dst);
        }
        default: {
            const auto dst = target(input.rarely() ? knownFormat(input) : format, input.size(MOST));
            float matrix[2][3];
            fillMatrix(input, matrix);
            const bool invert = input.flag();
            const auto run = [&](tavo::ICvBackend& b, const Frame& s, Frame& d) {
                b.warpAffine(s, d, matrix, roi, invert);
            };
            return checkCall(backend, fast, {"warpAffine", Rect(), run}, *src, roi, *dst);
        }
    }
}

/// `add` and `mul`, in place.
void fuzzConstant(Input& input, tavo::ICvBackend& backend, bool fast) {
    const FrameFormat floats[] = {tavo::FRAME_GRAY_32F, tavo::FRAME_BGR_32F,
                                  tavo::FRAME_PLANAR_32F};
    const FrameFormat format = input.rarely() ? knownFormat(input) : input.oneOf(floats);
    const auto frame = makeFrame(input, format, input.size(MOST));
    const Rect roi = input.region(frame->frame().size());
    const float value = input.number();
    const bool multiply = input.flag();
    const auto run = [&](tavo::ICvBackend& b, Frame& f) {
        multiply ? b.mul(f, value, roi) : b.add(f, value, roi);
    };
    Frame own = ownCopy(frame->frame());
    const bool zeroes = fast && multiply && !isFloat(format);
    // Rows that are not aligned are walked at another stride. The portable way changes the top
    // left.
    const bool walks_elsewhere = isFloat(format) && !isAligned(frame->frame());
    Rect part = roi;
    if (!fast) {
        part.crop(frame->frame().size());
        part = Rect(0, 0, part.width, part.height);
    }
    std::vector<Guard> guards;
    if (!walks_elsewhere) {
        guards = frame->guard(viewOf(frame->frame(), part));
    }
    const char* const name = multiply ? "mul" : "add";
    const int status = fuzz::statusOf([&] { run(backend, frame->frame()); });
    checkAll(guards, status != 0 && !zeroes, name);
    const std::unique_ptr<tavo::ICvBackend> other = Backends::fresh(backend, fast);
    const int own_status = fuzz::statusOf([&] { run(*other, own); });
    if (!walks_elsewhere) {
        FUZZ_CHECK(status == own_status, "%s: status %d, in own memory %d", name, status,
                   own_status);
        FUZZ_CHECK(samePixels(frame->frame(), own), "%s, %s: other pixels in own memory", name,
                   toString(format));
    }
}

void fuzzProperty(Input& input, tavo::ICvBackend& backend) {
    const int id = input.between(0, 3);
    const int value = input.rarely() ? input.anyInt() : input.between(0, 2);
    const int before = backend.getIntProperty(id);
    int known = 0;
    const int status = fuzz::statusOf([&] { known = backend.setIntProperty(id, value); });
    const int after = backend.getIntProperty(id);
    FUZZ_CHECK(after == (known && status == 0 ? value : before), "property %d: %d, set to %d: %d",
               id, before, value, after);
}

void fuzzRoiToYuv444(Input& input) {
    tavo::CvBackendSimd backend;
    for (int call = input.between(1, 3); call > 0; --call) {
        ForeignFrame src(input, tavo::FRAME_BGR24, input.size(MOST), false);
        const Rect roi = input.region(src.frame().size());
        std::vector<Guard> guards = src.guard(viewOf(src.frame(), roi));
        const int status = fuzz::statusOf([&] { backend.roiToYuv444(src.frame(), roi); });
        checkAll(guards, true, "roiToYuv444");
        FUZZ_CHECK((status == 0) == liesWithin(roi, src.frame().size()), "status %d", status);
    }
}

// ---- Free functions -----------------------------------------------------------------------------

using FreeCall = std::function<void(const Frame& src, Frame& dst)>;

/// A target of any kind: empty, of its own, foreign, or a region. After a failure it is what it
/// was.
void checkFree(Input& input,
               const char* name,
               ForeignFrame& src,
               const FreeCall& call,
               FrameFormat format,
               Size size) {
    const Frame own_src = ownCopy(src.frame());
    if (input.between(0, 3) == 0) {
        Frame target = src.frame();
        Frame own_target;
        std::vector<Guard> guards = src.guard(src.frame());
        const int status = fuzz::statusOf([&] { call(target, target); });
        checkAll(guards, true, name);
        const int own_status = fuzz::statusOf([&] { call(own_src, own_target); });
        FUZZ_CHECK(status == own_status || !isAligned(src.frame()),
                   "%s onto itself: status %d, onto another %d", name, status, own_status);
        if (status == 0 && own_status == 0 && !dependsOnStrides(src.frame().format(), format)) {
            FUZZ_CHECK(samePixels(target, own_target), "%s, %s: other pixels onto itself", name,
                       toString(src.frame().format()));
        }
        return;
    }
    const bool matches = input.flag() && !size.empty() && size.width <= 4 * MOST &&
                         size.height <= 4 * MOST && isKnown(format);
    const auto dst =
        makeFrame(input, matches ? format : knownFormat(input), matches ? size : input.size(MOST));
    const Rect roi = input.flag() ? Rect() : input.region(dst->frame().size());
    Frame target = matches ? dst->frame() : viewOf(dst->frame(), roi);
    const Frame before = target;
    Frame own_target = ownCopy(target);
    std::vector<Guard> sources =
        src.guard(src.frame(), !dependsOnStrides(src.frame().format(), format));
    std::vector<Guard> targets = dst->guard(target);
    const int status = fuzz::statusOf([&] { call(src.frame(), target); });
    const bool own = status == 0 && target.planeData(0) != before.planeData(0);
    checkAll(sources, true, name);
    checkAll(targets, status != 0 || own, name);
    if (status != 0) {
        FUZZ_CHECK(target.format() == before.format() && target.size() == before.size() &&
                       target.planeData(0) == before.planeData(0),
                   "%s: another target after a failure", name);
    }
    const int own_status = fuzz::statusOf([&] { call(own_src, own_target); });
    const bool aligned = isAligned(src.frame()) && isAligned(dst->frame());
    FUZZ_CHECK(status == own_status || !aligned, "%s, %s: status %d, in own memory %d", name,
               toString(src.frame().format()), status, own_status);
    const bool whole = before.size() == dst->frame().size();
    if (status == 0 && own_status == 0 && whole &&
        !dependsOnStrides(src.frame().format(), format)) {
        FUZZ_CHECK(samePixels(target, own_target), "%s, %s: other pixels in own memory", name,
                   toString(src.frame().format()));
    }
}

void fuzzFree(Input& input) {
    const auto src = makeFrame(input, knownFormat(input), input.size(MOST));
    const Frame& frame = src->frame();
    switch (input.between(0, 3)) {
        case 0: {
            const Size size = input.rarely() ? Size(0, 3) : input.size(MOST);
            const auto method = tavo::ResizeMethod(input.between(0, 3));
            return checkFree(
                input, "resizeFrame", *src,
                [=](const Frame& s, Frame& d) { resizeFrame(s, size, d, method); }, frame.format(),
                size);
        }
        case 1: {
            const FrameFormat format = input.format();
            return checkFree(
                input, "colorConvert", *src,
                [=](const Frame& s, Frame& d) { colorConvert(s, format, d); }, format,
                frame.size());
        }
        case 2: {
            const auto rotation = tavo::FixedRotation(input.between(-1, 4));
            const bool quarter = rotation % 2 != 0;
            const Size size = quarter ? Size(frame.height(), frame.width()) : frame.size();
            return checkFree(
                input, "rotateFrame", *src,
                [=](const Frame& s, Frame& d) { rotateFrame(s, rotation, d); }, frame.format(),
                size);
        }
        default: {
            const Rect roi = input.region(frame.size());
            const float angle = input.number();
            Size size;
            Rect a;
            Rect b;
            fuzz::statusOf([&] { getRotationRoi(angle, roi, a, size, b); });
            // A region that needs a margin may be of any size.
            if (std::max({size.width, size.height, a.width, a.height}) > 8 * MOST) {
                return;
            }
            return checkFree(
                input, "rotateFrame by an angle", *src,
                [=](const Frame& s, Frame& d) {
                    Rect turned(-1, -2, -3, -4);
                    try {
                        rotateFrame(s, roi, angle, d, turned);
                    } catch (const tavo::Exception&) {
                        FUZZ_CHECK(turned == Rect(-1, -2, -3, -4), "dst_roi changed");
                        throw;
                    }
                },
                frame.format(), size);
        }
    }
}

/// Runs of halves and floats, and matrices.
void fuzzNumbers(Input& input) {
    const auto count = std::size_t(input.between(0, 70));
    const std::unique_ptr<unsigned short[]> halves(new unsigned short[count]);
    const std::unique_ptr<float[]> floats(new float[count]);
    for (std::size_t i = 0; i < count; ++i) {
        halves[i] = std::uint16_t(input.seed());
        floats[i] = input.number();
    }
    if (input.flag()) {
        tavo::convertFp16ToFp32(halves.get(), unsigned(count), floats.get());
        const std::unique_ptr<unsigned short[]> back(new unsigned short[count]);
        tavo::convertFp32ToFp16(floats.get(), unsigned(count), back.get());
        for (std::size_t i = 0; i < count; ++i) {
            const bool is_nan = (halves[i] & 0x7FFF) > 0x7C00;
            FUZZ_CHECK(is_nan ? (back[i] & 0x7FFF) > 0x7C00 : back[i] == halves[i],
                       "half %04x became %04x", unsigned(halves[i]), unsigned(back[i]));
        }
    } else {
        tavo::convertFp32ToFp16(floats.get(), unsigned(count), halves.get());
    }
    float matrix[6];
    float inverse[6];
    float in_place[6];
    for (float& value : matrix) {
        value = input.number();
    }
    std::memcpy(in_place, matrix, sizeof(matrix));
    const bool invertible = tavo::invertAffineTransform(matrix, inverse);
    FUZZ_CHECK(tavo::invertAffineTransform(in_place, in_place) == invertible, "in place");
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): the very bits, of NaN and -0, too
    FUZZ_CHECK(std::memcmp(inverse, in_place, sizeof(inverse)) == 0, "in place");
}

void fuzzTensor(Input& input) {
    tavo::TensorSize size;
    tavo::TensorSize strides;
    size.count = strides.count = input.rarely() ? input.between(-1, 5) : input.between(1, 4);
    int stride = 2;
    for (int i = 3; i >= 0; --i) {
        const bool used = i < size.count;
        size.dim[i] = input.rarely() ? input.anyInt() : used ? input.between(1, 7) : 0;
        strides.dim[i] = input.rarely() ? input.anyInt() : used ? stride : 0;
        stride *= used ? input.between(1, 8) : 1;
    }
    const auto type = input.rarely() ? tavo::TENSOR_FLOAT_32 : tavo::TENSOR_FLOAT_16;
    tavo::Tensor src;
    tavo::Tensor dst;
    fuzz::statusOf([&] {
        const tavo::TensorLayout layout(type, tavo::TensorFormat(1), size, strides,
                                        tavo::TensorChannelOrder(1));
        if (layout.size_bytes > 1u << 20) {
            return;
        }
        src.reuse(layout, tavo::DeviceContext());
        fuzz::fillBytes(src.data(), layout.size_bytes, input.seed());
        tensorFp16ToFp32(src, input.flag() ? src : dst);
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Backends backends;
    for (int step = 0; step < 6 && !input.done(); ++step) {
        const bool fast = input.flag();
        tavo::ICvBackend& backend = *backends.kept[fast];
        switch (input.between(0, 15)) {
            case 0:
                fuzzProperty(input, backend);
                break;
            case 1:
                fuzzConstant(input, backend, fast);
                break;
            case 2:
            case 3:
                fuzzFree(input);
                break;
            case 4:
                input.flag() ? fuzzNumbers(input) : fuzzTensor(input);
                break;
            case 5:
                fuzzRoiToYuv444(input);
                break;
            default:
                fuzzOperation(input, backend, fast);
        }
    }
    return 0;
}
