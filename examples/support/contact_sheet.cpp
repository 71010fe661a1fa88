#include "support/contact_sheet.h"

#include <algorithm>
#include <cstring>

#include "stb/stb_easy_font.h"
#include "tavo_cv/tavo_scaler_nn.h"

using namespace tavo;

namespace {

constexpr int MARGIN = 8;
constexpr int TEXT_HEIGHT = 16;
constexpr unsigned char PAPER = 40;
constexpr unsigned char INK = 230;

void fill(Frame& bgr, Rect rect, unsigned char value) {
    rect.crop(bgr.size());
    if (rect.empty()) {
        return;
    }
    Frame region = getRegion(bgr, rect);
    const PlaneLayout& plane = region.layout().plane[0];
    for (int y = 0; y < plane.height; ++y) {
        std::memset(region.planeData(0) + std::ptrdiff_t(plane.stride) * y, value,
                    std::size_t(plane.row_bytes));
    }
}

void write(Frame& bgr, Point corner, const std::string& text) {
    struct Vertex {
        float x;
        float y;
        float z;
        unsigned char colour[4];
    };
    std::vector<Vertex> vertices(300 * text.size() + 4);
    std::string line = text;  // the font wants it writable
    const int quads = stb_easy_font_print(0, 0, line.data(), nullptr, vertices.data(),
                                          int(vertices.size() * sizeof(Vertex)));
    for (std::size_t i = 0; i < std::size_t(quads); ++i) {
        // The first and the third corner of an upright rectangle.
        const Vertex& from = vertices[4 * i];
        const Vertex& to = vertices[4 * i + 2];
        fill(bgr,
             Rect(corner.x + int(from.x), corner.y + int(from.y), int(to.x - from.x),
                  int(to.y - from.y)),
             INK);
    }
}

/// The middle of @p length that fits @p room: where it starts in each, and how long it is.
struct Middle {
    int in_picture;
    int in_room;
    int length;
};

Middle middleOf(int length, int room) {
    const int common = std::min(length, room);
    return {(length - common) / 2, (room - common) / 2, common};
}

}  // namespace

void ContactSheet::add(Frame bgr, const std::string& text) {
    const Size doubled(2 * bgr.width(), 2 * bgr.height());
    if (doubled.width <= _tile.width && doubled.height <= _tile.height) {
        ScalerNearestNeighbor scaler;
        scaler.reuse(bgr, doubled);
        Frame shown;
        produceFrame(scaler, shown);
        bgr = shown;
    }
    _entries.push_back({bgr, text});
}

Frame ContactSheet::draw() const {
    const Size cell(_tile.width + MARGIN, _tile.height + MARGIN + TEXT_HEIGHT);
    const int rows = (int(_entries.size()) + _columns - 1) / _columns;
    Frame sheet;
    sheet.reuse(FRAME_BGR24, Size(MARGIN + _columns * cell.width, MARGIN + rows * cell.height),
                DeviceContext(), 0);
    fill(sheet, Rect(0, 0, sheet.width(), sheet.height()), PAPER);
    for (std::size_t i = 0; i < _entries.size(); ++i) {
        Frame picture = _entries[i].picture;
        const int left = MARGIN + int(i) % _columns * cell.width;
        const int top = MARGIN + int(i) / _columns * cell.height;
        const Middle x = middleOf(picture.width(), _tile.width);
        const Middle y = middleOf(picture.height(), _tile.height);
        Frame tile = getRegion(sheet, Rect(left + x.in_room, top + y.in_room, x.length, y.length));
        getRegion(picture, Rect(x.in_picture, y.in_picture, x.length, y.length)).copyTo(tile);
        write(sheet, Point(left, top + _tile.height + 4), _entries[i].text);
    }
    return sheet;
}
