/// @file
/// Growable blocks of bytes and the device whose memory they live in.
#pragma once

#include <cstdint>
#include <memory>

#include "tavo_core/tavo_export.h"

namespace tavo {

/// Names where memory lives. Every block of these libraries is ordinary memory; other contexts
/// exist so that callers can label frames of other devices, and so that they can be refused.
class TAVO_CORE_API DeviceContext {
public:
    /// The CPU.
    DeviceContext() = default;
    /// Another device, by kind and number; (0, 0) is the CPU. @p handle is kept alive by all
    /// copies.
    DeviceContext(std::int32_t kind, std::int32_t number, std::shared_ptr<void> handle = nullptr)
        : _kind(kind), _number(number), _handle(std::move(handle)) {}

    static DeviceContext cpuContext() { return DeviceContext(); }

    /// Equal when kind and number are; the handle plays no part.
    friend bool operator==(const DeviceContext& a, const DeviceContext& b) {
        return a._kind == b._kind && a._number == b._number;
    }
    friend bool operator!=(const DeviceContext& a, const DeviceContext& b) { return !(a == b); }

private:
    std::int32_t _kind = 0;
    std::int32_t _number = 0;
    std::shared_ptr<void> _handle;
};

/// A growable block of bytes, aligned to 64 bytes. It keeps its block when it shrinks.
class TAVO_CORE_API Buffer {
public:
    DeviceContext device_context;
    unsigned char* data = nullptr;  ///< null when nothing is allocated

    Buffer() = default;
    explicit Buffer(const DeviceContext& context) : device_context(context) {}
    ~Buffer();
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    /// Makes the block @p bytes long; memory is taken only when it is longer than ever before.
    /// New bytes are not initialised.
    /// @param keep_content true keeps the old bytes when the block moves, false drops them
    /// @throws Exception TAVO_STATUS_OUT_OF_MEMORY; the block then stays as it was
    void resize(unsigned int bytes, bool keep_content);

    /// Gives the block back.
    void clear();

    /// Fills the block with 0.
    void setZero();

    /// Length in bytes, as last asked for.
    unsigned int size() const { return _size; }
    /// Bytes that `resize` can reach without taking memory.
    unsigned int capacity() const { return _capacity; }

private:
    unsigned int _size = 0;
    unsigned int _capacity = 0;
};

}  // namespace tavo
