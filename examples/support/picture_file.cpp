#include "support/picture_file.h"

#include <memory>
#include <stdexcept>

#include "tavo_cv/tavo_format_converter.h"

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include "stb/stb_image.h"
#include "stb/stb_image_write.h"

using namespace tavo;

Frame readPicture(const std::string& path) {
    Size size;
    int channels = 0;
    const std::unique_ptr<unsigned char, void (*)(void*)> memory(
        stbi_load(path.c_str(), &size.width, &size.height, &channels, 3), stbi_image_free);
    if (!memory) {
        throw std::runtime_error("can't read " + path + ": " + stbi_failure_reason());
    }
    // The decoder's memory is shown as a frame, not copied.
    unsigned char* const planes[4] = {memory.get()};
    const Frame rgb(FrameLayout(FRAME_RGB24, size, 0), planes);

    FormatConverter converter;
    converter.reuse(rgb, FRAME_BGR24);
    Frame bgr;
    produceFrame(converter, bgr);
    return bgr;
}

void writePicture(const Frame& bgr, const std::string& path) {
    FormatConverter converter;
    converter.reuse(bgr, FRAME_RGB24);
    Frame rgb;
    produceFrame(converter, rgb);
    const int stride = rgb.layout().plane[0].stride;
    if (stbi_write_png(path.c_str(), rgb.width(), rgb.height(), 3, rgb.planeData(0), stride) == 0) {
        throw std::runtime_error("can't write " + path);
    }
}
