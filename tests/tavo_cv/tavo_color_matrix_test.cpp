// Every pair of formats on both backends: the bytes of a reference that works pixel by pixel, or
// the right failure and a target that is as it was. And the page that tells users which is which.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "support/frames.h"
#include "tavo_cv/tavo_cv_backend_base.h"
#include "tavo_cv/tavo_cv_backend_simd.h"

namespace {

using namespace tavo;
using testing::Field;
using testing::Throws;

// ---- What exists --------------------------------------------------------------------------------

struct Format {
    FrameFormat number;
    const char* samples;         ///< of each plane, one letter a sample, up to the repeat
    const char* conversions[2];  ///< portable, fast: to the formats in the order of this table
};
// clang-format off
const Format FORMATS[] = {
    {FRAME_GRAY8,      "Y",     {"=..r.zzzzzzzzzz........", "=..r..................."}},
    {FRAME_RGB24,      "RGB",   {".=sx..................F", ".=sx.................fF"}},
    {FRAME_RGB_PLANAR, "R G B", {".j=....................", ".j=..................Jf"}},
    {FRAME_BGR24,      "BGR",   {"gx.=smmmmmmmmmm......fF", "gx.=sm.m....mmm......fF"}},
    {FRAME_BGR_PLANAR, "B G R", {"...j=..................", "...j=................Jf"}},
    {FRAME_I420,       "Y U V", {"l..m.=ccccccccc........", "lm.m.=.c..............."}},
    {FRAME_YV12,       "Y V U", {"l..m.c=cccccccc........", "......=................"}},
    {FRAME_NV12,       "Y UV",  {"l..m.cc=ccccccc........", "lm.m.c.=c.............."}},
    {FRAME_NV21,       "Y VU",  {"l..m.ccc=cccccc........", "lm.m.c.c=.............."}},
    {FRAME_YV16,       "Y V U", {"l..m.cccc=ccccc........", ".........=............."}},
    {FRAME_YUYV,       "YUYV",  {"l..m.ccccc=cccc........", "..........=............"}},
    {FRAME_UYVY,       "UYVY",  {"l..m.cccccc=ccc........", "...........=..........."}},
    {FRAME_NV16,       "Y UV",  {"l..m.ccccccc=cc........", "lm.m.....c..=.........."}},
    {FRAME_YUV444,     "YUV",   {"l..m.cccccccc=c........", "l..m.........=s........"}},
    {FRAME_I444,       "Y U V", {"l..m.ccccccccc=........", "l..m.........j=........"}},
    {FRAME_8U_C2,      "",      {"...............=.......", "...............=......."}},
    {FRAME_8U_C3,      "",      {"................=......", "................=......"}},
    {FRAME_8U_C4,      "",      {".................=.....", ".................=....."}},
    {FRAME_16U_C1,     "",      {"..................=....", "..................=...."}},
    {FRAME_32U_C1,     "",      {"...................=...", "...................=..."}},
    {FRAME_GRAY_32F,   "",      {"....................=..", "....................=.."}},
    {FRAME_BGR_32F,    "012",   {"...b.................=.", ".bSbS................=."}},
    {FRAME_PLANAR_32F, "0 1 2", {"......................=", ".BbBb.................="}},
};
const std::map<char, std::string> WORDS = {
    {'=', ""}, {'.', ""}, {'r', "repeat"}, {'g', "gray"}, {'l', "luma"}, {'z', "zero"},
    {'m', "matrix"}, {'c', "chroma"}, {'x', "swap"}, {'s', "split"}, {'j', "join"}, {'f', "float"},
    {'b', "bytes"}, {'F', "split+float"}, {'J', "join+float"}, {'S', "bytes+split"},
    {'B', "bytes+join"}};
// clang-format on

const Format& describe(FrameFormat number) {
    return *std::find_if(std::begin(FORMATS), std::end(FORMATS),
                         [number](const Format& format) { return format.number == number; });
}

struct Cell {
    bool fast;
    FrameFormat from, to;

