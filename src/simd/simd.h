// Everything of the kernel layer.
#pragma once

#include "simd/simd_dispatch.h"
#include "simd/simd_kernels.h"
#include "simd/simd_memory.h"
#include "simd/simd_parallel.h"
#include "simd/simd_platform.h"
#include "simd/simd_resizer.h"
#include "simd/simd_warp.h"
