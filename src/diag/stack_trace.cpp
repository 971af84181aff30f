#include "diag/stack_trace.h"

#include <array>
#include <cstdlib>
#include <memory>
#include <sstream>

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

namespace lumo::diag {

namespace {

std::string demangled(const char* name) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(name, nullptr, nullptr, &status), &std::free);
    return status == 0 && text ? text.get() : name;
}

const char* fileName(const char* path) {
    const char* name = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '/') {
            name = p + 1;
        }
    }
    return name;
}

void renderFrame(std::ostream& out, void* address) {
    Dl_info info{};
    out << address;
    if (dladdr(address, &info) == 0) {
        return;
    }
    const char* const base =
        static_cast<const char*>(info.dli_sname != nullptr ? info.dli_saddr : info.dli_fbase);
    if (info.dli_sname != nullptr) {
        out << ' ' << demangled(info.dli_sname);
    }
    if (base != nullptr) {
        out << " +0x" << std::hex << static_cast<const char*>(address) - base << std::dec;
    }
    if (info.dli_fname != nullptr) {
        out << " (" << fileName(info.dli_fname) << ')';
    }
}

}  // namespace

StackTrace StackTrace::capture(int skippedFrames) {
    std::array<void*, kMaxFrames> buffer;
    const int count = backtrace(buffer.data(), kMaxFrames);
    const int first = skippedFrames + 1;
    StackTrace trace;
    if (first < count) {
        trace.addresses.assign(buffer.begin() + first, buffer.begin() + count);
    }
    return trace;
}

std::string StackTrace::toString() const {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    int number = 0;
    for (void* const address : addresses) {
        out << '#' << number++ << ' ';
        renderFrame(out, address);
        out << '\n';
    }
    return out.str();
}

}  // namespace lumo::diag
