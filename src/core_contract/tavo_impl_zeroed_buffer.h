// Memory for the pixels of a frame and the elements of a tensor.
#pragma once

#include <memory>

#include "tavo_core/tavo_buffer.h"

namespace tavo {

/// A fresh block of zeros.
/// @throws Exception TAVO_STATUS_OUT_OF_MEMORY
std::shared_ptr<Buffer> makeZeroedBuffer(const DeviceContext& context, unsigned int bytes);

}  // namespace tavo
