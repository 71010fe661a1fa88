// The kernels on whole planes, each variant that this processor has, on blocks of exact size. The
// bytes are those of the portable variant.

#include <algorithm>
#include <cstdint>
#include <deque>

#include "fuzz_input.h"
#include "support/kernel_cases.h"

namespace {

using fuzz::Guard;
using fuzz::Input;
using fuzz::Rows;
using support::KernelCase;
using support::Plane;
using support::PlaneShape;
using support::Sample;
using support::Variant;

/// The planes of one side of a kernel.
struct Planes {
    std::deque<Rows> rows;
    std::deque<Guard> guards;
    Plane planes[4] = {};

    void add(
        const PlaneShape& shape, int w, int h, int gap, int head, bool up, std::uint32_t seed) {
        const auto width = std::uint32_t(w);
        const auto height = std::uint32_t(h);
        const auto unit = int(shape.sample);
        const std::size_t bytes = std::max<std::size_t>(shape.rowBytes(width, height), 1);
        const std::size_t count = std::max<std::size_t>(shape.rows(width, height), 1);
        rows.emplace_back(bytes, count, std::size_t(gap * unit), std::size_t(head * unit), up,
                          seed);
        const Rows& plane = rows.back();
        planes[rows.size() - 1] = {plane.data(), std::uint32_t(plane.stride())};
        guards.emplace_back(plane, plane.view());
    }
};

/// The variant that @p pick stands for, or the wrapper where it may not run.
Variant chooseVariant(const KernelCase& kernel, std::uint32_t width, int pick) {
    const Variant variant = pick == 0 ? Variant::Wrapper : kernel.expected(width);
    return kernel.runs(variant, width) ? variant : Variant::Wrapper;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto& cases = support::kernelCases();
    const KernelCase& kernel = cases[std::size_t(input.between(0, int(cases.size()) - 1))];
    const bool is_run = kernel.max_height == 1;
    const auto rounded = [](int side, std::uint32_t step) {
        return std::max(side / int(step), 1) * int(step);
    };
    const int width = rounded(input.side(is_run ? 400 : 150), kernel.width_step);
    const int height = is_run ? 1 : rounded(input.side(40), kernel.height_step);

    Planes sources;
    Planes actual;
    Planes expected;
    const int shared_gap = input.between(0, 40);
    const bool shared_order = input.flag();
    for (const PlaneShape& shape : kernel.sources) {
        // One stride for all planes means rows of the same length, too.
        const bool shared = kernel.one_source_stride;
        int gap = shared ? shared_gap : input.flag() ? 0 : input.between(0, 40);
        if (shared && !sources.rows.empty()) {
            const auto bytes = int(std::max<std::size_t>(
                shape.rowBytes(std::uint32_t(width), std::uint32_t(height)), 1));
            gap = std::abs(sources.rows.front().stride()) - bytes;
        } else if (shared) {
            gap += 1;  // room for pairs behind an odd width
        }
        sources.add(shape, width, height, gap, input.between(0, 16),
                    shared ? shared_order : input.flag(), input.seed());
    }
    for (const PlaneShape& shape : kernel.targets) {
        const int gap = input.flag() ? 0 : input.between(0, 40);
        const int head = input.between(0, 16);
        const bool up = input.flag();
        const std::uint32_t seed = input.seed();
        actual.add(shape, width, height, gap, head, up, seed);
        expected.add(shape, width, height, gap, head, up, seed);
    }
    const auto w = std::uint32_t(width);
    const auto h = std::uint32_t(height);
    const Variant variant = chooseVariant(kernel, w, input.between(0, 1));
    kernel.run(Variant::Base, sources.planes, expected.planes, w, h);
    kernel.run(variant, sources.planes, actual.planes, w, h);
    for (Guard& guard : sources.guards) {
        guard.check(true, kernel.name.c_str());
    }
    for (std::size_t p = 0; p < kernel.targets.size(); ++p) {
        actual.guards[p].check(false, kernel.name.c_str());
        expected.guards[p].check(false, kernel.name.c_str());
        // Payloads of NaN are promised by this one alone.
        const bool floats =
            kernel.targets[p].sample == Sample::Float && kernel.name != "Float16ToFloat32";
        FUZZ_CHECK(fuzz::sameValues(actual.rows[p].bytes(), expected.rows[p].bytes(), floats),
                   "%s, variant %d, %d x %d: plane %zu differs from Base", kernel.name.c_str(),
                   int(variant), width, height, p);
    }
    return 0;
}
