/// @file
/// Everything of the core library.
#pragma once

#include "tavo_core/tavo_arithmetic.h"
#include "tavo_core/tavo_buffer.h"
#include "tavo_core/tavo_exception.h"
#include "tavo_core/tavo_frame.h"
#include "tavo_core/tavo_geometry.h"
#include "tavo_core/tavo_tensor.h"
