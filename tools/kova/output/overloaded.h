#pragma once

namespace kova_tool {

// Visits a variant with one function per alternative.
template <class... Visitors>
struct Overloaded : Visitors... {
    using Visitors::operator()...;
};
template <class... Visitors>
Overloaded(Visitors...) -> Overloaded<Visitors...>;

}  // namespace kova_tool
