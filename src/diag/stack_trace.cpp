#include "diag/stack_trace.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <sstream>

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>

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

// Looks up the functions of consecutive frames, which tend to come from the same file.
//
// The dynamic linker knows exported functions only, and this library exports few. So names come from the full
// symbol table of the file first, if it is not stripped, and from the dynamic linker otherwise.
class FrameRenderer {
public:
    void render(std::ostream& out, void* address) {
        out << address;
        Dl_info info{};
        void* module = nullptr;
        // The call is before the address that it returns to, which may already belong to the next function.
        if (dladdr1(static_cast<char*>(address) - 1, &info, &module, RTLD_DL_LINKMAP) == 0) {
            return;
        }
        renderFunction(out, reinterpret_cast<std::uintptr_t>(address), info,
                       *static_cast<const link_map*>(module));
        if (info.dli_fname != nullptr) {
            out << " (" << fileName(info.dli_fname) << ')';
        }
    }

private:
    void renderFunction(std::ostream& out, std::uintptr_t address, const Dl_info& info,
                        const link_map& module) {
        auto base = reinterpret_cast<std::uintptr_t>(info.dli_fbase);
        const char* name = nullptr;
        if (const SymbolTable::Function function = tableOf(module).find(address - 1 - module.l_addr);
            function.name) {
            name = function.name;
            base = module.l_addr + function.begin;
        } else if (info.dli_sname != nullptr) {
            name = info.dli_sname;
            base = reinterpret_cast<std::uintptr_t>(info.dli_saddr);
        }
        if (name != nullptr) {
            out << ' ' << demangled(name);
        }
        out << " +0x" << std::hex << address - base << std::dec;
    }

    const SymbolTable& tableOf(const link_map& module) {
        const char* const path = *module.l_name != '\0' ? module.l_name : "/proc/self/exe";
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
    std::array<void*, kMaxFrames> buffer;  // NOLINT(*-member-init): 8 KiB, filled as far as they are read
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
