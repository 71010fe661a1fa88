// Picture files as frames.
#pragma once

#include <string>

#include "tavo_core/tavo_frame.h"

/// Reads a PNG or JPEG as FRAME_BGR24.
/// @throws std::runtime_error when the file can't be read
tavo::Frame readPicture(const std::string& path);

/// Writes a FRAME_BGR24 as PNG.
/// @throws std::runtime_error when the file can't be written
void writePicture(const tavo::Frame& bgr, const std::string& path);
