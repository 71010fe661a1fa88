// What the scalers take the planes of a format for.
#pragma once

#include <algorithm>
#include <cstdint>

#include "tavo_core/tavo_frame.h"

namespace tavo::impl {

/// What is scaled as one unit: a number of 8-bit samples, or one wider sample. The numbers index
/// the tables of kernels.
enum class Element : std::uint8_t { BYTES_1, BYTES_2, BYTES_3, BYTES_4, WORD, DOUBLE_WORD, NONE };

constexpr int ELEMENT_KINDS = 6;

constexpr int elementBytes(Element element) {
    constexpr int BYTES[] = {1, 2, 3, 4, 2, 4, 0};
    return BYTES[int(element)];
}

struct ScaledPlanes {
    Element first;
    Element further;  // planes 1 and 2
};

/// The elements of a format; NONE for formats that are not scaled. FRAME_YUYV goes in threes,
/// unlike FRAME_UYVY.
inline ScaledPlanes scaledPlanes(FrameFormat format) {
    constexpr Element NONE = Element::NONE;
    constexpr Element BYTES_1 = Element::BYTES_1;
    constexpr Element BYTES_2 = Element::BYTES_2;
    constexpr Element BYTES_3 = Element::BYTES_3;
    constexpr Element BYTES_4 = Element::BYTES_4;
    constexpr ScaledPlanes PLANES[] = {
        {NONE, NONE},                  // FRAME_INVALID
        {BYTES_1, NONE},               // FRAME_GRAY8
        {BYTES_3, NONE},               // FRAME_RGB24
        {BYTES_1, BYTES_1},            // FRAME_RGB_PLANAR
        {BYTES_3, NONE},               // FRAME_BGR24
        {BYTES_1, BYTES_1},            // FRAME_BGR_PLANAR
        {BYTES_1, BYTES_1},            // FRAME_I420
        {BYTES_1, BYTES_1},            // FRAME_YV12
        {BYTES_1, BYTES_2},            // FRAME_NV12
        {BYTES_1, BYTES_2},            // FRAME_NV21
        {BYTES_1, BYTES_1},            // FRAME_YV16
        {BYTES_3, NONE},               // FRAME_YUYV
        {BYTES_4, NONE},               // FRAME_UYVY
        {BYTES_1, BYTES_2},            // FRAME_NV16
        {BYTES_3, NONE},               // FRAME_YUV444
        {BYTES_1, BYTES_1},            // FRAME_I444
        {BYTES_2, NONE},               // FRAME_8U_C2
        {BYTES_3, NONE},               // FRAME_8U_C3
        {BYTES_4, NONE},               // FRAME_8U_C4
        {Element::WORD, NONE},         // FRAME_16U_C1
        {Element::DOUBLE_WORD, NONE},  // FRAME_32U_C1
    };
    constexpr int FORMATS = sizeof(PLANES) / sizeof(PLANES[0]);
    return format >= 0 && format < FORMATS ? PLANES[format] : PLANES[0];
}

/// Elements that a row of @p plane has room for. Usually the plane's width; FRAME_YUYV has more
/// elements of three bytes than groups of four.
inline int elementsInRow(const PlaneLayout& plane, Element element) {
    return std::max(1, plane.row_bytes / elementBytes(element));
}

}  // namespace tavo::impl
