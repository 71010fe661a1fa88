// Chains of row stages over frames of any kind. What a chain gives is what its stages give one
// after another, each into a whole frame.

#include <cstdint>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "tavo_cv/tavo_cv.h"

namespace {

using fuzz::ForeignFrame;
using fuzz::Guard;
using fuzz::Input;
using tavo::Frame;
using tavo::Size;

constexpr int MOST = 60;

/// What a stage of a chain is to do.
struct Plan {
    enum Kind {
        NEAREST,
        BILINEAR_XY,
        BILINEAR_X,
        BILINEAR_Y,
        AREA_X,
        AREA_Y,
        AREA_XY,
        SCALER,
        FORMAT
    };
    Kind kind;
    Size size;
    tavo::FrameFormat format;
    tavo::ScalerPrecision precision;
    tavo::ScaleMethod method;
};

/// Mostly a size that an area scaler takes, too.
Plan makePlan(Input& input, Size source) {
    Plan plan;
    plan.kind = Plan::Kind(input.between(Plan::NEAREST, Plan::FORMAT));
    plan.size = input.flag()
                    ? input.size(MOST)
                    : Size(input.between(1, source.width), input.between(1, source.height));
    plan.format = input.oneOf(fuzz::FORMATS);
    plan.precision = input.rarely() ? tavo::ScalerPrecision(input.between(0, 17))
                     : input.flag() ? tavo::TAVO_SCALER_FIXED_POINT_8S
                                    : tavo::TAVO_SCALER_FIXED_POINT_16S;
    plan.method = tavo::ScaleMethod(input.rarely() ? input.between(-1, 4) : input.between(0, 2));
    return plan;
}

std::unique_ptr<tavo::scaleAreaXY> makeAreaXY(const Plan& plan, const Frame& source) {
    auto stage = std::make_unique<tavo::scaleAreaXY>();
    stage->reuse(source, plan.size, plan.precision);
    return stage;
}

/// It takes frames only; over a producer another one stands for it.
std::unique_ptr<tavo::ScalerNearestNeighbor> makeAreaXY(const Plan& plan,
                                                        tavo::IRowProducer& source) {
    auto stage = std::make_unique<tavo::ScalerNearestNeighbor>();
    stage->reuse(source, plan.size);
    return stage;
}

template <class Stage, class Source, class... Arguments>
std::unique_ptr<tavo::IRowProducer> make(Source& source, Arguments... arguments) {
    auto stage = std::make_unique<Stage>();
    stage->reuse(source, arguments...);
    return stage;
}

/// @param Source a frame or a producer
template <class Source>
std::unique_ptr<tavo::IRowProducer> makeStage(const Plan& plan, Source& source) {
    switch (plan.kind) {
        case Plan::NEAREST:
            return make<tavo::ScalerNearestNeighbor>(source, plan.size);
        case Plan::BILINEAR_XY:
            return make<tavo::ScalerBilinearXY>(source, plan.size);
        case Plan::BILINEAR_X:
            return make<tavo::ScalerBilinearX>(source, plan.size.width);
        case Plan::BILINEAR_Y:
            return make<tavo::ScalerBilinearY>(source, plan.size.height);
        case Plan::AREA_X:
            return make<tavo::ScalerAreaX>(source, plan.size.width, plan.precision);
        case Plan::AREA_Y:
            return make<tavo::ScalerAreaY>(source, plan.size.height, plan.precision);
        case Plan::AREA_XY:
            return makeAreaXY(plan, source);
        case Plan::SCALER:
            return make<tavo::Scaler>(source, plan.size, plan.method);
        case Plan::FORMAT:
            return make<tavo::FormatConverter>(source, plan.format);
    }
    return nullptr;
}

/// False where a stage draws rows that may be written in part: a window that enters at an odd row
/// shows chroma of half height that was not written, and some scalers leave bytes of packed pixels.
bool rowsAreWhole(const std::vector<std::unique_ptr<tavo::IRowProducer>>& stages) {
    bool whole = true;
    for (std::size_t i = 0; i + 1 < stages.size(); ++i) {
        const tavo::FrameLayout& layout = stages[i]->layout();
        const bool half_height =
            layout.plane_count > 1 && layout.plane[1].height < layout.plane[0].height;
        whole = whole && !half_height && layout.plane[0].channels % 2 != 0;
    }
    return whole;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    ForeignFrame src(input, input.oneOf(fuzz::FORMATS), input.size(MOST), false);
    std::vector<Plan> plans;
    Size last = src.frame().size();
    for (int count = input.between(1, 3); count > 0; --count) {
        plans.push_back(makePlan(input, last));
        last = plans.back().kind == Plan::FORMAT ? last : plans.back().size;
        if (plans.size() > 1 && plans.back().kind == Plan::AREA_XY) {
            plans.back().kind = Plan::NEAREST;
        }
    }
    const Frame own_src = fuzz::ownCopy(src.frame());
    std::vector<Guard> guards = src.guard(src.frame());
    std::vector<std::unique_ptr<tavo::IRowProducer>> stages;
    int status = fuzz::statusOf([&] {
        const Frame& frame = src.frame();
        for (const Plan& plan : plans) {
            stages.push_back(stages.empty() ? makeStage(plan, frame)
                                            : makeStage(plan, *stages.back()));
        }
    });
    if (status == 0) {
        const tavo::FrameLayout& layout = stages.back()->layout();
        ForeignFrame dst(input, layout.format, layout.size, false);
        Frame expected = fuzz::ownCopy(dst.frame());
        std::vector<Guard> targets = dst.guard(dst.frame());
        status = fuzz::statusOf([&] { produceFrame(*stages.back(), dst.frame()); });
        checkAll(targets, false, "chain");
        const int own_status = fuzz::statusOf([&] {
            Frame frame = own_src;
            for (std::size_t i = 0; i < plans.size(); ++i) {
                const auto stage = makeStage(plans[i], static_cast<const Frame&>(frame));
                Frame result = i + 1 == plans.size() ? expected : Frame();
                produceFrame(*stage, result);
                frame = result;
            }
            expected = frame;
        });
        FUZZ_CHECK(status != 0 || own_status == 0, "one by one it fails: %d", own_status);
        if (status == 0 && rowsAreWhole(stages) && !fuzz::samePixels(dst.frame(), expected)) {
            for (const Plan& plan : plans) {
                std::fprintf(stderr, "stage %d: %d x %d, %s, precision %d, method %d\n", plan.kind,
                             plan.size.width, plan.size.height, toString(plan.format),
                             plan.precision, plan.method);
            }
            FUZZ_CHECK(false, "%s %dx%d to %s %dx%d: other pixels one by one",
                       toString(own_src.format()), own_src.width(), own_src.height(),
                       toString(layout.format), layout.size.width, layout.size.height);
        }
    }
    checkAll(guards, true, "source of a chain");
    return 0;
}
