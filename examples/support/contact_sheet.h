// Many pictures on one sheet, each with a line of text.
#pragma once

#include <string>
#include <vector>

#include "tavo_core/tavo_frame.h"

class ContactSheet {
public:
    /// @param columns tiles side by side
    /// @param tile    size of a tile in pixels, its line of text not counted
    ContactSheet(int columns, tavo::Size tile) : _columns(columns), _tile(tile) {}

    /// Adds a FRAME_BGR24 in the next tile. A larger picture shows its middle; a smaller one stands
    /// in the middle of the tile, its pixels doubled when there is room.
    void add(tavo::Frame bgr, const std::string& text);

    /// The sheet as FRAME_BGR24.
    tavo::Frame draw() const;

private:
    struct Entry {
        tavo::Frame picture;
        std::string text;
    };

    int _columns;
    tavo::Size _tile;
    std::vector<Entry> _entries;
};
