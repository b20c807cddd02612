#pragma once

// How much stack an action takes.

#include <cstddef>
#include <cstdint>

/// Bytes of the calling thread's stack that the action, called from here, writes; up to half a megabyte.
template <class Action> [[gnu::noinline]] std::size_t StackUse(Action action) {
    constexpr std::size_t Room = 524'288;
    constexpr std::size_t Page = 4096;
    constexpr char Paint = 0x5A;
    char here = 0;
    auto* const top = reinterpret_cast<volatile char*>(reinterpret_cast<std::uintptr_t>(&here) - Page);
    // From the top downwards, so that every page is there before the next one is asked for.
    for (std::size_t i = 0; i < Room; ++i)
        *(top - i) = Paint;
    action();
    std::size_t untouched = 0;
    for (std::size_t i = Room; i > 0 && *(top - i + 1) == Paint; --i)
        ++untouched;
    return Room - untouched + Page;
}
