// Our operations beside the nearest calls of other libraries, on one thread. Before anything is
// measured, every contestant does its job once: a row whose contestants do different things is
// worthless.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench_case.h"
#include "peers.h"
#include "simd/simd.h"

namespace {

using bench::Case;
using bench::Frame;

/// What the job writes, and what the target held before where nothing is written.
Frame outputOf(const Case& entry, const bench::Run& run) {
    const Frame& src = bench::sourceFrame(entry.src);
    Frame& dst = bench::targetFrame(entry.dst);
    dst.setZero();
    if (entry.src.format == entry.dst.format && entry.src.size == entry.dst.size) {
        src.copyTo(dst);  // jobs in place
    }
    run(src, dst);
    Frame output;
    dst.copyTo(output);
    return output;
}

template <class Sample>
double sumOfDifferences(const unsigned char* a, const unsigned char* b, std::size_t bytes) {
    double sum = 0;
    for (std::size_t i = 0; i < bytes; i += sizeof(Sample)) {
        Sample first;
        Sample second;
        std::memcpy(&first, a + i, sizeof first);
        std::memcpy(&second, b + i, sizeof second);
        sum += std::fabs(double(first) - double(second));
    }
    return sum;
}

double meanDifference(const Frame& a, const Frame& b) {
    double sum = 0;
    double samples = 0;
    for (int p = 0; p < a.layout().plane_count; ++p) {
        const tavo::PlaneLayout& plane = a.layout().plane[p];
        const auto compare = plane.bits_per_channel == 8    ? sumOfDifferences<std::uint8_t>
                             : plane.bits_per_channel == 16 ? sumOfDifferences<std::uint16_t>
                                                            : sumOfDifferences<float>;
        // Rows of these frames have no padding.
        sum += compare(a.planeData(p), b.planeData(p), plane.size_bytes);
        samples += double(plane.size_bytes) * 8 / plane.bits_per_channel;
    }
    return sum / samples;
}

bool doTheSame(const Case& entry) {
    bool same = true;
    const Frame expected = outputOf(entry, entry.runs[bench::FAST]);
    for (std::size_t who = bench::PORTABLE; who < bench::CONTESTANTS; ++who) {
        if (!entry.runs[who]) {
            continue;
        }
        const bool exact = who == bench::YARDSTICK;
        const double difference =
            meanDifference(outputOf(entry, entry.runs[who]),
                           exact ? outputOf(entry, entry.runs[bench::PORTABLE]) : expected);
        if (!(difference <= (exact ? 0 : entry.tolerance))) {
            std::fprintf(stderr, "%s %s: %s is off by %g levels\n", entry.operation.c_str(),
                         entry.size.c_str(), bench::CONTESTANT_NAMES[who], difference);
            same = false;
        }
    }
    return same;
}

void report(benchmark::State& state, const Case& entry) {
    state.counters["pixels"] = entry.pixels;
    state.counters["bytes"] = entry.bytes;
}

void measure(benchmark::State& state, const Case& entry, const bench::Run& run) {
    const Frame& src = bench::sourceFrame(entry.src);
    Frame& dst = bench::targetFrame(entry.dst);
    for (auto unused : state) {
        static_cast<void>(unused);
        run(src, dst);
        benchmark::ClobberMemory();
    }
    report(state, entry);
}

/// Half of the bytes are read, half are written.
void measureCopy(benchmark::State& state, const Case& entry) {
    static std::vector<unsigned char> from;
    static std::vector<unsigned char> to;
    const auto bytes = std::size_t(entry.bytes / 2);
    from.resize(std::max(from.size(), bytes), 1);
    to.resize(std::max(to.size(), bytes), 1);
    for (auto unused : state) {
        static_cast<void>(unused);
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::ClobberMemory();
    }
    report(state, entry);
}

void registerCase(const Case& entry) {
    const std::string name = entry.operation + "/" + entry.size + "/";
    for (std::size_t who = 0; who < bench::CONTESTANTS; ++who) {
        if (entry.runs[who]) {
            benchmark::RegisterBenchmark(
                (name + bench::CONTESTANT_NAMES[who]).c_str(),
                [&entry, who](benchmark::State& state) { measure(state, entry, entry.runs[who]); });
        }
    }
    benchmark::RegisterBenchmark((name + bench::CONTESTANT_NAMES[bench::CONTESTANTS]).c_str(),
                                 [&entry](benchmark::State& state) { measureCopy(state, entry); });
}

void describeRun() {
    benchmark::AddCustomContext("compiler", BENCH_COMPILER);
    benchmark::AddCustomContext("vectors", Simd::Neon::Enable   ? "NEON"
                                           : Simd::Avx2::Enable ? "AVX2"
                                                                : "none");
#ifdef BENCH_OPENCV
    benchmark::AddCustomContext("opencv", CV_VERSION);
#endif
#ifdef BENCH_LIBYUV
    benchmark::AddCustomContext("libyuv", std::to_string(LIBYUV_VERSION));
#endif
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    describeRun();
#ifdef BENCH_OPENCV
    cv::setNumThreads(1);
#endif
    std::vector<Case> cases;
    for (const auto family :
         {bench::colorCases, bench::resizeCases, bench::transformCases, bench::floatCases}) {
        const std::vector<Case> more = family();
        cases.insert(cases.end(), more.begin(), more.end());
    }
    bool same = true;
    for (const Case& entry : cases) {
        same = doTheSame(entry) && same;
    }
    if (!same) {
        return EXIT_FAILURE;
    }
    std::for_each(cases.begin(), cases.end(), registerCase);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return EXIT_SUCCESS;
}