    char kind() const { return describe(from).conversions[fast][&describe(to) - FORMATS]; }
    bool isEvenOnly() const {
        const std::set<FrameFormat> sources = {FRAME_I420, FRAME_NV12, FRAME_NV21, FRAME_NV16};
        const bool by_source = sources.count(from) != 0 && from != to;
        return fast && (by_source || (from == FRAME_BGR24 && to == FRAME_NV16));
    }
    bool exists(Size size) const {
        const bool is_even = size.width % 2 == 0 && size.height % 2 == 0;
        const bool is_420 = to >= FRAME_I420 && to <= FRAME_NV21 && from != to;
        const bool looks_ahead = !fast && is_420 && from != FRAME_GRAY8;
        return kind() != '.' && (is_even || !isEvenOnly()) && (size.height > 1 || !looks_ahead);
    }
};

// ---- Reference ----------------------------------------------------------------------------------

struct Arithmetic {
    int gray[4], y[4], u[4], v[4];  // weights of B, G, R, and the sum of black
    int scale;                      // of these
    int to_bgr[7];                  // Y; U in B; U, V in G; V in R; half; scale
};
// clang-format off
const Arithmetic ARITHMETIC[2] = {
    {{28, 152, 76, 0}, {25, 129, 65, 16 << 8}, {112, -74, -38, 128 << 8}, {-18, -94, 112, 128 << 8},
     1 << 8, {297, 516, -100, -207, 408, 0, 1 << 8}},
    {{1868, 9617, 4899, 8192}, {1606, 8258, 4211, 8192 + (16 << 14)},
     {7193, -4768, -2425, 8192 + (128 << 14)}, {-1163, -6029, 7193, 8192 + (128 << 14)},
     1 << 14, {9535, 16531, -3203, -6660, 13074, 4096, 1 << 13}}};
const int SHORTCUT[7] = {298, 516, -100, -208, 409, 128, 1 << 8};
// clang-format on

bool isChroma(char name) {
    return name == 'U' || name == 'V';
}

/// The samples of a frame by letter and pixel.
struct Picture {
    Frame frame;
    std::string samples;
    std::string names;
    bool is_packed_422;
    bool has_floats;
    double limit;  // of what becomes a byte, before all but the low 8 bits are dropped

