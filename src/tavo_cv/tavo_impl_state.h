// The private state behind a public class.
#pragma once

#include <memory>
#include <new>

#include "tavo_core/tavo_exception.h"

namespace tavo::impl {

/// A new state. Constructors fail as every other operation does.
template <class State>
std::unique_ptr<State> makeState() {
    auto* const state = new (std::nothrow) State;
    if (!state) {
        TAVO_RAISE(TAVO_STATUS_OUT_OF_MEMORY, "Failed to allocate %u bytes.",
                   unsigned(sizeof(State)));
    }
    return std::unique_ptr<State>(state);
}

}  // namespace tavo::impl
