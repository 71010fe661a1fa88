// How a creating function chooses a class: the first rule that matches.
#pragma once

#include <cstdint>

#include "simd/simd_resizer.h"

namespace Simd {
namespace {

struct ResizerRule {
    bool (*matches)(const ResizerParam& p);
    Resizer* (*create)(const ResizerParam& p);
};

template <class Class>
Resizer* create(const ResizerParam& p) {
    return new Class(p);
}

/// @return null when no rule matches
template <std::uint32_t COUNT>
inline Resizer* createByRules(const ResizerRule (&rules)[COUNT], const ResizerParam& p) {
    for (const ResizerRule& rule : rules) {
        if (rule.matches(p)) {
            return rule.create(p);
        }
    }
    return nullptr;
}

inline std::uint32_t half(std::uint32_t size) {
    return (size + 1) >> 1;
}

inline bool isBytes(const ResizerParam& p, ResizerMethod method) {
    return p.type == ResizerChannelByte && p.method == method;
}

/// Bicubic needs four source samples in each direction.
inline bool isBicubicOfTwo(const ResizerParam& p) {
    return isBytes(p, ResizerMethodBicubic) && (p.srcWidth == 2 || p.srcHeight == 2);
}

inline bool isBilinearFloat(const ResizerParam& p) {
    return p.type == ResizerChannelFloat && p.method >= ResizerMethodBilinear &&
           p.method <= ResizerMethodBilinearTopLeft;
}

inline bool halvesBoth(const ResizerParam& p) {
    return p.dstWidth <= half(p.srcWidth) && p.dstHeight <= half(p.srcHeight);
}

}  // namespace
}  // namespace Simd