    Picture(const Frame& pixels, bool fast) : frame(pixels), limit(fast ? 255 : 4294967295) {
        const bool is_exchanged = fast && frame.format() == FRAME_YV16;
        samples = is_exchanged ? "Y U V" : describe(frame.format()).samples;
        is_packed_422 = frame.format() == FRAME_YUYV || frame.format() == FRAME_UYVY;
        has_floats = frame.format() >= FRAME_BGR_32F;
        names = is_packed_422 ? "YUV" : samples;
        names.erase(std::remove(names.begin(), names.end(), ' '), names.end());
    }
    /// The columns and rows of pixels that a sample serves.
    Size blockOf(char name) const {
        return Size(isChroma(name) && frame.format() <= FRAME_NV16 ? 2 : 1,
                    isChroma(name) && frame.format() <= FRAME_NV21 ? 2 : 1);
    }
    unsigned char* at(char name, int x, int y) const {
        const std::size_t found = samples.find(name);
        const auto p = std::count(samples.begin(), samples.begin() + int(found), ' ');
        const PlaneLayout& plane = frame.layout().plane[p];
        const Size block = blockOf(name);
        const int step = is_packed_422 && name == 'Y' ? 2 : plane.channels;
        const int index = x / block.width * step + int(found - samples.rfind(' ', found) - 1);
        return frame.planeData(int(p)) + plane.stride * (y / block.height) +
               index * (has_floats ? 4 : 1);
    }
    float read(char name, int x, int y) const {
        float value = *at(name, x, y);
        std::memcpy(&value, at(name, x, y), has_floats ? 4 : 0);
        return value;
    }
    void write(char name, int x, int y, double value) const {
        const double limited = value > 0 ? std::fmin(value, limit) : 0;
        const auto as_float = float(value);
        *at(name, x, y) = static_cast<unsigned char>(std::fmod(limited, 256));
        std::memcpy(at(name, x, y), &as_float, has_floats ? 4 : 0);
    }
    int sum(char name, Rect block) const {
        int total = 0;
        for (int i = 0; i < block.width * block.height; ++i) {
            total += int(read(name, block.x + i % block.width, block.y + i / block.width));
        }
        return total;
    }
};

/// Of the mean colour, rounded, in the fast backend; the mean over the pixels, cut, elsewhere.
int weigh(bool fast, const Picture& source, Rect block, const int weights[4]) {
    const int pixels = block.width * block.height;
    const int divisor = fast ? pixels : 1;
    int sum = weights[3] * pixels / divisor;
    for (int i = 0; i < 3; ++i) {
        sum += weights[i] * ((source.sum("BGR"[i], block) + divisor / 2) / divisor);
    }
    return sum / (ARITHMETIC[fast].scale * pixels / divisor);
}

int colourOf(const int weights[7], char name, int y, int u, int v) {
    const int chroma = name == 'B'   ? weights[1] * (u - 128)
                       : name == 'G' ? weights[2] * (u - 128) + weights[3] * (v - 128)
                                     : weights[4] * (v - 128);
    return std::min(std::max(weights[0] * (y - 16) + chroma + weights[5], 0) / weights[6], 255);
}

/// The sample @p name of @p target that serves the pixels of @p block.
double convertSample(
    Cell cell, const Picture& source, const Picture& target, char name, Rect block) {
    const Arithmetic& own = ARITHMETIC[cell.fast];
    const auto read = [&](char letter) { return int(source.read(letter, block.x, block.y)); };
    switch (cell.kind()) {
        case 'r':
        case 'z':
            return isChroma(name) ? 0 : read('Y');
        case 'g':
            return weigh(cell.fast, source, block, own.gray);
        case 'm':
            return name == 'Y'   ? weigh(cell.fast, source, block, own.y)
                   : name == 'U' ? weigh(cell.fast, source, block, own.u)
                   : name == 'V' ? weigh(cell.fast, source, block, own.v)
                                 : colourOf(own.to_bgr, name, read('Y'), read('U'), read('V'));
        case 'l':
        case 'c':
        case 'x':
            return source.sum(name, block) / (block.width * block.height);
        default:
            return source.read(source.names[target.names.find(name)], block.x, block.y);
    }
}

void convertByPixel(Cell cell, const Frame& source_frame, const Frame& target_frame) {
    const Picture source(source_frame, cell.fast);
    const Picture target(target_frame, cell.fast);
    const Size size = target_frame.size();
    for (int i = 0; i < size.width * size.height; ++i) {
        const int x = i % size.width;
        const int y = i / size.width;
        for (const char name : target.names) {
            const Size share = target.blockOf(name);
            Rect block(x, y, share.width, share.height);
            block.crop(size);
            const bool is_cut = Size(block.width, block.height) != share;
            block = cell.fast && is_cut ? Rect(x, y, 1, 1) : block;
            if (x % share.width == 0 && y % share.height == 0) {
                target.write(name, x, y, convertSample(cell, source, target, name, block));
            }
        }
        if (target.is_packed_422 && source.names == "BGR" && size.width % 2 != 0) {
            target.write('Y', size.width, y, 0);  // completes the last group
        }
    }
}

void convertByShortcut(const Frame& source, const Frame& target) {
    const int stride = source.layout().plane[0].stride;
    const Picture bgr(target, true);
    for (int y = 0; y < target.height() / 2 * 2; ++y) {
        for (int x = 0; x < target.width() / 8 * 8; ++x) {
            const int luma = std::max(int(source.planeData(0)[stride * y + x]), 16);
            const unsigned char* const uv = source.planeData(1) + stride * (y / 2) + x / 2 * 2;
            for (const char name : bgr.names) {
                bgr.write(name, x, y, colourOf(SHORTCUT, name, luma, uv[0], uv[1]));
            }
        }
    }
}

bool takesShortcut(Cell cell, const Frame& source, Rect roi) {
    const int luma = source.layout().plane[0].stride;
    const int chroma = source.layout().plane[1].stride;
    const bool fits = (luma < 0) == (chroma < 0) && std::abs(luma) <= std::abs(chroma);
    return cell.from == FRAME_NV12 && cell.to == FRAME_BGR24 && roi.empty() &&
           (cell.fast ? luma == chroma : fits);
}

// ---- Comparison ---------------------------------------------------------------------------------

std::unique_ptr<ICvBackend> makeBackend(bool fast) {
    using Pointer = std::unique_ptr<ICvBackend>;
    return fast ? Pointer(new CvBackendSimd) : Pointer(new CvBackendBase);
}

Exception failureOf(Cell cell, const Frame& view) {
    const char* const file = "src/tavo_cv/tavo_cv_backend_simd";
    if (!cell.fast) {
        try {
            FormatConverter().reuse(view, cell.to);  // whose failures have tests of their own
        } catch (const Exception& error) {
            return error;
        }
    }
    if (cell.isEvenOnly() && (view.width() | view.height()) % 2 != 0) {
        const char* const text = "src_region.width() % 2 == 0 && src_region.height() % 2 == 0";
        return Exception(nullptr, TAVO_STATUS_ASSERTION_FAILED, "colorCvt", file, 1,
                         "Assertion failed: %s", text);
    }
    return Exception(nullptr, TAVO_STATUS_NOT_SUPPORTED, "colorCvt", file, 1,
                     "colorCvt: Unsupported conversion %s -> %s.", toString(cell.from),
                     toString(cell.to));
}

/// Converts twice; the second time must not allocate. Or expects the failure of this cell.
void expectColorCvt(ICvBackend& backend, Cell cell, const Frame& src, Frame& dst, Rect roi = {}) {
    SCOPED_TRACE(std::string(cell.fast ? "fast from " : "portable from ") + toString(cell.from));
    Frame parent = src;
    const Frame view = roi.empty() ? src : getRegion(parent, roi);
    Frame expected;
    dst.copyTo(expected);
    if (cell.exists(dst.size())) {
        if (cell.from == cell.to) {
            view.copyTo(expected);
        } else if (takesShortcut(cell, src, roi)) {
            convertByShortcut(src, expected);
        } else {
            convertByPixel(cell, view, expected);
        }
        backend.colorCvt(src, dst, roi);
        EXPECT_EQ(support::allocationsDuring([&] { backend.colorCvt(src, dst, roi); }), 0);
    } else {
        const auto fresh = makeBackend(cell.fast);  // which remembers no earlier target
        const Exception error = failureOf(cell, view);
        EXPECT_TRUE(support::throwsFailure([&] { fresh->colorCvt(src, dst, roi); }, error.status,
                                           error.what(), error.function(), error.file()));
    }
    EXPECT_TRUE(support::samePixels(dst, expected));
}

void forEachCell(const std::function<void(ICvBackend&, Cell)>& visit) {
    for (const bool fast : {false, true}) {
        const auto backend = makeBackend(fast);
        for (const Format& from : FORMATS) {
            for (const Format& to : FORMATS) {
                visit(*backend, {fast, from.number, to.number});
            }
        }
    }
}

TEST(ColorMatrix, ConvertsOrRefusesEveryPair) {
    std::vector<Size> sizes = {{33, 3}, {66, 4}, {35, 4}, {48, 5}};
    for (int i = 0; i < 25; ++i) {
        sizes.emplace_back(i % 5 + 1, i / 5 + 1);
    }
    forEachCell([&](ICvBackend& backend, Cell cell) {
        const int step = cell.kind() == '.' ? 7 : 1;
        for (int i = 0; i < 2 * int(sizes.size()); i += step) {
            const bool flag = i % 2 != 0;
            const Size size = sizes[std::size_t(i / 2)];
            const Size parent_size(size.width + 3, size.height + 2);
            const Rect roi(1 + flag, 2 - flag, size.width, size.height);
            const int margin = std::max(cell.from, cell.to) >= FRAME_BGR_32F ? 8 : 7;  // alignment
            support::GuardedFrame src(cell.from, size, margin, flag);
            support::GuardedFrame dst(cell.to, size, margin + 4, !flag);
            support::fillRandom(src.frame(), 1);
            support::fillRandom(dst.frame(), 2);
            const Frame parent = support::randomFrame(cell.from, parent_size, 3);
            support::PageGuardedFrame page_src(cell.from, size, flag);
            support::PageGuardedFrame page_dst(cell.to, size, flag);
            src.frame().copyTo(page_src.frame());
            expectColorCvt(backend, cell, src.frame(), dst.frame());
            expectColorCvt(backend, cell, parent, dst.frame(), roi);
            expectColorCvt(backend, cell, page_src.frame(), page_dst.frame());
            EXPECT_TRUE(src.sentinelsIntact());
            EXPECT_TRUE(dst.sentinelsIntact());
        }
    });
    for (const int number : {0, 21, 22, 23, 27}) {
        Frame frame;
        EXPECT_THROW(frame.reuse(FrameFormat(number), Size(2, 2), DeviceContext(), 0), Exception);
    }
}

TEST(ColorMatrix, TakesTheShortcutFromNv12WhereStridesAllow) {
    const int strides[][2] = {{10, 10}, {10, 16}, {16, 10}, {-12, -12}, {-12, -14}, {12, -12}};
    for (const bool fast : {false, true}) {
        const Cell cell = {fast, FRAME_NV12, FRAME_BGR24};
        for (const auto& [luma, chroma] : strides) {
            FrameLayout layout(FRAME_NV12, Size(10, 4), 0);
            std::vector<unsigned char> memory(240);
            layout.plane[0].stride = luma;
            layout.plane[1].stride = chroma;
            unsigned char* const planes[4] = {memory.data() + 60, memory.data() + 180};
            Frame src(layout, planes);
            support::fillRandom(src, 5);
            for (const Rect roi : {Rect(), Rect(0, 0, 10, 4)}) {
                Frame dst = support::flatFrame(FRAME_BGR24, src.size(), 77);
                expectColorCvt(*makeBackend(fast), cell, src, dst, roi);
                EXPECT_EQ(dst.planeData(0)[3 * 8] == 77, takesShortcut(cell, src, roi));
            }
        }
    }
}

TEST(ColorMatrix, CutsFloats) {
    const float values[6] = {300.7f, -4, 12.9f, 254.999f, 256, NAN};
    const std::vector<unsigned char> expected[2] = {{44, 0, 12, 254, 0, 0},
                                                    {255, 0, 12, 254, 255, 0}};
    for (const bool fast : {false, true}) {
        Frame src = support::flatFrame(FRAME_BGR_32F, Size(2, 1), 0);
        Frame dst = support::flatFrame(FRAME_BGR24, Size(2, 1), 99);
        std::memcpy(src.planeData(0), values, sizeof(values));
        makeBackend(fast)->colorCvt(src, dst, Rect());
        EXPECT_EQ(support::pixels(dst), expected[fast]);
    }
}

TEST(ColorMatrix, RefusesBadFramesInTheFastBackend) {
    const Frame gray = support::flatFrame(FRAME_GRAY8, Size(4, 2), 1);
    Frame elsewhere;
    elsewhere.reuse(FRAME_RGB24, Size(4, 2), DeviceContext(1, 0), 0);
    const auto expect = [](const char* text, const Frame& src, Frame dst, Rect roi = {}) {
        const std::vector<unsigned char> before = support::pixels(dst);
        EXPECT_TRUE(support::throwsAssertion([&] { CvBackendSimd().colorCvt(src, dst, roi); }, text,
                                             "colorCvt", "src/tavo_cv/tavo_cv_backend_simd"));
        EXPECT_EQ(support::pixels(dst), before);
    };
    expect("src.initialized() && dst.initialized()", Frame(), gray);
    expect("src.initialized() && dst.initialized()", gray, Frame());
    const char* const device =
        "src.deviceContext() == DeviceContext::cpuContext() && "
        "src.deviceContext() == dst.deviceContext()";
    expect(device, elsewhere, elsewhere);
    expect(device, gray, elsewhere);
    expect("src_region.size() == dst.size()", gray, gray, Rect(0, 0, 2, 2));
}

TEST(ColorMatrix, NeedsAlignedFloatsInTheFastBackend) {
    forEachCell([](ICvBackend& backend, Cell cell) {
        support::GuardedFrame src(cell.from, Size(6, 2), 6);
        support::GuardedFrame dst(cell.to, Size(6, 2), 6);
        support::fillRandom(src.frame(), 6);
        const bool has_floats = std::max(cell.from, cell.to) >= FRAME_BGR_32F;
        if (cell.fast && has_floats && cell.from != cell.to && cell.kind() != '.') {
            const std::vector<unsigned char> before = support::pixels(dst.frame());
            EXPECT_THAT(
                [&] { backend.colorCvt(src.frame(), dst.frame(), Rect()); },
                Throws<Exception>(Field(&Exception::status, TAVO_STATUS_INVALID_PARAMETER)));
            EXPECT_EQ(support::pixels(dst.frame()), before);
        } else {
            expectColorCvt(backend, cell, src.frame(), dst.frame());
        }
    });
}

// ---- The page for users -------------------------------------------------------------------------

TEST(ColorMatrix, IsWhatThePageTells) {
    std::map<std::string, std::string> cells;  // by backend, source and destination
    std::ifstream page(TAVO_DOCS "/formats.md");
    std::string heading;
    for (std::string line; std::getline(page, line);) {
        heading = line[0] == '#' ? line : heading;
        if (line.rfind("| `", 0) != 0) {
            continue;
        }
        std::replace_if(
            line.begin(), line.end(), [](char c) { return std::strchr("`,;", c); }, ' ');
        std::vector<std::string> sources;
        std::vector<std::string> names;
        std::istringstream tokens(line);
        for (std::string token; tokens >> token;) {
            if (token == "|" && sources.empty()) {
                sources.swap(names);
            } else if (std::isupper(token[0])) {
                names.push_back("FRAME_" + token);
            } else {
                for (std::size_t i = 0; i < sources.size() * names.size(); ++i) {
                    cells[heading + sources[i % sources.size()] + names[i / sources.size()]] =
                        token;
                }
                names.clear();
            }
        }
    }
    forEachCell([&](ICvBackend&, Cell cell) {
        const std::string place = cell.fast ? "### Fast backend" : "### Portable backend";
        const std::string word = WORDS.at(cell.kind());
        if (cell.from != cell.to) {
            EXPECT_EQ(cells[place + toString(cell.from) + toString(cell.to)],
                      word.empty() || !cell.isEvenOnly() ? word : word + "*");
        }
    });
}

}  // namespace
