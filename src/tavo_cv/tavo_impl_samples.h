// Access to samples at addresses that need not be aligned for their type.
#pragma once

#include <cstddef>
#include <cstring>

namespace tavo::impl {

/// Sample @p index of a row of T.
template <class T>
inline T loadSample(const unsigned char* row, std::ptrdiff_t index) {
    T sample;
    std::memcpy(&sample, row + index * std::ptrdiff_t(sizeof(T)), sizeof(T));
    return sample;
}

template <class T>
inline void storeSample(unsigned char* row, std::ptrdiff_t index, T sample) {
    std::memcpy(row + index * std::ptrdiff_t(sizeof(T)), &sample, sizeof(T));
}

}  // namespace tavo::impl
