#include "support/frames.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>

#include "support/allocations.h"

namespace support {
namespace {

bool isFloat(tavo::FrameFormat format) {
    return format == tavo::FRAME_GRAY_32F || format == tavo::FRAME_BGR_32F ||
           format == tavo::FRAME_PLANAR_32F;
}

/// Calls @p visit(plane, row, address) for every row.
template <class Visit>
void forEachRow(const tavo::Frame& frame, const Visit& visit) {
    for (int p = 0; p < frame.layout().plane_count; ++p) {
        const tavo::PlaneLayout& plane = frame.layout().plane[p];
        for (int y = 0; y < plane.height; ++y) {
            visit(p, y, frame.planeData(p) + std::ptrdiff_t(plane.stride) * y);
        }
    }
}

/// Reproducible, position-dependent, never the same byte over a whole row.
unsigned char sentinel(std::size_t position) {
    return static_cast<unsigned char>(0xA5 ^ (position * 29));
}

}  // namespace

const std::vector<tavo::FrameFormat>& allFormats() {
    static const std::vector<tavo::FrameFormat> formats = [] {
        std::vector<tavo::FrameFormat> list;
        for (int number = 1; number <= 26; ++number) {
            if (number < 21 || number > 23) {
                list.push_back(tavo::FrameFormat(number));
            }
        }
        return list;
    }();
    return formats;
}

void fillRandom(tavo::Frame& frame, std::uint32_t seed) {
    std::mt19937 generator(seed);
    forEachRow(frame, [&](int p, int, unsigned char* row) {
        const int bytes = frame.layout().plane[p].row_bytes;
        if (isFloat(frame.format())) {
            for (int i = 0; i < bytes; i += 4) {
                const float value = float(generator() % 90000) / 100.0f - 300.0f;
                std::memcpy(row + i, &value, 4);
            }
        } else {
            std::generate_n(row, bytes, [&] { return static_cast<unsigned char>(generator()); });
        }
    });
}

tavo::Frame randomFrame(tavo::FrameFormat format, tavo::Size size, std::uint32_t seed) {
    tavo::Frame frame;
    frame.reuse(format, size, tavo::DeviceContext(), 0);
    fillRandom(frame, seed);
    return frame;
}

tavo::Frame flatFrame(tavo::FrameFormat format, tavo::Size size, unsigned char value) {
    tavo::Frame frame;
    frame.reuse(format, size, tavo::DeviceContext(), 0);
    forEachRow(frame, [&](int p, int, unsigned char* row) {
        std::memset(row, value, std::size_t(frame.layout().plane[p].row_bytes));
    });
    return frame;
}

std::vector<unsigned char> pixels(const tavo::Frame& frame) {
    std::vector<unsigned char> bytes;
    forEachRow(frame, [&](int p, int, const unsigned char* row) {
        bytes.insert(bytes.end(), row, row + frame.layout().plane[p].row_bytes);
    });
    return bytes;
}

testing::AssertionResult samePixels(const tavo::Frame& actual, const tavo::Frame& expected) {
    if (actual.format() != expected.format() || actual.size() != expected.size()) {
        return testing::AssertionFailure()
               << tavo::toString(actual.format()) << " " << actual.width() << "x" << actual.height()
               << " instead of " << tavo::toString(expected.format()) << " " << expected.width()
               << "x" << expected.height();
    }
    testing::AssertionResult result = testing::AssertionSuccess();
    forEachRow(expected, [&](int p, int y, const unsigned char* expected_row) {
        const tavo::PlaneLayout& plane = expected.layout().plane[p];
        const unsigned char* const row =
            actual.planeData(p) + std::ptrdiff_t(actual.layout().plane[p].stride) * y;
        const auto difference = std::mismatch(row, row + plane.row_bytes, expected_row);
        if (result && difference.first != row + plane.row_bytes) {
            result = testing::AssertionFailure()
                     << tavo::toString(expected.format()) << " " << expected.width() << "x"
                     << expected.height() << ": plane " << p << ", row " << y << ", byte "
                     << difference.first - row << " is " << int(*difference.first) << " instead of "
                     << int(*difference.second);
        }
    });
    return result;
}

GuardedFrame::GuardedFrame(tavo::FrameFormat format, tavo::Size size, int margin, bool bottom_up) {
    tavo::FrameLayout layout(format, size, 0);
    unsigned char* addresses[4] = {nullptr, nullptr, nullptr, nullptr};
    _planes.resize(std::size_t(layout.plane_count));
    for (int p = 0; p < layout.plane_count; ++p) {
        tavo::PlaneLayout& plane = layout.plane[p];
        const int stride = plane.row_bytes + margin;
        const auto bytes = std::size_t(margin + stride * plane.height);
        Plane& guarded = _planes[std::size_t(p)];
        guarded.memory.resize(bytes);
        guarded.is_pixel.resize(bytes, false);
        for (std::size_t i = 0; i < bytes; ++i) {
            guarded.memory[i] = sentinel(i);
        }
        for (int y = 0; y < plane.height; ++y) {
            const auto row = guarded.is_pixel.begin() + margin + stride * y;
            std::fill(row, row + plane.row_bytes, true);
        }
        const int top = bottom_up ? plane.height - 1 : 0;
        addresses[p] = guarded.memory.data() + margin + stride * top;
        plane.stride = bottom_up ? -stride : stride;
    }
    _frame = tavo::Frame(layout, addresses);
}

testing::AssertionResult GuardedFrame::sentinelsIntact() const {
    for (std::size_t p = 0; p < _planes.size(); ++p) {
        for (std::size_t i = 0; i < _planes[p].memory.size(); ++i) {
            if (!_planes[p].is_pixel[i] && _planes[p].memory[i] != sentinel(i)) {
                return testing::AssertionFailure()
                       << "byte " << i << " of plane " << p << " lies outside the rows of "
                       << tavo::toString(_frame.format()) << " " << _frame.width() << "x"
                       << _frame.height() << " and was written";
            }
        }
    }
    return testing::AssertionSuccess();
}

PageGuardedFrame::PageGuardedFrame(tavo::FrameFormat format, tavo::Size size, bool at_end) {
    const tavo::FrameLayout layout(format, size, 0);
    const auto page = std::size_t(sysconf(_SC_PAGESIZE));
    unsigned char* addresses[4] = {nullptr, nullptr, nullptr, nullptr};
    for (int p = 0; p < layout.plane_count; ++p) {
        const std::size_t bytes = layout.plane[p].size_bytes;
        const std::size_t inner = (bytes + page - 1) / page * page;
        const Mapping mapping = {
            mmap(nullptr, inner + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0),
            inner + 2 * page};
        auto* const first = static_cast<unsigned char*>(mapping.address) + page;
        if (mapping.address == MAP_FAILED || mprotect(first, inner, PROT_READ | PROT_WRITE) != 0) {
            std::abort();
        }
        _mappings.push_back(mapping);
        addresses[p] = at_end ? first + inner - bytes : first;
    }
    _frame = tavo::Frame(layout, addresses);
}

PageGuardedFrame::~PageGuardedFrame() {
    for (const Mapping& mapping : _mappings) {
        munmap(mapping.address, mapping.bytes);
    }
}

FrameProducer::FrameProducer(tavo::Frame frame)
    : _frame(std::move(frame)), _layout(_frame.layout()) {}

void FrameProducer::produce(tavo::RowData& row) {
    produced.push_back(_row);
    std::vector<bool> planes;
    for (int p = 0; p < _layout.plane_count; ++p) {
        planes.push_back(row.plane[p] != nullptr);
        if (row.plane[p]) {
            const tavo::PlaneLayout& plane = _layout.plane[p];
            const bool half_height = plane.height < _layout.size.height;
            const int y = half_height ? _row / 2 : _row;
            std::memcpy(row.plane[p], _frame.planeData(p) + std::ptrdiff_t(plane.stride) * y,
                        std::size_t(plane.row_bytes));
        }
    }
    produced_planes.push_back(planes);
}

bool FrameProducer::next() {
    ++next_calls;
    if (_row < _layout.size.height) {
        ++_row;
    }
    return _row < _layout.size.height;
}

testing::AssertionResult throwsFailure(const std::function<void()>& action,
                                       tavo::Status status,
                                       const std::string& text,
                                       const std::string& function,
                                       const std::string& file) {
    try {
        action();
    } catch (const tavo::Exception& error) {
        std::ostringstream actual;
        std::ostringstream expected;
        actual << error.status << " \"" << error.what() << "\" " << error.function() << " "
               << error.file();
        expected << status << " \"" << text << "\" " << function << " " << file;
        if (actual.str() == expected.str() && error.line() > 0) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure()
               << actual.str() << " instead of " << expected.str() << ", line " << error.line();
    }
    return testing::AssertionFailure() << "nothing thrown instead of \"" << text << "\"";
}

testing::AssertionResult throwsAssertion(const std::function<void()>& action,
                                         const std::string& condition,
                                         const std::string& function,
                                         const std::string& file) {
    return throwsFailure(action, tavo::TAVO_STATUS_ASSERTION_FAILED,
                         "Assertion failed: " + condition, function, file);
}

long allocationsDuring(const std::function<void()>& action) {
    const long before = allocationCount();
    action();
    return allocationCount() - before;
}

}  // namespace support
