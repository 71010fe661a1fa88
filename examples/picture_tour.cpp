// What a camera application does, on photographs: picture_tour OUTPUT_FOLDER PICTURE...
//
// Each picture goes through colour conversions, is scaled down and up by every method, and is
// turned. Scaling is done twice: by the row pipeline, which never holds a whole picture between two
// stages, and by the fast backend, which works on whole planes. Every result is written as PNG, and
// all of them together as one contact sheet.

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "support/contact_sheet.h"
#include "support/picture_file.h"
#include "support/run_on_pictures.h"
#include "tavo_cv/tavo_cv.h"

using namespace tavo;

namespace {

/// Runs @p operation(result) again and again, and prints what that takes. Keep frames, stages and
/// backends: after the first run they have their memory.
template <class Operation>
Frame measure(const std::string& name, const Operation& operation) {
    Frame result;
    const double time = medianMilliseconds(11, [&] { operation(result); });
    std::printf("  %-22s %-11s %4d x %-4d  %7.3f ms\n", name.c_str(), toString(result.format()),
                result.width(), result.height(), time);
    return result;
}

// ---- The row pipeline ---------------------------------------------------------------------------

Frame convertByRows(const std::string& name, const Frame& frame, FrameFormat format) {
    FormatConverter converter;
    return measure(name, [&](Frame& result) {
        converter.reuse(frame, format);
        produceFrame(converter, result);
    });
}

Frame scaleByRows(const std::string& name, const Frame& frame, Size size, ResizeMethod method) {
    Scaler scaler;
    return measure(name, [&](Frame& result) {
        scaler.reuse(frame, size, ScaleMethod(method));
        produceFrame(scaler, result);
    });
}

Frame scaleLanczos(const std::string& name, const Frame& frame, Size size) {
    LanczosKernel kernel;
    ScalerConvolutional scaler;
    return measure(name, [&](Frame& result) {
        scaler.reuse(kernel, frame, size, TAVO_SCALER_FIXED_POINT_16S);
        produceFrame(scaler, result);
    });
}

// ---- The fast backend ---------------------------------------------------------------------------

/// A region makes the backend convert NV12 in all columns; without one it takes groups of 8.
Frame convertFast(const std::string& name, const Frame& frame, FrameFormat format) {
    CvBackendSimd backend;
    const Rect all(0, 0, frame.width(), frame.height());
    return measure(name, [&](Frame& result) {
        result.reuse(format, frame.size(), DeviceContext(), 0);
        backend.colorCvt(frame, result, all);
    });
}

Frame scaleFast(const std::string& name, const Frame& frame, Size size, ResizeMethod method) {
    CvBackendSimd backend;
    backend.setIntProperty(CV_PROPERTY_RESIZE_METHOD, method);
    return measure(name, [&](Frame& result) {
        result.reuse(frame.format(), size, DeviceContext(), 0);
        backend.resize(frame, result, Rect(), Rect());
    });
}

// ---- The stations of the tour -------------------------------------------------------------------

/// Where the results of one picture go.
class Album {
public:
    Album(const Path& file, Path folder, ContactSheet& sheet)
        : _stem(file.stem().string()), _folder(std::move(folder)), _sheet(sheet) {}

    /// @param name such as "nearest down, fast"; the file is called STEM_nearest_down_fast.png
    void add(const std::string& name, const Frame& frame) {
        FormatConverter converter;
        converter.reuse(frame, FRAME_BGR24);
        Frame shown;
        produceFrame(converter, shown);

        std::string file = _stem + "_" + name + ".png";
        file.erase(std::remove(file.begin(), file.end(), ','), file.end());
        std::replace(file.begin(), file.end(), ' ', '_');
        writePicture(shown, (_folder / file).string());
        _sheet.add(shown, _stem + ": " + name);
    }

private:
    std::string _stem;
    Path _folder;
    ContactSheet& _sheet;
};

void showColours(Frame picture, const Frame& camera, Album& album) {
    album.add("as read", picture);
    album.add("camera, rows", camera);
    // To the format and back, all by the fast backend. Subsampled sources need even sides there.
    const Frame even = getRegion(picture, Rect(0, 0, picture.width() & ~1, picture.height() & ~1));
    struct Format {
        std::string name;
        FrameFormat format;
    };
    const Format formats[] = {
        {"NV12, fast", FRAME_NV12},
        {"NV16, fast", FRAME_NV16},
        {"I444, fast", FRAME_I444},
        {"gray, fast", FRAME_GRAY8},
    };
    for (const Format& format : formats) {
        const Frame there = convertFast("to " + format.name, even, format.format);
        album.add(format.name, convertFast("from " + format.name, there, FRAME_BGR24));
    }
}

void showScaling(const Frame& picture, const Frame& camera, Album& album) {
    const Size size = picture.size();
    const Size half((size.width + 1) / 2, (size.height + 1) / 2);
    const Size twice(size.width * 2, size.height * 2);
    const Size quarter((size.width + 3) / 4, (size.height + 3) / 4);
    struct Scaling {
        std::string name;
        const Frame& source;
        Size size;
        ResizeMethod method;
    };
    const Scaling scalings[] = {
        {"nearest down", camera, half, ResizeNearestNeighbour},
        {"bilinear down", camera, half, ResizeBilinear},
        {"nearest up", camera, twice, ResizeNearestNeighbour},
        {"bilinear up", camera, twice, ResizeBilinear},
        {"quarter nearest", picture, quarter, ResizeNearestNeighbour},
        {"quarter bilinear", picture, quarter, ResizeBilinear},
        {"quarter area", picture, quarter, ResizeArea},
    };
    for (const Scaling& s : scalings) {
        const std::string rows = s.name + ", rows";
        const std::string fast = s.name + ", fast";
        album.add(rows, scaleByRows(rows, s.source, s.size, s.method));
        album.add(fast, scaleFast(fast, s.source, s.size, s.method));
    }
    album.add("quarter Lanczos, rows", scaleLanczos("quarter Lanczos, rows", picture, quarter));
}

/// Quarter turns go clockwise, angles counter-clockwise.
void showTurns(const Frame& picture, Album& album) {
    Frame third;
    resizeFrame(picture, Size(picture.width() / 3, picture.height() / 3), third, ResizeArea);
    struct Turn {
        std::string name;
        FixedRotation rotation;
    };
    const Turn turns[] = {
        {"turned 90", ROTATION_90},
        {"turned 270", ROTATION_270},
    };
    for (const Turn& turn : turns) {
        const auto rotate = [&](Frame& result) { rotateFrame(third, turn.rotation, result); };
        album.add(turn.name, measure(turn.name, rotate));
    }
    const Rect all(0, 0, third.width(), third.height());
    Rect place;  // of the turned picture in the result
    const auto rotate = [&](Frame& result) { rotateFrame(third, all, 20.0f, result, place); };
    album.add("angle 20", measure("angle 20", rotate));
}

void tour(const Path& folder, const std::vector<Path>& pictures) {
    ContactSheet sheet(6, Size(320, 214));
    for (const Path& file : pictures) {
        const Frame picture = readPicture(file.string());
        std::printf("%s\n", file.filename().c_str());
        const Frame camera = convertByRows("camera, rows", picture, FRAME_NV12);
        Album album(file, folder, sheet);
        showColours(picture, camera, album);
        showScaling(picture, camera, album);
        showTurns(picture, album);
    }
    const std::string sheet_file = (folder / "contact_sheet.png").string();
    writePicture(sheet.draw(), sheet_file);
    std::printf("all together: %s\n", sheet_file.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    return runOnPictures(argc, argv, tour);
}
