// From a camera's NV12 frame to the input of a neural network: camera_to_network OUTPUT_FOLDER
// PICTURE...
//
// The middle square of the frame becomes three planes of 300 x 300 floats between -1 and 1. Both
// backends do it, with a little different arithmetic.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/picture_file.h"
#include "support/run_on_pictures.h"
#include "tavo_cv/tavo_cv.h"

using namespace tavo;

namespace {

constexpr Size NETWORK_SIZE(300, 300);

/// Both corners at even pixels, because chroma pairs serve 2 x 2 of them.
Rect middleSquare(Size size) {
    const int side = std::min(size.width, size.height) & ~1;
    return Rect((size.width - side) / 2 & ~1, (size.height - side) / 2 & ~1, side, side);
}

/// Keep one for a stream: its frames, and those of the backend, are allocated once.
class NetworkInput {
public:
    explicit NetworkInput(ICvBackend& backend) : _backend(backend) {
        _scaled.reuse(FRAME_NV12, NETWORK_SIZE, DeviceContext(), 0);
        _bgr.reuse(FRAME_BGR24, NETWORK_SIZE, DeviceContext(), 0);
        _input.reuse(FRAME_PLANAR_32F, NETWORK_SIZE, DeviceContext(), 0);
        // Bilinear is faster, but at this ratio it passes pixels over, and fine detail turns false.
        _backend.setIntProperty(CV_PROPERTY_RESIZE_METHOD, ResizeArea);
    }

    /// @return planes B, G, R, each sample between -1 and 1; valid until the next call
    const Frame& prepare(const Frame& camera) {
        // Scaling first leaves the fewest pixels to convert.
        _backend.resize(camera, _scaled, middleSquare(camera.size()), Rect());
        // The region matters, although it is the whole frame: without one NV12 to BGR24 takes
        // groups of 8 columns and leaves the last 4 of these 300 alone.
        _backend.colorCvt(_scaled, _bgr, Rect(0, 0, NETWORK_SIZE.width, NETWORK_SIZE.height));
        _backend.convert(_bgr, _input, Rect());
        _backend.mul(_input, 2.0f / 255.0f, Rect());
        _backend.add(_input, -1.0f, Rect());
        return _input;
    }

private:
    ICvBackend& _backend;
    Frame _scaled;
    Frame _bgr;
    Frame _input;
};

/// A photograph as a camera would deliver it. Doubling makes every side even.
Frame cameraFrame(const Frame& picture) {
    Frame camera;
    resizeFrame(picture, Size(2 * picture.width(), 2 * picture.height()), camera, ResizeBilinear);
    colorConvert(camera, FRAME_NV12, camera);
    return camera;
}

void checkRange(const Frame& input) {
    float low = INFINITY;
    float high = -INFINITY;
    for (int plane = 0; plane < input.layout().plane_count; ++plane) {
        for (int y = 0; y < input.height(); ++y) {
            const std::ptrdiff_t stride = input.layout().plane[plane].stride;
            const void* const address = input.planeData(plane) + y * stride;
            const auto* const row = static_cast<const float*>(address);
            const auto [row_low, row_high] = std::minmax_element(row, row + input.width());
            low = std::min(low, *row_low);
            high = std::max(high, *row_high);
        }
    }
    std::printf("  %-8s samples from %.3f to %.3f\n", "", double(low), double(high));
    constexpr float ROUNDING = 1e-6f;
    if (!(low >= -1 - ROUNDING && high <= 1 + ROUNDING)) {
        throw std::runtime_error("samples outside -1..1");
    }
}

/// What the network sees, as a picture again.
Frame pictureOf(const Frame& input) {
    CvBackendSimd backend;
    Frame floats;
    input.copyTo(floats);
    backend.add(floats, 1.0f, Rect());
    backend.mul(floats, 255.0f / 2.0f, Rect());
    backend.add(floats, 0.5f, Rect());  // the conversion to bytes truncates
    Frame bgr;
    colorConvert(floats, FRAME_BGR24, bgr);
    return bgr;
}

const unsigned char* pixelAt(const Frame& bgr, int x, int y) {
    return bgr.planeData(0) + std::ptrdiff_t(bgr.layout().plane[0].stride) * y +
           std::ptrdiff_t(3) * x;
}

/// The same square, cut from the photograph before it was doubled, must look alike, up to the last
/// column.
void checkPicture(const Frame& seen, Frame photograph, Size camera) {
    const Rect square = middleSquare(camera);
    const Rect half(square.x / 2, square.y / 2, square.width / 2, square.height / 2);
    Frame expected;
    resizeFrame(getRegion(photograph, half), NETWORK_SIZE, expected, ResizeArea);
    int worst = 0;
    for (int x = 0; x < seen.width(); ++x) {
        int difference = 0;  // of all bytes in the column
        for (int y = 0; y < seen.height(); ++y) {
            const unsigned char* const a = pixelAt(seen, x, y);
            const unsigned char* const b = pixelAt(expected, x, y);
            difference += std::abs(a[0] - b[0]) + std::abs(a[1] - b[1]) + std::abs(a[2] - b[2]);
        }
        worst = std::max(worst, difference);
    }
    const double mean = double(worst) / (3 * seen.height());
    std::printf("  %-8s bytes differ from the photograph by %.1f in the worst column\n", "", mean);
    if (mean > 20) {
        throw std::runtime_error("the network sees another picture");
    }
}

void feed(const Path& file, const Path& folder) {
    const Frame photograph = readPicture(file.string());
    const Frame camera = cameraFrame(photograph);
    std::printf("%s: camera %d x %d\n", file.filename().c_str(), camera.width(), camera.height());

    CvBackendBase portable;
    CvBackendSimd fast;
    struct Way {
        std::string name;
        ICvBackend& backend;
    };
    const Way ways[] = {{"portable", portable}, {"fast", fast}};
    for (const Way& way : ways) {
        NetworkInput network(way.backend);
        const double time = medianMilliseconds(51, [&] { network.prepare(camera); });
        std::printf("  %-8s %.3f ms per frame\n", way.name.c_str(), time);

        const Frame& input = network.prepare(camera);
        checkRange(input);
        const Frame seen = pictureOf(input);
        checkPicture(seen, photograph, camera.size());
        writePicture(seen,
                     (folder / (file.stem().string() + "_network_" + way.name)).string() + ".png");
    }
}

void feedAll(const Path& folder, const std::vector<Path>& pictures) {
    for (const Path& picture : pictures) {
        feed(picture, folder);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return runOnPictures(argc, argv, feedAll);
}
