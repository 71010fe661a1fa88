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
    /// Another device.
    /// @param kind   any number that callers agree on
    /// @param number of the device among its kind; kind 0 with number 0 is the CPU
    /// @param handle what the device's library needs; kept alive by all copies, or null
    DeviceContext(std::int32_t kind, std::int32_t number, std::shared_ptr<void> handle = nullptr)
        : _kind(kind), _number(number), _handle(std::move(handle)) {}

    /// @return the CPU
    static DeviceContext cpuContext() { return DeviceContext(); }

    /// Compares the devices; the handles play no part.
    /// @param a a context
    /// @param b another
    /// @return true when kind and number are equal
    friend bool operator==(const DeviceContext& a, const DeviceContext& b) {
        return a._kind == b._kind && a._number == b._number;
    }
    /// The opposite of ==.
    /// @param a a context
    /// @param b another
    /// @return true when kind or number differ
    friend bool operator!=(const DeviceContext& a, const DeviceContext& b) { return !(a == b); }

private:
    std::int32_t _kind = 0;
    std::int32_t _number = 0;
    std::shared_ptr<void> _handle;
};

/// A growable block of bytes, aligned to 64 bytes. It keeps its block when it shrinks. It can't be
/// copied; frames and tensors share one through a pointer.
class TAVO_CORE_API Buffer {
public:
    DeviceContext device_context;   ///< a label; the bytes are always the CPU's
    unsigned char* data = nullptr;  ///< null when nothing is allocated

    /// An empty block on the CPU.
    Buffer() = default;
    /// An empty block.
    /// @param context the label
    explicit Buffer(const DeviceContext& context) : device_context(context) {}
    ~Buffer();
    /// @cond
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    /// @endcond

    /// Makes the block @p bytes long; memory is taken only when it is longer than ever before.
    /// New bytes are not initialised.
    /// @param bytes        the new length; 0 keeps the block
    /// @param keep_content true keeps the old bytes when the block moves, false drops them
    /// @throws Exception TAVO_STATUS_OUT_OF_MEMORY; the block then stays as it was
    void resize(unsigned int bytes, bool keep_content);

    /// Gives the block back.
    void clear();

    /// Fills the block with 0.
    void setZero();

    /// @return the length in bytes, as last asked for
    unsigned int size() const { return _size; }
    /// @return bytes that `resize` can reach without taking memory
    unsigned int capacity() const { return _capacity; }

private:
    unsigned int _size = 0;
    unsigned int _capacity = 0;
};

}  // namespace tavo
