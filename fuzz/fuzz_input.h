// What the bytes of a fuzzer's input decide: formats, sizes, regions, floats, and frames over heap
// blocks in which every byte outside a row is watched.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>
#include <sanitizer/asan_interface.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "tavo_core/tavo_core.h"

namespace fuzz {

/// Ends the program with a message: that is how a fuzzer reports a finding of its own.
#define FUZZ_CHECK(condition, ...)                                                 \
    do {                                                                           \
        if (!(condition)) {                                                        \
            std::fprintf(stderr, "%s:%d: %s\n  ", __FILE__, __LINE__, #condition); \
            std::fprintf(stderr, __VA_ARGS__);                                     \
            std::fputc('\n', stderr);                                              \
            std::abort();                                                          \
        }                                                                          \
    } while (false)

constexpr tavo::FrameFormat FORMATS[] = {
    tavo::FRAME_GRAY8,      tavo::FRAME_RGB24,   tavo::FRAME_RGB_PLANAR, tavo::FRAME_BGR24,
    tavo::FRAME_BGR_PLANAR, tavo::FRAME_I420,    tavo::FRAME_YV12,       tavo::FRAME_NV12,
    tavo::FRAME_NV21,       tavo::FRAME_YV16,    tavo::FRAME_YUYV,       tavo::FRAME_UYVY,
    tavo::FRAME_NV16,       tavo::FRAME_YUV444,  tavo::FRAME_I444,       tavo::FRAME_8U_C2,
    tavo::FRAME_8U_C3,      tavo::FRAME_8U_C4,   tavo::FRAME_16U_C1,     tavo::FRAME_32U_C1,
    tavo::FRAME_GRAY_32F,   tavo::FRAME_BGR_32F, tavo::FRAME_PLANAR_32F};

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : _provider(data, size) {}

    bool done() { return _provider.remaining_bytes() == 0; }
    bool flag() { return _provider.ConsumeBool(); }
    bool rarely() { return between(0, 15) == 15; }

    /// Both ends included; the lower one when the input is at its end.
    int between(int low, int high) { return _provider.ConsumeIntegralInRange(low, high); }

    template <class T, std::size_t COUNT>
    T oneOf(const T (&values)[COUNT]) {
        return values[between(0, int(COUNT) - 1)];
    }

    std::int32_t anyInt() {
        constexpr std::int32_t EDGES[] = {0, 1, -1, INT32_MAX, INT32_MIN, 32767, 32768, 65536};
        return flag() ? oneOf(EDGES) : _provider.ConsumeIntegral<std::int32_t>();
    }

    std::uint32_t seed() { return _provider.ConsumeIntegral<std::uint32_t>(); }

    /// 1 to @p most; half of them small.
    int side(int most) { return flag() ? between(1, 9) : between(1, most); }

    /// Half of them even, as subsampled formats often need it.
    tavo::Size size(int most) {
        const bool even = flag();
        const int width = side(most);
        const int height = side(most);
        return even ? tavo::Size((width + 1) & ~1, (height + 1) & ~1) : tavo::Size(width, height);
    }

    /// Now and then a number that is no format.
    tavo::FrameFormat format() { return rarely() ? tavo::FrameFormat(anyInt()) : oneOf(FORMATS); }

    /// Mostly within a frame of @p size, at times empty, at times anything.
    tavo::Rect region(tavo::Size size) {
        switch (between(0, 7)) {
            case 0:
                return tavo::Rect();
            case 1:
                return tavo::Rect(anyInt(), anyInt(), anyInt(), anyInt());
            default:
                const int x = between(0, size.width - 1);
                const int y = between(0, size.height - 1);
                return tavo::Rect(x, y, between(1, size.width - x), between(1, size.height - y));
        }
    }

    /// Any float at times, otherwise one that an operation would really meet.
    float number() {
        using Limits = std::numeric_limits<float>;
        constexpr float EDGES[] = {0.0f,
                                   -0.0f,
                                   1.0f,
                                   -1.0f,
                                   0.5f,
                                   Limits::infinity(),
                                   -Limits::infinity(),
                                   Limits::quiet_NaN(),
                                   Limits::max(),
                                   Limits::lowest(),
                                   Limits::min(),
                                   Limits::denorm_min(),
                                   2147483648.0f,
                                   -2147483904.0f,
                                   8388608.0f};
        switch (between(0, 3)) {
            case 0:
                return oneOf(EDGES);
            case 1: {
                const std::uint32_t bits = seed();
                float value;
                std::memcpy(&value, &bits, sizeof(value));
                return value;
            }
            default:
                return float(between(-4096, 4096)) / 64.0f;
        }
    }

private:
    FuzzedDataProvider _provider;
};

/// Fills @p size bytes from @p seed. Cheap, since inputs should not be spent on pixels.
inline void fillBytes(std::uint8_t* data, std::size_t size, std::uint32_t seed) {
    std::uint32_t state = seed * 2654435761u + 1;
    for (std::size_t i = 0; i < size; ++i) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        data[i] = std::uint8_t(state >> 11);
    }
}

