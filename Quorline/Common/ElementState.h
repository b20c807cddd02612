#pragma once

// An open element of an XML file.

#include <array>
#include <cstddef>

/// Which element it is, and how many children of each kind it has had.
template <std::size_t ChildKinds> struct CExpatParseState {
    std::size_t element;
    std::array<unsigned, ChildKinds> seen{};
};
