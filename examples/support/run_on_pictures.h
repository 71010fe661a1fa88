// What all examples share: their command line, and how they measure.
#pragma once

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <vector>

using Path = std::filesystem::path;

/// The main function of an example: PROGRAM OUTPUT_FOLDER PICTURE... Makes the folder, runs the
/// example and prints what it throws.
/// @return the exit status
int runOnPictures(int argc,
                  char** argv,
                  void (*example)(const Path& folder, const std::vector<Path>& pictures));

/// Milliseconds that @p work takes. The median is what a steady stream costs: the first run, which
/// allocates, and interruptions do not count.
template <class Work>
double medianMilliseconds(int repetitions, const Work& work) {
    std::vector<double> times;
    for (int i = 0; i < repetitions; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double, std::milli> time =
            std::chrono::steady_clock::now() - start;
        times.push_back(time.count());
    }
    const auto middle = times.begin() + repetitions / 2;
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}
