// What a camera application does, on photographs: picture_tour OUTPUT_FOLDER PICTURE...
//
// Each picture is turned into NV12, as a camera would deliver it, scaled down and up by nearest
// neighbour and bilinear, and turned back for display. Then it is reduced to a quarter by four
// methods, which differ in how much they alias. Every result is written as PNG, and all of them
// together as one contact sheet.

#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "support/contact_sheet.h"
#include "support/picture_file.h"
#include "tavo_cv/tavo_cv.h"

using namespace tavo;

namespace {

/// Pulls a prepared stage into a frame, and prints what that took.
template <class Prepare>
Frame run(const char* name, IRowProducer& stage, const Prepare& prepare) {
    Frame result;
    prepare();
    produceFrame(stage, result);  // the first frame of a shape allocates

    constexpr int REPETITIONS = 10;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < REPETITIONS; ++i) {
        prepare();
        produceFrame(stage, result);
    }
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    std::printf("  %-16s %-11s %4d x %-4d  %7.3f ms\n", name, toString(result.format()),
                result.width(), result.height(), time.count() / REPETITIONS);
    return result;
}

Frame convert(const char* name, const Frame& frame, FrameFormat format) {
    FormatConverter converter;
    return run(name, converter, [&] { converter.reuse(frame, format); });
}

Frame scale(const char* name, const Frame& frame, Size size, ScaleMethod method) {
    Scaler scaler;
    return run(name, scaler, [&] { scaler.reuse(frame, size, method); });
}

Frame scaleLanczos(const char* name, const Frame& frame, Size size) {
    LanczosKernel kernel;
    ScalerConvolutional scaler;
    return run(name, scaler,
               [&] { scaler.reuse(kernel, frame, size, TAVO_SCALER_FIXED_POINT_16S); });
}

void tour(const std::filesystem::path& file,
          const std::filesystem::path& folder,
          ContactSheet& sheet) {
    const Frame picture = readPicture(file.string());
    std::printf("%s\n", file.filename().c_str());

    const Size size = picture.size();
    const Size half((size.width + 1) / 2, (size.height + 1) / 2);
    const Size twice(size.width * 2, size.height * 2);
    const Size quarter((size.width + 3) / 4, (size.height + 3) / 4);
    const Frame camera = convert("camera", picture, FRAME_NV12);

    struct Result {
        std::string name;
        Frame frame;
    };
    const Result results[] = {
        {"camera", camera},
        {"nearest_down", scale("nearest down", camera, half, SCALE_NEAREST)},
        {"bilinear_down", scale("bilinear down", camera, half, SCALE_BILINEAR)},
        {"nearest_up", scale("nearest up", camera, twice, SCALE_NEAREST)},
        {"bilinear_up", scale("bilinear up", camera, twice, SCALE_BILINEAR)},
        {"quarter_nearest", scale("quarter nearest", picture, quarter, SCALE_NEAREST)},
        {"quarter_bilinear", scale("quarter bilinear", picture, quarter, SCALE_BILINEAR)},
        {"quarter_area", scale("quarter area", picture, quarter, SCALE_AREA)},
        {"quarter_lanczos", scaleLanczos("quarter Lanczos", picture, quarter)},
    };
    const std::string stem = file.stem().string();
    sheet.add(picture, stem + ": as read");
    for (const Result& result : results) {
        const Frame shown = convert("for display", result.frame, FRAME_BGR24);
        writePicture(shown, (folder / (stem + "_" + result.name + ".png")).string());
        sheet.add(shown, stem + ": " + result.name);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s OUTPUT_FOLDER PICTURE...\n", argv[0]);
        return 2;
    }
    try {
        const std::filesystem::path folder = argv[1];
        std::filesystem::create_directories(folder);
        ContactSheet sheet(5, Size(320, 214));
        for (int i = 2; i < argc; ++i) {
            tour(argv[i], folder, sheet);
        }
        const std::string sheet_file = (folder / "contact_sheet.png").string();
        writePicture(sheet.draw(), sheet_file);
        std::printf("all together: %s\n", sheet_file.c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