/// A part of a block's rows: @p bytes of each, from `data` on.
struct View {
    const std::uint8_t* data;
    std::ptrdiff_t stride;
    std::size_t bytes;
    std::size_t rows;
};

/// Rows in a heap block that ends with the last one. While it is guarded, the address sanitizer
/// sees what lies between the rows as far as its granules of 8 bytes reach; writes are seen to the
/// byte.
class Rows {
public:
    /// @param row_bytes of each row; what lies beside is not to be touched
    /// @param gap       bytes between rows
    /// @param head      bytes before the first one in memory
    Rows(std::size_t row_bytes,
         std::size_t rows,
         std::size_t gap,
         std::size_t head,
         bool bottom_up,
         std::uint32_t seed)
        : _row_bytes(row_bytes),
          _rows(rows),
          _step(row_bytes + gap),
          _head(head),
          _size(head + _step * (rows - 1) + row_bytes),
          _data(std::make_unique<std::uint8_t[]>(_size)),
          _bottom_up(bottom_up) {
        fillBytes(_data.get(), _size, seed);
    }

    std::uint8_t* data() const {
        return _data.get() + _head + (_bottom_up ? _step * (_rows - 1) : 0);
    }
    std::int32_t stride() const { return _bottom_up ? -std::int32_t(_step) : std::int32_t(_step); }
    std::size_t rowBytes() const { return _row_bytes; }
    std::size_t count() const { return _rows; }
    View view() const { return {data(), stride(), _row_bytes, _rows}; }

    std::vector<std::uint8_t> bytes() const {
        std::vector<std::uint8_t> all;
        for (std::size_t y = 0; y < _rows; ++y) {
            all.insert(all.end(), row(y), row(y) + _row_bytes);
        }
        return all;
    }

    std::uint8_t* row(std::size_t y) const { return data() + std::ptrdiff_t(y) * stride(); }

private:
    friend class Guard;
    std::size_t _row_bytes;
    std::size_t _rows;
    std::size_t _step;
    std::size_t _head;
    std::size_t _size;
    std::unique_ptr<std::uint8_t[]> _data;
    bool _bottom_up;
};

/// Watches everything of a block but a view until `check`.
class Guard {
public:
    /// @param poison false to watch writes only
    Guard(const Rows& rows, const View& view, bool poison = true)
        : _block(rows._data.get()), _before(_block, _block + rows._size), _open(rows._size, 0) {
        for (std::size_t y = 0; y < view.rows; ++y) {
            const std::ptrdiff_t first = view.data + std::ptrdiff_t(y) * view.stride - _block;
            std::memset(_open.data() + first, 1, view.bytes);
        }
        if (poison) {
            forEachClosed([](const std::uint8_t* begin, std::size_t size) {
                ASAN_POISON_MEMORY_REGION(begin, size);
            });
        }
    }

    Guard(Guard&&) = default;
    Guard& operator=(Guard&&) = delete;

    ~Guard() {
        if (!_open.empty()) {
            ASAN_UNPOISON_MEMORY_REGION(_block, _open.size());
        }
    }

    /// Ends the program when a byte outside the view changed; with @p untouched also inside.
    void check(bool untouched, const char* what) {
        ASAN_UNPOISON_MEMORY_REGION(_block, _open.size());
        for (std::size_t i = 0; i < _open.size(); ++i) {
            FUZZ_CHECK((_open[i] && !untouched) || _block[i] == _before[i],
                       "%s: byte %zu of %zu was %d and is %d%s", what, i, _open.size(), _before[i],
                       _block[i], _open[i] ? " after a failure" : ", outside of the rows");
        }
    }

private:
    template <class Function>
    void forEachClosed(Function function) {
        for (std::size_t begin = 0; begin < _open.size();) {
            std::size_t end = begin + 1;
            while (end < _open.size() && _open[end] == _open[begin]) {
                ++end;
            }
            if (!_open[begin]) {
                function(_block + begin, end - begin);
            }
            begin = end;
        }
    }

    std::uint8_t* _block;
    std::vector<std::uint8_t> _before;
    std::vector<std::uint8_t> _open;
};

/// Turns the bytes into floats of the range of bytes, with @p other strewn in.
inline void fillFloats(const Rows& rows, float other) {
    for (std::size_t y = 0; y < rows.count(); ++y) {
        for (std::size_t x = 0; x + 4 <= rows.rowBytes(); x += 4) {
            const std::uint8_t byte = rows.row(y)[x];
            const float value = byte == 7 ? other : float(byte) * 1.1f - 12.0f;
            std::memcpy(rows.row(y) + x, &value, sizeof(value));
        }
    }
}

