#include "tavo_core/tavo_buffer.h"

#include <cstring>
#include <new>

#include "tavo_core/tavo_exception.h"

namespace tavo {
namespace {

constexpr std::align_val_t BLOCK_ALIGNMENT{64};

void freeBlock(unsigned char* block) {
    ::operator delete(block, BLOCK_ALIGNMENT);
}

}  // namespace

Buffer::~Buffer() {
    freeBlock(data);
}

void Buffer::resize(unsigned int bytes, bool keep_content) {
    if (bytes > _capacity) {
        void* const block = ::operator new(bytes, BLOCK_ALIGNMENT, std::nothrow);
        if (!block) {
            TAVO_RAISE(TAVO_STATUS_OUT_OF_MEMORY, "Failed to allocate %u bytes.", bytes);
        }
        if (keep_content && _size != 0) {
            std::memcpy(block, data, _size);
        }
        freeBlock(data);
        data = static_cast<unsigned char*>(block);
        _capacity = bytes;
    }
    _size = bytes;
}

void Buffer::clear() {
    freeBlock(data);
    data = nullptr;
    _size = 0;
    _capacity = 0;
}

void Buffer::setZero() {
    if (_size != 0) {
        std::memset(data, 0, _size);
    }
}

}  // namespace tavo
