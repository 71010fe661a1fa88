#include "core_contract/tavo_impl_zeroed_buffer.h"

#include <new>

#include "tavo_core/tavo_exception.h"

namespace tavo {

std::shared_ptr<Buffer> makeZeroedBuffer(const DeviceContext& context, unsigned int bytes) {
    try {
        auto buffer = std::make_shared<Buffer>(context);
        buffer->resize(bytes, false);
        buffer->setZero();
        return buffer;
    } catch (const std::bad_alloc&) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_MEMORY, "Failed to allocate a buffer.");
    }
}

}  // namespace tavo