/// A frame over blocks of its own, one per plane.
class ForeignFrame {
public:
    /// @param aligned true keeps addresses and strides at multiples of 4
    ForeignFrame(Input& input, tavo::FrameFormat format, tavo::Size size, bool aligned) {
        tavo::FrameLayout layout(format, size, 0);
        const int unit = aligned ? 4 : 1;
        const int gap = input.flag() ? unit * input.between(0, 40 / unit) : 0;
        const bool differ = input.rarely();
        std::uint8_t* planes[4] = {};
        for (int p = 0; p < layout.plane_count; ++p) {
            tavo::PlaneLayout& plane = layout.plane[p];
            const int own_gap = differ ? unit * input.between(0, 40 / unit) : gap;
            const int pad = aligned ? (4 - plane.row_bytes % 4) % 4 : 0;
            const int head = unit * input.between(0, 16 / unit);
            _rows.emplace_back(std::size_t(plane.row_bytes), std::size_t(plane.height),
                               std::size_t(own_gap + pad), std::size_t(head), input.flag(),
                               input.seed());
            plane.stride = _rows.back().stride();
            planes[p] = _rows.back().data();
        }
        if (layout.plane[0].bits_per_channel == 32 && input.flag()) {
            const float other = input.number();
            for (const Rows& rows : _rows) {
                fillFloats(rows, other);
            }
        }
        _frame = tavo::Frame(layout, planes);
    }

    tavo::Frame& frame() { return _frame; }

    /// Guards everything but the pixels of @p view, a region of this frame or the frame.
    std::vector<Guard> guard(const tavo::Frame& view, bool poison = true) const {
        std::vector<Guard> guards;
        for (std::size_t p = 0; p < _rows.size(); ++p) {
            const tavo::PlaneLayout& plane = view.layout().plane[p];
            guards.emplace_back(_rows[p],
                                View{view.planeData(int(p)), plane.stride,
                                     std::size_t(plane.row_bytes), std::size_t(plane.height)},
                                poison);
        }
        return guards;
    }

private:
    std::vector<Rows> _rows;
    tavo::Frame _frame;
};

inline void checkAll(std::vector<Guard>& guards, bool untouched, const char* what) {
    for (Guard& guard : guards) {
        guard.check(untouched, what);
    }
}

/// Runs @p action.
/// @return the status of its Exception, or 0
template <class Action>
int statusOf(Action action) {
    try {
        action();
        return 0;
    } catch (const tavo::Exception& error) {
        FUZZ_CHECK(error.status != 0 && error.what()[0] != '\0', "an exception without a message");
        return error.status;
    }
}

/// The payload of all rows.
inline std::vector<std::uint8_t> pixelsOf(const tavo::Frame& frame) {
    std::vector<std::uint8_t> bytes;
    for (int p = 0; p < frame.layout().plane_count; ++p) {
        const tavo::PlaneLayout& plane = frame.layout().plane[p];
        for (int y = 0; y < plane.height; ++y) {
            const std::uint8_t* row = frame.planeData(p) + std::ptrdiff_t(y) * plane.stride;
            bytes.insert(bytes.end(), row, row + plane.row_bytes);
        }
    }
    return bytes;
}

inline bool isFloat(tavo::FrameFormat format) {
    return format == tavo::FRAME_GRAY_32F || format == tavo::FRAME_BGR_32F ||
           format == tavo::FRAME_PLANAR_32F;
}

/// The same pixels in memory of its own, row by row.
inline tavo::Frame ownCopy(const tavo::Frame& frame) {
    tavo::Frame copy;
    copy.reuse(frame.format(), frame.size(), tavo::DeviceContext(), 0);
    for (int p = 0; p < frame.layout().plane_count; ++p) {
        const tavo::PlaneLayout& from = frame.layout().plane[p];
        const tavo::PlaneLayout& to = copy.layout().plane[p];
        for (std::ptrdiff_t y = 0; y < from.height; ++y) {
            std::memcpy(copy.planeData(p) + y * to.stride, frame.planeData(p) + y * from.stride,
                        std::size_t(from.row_bytes));
        }
    }
    return copy;
}

/// Equal bytes; of floats also where both are NaN.
inline bool sameValues(const std::vector<std::uint8_t>& a,
                       const std::vector<std::uint8_t>& b,
                       bool floats) {
    if (a == b || !floats || a.size() != b.size()) {
        return a == b;
    }
    for (std::size_t i = 0; i + 4 <= a.size(); i += 4) {
        float x;
        float y;
        std::memcpy(&x, &a[i], sizeof(x));
        std::memcpy(&y, &b[i], sizeof(y));
        if (std::memcmp(&a[i], &b[i], sizeof(x)) != 0 && !(std::isnan(x) && std::isnan(y))) {
            return false;
        }
    }
    return true;
}

inline bool samePixels(const tavo::Frame& a, const tavo::Frame& b) {
    return a.format() == b.format() && a.size() == b.size() &&
           sameValues(pixelsOf(a), pixelsOf(b), isFloat(a.format()));
}

}  // namespace fuzz
