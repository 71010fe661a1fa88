// Exhausted memory: every allocation of every operation fails in turn. What is thrown is clear,
// nothing leaks, promised targets stay, and the same objects then do the same job.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <new>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "simd/simd.h"
#include "support/allocations.h"
#include "support/frames.h"
#include "tavo_cv/tavo_cv.h"

namespace {

using namespace tavo;
using Bytes = std::vector<unsigned char>;

const Size SOURCE_SIZE(48, 32);
const Size OTHER_SIZE(40, 18);
const Rect REGION(4, 2, 24, 16);

/// One run of an operation, on objects of its own.
struct Job {
    std::function<void()> run;
    std::function<Bytes()> result;
    std::function<bool()> intact = [] { return true; };  ///< asked after a failure
};

struct Operation {
    std::string name;
    std::function<Job()> start;
    bool of_kernels = false;  ///< fails with std::bad_alloc
};

/// The kernel layer tells of its failures.
class Silence {
public:
    Silence() : _buffer(std::cout.rdbuf(nullptr)) {}
    ~Silence() { std::cout.rdbuf(_buffer); }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    std::streambuf* _buffer;
};

enum class Failure { NONE, OUT_OF_MEMORY, BAD_ALLOC, OTHER };

Failure failureOf(const std::function<void()>& action) {
    try {
        action();
        return Failure::NONE;
    } catch (const Exception& error) {
        return error.status == TAVO_STATUS_OUT_OF_MEMORY ? Failure::OUT_OF_MEMORY : Failure::OTHER;
    } catch (const std::bad_alloc&) {
        return Failure::BAD_ALLOC;
    }
}

/// @return whether the operation has come to its @p nth allocation
bool failsAt(long nth, bool lasting, const Operation& operation, const Bytes& expected) {
    const Job job = operation.start();
    Failure failure = Failure::NONE;
    bool happened = false;
    {
        const support::FailingAllocation failing(nth, lasting);
        failure = failureOf(job.run);
        happened = failing.happened();
    }
    if (failure != Failure::NONE) {
        EXPECT_EQ(failure, operation.of_kernels ? Failure::BAD_ALLOC : Failure::OUT_OF_MEMORY);
        EXPECT_TRUE(job.intact());
        job.run();
    }
    EXPECT_EQ(job.result(), expected);
    return happened;
}

/// @return the allocations of the operation; 0 when it is not supported
long runDry(const Operation& operation) {
    Bytes expected;
    {
        const Job job = operation.start();
        if (failureOf(job.run) != Failure::NONE) {
            return 0;
        }
        expected = job.result();
    }
    long nth = 0;
    for (const bool lasting : {false, true}) {
        nth = 0;
        bool happened = true;
        while (happened && !testing::Test::HasFailure()) {
            SCOPED_TRACE(operation.name + ", allocation " + std::to_string(++nth) +
                         (lasting ? " and all further ones" : ""));
            const support::HeapUse before = support::heapUse();
            happened = failsAt(nth, lasting, operation, expected);
            EXPECT_TRUE(testing::Test::HasFailure() || support::heapUse() == before) << "leaks";
        }
    }
    return nth - 1;
}

/// @return how many of them have allocated
long runDry(const std::vector<Operation>& operations) {
    const Silence silence;
    long count = 0;
    for (const Operation& operation : operations) {
        count += runDry(operation) != 0 ? 1 : 0;
    }
    return count;
}

const Frame& sourceOf(FrameFormat format) {
    static std::map<FrameFormat, Frame> sources;
    Frame& source = sources[format];
    if (!source.initialized()) {
        source = support::randomFrame(format, SOURCE_SIZE, 7);
    }
    return source;
}

std::string pairName(const std::string& name, FrameFormat src, FrameFormat dst) {
    return name + " " + toString(src) + " to " + toString(dst);
}

// ---- Frames, tensors, buffers -------------------------------------------------------------------

/// @p make turns a small frame of another format into something else, or leaves it.
Operation makingFrame(const std::string& name, const std::function<void(Frame&)>& make) {
    return {name, [make] {
                auto dst = std::make_shared<Frame>(support::flatFrame(FRAME_32U_C1, {3, 2}, 9));
                const Bytes before = support::pixels(*dst);
                const unsigned char* const data = dst->planeData(0);
                return Job{[=] { make(*dst); }, [=] { return support::pixels(*dst); },
                           [=] {
                               return dst->format() == FRAME_32U_C1 && dst->planeData(0) == data &&
                                      support::pixels(*dst) == before;
                           }};
            }};
}

Bytes bytesOf(const Tensor& tensor) {
    return Bytes(tensor.data(), tensor.data() + tensor.layout().size_bytes);
}

TensorLayout tensorOf(TensorDataType type, int count) {
    TensorSize size;
    size.count = 1;
    size.dim[0] = count;
    TensorSize strides = size;
    strides.dim[0] = type == TENSOR_FLOAT_16 ? 2 : 4;
    return TensorLayout(type, TensorFormat(0), size, strides, TensorChannelOrder(0));
}

Operation makingTensor(const std::string& name, const std::function<void(Tensor&)>& make) {
    return {name, [make] {
                auto dst = std::make_shared<Tensor>();
                dst->reuse(tensorOf(TENSOR_FLOAT_32, 3), DeviceContext());
                const unsigned char* const data = dst->data();
                return Job{[=] { make(*dst); }, [=] { return bytesOf(*dst); },
                           [=] { return dst->data() == data && dst->layout().size.dim[0] == 3; }};
            }};
}

TEST(Exhaustion, FramesTensorsAndBuffers) {
    const Operation buffer = {
        "Buffer::resize", [] {
            auto block = std::make_shared<Buffer>();
            block->resize(4, false);
            std::memset(block->data, 5, 4);
            return Job{[=] {
                           block->resize(100, true);
                           std::memset(block->data + 4, 6, 96);
                       },
                       [=] { return Bytes(block->data, block->data + block->size()); },
                       [=] { return block->size() == 4 && block->data[3] == 5; }};
        }};
    const std::vector<Operation> operations = {
        makingFrame("Frame::reuse",
                    [](Frame& dst) {
                        dst.reuse(FRAME_NV12, {9, 7}, DeviceContext(), 0);
                    }),
        makingFrame("Frame::copyTo", [](Frame& dst) { sourceOf(FRAME_I420).copyTo(dst); }),
        makingTensor("Tensor::reuse",
                     [](Tensor& dst) { dst.reuse(tensorOf(TENSOR_FLOAT_32, 9), DeviceContext()); }),
        buffer,
    };
    EXPECT_EQ(runDry(operations), 4);
}

// ---- Free functions -----------------------------------------------------------------------------

using FrameFunction = std::function<void(const Frame& src, Frame& dst)>;

/// The target is a frame of its own, or the source itself.
std::vector<Operation> turningFrames(const std::string& name,
                                     FrameFormat format,
                                     const FrameFunction& function) {
    const auto in_place = [=] {
        auto frame = std::make_shared<Frame>();
        sourceOf(format).copyTo(*frame);
        return Job{[=] { function(*frame, *frame); }, [=] { return support::pixels(*frame); },
                   [=] { return bool(support::samePixels(*frame, sourceOf(format))); }};
    };
    return {makingFrame(name, [=](Frame& dst) { function(sourceOf(format), dst); }),
            {name + " in place", in_place}};
}

TEST(Exhaustion, FreeFunctions) {
    std::vector<Operation> operations;
    const auto add = [&](const std::string& name, FrameFormat format, const FrameFunction& f) {
        for (const Operation& operation : turningFrames(name, format, f)) {
            operations.push_back(operation);
        }
    };
    for (const FrameFormat src : {FRAME_BGR24, FRAME_NV12, FRAME_GRAY_32F}) {
        for (const ResizeMethod method : {ResizeNearestNeighbour, ResizeBilinear, ResizeArea}) {
            add("resizeFrame", src,
                [=](const Frame& from, Frame& to) { resizeFrame(from, OTHER_SIZE, to, method); });
        }
    }
    for (const FrameFormat src : support::allFormats()) {
        for (const FrameFormat dst : support::allFormats()) {
            add(pairName("colorConvert", src, dst), src,
                [=](const Frame& from, Frame& to) { colorConvert(from, dst, to); });
        }
    }
    for (const FixedRotation turn : {ROTATION_0, ROTATION_90, ROTATION_180, ROTATION_270}) {
        add("rotateFrame", FRAME_I420,
            [=](const Frame& from, Frame& to) { rotateFrame(from, turn, to); });
    }
    for (const Rect& roi : {Rect(0, 0, 48, 32), Rect(20, 14, 8, 6)}) {
        add("rotateFrame by an angle", FRAME_NV12, [=](const Frame& from, Frame& to) {
            Rect turned;
            rotateFrame(from, roi, 30, to, turned);
        });
    }
    operations.push_back(makingTensor("tensorFp16ToFp32", [](Tensor& dst) {
        static const Tensor source = [] {
            Tensor halves;
            halves.reuse(tensorOf(TENSOR_FLOAT_16, 50), DeviceContext());
            std::iota(halves.data(), halves.data() + 100, std::uint8_t(1));
            return halves;
        }();
        tensorFp16ToFp32(source, dst);
    }));
    EXPECT_GT(runDry(operations), 100);
}

// ---- Stages -------------------------------------------------------------------------------------

template <class Stage>
bool isEmpty(const Stage& stage) {
    return !stage.initialized();
}
bool isEmpty(const Scaler& scaler) {
    return scaler.initialized();  // its sense is inverted
}

struct ByFrame {
    const Frame& over(const Frame& frame) { return frame; }
};
struct ByRows {
    RowCopier copier;
    RowCopier& over(const Frame& frame) {
        copier.reuse(frame);
        return copier;
    }
};

/// Makes a stage, prepares it by @p reuse(stage, source), and lets it fill a frame.
template <class Stage, class Source, class Reuse>
Operation staging(const std::string& name, FrameFormat format, Reuse reuse) {
    struct State {
        Source source;
        std::optional<Stage> stage;
        Frame dst;
    };
    return {name + " of " + toString(format), [=] {
                auto state = std::make_shared<State>();
                {
                    Stage probe;
                    reuse(probe, state->source.over(sourceOf(format)));
                    state->dst.reuse(probe.layout().format, probe.layout().size, DeviceContext(),
                                     0);
                }
                return Job{[=] {
                               if (!state->stage) {
                                   state->stage.emplace();
                               }
                               reuse(*state->stage, state->source.over(sourceOf(format)));
                               produceFrame(*state->stage, state->dst);
                           },
                           [=] { return support::pixels(state->dst); },
                           [=] { return !state->stage || isEmpty(*state->stage); }};
            }};
}

TEST(Exhaustion, Stages) {
    std::vector<Operation> operations;
    const auto both = [&](auto stage, const std::string& name, FrameFormat format, auto reuse) {
        using Stage = typename decltype(stage)::type;
        operations.push_back(staging<Stage, ByFrame>(name, format, reuse));
        operations.push_back(staging<Stage, ByRows>(name + " over rows", format, reuse));
    };
    const Size smaller(19, 13);
    const auto to = [smaller](auto& stage, auto& source) { stage.reuse(source, smaller); };
    const auto wider = [](auto& stage, auto& source) { stage.reuse(source, 70); };
    for (const FrameFormat format : {FRAME_BGR24, FRAME_I420, FRAME_NV12, FRAME_16U_C1}) {
        both(std::common_type<ScalerNearestNeighbor>(), "ScalerNearestNeighbor", format, to);
        both(std::common_type<ScalerBilinearXY>(), "ScalerBilinearXY", format, to);
        both(std::common_type<ScalerBilinearX>(), "ScalerBilinearX", format, wider);
        both(std::common_type<ScalerBilinearY>(), "ScalerBilinearY", format, wider);
        for (const auto precision : {TAVO_SCALER_FIXED_POINT_8S, TAVO_SCALER_FIXED_POINT_16S}) {
            const auto narrower = [=](auto& stage, auto& source) {
                stage.reuse(source, 13, precision);
            };
            both(std::common_type<ScalerAreaX>(), "ScalerAreaX", format, narrower);
            both(std::common_type<ScalerAreaY>(), "ScalerAreaY", format, narrower);
            operations.push_back(staging<scaleAreaXY, ByFrame>(
                "scaleAreaXY", format,
                [=](auto& stage, auto& source) { stage.reuse(source, smaller, precision); }));
            if (format != FRAME_16U_C1) {
                both(std::common_type<ScalerConvolutional>(), "ScalerConvolutional", format,
                     [=](auto& stage, auto& source) {
                         static TriangleKernel kernel;
                         stage.reuse(kernel, source, smaller, precision);
                     });
            }
        }
        for (const ScaleMethod method : {SCALE_NEAREST, SCALE_BILINEAR, SCALE_AREA}) {
            both(std::common_type<Scaler>(), "Scaler", format,
                 [=](auto& stage, auto& source) { stage.reuse(source, smaller, method); });
        }
    }
    const auto convert = [](auto& stage, auto& source) { stage.reuse(source, FRAME_BGR24); };
    both(std::common_type<FormatConverter>(), "FormatConverter", FRAME_NV12, convert);
    both(std::common_type<FormatConverter>(), "FormatConverter", FRAME_YUYV, convert);
    both(std::common_type<FormatConverter>(), "FormatConverter", FRAME_BGR24,
         [](auto& stage, auto& source) { stage.reuse(source, FRAME_I420); });
    operations.push_back(makingFrame("produceFrame", [](Frame& dst) {
        RowCopier copier;
        copier.reuse(sourceOf(FRAME_I420));
        produceFrame(copier, dst);
    }));
    EXPECT_EQ(runDry(operations), long(operations.size()));
}

// ---- Backends -----------------------------------------------------------------------------------

using Work = std::function<void(ICvBackend& backend, const Frame& src, Frame& dst)>;

template <class Backend>
Operation working(
    const std::string& name, FrameFormat src, FrameFormat dst, Size dst_size, const Work& work) {
    struct State {
        std::optional<Backend> backend;
        Frame dst;
    };
    return {pairName(name, src, dst), [=] {
                auto state = std::make_shared<State>();
                state->dst = support::flatFrame(dst, dst_size, 0);
                return Job{[=] {
                               if (!state->backend) {
                                   state->backend.emplace();
                               }
                               work(*state->backend, sourceOf(src), state->dst);
                           },
                           [=] { return support::pixels(state->dst); }};
            }};
}

Work resizing(ResizeMethod method) {
    return [=](ICvBackend& backend, const Frame& src, Frame& dst) {
        backend.setIntProperty(CV_PROPERTY_RESIZE_METHOD, method);
        backend.resize(src, dst, Rect(), Rect());
    };
}

Work warping(ResizeMethod method) {
    return [=](ICvBackend& backend, const Frame& src, Frame& dst) {
        const float matrix[2][3] = {{0.8f, 0.3f, 1}, {-0.3f, 0.8f, 5}};
        backend.setIntProperty(CV_PROPERTY_WARP_METHOD, method);
        backend.warpAffine(src, dst, matrix, REGION, false);
    };
}

/// Multiplies a frame whose rows are not at multiples of a float, which needs a temporary one.
void mulUnaligned(ICvBackend& backend, const Frame& src, Frame& dst) {
    FrameLayout layout(FRAME_GRAY_32F, SOURCE_SIZE, 0);
    layout.plane[0].stride += 2;
    float memory[50 * 32] = {};
    unsigned char* const start = static_cast<unsigned char*>(static_cast<void*>(memory));
    Frame unaligned(layout, &start);
    src.copyTo(unaligned);
    backend.mul(unaligned, 1.5f, Rect());
    unaligned.copyTo(dst);
}

template <class Backend>
long runBackendDry() {
    std::vector<Operation> operations;
    for (const FrameFormat src : support::allFormats()) {
        for (const FrameFormat dst : support::allFormats()) {
            operations.push_back(working<Backend>(
                "colorCvt", src, dst, SOURCE_SIZE,
                [](ICvBackend& b, const Frame& from, Frame& to) { b.colorCvt(from, to, Rect()); }));
            operations.push_back(working<Backend>(
                "colorCvt of a region", src, dst, Size(REGION.width, REGION.height),
                [](ICvBackend& b, const Frame& from, Frame& to) { b.colorCvt(from, to, REGION); }));
            operations.push_back(working<Backend>(
                "convert", src, dst, OTHER_SIZE,
                [](ICvBackend& b, const Frame& from, Frame& to) { b.convert(from, to, Rect()); }));
        }
        for (const ResizeMethod method : {ResizeNearestNeighbour, ResizeBilinear, ResizeArea}) {
            operations.push_back(
                working<Backend>("resize", src, src, OTHER_SIZE, resizing(method)));
            operations.push_back(
                working<Backend>("warpAffine", src, src, OTHER_SIZE, warping(method)));
        }
    }
    operations.push_back(
        working<Backend>("mul", FRAME_GRAY_32F, FRAME_GRAY_32F, SOURCE_SIZE, mulUnaligned));
    for (const bool multiplies : {false, true}) {
        operations.push_back(working<Backend>(
            multiplies ? "mul of a region" : "add to a region", FRAME_BGR_32F, FRAME_BGR_32F,
            SOURCE_SIZE, [=](ICvBackend& b, const Frame& from, Frame& to) {
                from.copyTo(to);
                multiplies ? b.mul(to, 1.5f, REGION) : b.add(to, 1.5f, REGION);
            }));
    }
    return runDry(operations);
}

TEST(Exhaustion, PortableBackend) {
    EXPECT_GT(runBackendDry<CvBackendBase>(), 200);
}

TEST(Exhaustion, FastBackend) {
    EXPECT_GT(runBackendDry<CvBackendSimd>(), 200);
}

// ---- Kernel objects -----------------------------------------------------------------------------

using Number = std::uint32_t;
using Create = Simd::Resizer* (*)(Number, Number, Number, Number, Number, Number, Number);

/// @p run reads a picture of 48 x 32 elements of up to 16 bytes, and writes one like it.
Operation runningKernel(
    const std::string& name,
    const std::function<void(const std::uint8_t* src, std::uint8_t* dst)>& run) {
    return {name,
            [run] {
                auto dst = std::make_shared<std::vector<float>>(4 * 48 * 32);
                const auto bytes = [](auto& floats) {
                    const void* const start = floats.data();
                    return static_cast<const std::uint8_t*>(start);
                };
                static const std::vector<float> src = [] {
                    std::vector<float> values(4 * 48 * 32);
                    std::iota(values.begin(), values.end(), 0.5f);
                    return values;
                }();
                return Job{[=] { run(bytes(src), const_cast<std::uint8_t*>(bytes(*dst))); },
                           [=] { return Bytes(bytes(*dst), bytes(*dst) + 4 * dst->size()); }};
            },
            true};
}

TEST(Exhaustion, Resizers) {
    std::vector<std::pair<std::string, Create>> variants = {{"Base", Simd::Base::ResizerInit}};
    if (Simd::Neon::Enable) {
        variants.emplace_back("Neon", Simd::Neon::ResizerInit);
    }
    if (Simd::Avx2::Enable) {
        variants.emplace_back("Avx2", Simd::Avx2::ResizerInit);
    }
    constexpr Number SIZES[][4] = {{48, 32, 40, 18}, {48, 32, 24, 16}, {48, 32, 12, 8},
                                   {20, 12, 48, 32}, {32, 20, 48, 30}, {8, 32, 7, 6}};
    constexpr Number SAMPLE_BYTES[] = {1, 2, 4};
    std::vector<Operation> operations;
    for (const auto& [name, create] : variants) {
        for (const auto& [src_width, src_height, dst_width, dst_height] : SIZES) {
            for (Number i = 0; i < 3 * 8 * 4; ++i) {
                const Number type = i % 3;
                const Number method = i / 3 % 8;
                const Number channels = i / 24 + 1;
                const auto make = [=, create = create, w = src_width, h = src_height,
                                   to_w = dst_width, to_h = dst_height] {
                    return std::unique_ptr<Simd::Resizer>(
                        create(w, h, to_w, to_h, channels, type, method));
                };
                if (!make()) {
                    continue;
                }
                const Number pixel = SAMPLE_BYTES[type] * channels;
                operations.push_back(runningKernel(
                    name + " resizer, method " + std::to_string(method) + ", type " +
                        std::to_string(type) + ", channels " + std::to_string(channels),
                    [=, w = src_width, to_w = dst_width](const std::uint8_t* src,
                                                         std::uint8_t* dst) {
                        make()->Run(src, pixel * w, dst, pixel * to_w);
                    }));
            }
        }
    }
    EXPECT_EQ(runDry(operations), long(operations.size()));
}

TEST(Exhaustion, Warps) {
    std::vector<Operation> operations;
    for (const Number flags : {Number(0), Number(Simd::WarpAffineInterpBilinear)}) {
        for (Number channels = 1; channels <= 4; ++channels) {
            operations.push_back(
                runningKernel("warp", [=](const std::uint8_t* src, std::uint8_t* dst) {
                    const float matrix[] = {0.8f, 0.3f, 1, -0.3f, 0.8f, 5};
                    std::unique_ptr<Simd::WarpAffine>(
                        Simd::Base::WarpAffineInit(48, 32, 48 * channels, 48, 30, 48 * channels,
                                                   channels, matrix, flags, nullptr))
                        ->Run(src, dst);
                }));
        }
    }
    for (const Number threads : {Number(2), Number(1)}) {
        Simd::SetThreadCount(threads);
        EXPECT_EQ(runDry(operations), long(operations.size()));
    }
}

}  // namespace
