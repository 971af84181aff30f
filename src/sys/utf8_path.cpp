#include "sys/utf8_path.h"

#include <stdexcept>

#include <boost/format.hpp>

#include "diag/throw.h"
#include "sys/utf8.h"

namespace lumo::sys {

std::filesystem::path pathFromUtf8(std::string_view utf8) {
    const std::size_t invalid = findInvalidUtf8(utf8);
    if (invalid != std::string_view::npos) {
        const unsigned byte = invalid < utf8.size() ? static_cast<unsigned char>(utf8[invalid]) : 0U;
        boost::format text("Invalid UTF-8 code unit at index %1%: %2$#x");
        LUMO_THROW(std::runtime_error((text % invalid % byte).str()));
    }
    // The native narrow encoding of the platform is the bytes as they are; no locale is involved.
    return std::filesystem::path(utf8);
}

}  // namespace lumo::sys
