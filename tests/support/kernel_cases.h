// One list of all kernels on whole planes, for tests and benches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace support {

enum class Variant { Wrapper, Base, Neon, Avx2 };

struct Plane {
    unsigned char* data;
    std::uint32_t stride;
};

/// The size of a plane's samples, hence the alignment that its addresses need.
enum class Sample : std::uint32_t { Byte = 1, Half = 2, Float = 4 };

/// What a plane of an image of width x height pixels looks like.
struct PlaneShape {
    std::uint32_t element_bytes;
    std::uint32_t divide_x = 1;  ///< columns of the image to an element, the fraction cut off
    std::uint32_t divide_y = 1;
    bool swapped = false;  ///< columns are rows
    Sample sample = Sample::Byte;

    std::size_t rowBytes(std::uint32_t width, std::uint32_t height) const {
        return std::size_t((swapped ? height : width) / divide_x) * element_bytes;
    }
    std::size_t rows(std::uint32_t width, std::uint32_t height) const {
        return (swapped ? width : height) / divide_y;
    }
};

/// The ways to call a kernel, on planes of the case's shapes, width and height.
struct KernelCalls {
    using Size = std::uint32_t;
    std::function<void(const Plane* sources, const Plane* targets, Size, Size)> variants[4];

    /// Which variant the wrapper calls; nothing is computed. Empty without a threshold to test.
    std::function<Variant(const Plane* sources, const Plane* targets, Size, Size)> choice;
    bool wrapper_is_wired = true;  ///< the wrapper holds the variants that it should
};

struct KernelCase {
    std::string name;
    std::string family;
    std::uint32_t threshold;    ///< narrowest width of the NEON variant
    std::uint32_t width_step;   ///< the kernel assumes a multiple of it
    std::uint32_t height_step;  ///< likewise
    std::vector<PlaneShape> sources;
    std::vector<PlaneShape> targets;
    KernelCalls calls;
    std::uint32_t max_height = UINT32_MAX;  ///< 1 for runs of samples
    bool one_source_stride = false;         ///< the first source's stride serves all of them

    std::uint32_t avx2_threshold = 1;

    bool hasNeon() const { return bool(calls.variants[std::size_t(Variant::Neon)]); }

    /// The variant for this processor and width that the wrapper should take.
    Variant expected(std::uint32_t width) const;

    /// True where a variant may run at all.
    bool runs(Variant variant, std::uint32_t width) const {
        return variant == Variant::Wrapper || variant == Variant::Base ||
               variant == expected(width);
    }

    /// Only where the variant runs.
    void run(
        Variant variant, const Plane* s, const Plane* t, std::uint32_t w, std::uint32_t h) const {
        calls.variants[std::size_t(variant)](s, t, w, h);
    }
};

const std::vector<KernelCase>& kernelCases();

/// The name of the case that moves pixels of @p pixel_size bytes.
std::string transformName(std::uint32_t mode, std::uint32_t pixel_size);

/// Arguments of the float kernels; no step rounds on bytes and short fractions.
constexpr float FLOAT_LOWER = 0.0f, FLOAT_UPPER = 255.0f, FLOAT_ADDEND = 12.25f,
                FLOAT_FACTOR = 0.5f;

}  // namespace support
