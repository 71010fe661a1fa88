/// @file
/// Everything of the image library.
#pragma once

#include "tavo_core/tavo_core.h"
#include "tavo_cv/tavo_cv_backend.h"
#include "tavo_cv/tavo_cv_backend_base.h"
#include "tavo_cv/tavo_cv_backend_simd.h"
#include "tavo_cv/tavo_cv_helpers.h"
#include "tavo_cv/tavo_format_converter.h"
#include "tavo_cv/tavo_row_copier.h"
#include "tavo_cv/tavo_row_index.h"
#include "tavo_cv/tavo_row_producer.h"
#include "tavo_cv/tavo_row_reader.h"
#include "tavo_cv/tavo_row_window.h"
#include "tavo_cv/tavo_row_writer.h"
#include "tavo_cv/tavo_scale_kernel.h"
#include "tavo_cv/tavo_scaler.h"
#include "tavo_cv/tavo_scaler_area.h"
#include "tavo_cv/tavo_scaler_bilinear.h"
#include "tavo_cv/tavo_scaler_convolutional.h"
#include "tavo_cv/tavo_scaler_nn.h"
#include "tavo_cv/tavo_scaler_precision.h"
