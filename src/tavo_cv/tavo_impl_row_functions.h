// The row functions of the format converter; all have the shape of ConvertRowFunction.
#pragma once

#include "tavo_cv/tavo_impl_format_converter.h"

namespace tavo::impl {

using Rows = const RowData* const*;
using Context = ImplFormatConverter;

// Gray.
void rowGrayToBgr(Rows rows, RowData& dst, int width, const Context& context);
void rowGrayToYuv(Rows rows, RowData& dst, int width, const Context& context);
void rowBgrToGray(Rows rows, RowData& dst, int width, const Context& context);
void rowYuvToGray(Rows rows, RowData& dst, int width, const Context& context);

// The order of colour samples.
void rowSwapFirstThird(Rows rows, RowData& dst, int width, const Context& context);
void rowDeinterleave(Rows rows, RowData& dst, int width, const Context& context);
void rowInterleave(Rows rows, RowData& dst, int width, const Context& context);

// Floats.
void rowBytesToFloat(Rows rows, RowData& dst, int width, const Context& context);
void rowDeinterleaveToFloat(Rows rows, RowData& dst, int width, const Context& context);
void rowFloatToBytes(Rows rows, RowData& dst, int width, const Context& context);

// BGR to YUV.
void rowBgrToPlanar420(Rows rows, RowData& dst, int width, const Context& context);
void rowBgrToSemiPlanar420(Rows rows, RowData& dst, int width, const Context& context);
void rowBgrToYv16(Rows rows, RowData& dst, int width, const Context& context);
void rowBgrToNv16(Rows rows, RowData& dst, int width, const Context& context);
void rowBgrToPacked422(Rows rows, RowData& dst, int width, const Context& context);
void rowBgrToYuv444(Rows rows, RowData& dst, int width, const Context& context);
void rowBgrToI444(Rows rows, RowData& dst, int width, const Context& context);

// YUV to BGR.
void rowPlanar420ToBgr(Rows rows, RowData& dst, int width, const Context& context);
void rowSemiPlanar420ToBgr(Rows rows, RowData& dst, int width, const Context& context);
void rowYv16ToBgr(Rows rows, RowData& dst, int width, const Context& context);
void rowNv16ToBgr(Rows rows, RowData& dst, int width, const Context& context);
void rowPacked422ToBgr(Rows rows, RowData& dst, int width, const Context& context);
void rowYuv444ToBgr(Rows rows, RowData& dst, int width, const Context& context);
void rowI444ToBgr(Rows rows, RowData& dst, int width, const Context& context);

// YUV to YUV.
void rowYuvToYuv(Rows rows, RowData& dst, int width, const Context& context);

}  // namespace tavo::impl
