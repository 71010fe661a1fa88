#include "bench_case.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>

namespace bench {
namespace {

/// Half-precision numbers from 1 up to 2.
constexpr unsigned HALF_OF_ONE = 0x3C00;

void store(unsigned char* row, std::ptrdiff_t index, int bits, double value) {
    if (bits == 8) {
        row[index] = static_cast<unsigned char>(value);
    } else if (bits == 16) {
        const auto half = static_cast<std::uint16_t>(HALF_OF_ONE + unsigned(value) * 4);
        std::memcpy(row + index * 2, &half, sizeof half);
    } else {
        const float number = std::floor(float(value));
        std::memcpy(row + index * 4, &number, sizeof number);
    }
}

std::vector<double> wave(int length, int periods, double phase, double height) {
    std::vector<double> values;
    values.reserve(std::size_t(length));
    for (int i = 0; i < length; ++i) {
        values.push_back(height * std::sin(6.28 * periods * i / length + phase));
    }
    return values;
}

/// Waves of another phase in each channel, so that swapped channels show, with a little noise.
void paint(Frame& frame) {
    std::minstd_rand random;
    const tavo::FrameLayout& layout = frame.layout();
    for (int p = 0; p < layout.plane_count; ++p) {
        const tavo::PlaneLayout& plane = layout.plane[p];
        for (int c = 0; c < plane.channels; ++c) {
            const std::vector<double> across = wave(plane.width, 9, p + c, 60);
            const std::vector<double> down = wave(plane.height, 7, 2 * (p + c), 55);
            for (int y = 0; y < plane.height; ++y) {
                unsigned char* const row = frame.planeData(p) + std::ptrdiff_t(y) * plane.stride;
                for (int x = 0; x < plane.width; ++x) {
                    const double noise = double(random() % 13) - 6;
                    store(row, std::ptrdiff_t(x) * plane.channels + c, plane.bits_per_channel,
                          128 + across[std::size_t(x)] + down[std::size_t(y)] + noise);
                }
            }
        }
    }
}

using Pool = std::map<std::pair<FrameFormat, std::string>, Frame>;

Frame& frameOf(Pool& pool, const Picture& picture, bool painted) {
    Frame& frame = pool[{picture.format, nameOf(picture.size)}];
    if (!frame.initialized()) {
        frame.reuse(picture.format, picture.size, tavo::DeviceContext(), 0);
        if (painted) {
            paint(frame);
        }
    }
    return frame;
}

}  // namespace

std::string nameOf(const Size& size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

double payload(const Picture& picture) {
    const tavo::FrameLayout layout(picture.format, picture.size, 0);
    double bytes = 0;
    for (int p = 0; p < layout.plane_count; ++p) {
        bytes += double(layout.plane[p].row_bytes) * layout.plane[p].height;
    }
    return bytes;
}

Case pictureCase(const std::string& operation, const Picture& src, const Picture& dst) {
    const double pixels = double(src.size.width) * src.size.height;
    return {operation, nameOf(src.size), src, dst, pixels, payload(src) + payload(dst), {}};
}

const Frame& sourceFrame(const Picture& picture) {
    static Pool pool;
    return frameOf(pool, picture, true);
}

Frame& targetFrame(const Picture& picture) {
    static Pool pool;
    return frameOf(pool, picture, false);
}

}  // namespace bench
