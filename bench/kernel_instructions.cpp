// Runs one kernel a number of times, for a counter of instructions outside of the program:
//
//   kernel_instructions                          lists the kernels: family, name, pixels of a run
//   kernel_instructions NAME base|neon TIMES     runs one of them
//
// What a run costs is the difference between two runs of the program that differ in TIMES only.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "simd/simd_platform.h"
#include "support/kernel_cases.h"

namespace {

using support::KernelCase;
using support::Plane;
using support::PlaneShape;
using support::Variant;

constexpr std::uint32_t WIDTH = 640;
constexpr std::uint32_t HEIGHT = 480;

/// Runs of samples have one row.
std::uint32_t heightOf(const KernelCase& kernel) {
    return std::min(HEIGHT, kernel.max_height);
}
std::uint32_t widthOf(const KernelCase& kernel) {
    return kernel.max_height < HEIGHT ? WIDTH * HEIGHT : WIDTH;
}

/// Planes without padding, filled with what floats take for small numbers, too.
std::vector<Plane> makePlanes(const std::vector<PlaneShape>& shapes,
                              std::uint32_t width,
                              std::uint32_t height,
                              std::vector<std::vector<unsigned char>>& memory) {
    std::vector<Plane> planes;
    for (const PlaneShape& shape : shapes) {
        const std::size_t row_bytes = shape.rowBytes(width, height);
        memory.emplace_back(row_bytes * shape.rows(width, height) + 1, 0x41);
        planes.push_back({memory.back().data(), std::uint32_t(row_bytes)});
    }
    return planes;
}

int run(const KernelCase& kernel, Variant variant, int times) {
    const std::uint32_t width = widthOf(kernel);
    const std::uint32_t height = heightOf(kernel);
    std::vector<std::vector<unsigned char>> memory;
    memory.reserve(kernel.sources.size() + kernel.targets.size());
    const std::vector<Plane> sources = makePlanes(kernel.sources, width, height, memory);
    const std::vector<Plane> targets = makePlanes(kernel.targets, width, height, memory);
    for (int i = 0; i < times; ++i) {
        kernel.run(variant, sources.data(), targets.data(), width, height);
    }
    return EXIT_SUCCESS;
}

void list() {
    for (const KernelCase& kernel : support::kernelCases()) {
        std::printf("%s,%s,%u,%s\n",
                    kernel.family.c_str(),
                    kernel.name.c_str(),
                    widthOf(kernel) * heightOf(kernel),
                    kernel.hasNeon() ? "neon" : "base");
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1) {
        list();
        return EXIT_SUCCESS;
    }
    for (const KernelCase& kernel : support::kernelCases()) {
        if (argc == 4 && kernel.name == argv[1]) {
            const bool neon = std::strcmp(argv[2], "neon") == 0;
            if (neon && !(Simd::Neon::Enable && kernel.hasNeon())) {
                std::fprintf(stderr, "%s has no such variant here\n", argv[1]);
                return EXIT_FAILURE;
            }
            return run(kernel, neon ? Variant::Neon : Variant::Base, std::atoi(argv[3]));
        }
    }
    std::fprintf(stderr, "usage: %s [NAME base|neon TIMES]\n", argv[0]);
    return 2;
}
