// How the row pipeline and the fast backend differ: two_ways OUTPUT_FOLDER PICTURE...
//
// Each picture is scaled and converted by both. The sheet shows the middle of both results and of
// their difference, many times enlarged: gray where they are equal, brighter where the fast
// backend's sample is the larger.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/contact_sheet.h"
#include "support/picture_file.h"
#include "support/run_on_pictures.h"
#include "tavo_cv/tavo_cv.h"

using namespace tavo;

namespace {

constexpr int GAIN = 32;
// Levels: along each axis half a sixteenth of the contrast, and one for rounding.
constexpr int LARGEST = 17;
constexpr Size SHOWN(140, 94);

/// 128 and GAIN times the difference of each sample; prints how large it is.
Frame difference(const std::string& name, const Frame& rows, const Frame& fast) {
    Frame result;
    result.reuse(FRAME_BGR24, rows.size(), DeviceContext(), 0);
    int largest = 0;
    int equal = 0;
    int sum = 0;
    const int row_bytes = result.layout().plane[0].row_bytes;
    for (int y = 0; y < rows.height(); ++y) {
        const auto rowOf = [y](const Frame& frame) {
            return frame.planeData(0) + std::ptrdiff_t(frame.layout().plane[0].stride) * y;
        };
        for (int x = 0; x < row_bytes; ++x) {
            const int levels = rowOf(fast)[x] - rowOf(rows)[x];
            largest = std::max(largest, std::abs(levels));
            sum += levels;
            equal += levels == 0 ? 1 : 0;
            rowOf(result)[x] = static_cast<unsigned char>(std::clamp(128 + GAIN * levels, 0, 255));
        }
    }
    const double samples = double(row_bytes) * rows.height();
    std::printf("  %-10s equal samples %.1f %%, differences up to %d, in the mean %+.2f\n",
                name.c_str(), 100 * equal / samples, largest, sum / samples);
    if (largest > LARGEST) {
        throw std::runtime_error("the two ways differ by more than rounding");
    }
    return result;
}

void show(const std::string& name, const Frame& rows, const Frame& fast, ContactSheet& sheet) {
    const Rect middle((rows.width() - SHOWN.width) / 2, (rows.height() - SHOWN.height) / 2,
                      SHOWN.width, SHOWN.height);
    const auto add = [&](Frame frame, const std::string& text) {
        sheet.add(getRegion(frame, middle), text);
    };
    add(rows, name + ", row pipeline");
    add(fast, name + ", fast backend");
    add(difference(name, rows, fast), "difference x " + std::to_string(GAIN));
}

Frame scale(ICvBackend& backend, const Frame& source, Size size) {
    Frame result;
    result.reuse(source.format(), size, DeviceContext(), 0);
    backend.resize(source, result, Rect(), Rect());
    return result;
}

/// The region matters, although it is the whole frame: it makes a backend use its own arithmetic
/// for NV12.
Frame convert(ICvBackend& backend, const Frame& source, FrameFormat format) {
    Frame result;
    result.reuse(format, source.size(), DeviceContext(), 0);
    backend.colorCvt(source, result, Rect(0, 0, source.width(), source.height()));
    return result;
}

void compare(const Path& file, const Path& folder) {
    Frame picture = readPicture(file.string());
    const Size even(picture.width() & ~1, picture.height() & ~1);
    picture = getRegion(picture, Rect(0, 0, even.width, even.height));
    std::printf("%s\n", file.filename().c_str());

    CvBackendBase rows;
    CvBackendSimd fast;
    ContactSheet sheet(3, Size(2 * SHOWN.width, 2 * SHOWN.height));
    const Size smaller(even.width * 5 / 7, even.height * 5 / 7);
    show("bilinear", scale(rows, picture, smaller), scale(fast, picture, smaller), sheet);
    const Frame camera = convert(rows, picture, FRAME_NV12);
    show("from NV12", convert(rows, camera, FRAME_BGR24), convert(fast, camera, FRAME_BGR24),
         sheet);
    writePicture(sheet.draw(), (folder / (file.stem().string() + "_two_ways.png")).string());
}

void compareAll(const Path& folder, const std::vector<Path>& pictures) {
    for (const Path& picture : pictures) {
        compare(picture, folder);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return runOnPictures(argc, argv, compareAll);
}
