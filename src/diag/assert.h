#pragma once

// LUMO_ASSERT(condition) states what a function trusts its caller about: sizes, orders, bits that have to be
// 0. Debug, sanitizer and fuzz builds check it and abort. Elsewhere the condition is compiled but never
// evaluated, so it costs nothing, and what only it uses is not reported as unused. It must therefore have no
// effects. What a file claims is never asserted: it is checked in every build, and refused with LUMO_THROW.

#if !defined(NDEBUG) || defined(KOVADATA_ASSERTIONS)

#include <cstdio>
#include <cstdlib>

namespace lumo::diag::details {

[[noreturn, gnu::cold, gnu::noinline]] inline void assertionFailed(const char* condition, const char* file,
                                                                   int line) noexcept {
    std::fprintf(stderr, "%s:%d: LUMO_ASSERT failed: %s\n", file, line, condition);
    std::abort();
}

}  // namespace lumo::diag::details

#define LUMO_ASSERT(...)            \
    (static_cast<bool>(__VA_ARGS__) \
         ? static_cast<void>(0)     \
         : ::lumo::diag::details::assertionFailed(#__VA_ARGS__, __FILE__, __LINE__))

#else

#define LUMO_ASSERT(...) static_cast<void>(noexcept(static_cast<bool>(__VA_ARGS__)))

#endif
