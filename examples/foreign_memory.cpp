// The library on pixels that somebody else owns: foreign_memory OUTPUT_FOLDER PICTURE...
//
// An image of another library gets a mosaic over its middle, in place, without being copied. Then a
// part of it is turned by two angles, into frames of their own.

#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/picture_file.h"
#include "support/run_on_pictures.h"
#include "tavo_cv/tavo_cv.h"

using namespace tavo;

namespace {

/// Stands for the image class of another library. Its rows are longer than their pixels.
struct OwnersImage {
    Size size;
    int stride;                         // bytes from row to row
    std::vector<unsigned char> memory;  // B, G, R

    explicit OwnersImage(Size size_)
        : size(size_),
          stride(3 * size.width + 21),
          memory(std::size_t(stride) * std::size_t(size.height), 0xA5) {}
};

/// Shows the owner's pixels, which have to outlive the frame. Only the stride differs from what the
/// library would lay out itself.
Frame frameOver(OwnersImage& image) {
    FrameLayout layout(FRAME_BGR24, image.size, 0);
    layout.plane[0].stride = image.stride;
    unsigned char* const planes[4] = {image.memory.data()};
    return Frame(layout, planes);
}

/// One part in @p parts of each side, in the middle.
Rect middleOf(Size size, int parts) {
    const Size part(size.width / parts, size.height / parts);
    return Rect((size.width - part.width) / 2, (size.height - part.height) / 2, part.width,
                part.height);
}

/// A frame that already has the right format and size is written where it lies: here, into the
/// memory that the region shows.
void hideBehindMosaic(Frame region) {
    constexpr int TILE = 12;
    const Size tiles((region.width() + TILE - 1) / TILE, (region.height() + TILE - 1) / TILE);
    Frame small;
    resizeFrame(region, tiles, small, ResizeArea);
    resizeFrame(small, region.size(), region, ResizeNearestNeighbour);
}

/// The owner looks at its own bytes: they must have changed inside the rectangle, and nowhere else,
/// not even between the rows.
void checkChanges(const OwnersImage& before, const OwnersImage& after, const Rect& rect) {
    int inside = 0;
    int outside = 0;
    for (std::size_t i = 0; i < after.memory.size(); ++i) {
        if (after.memory[i] != before.memory[i]) {
            const int x = int(i) % after.stride / 3;
            const int y = int(i) / after.stride;
            const bool in_rect =
                x >= rect.x && x < rect.x + rect.width && y >= rect.y && y < rect.y + rect.height;
            ++(in_rect ? inside : outside);
        }
    }
    std::printf("  the owner sees %d changed bytes inside the region, %d outside\n", inside,
                outside);
    if (inside == 0 || outside != 0) {
        throw std::runtime_error("the mosaic is not where it belongs");
    }
}

/// The region turned counter-clockwise, in a frame of its own.
Frame turn(const Frame& frame, const Rect& region, float angle) {
    Frame turned;
    Rect place;
    rotateFrame(frame, region, angle, turned, place);
    std::printf("  by %.0f degrees: %d x %d, the region in it at (%d, %d), %d x %d\n",
                double(angle), turned.width(), turned.height(), place.x, place.y, place.width,
                place.height);
    // The result may have a margin on the left and on top. In the corners around the turned region
    // it is black, but for surroundings of the region that were read along with it.
    return getRegion(turned, place);
}

void show(const Path& file, const Path& folder) {
    const std::string stem = (folder / file.stem()).string();
    const Frame picture = readPicture(file.string());
    OwnersImage image(picture.size());
    Frame frame = frameOver(image);
    picture.copyTo(frame);  // same format and size: written into the owner's memory
    std::printf("%s: %d x %d, stride %d\n", file.filename().c_str(), frame.width(), frame.height(),
                image.stride);

    const OwnersImage before = image;
    const Rect hidden = middleOf(frame.size(), 3);
    hideBehindMosaic(getRegion(frame, hidden));
    checkChanges(before, image, hidden);
    writePicture(frame, stem + "_foreign.png");

    for (const int angle : {20, 75}) {
        const std::string name = stem + "_foreign_turned_" + std::to_string(angle) + ".png";
        writePicture(turn(frame, middleOf(frame.size(), 2), float(angle)), name);
    }
}

void showAll(const Path& folder, const std::vector<Path>& pictures) {
    for (const Path& picture : pictures) {
        show(picture, folder);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return runOnPictures(argc, argv, showAll);
}
