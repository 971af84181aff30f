#include "diag/stack_trace.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <sstream>

#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>
#include <unwind.h>

#include "diag/assert.h"
#include "diag/symbol_table.h"

// Call chains for diagnostics. Every exception captures one, so capturing must be cheap: addresses and
// nothing else. Names are looked up only when somebody wants to see them.
namespace lumo::diag {

namespace {

// The name as it is if it is not a mangled one.
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

// A file of this process: how far it was moved, and its path, which is empty for the program itself.
struct Module {
    std::uintptr_t offset = 0;
    const char* path = "";
};

// The file that holds an address, and what the dynamic linker knows of the function there.
std::optional<Module> lookUp(const void* address, Dl_info& info) {
#ifdef RTLD_DL_LINKMAP
    void* map = nullptr;
    if (dladdr1(address, &info, &map, RTLD_DL_LINKMAP) == 0) {
        return std::nullopt;
    }
    return Module{static_cast<const link_map*>(map)->l_addr, static_cast<const link_map*>(map)->l_name};
#else  // so for all that may be loaded anywhere, as libraries are
    if (dladdr(address, &info) == 0) {
        return std::nullopt;
    }
    return Module{reinterpret_cast<std::uintptr_t>(info.dli_fbase), info.dli_fname};
#endif
}

// Looks up the functions of consecutive frames, which tend to come from the same file.
//
// The dynamic linker knows exported functions only, and this library exports few. So names come from the full
// symbol table of the file first, if it is not stripped, and from the dynamic linker otherwise.
class FrameRenderer {
public:
    void render(std::ostream& out, void* address) {
        out << address;
        Dl_info info{};
        // The call is before the address that it returns to, which may already belong to the next function.
        const std::optional<Module> module = lookUp(static_cast<char*>(address) - 1, info);
        if (!module) {
            return;
        }
        renderFunction(out, reinterpret_cast<std::uintptr_t>(address), info, *module);
        if (info.dli_fname != nullptr) {
            out << " (" << fileName(info.dli_fname) << ')';
        }
    }

private:
    // Addresses in the file's table are relative to where it was loaded.
    void renderFunction(std::ostream& out, std::uintptr_t address, const Dl_info& info,
                        const Module& module) {
        auto base = reinterpret_cast<std::uintptr_t>(info.dli_fbase);
        const char* name = nullptr;
        if (const SymbolTable::Function function = tableOf(module).find(address - 1 - module.offset);
            function.name) {
            name = function.name;
            base = module.offset + function.begin;
        } else if (info.dli_sname != nullptr) {
            name = info.dli_sname;
            base = reinterpret_cast<std::uintptr_t>(info.dli_saddr);
        }
        if (name != nullptr) {
            out << ' ' << demangled(name);
        }
        out << " +0x" << std::hex << address - base << std::dec;
    }

    const SymbolTable& tableOf(const Module& module) {
        const char* const path = *module.path != '\0' ? module.path : "/proc/self/exe";
        if (!table || table->path() != path) {
            table.emplace(path);
        }
        return *table;
    }

    std::optional<SymbolTable> table;
};

}  // namespace

// The buffer is on the stack, so the only memory that an exception's trace takes is that of the addresses
// there are.
StackTrace StackTrace::capture(int skippedFrames) {
    LUMO_ASSERT(skippedFrames >= 0);
    struct Chain {
        std::array<void*, kMaxFrames> addresses;
        int count;
    };
    Chain chain;  // NOLINT(cppcoreguidelines-pro-type-member-init): 8 KiB, filled as far as they are read
    chain.count = 0;
    const auto add = [](_Unwind_Context* frame, void* context) {
        auto& known = *static_cast<Chain*>(context);
        const _Unwind_Ptr address = _Unwind_GetIP(frame);
        if (address == 0 || known.count == kMaxFrames) {
            return _URC_END_OF_STACK;
        }
        known.addresses[static_cast<std::size_t>(known.count++)] =
            reinterpret_cast<void*>(address);  // NOLINT(performance-no-int-to-ptr)
        return _URC_NO_REASON;
    };
    _Unwind_Backtrace(add, &chain);
    const int first = skippedFrames + 1;
    StackTrace trace;
    if (first < chain.count) {
        trace.addresses.assign(chain.addresses.begin() + first, chain.addresses.begin() + chain.count);
    }
    return trace;
}

std::string StackTrace::toString() const {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    FrameRenderer renderer;
    int number = 0;
    for (void* const address : addresses) {
        out << '#' << number++ << ' ';
        renderer.render(out, address);
        out << '\n';
    }
    return out.str();
}

}  // namespace lumo::diag
