// Aligned memory with margins, and the base of what the creating functions hand out.
#pragma once

#include <cstdint>
#include <limits>
#include <new>
#include <type_traits>

namespace Simd {

/// A block of @p bytes at a multiple of @p align, with 64 bytes before it and at least 64 behind.
/// @p align is rounded up to what the system accepts.
/// @return null after a failure, which prints one line to std::cout
void* Allocate(std::uint32_t bytes, std::uint32_t align);

/// Gives back what `Allocate` returned; null is allowed.
void Free(void* data);

/// The common base of the objects that creating functions hand out. Their owner deletes them.
class Deletable {
public:
    virtual ~Deletable() = default;
};

/// A buffer of elements that are not initialised and not kept when its size changes.
template <class T>
class Array {
    static_assert(std::is_trivially_copyable<T>::value, "elements are never constructed");

public:
    T* data = nullptr;       ///< null while `size` is 0
    std::uint32_t size = 0;  ///< elements

    Array() = default;
    ~Array() { Free(data); }
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;

    /// Does nothing when @p new_size is the current one. After a failed allocation `data` is null.
    void Resize(std::uint32_t new_size, std::uint32_t align = 16) {
        if (new_size == size) {
            return;
        }
        Free(data);
        data = nullptr;
        size = new_size;
        if (size != 0) {
            data = static_cast<T*>(Allocate(std::uint32_t(size * sizeof(T)), align));
        }
    }
};

/// An array that is never without its memory: for objects whose loops don't ask for it.
template <class T>
class Table : private Array<T> {
public:
    using Array<T>::data;
    using Array<T>::size;

    // Not defaulted: what is would be compiled into each variant, and not in base/ only.
    Table() {}   // NOLINT(modernize-use-equals-default)
    ~Table() {}  // NOLINT(modernize-use-equals-default)

    /// @throws std::bad_alloc when there is no memory, or when 32 bits can't count its bytes. The
    ///         array is then of no further use.
    void Resize(std::uint64_t new_size, std::uint32_t align = 16) {
        if (new_size > std::numeric_limits<std::uint32_t>::max() / sizeof(T)) {
            throw std::bad_alloc();
        }
        Array<T>::Resize(std::uint32_t(new_size), align);
        if (size != 0 && !data) {
            throw std::bad_alloc();
        }
    }
};

}  // namespace Simd
