// Runs one kernel a number of times, for a counter of instructions outside of the program:
//
//   kernel_instructions                          lists the kernels: family, name, pixels, variants
//   kernel_instructions NAME base|neon TIMES     runs one of them
//
// What a run costs is the difference between two runs of the program that differ in TIMES only.
// The nearest and bicubic resizers and the warp have one class each, which asks the processor;
// their variants are those of the processor.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "simd/simd.h"
#include "support/kernel_cases.h"
#include "tavo_core/tavo_arithmetic.h"

namespace {

using support::KernelCase;
using support::Plane;
using support::PlaneShape;
using support::Variant;
using Memory = std::vector<unsigned char>;

constexpr std::uint32_t WIDTH = 640;
constexpr std::uint32_t HEIGHT = 480;
constexpr unsigned char FILL = 0x41;  // floats take it for small numbers, too

struct Job {
    std::string family;
    std::string name;
    std::uint32_t pixels;  // that the counts are divided by
    bool has_neon;
    std::function<void(bool neon, int times)> run;
};

/// Planes without padding.
std::vector<Plane> makePlanes(const std::vector<PlaneShape>& shapes,
                              std::uint32_t width,
                              std::uint32_t height,
                              std::vector<Memory>& memory) {
    std::vector<Plane> planes;
    for (const PlaneShape& shape : shapes) {
        const std::size_t row_bytes = shape.rowBytes(width, height);
        memory.emplace_back(row_bytes * shape.rows(width, height) + 1, FILL);
        planes.push_back({memory.back().data(), std::uint32_t(row_bytes)});
    }
    return planes;
}

/// Runs of samples have one row.
Job planeJob(const KernelCase& kernel) {
    const bool is_run = kernel.max_height < HEIGHT;
    const std::uint32_t width = is_run ? WIDTH * HEIGHT : WIDTH;
    const std::uint32_t height = is_run ? kernel.max_height : HEIGHT;
    const auto run = [&kernel, width, height](bool neon, int times) {
        std::vector<Memory> memory;
        memory.reserve(kernel.sources.size() + kernel.targets.size());
        const std::vector<Plane> sources = makePlanes(kernel.sources, width, height, memory);
        const std::vector<Plane> targets = makePlanes(kernel.targets, width, height, memory);
        for (int i = 0; i < times; ++i) {
            const Variant variant = neon ? Variant::Neon : Variant::Base;
            kernel.run(variant, sources.data(), targets.data(), width, height);
        }
    };
    return {kernel.family, kernel.name, width * height, kernel.hasNeon(), run};
}

struct Method {
    const char* name;
    Simd::ResizerChannelType type;
    Simd::ResizerMethod method;
    std::uint32_t sample_bytes;
};

constexpr Method NEAREST = {"nearest", Simd::ResizerChannelByte, Simd::ResizerMethodNearest, 1};
constexpr Method BILINEAR = {"bilinear", Simd::ResizerChannelByte, Simd::ResizerMethodBilinear, 1};
constexpr Method AREA = {"area", Simd::ResizerChannelByte, Simd::ResizerMethodArea, 1};
constexpr Method BICUBIC = {"bicubic", Simd::ResizerChannelByte, Simd::ResizerMethodBicubic, 1};
constexpr Method FLOAT_BILINEAR = {"float bilinear", Simd::ResizerChannelFloat,
                                   Simd::ResizerMethodBilinear, 4};

/// From one size to another.
struct Scaling {
    const char* name;
    std::uint32_t src_width, src_height;
    std::uint32_t dst_width, dst_height;
};

constexpr Scaling TO_720P = {"to 1280x720", 1920, 1080, 1280, 720};
constexpr Scaling TO_540P = {"to 960x540", 1920, 1080, 960, 540};
constexpr Scaling TO_360P = {"to 640x360", 1920, 1080, 640, 360};
constexpr Scaling TO_300 = {"to 300x300", 1920, 1080, 300, 300};
constexpr Scaling DOUBLED = {"640x480 to 1280x960", 640, 480, 1280, 960};

constexpr const char* PIXEL_NAMES[] = {"gray", "UV", "BGR", "BGRA"};  // of 1 to 4 channels

std::string nameOf(const char* operation, std::uint32_t channels) {
    return std::string(operation) + " " + PIXEL_NAMES[channels - 1];
}

/// Per destination pixel.
Job resizeJob(const Method& method, std::uint32_t channels, const Scaling& size) {
    const auto run = [=](bool neon, int times) {
        // NOLINTNEXTLINE(misc-redundant-expression): the same in a build without NEON
        const auto create = neon ? Simd::Neon::ResizerInit : Simd::Base::ResizerInit;
        const std::unique_ptr<Simd::Resizer> resizer(create(size.src_width, size.src_height,
                                                            size.dst_width, size.dst_height,
                                                            channels, method.type, method.method));
        const std::uint32_t pixel_bytes = channels * method.sample_bytes;
        const std::uint32_t src_stride = size.src_width * pixel_bytes;
        const std::uint32_t dst_stride = size.dst_width * pixel_bytes;
        const Memory source(std::size_t(src_stride) * size.src_height, FILL);
        Memory target(std::size_t(dst_stride) * size.dst_height);
        for (int i = 0; i < times; ++i) {
            resizer->Run(source.data(), src_stride, target.data(), dst_stride);
        }
    };
    const std::string name = nameOf(method.name, channels) + " " + size.name;
    return {"Resize", name, size.dst_width * size.dst_height, true, run};
}

/// By 10 degrees.
Job warpJob(bool bilinear, std::uint32_t channels) {
    const auto run = [=](bool, int times) {
        float matrix[2][3];
        tavo::getRotationMatrix2D(10.0f, tavo::Point(WIDTH / 2, HEIGHT / 2), matrix, 1.0f);
        const std::uint32_t stride = WIDTH * channels;
        const std::uint32_t flags = bilinear ? std::uint32_t(Simd::WarpAffineInterpBilinear) : 0u;
        const std::unique_ptr<Simd::WarpAffine> warp(Simd::Base::WarpAffineInit(
            WIDTH, HEIGHT, stride, WIDTH, HEIGHT, stride, channels, matrix[0], flags, nullptr));
        const Memory source(std::size_t(stride) * HEIGHT, FILL);
        Memory target(std::size_t(stride) * HEIGHT);
        for (int i = 0; i < times; ++i) {
            warp->Run(source.data(), target.data());
        }
    };
    const std::string name = nameOf(bilinear ? "warp bilinear" : "warp nearest", channels);
    return {"Warp", name, WIDTH * HEIGHT, true, run};
}

/// What is done with pixels of how many channels.
struct ResizeGroup {
    Method method;
    std::vector<std::uint32_t> channels;
    std::vector<Scaling> sizes;
};

std::vector<Job> allJobs() {
    const std::vector<Scaling> sizes = {TO_720P, TO_540P, TO_360P, TO_300, DOUBLED};
    const ResizeGroup groups[] = {
        {NEAREST, {1, 2, 3}, sizes},
        {BILINEAR, {1, 2, 3}, sizes},
        {AREA, {1, 2, 3}, sizes},
        {BICUBIC, {1, 3}, sizes},
        {FLOAT_BILINEAR, {1, 3}, {TO_720P, TO_540P}},
    };
    std::vector<Job> jobs;
    for (const KernelCase& kernel : support::kernelCases()) {
        jobs.push_back(planeJob(kernel));
    }
    for (const ResizeGroup& group : groups) {
        for (const std::uint32_t channels : group.channels) {
            for (const Scaling& size : group.sizes) {
                jobs.push_back(resizeJob(group.method, channels, size));
            }
        }
    }
    for (const bool bilinear : {false, true}) {
        for (const std::uint32_t channels : {1u, 3u, 4u}) {
            jobs.push_back(warpJob(bilinear, channels));
        }
    }
    return jobs;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<Job> jobs = allJobs();
    if (argc == 1) {
        for (const Job& job : jobs) {
            std::printf("%s,%s,%u,%s\n", job.family.c_str(), job.name.c_str(), job.pixels,
                        job.has_neon ? "neon" : "base");
        }
        return EXIT_SUCCESS;
    }
    for (const Job& job : jobs) {
        if (argc == 4 && job.name == argv[1]) {
            job.run(std::string(argv[2]) == "neon", int(std::strtol(argv[3], nullptr, 10)));
            return EXIT_SUCCESS;
        }
    }
    std::fprintf(stderr, "usage: %s [NAME base|neon TIMES]\n", argv[0]);
    return 2;
}
