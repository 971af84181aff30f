#include "kova-data-reader/blob/stream_reading.h"

#include <locale>
#include <sstream>

#include "kova-data-reader/blob/byte_buffer.h"

// Reads exactly so many bytes from exactly there, or says that it could not. A stream that failed once goes
// on failing until its state is cleared. Seeking does that, so one damaged frame does not spoil those after
// it.
namespace lumo::io::kova::binary {

namespace {

bool holdsAtLeast(std::istream& stream, std::uint64_t size) {
    const std::streamsize available = stream.rdbuf()->in_avail();
    return size == 0 || (available > 0 && static_cast<std::uint64_t>(available) >= size);
}

}  // namespace

bool seekTo(std::istream& stream, std::int64_t position) {
    stream.clear();
    stream.seekg(static_cast<std::streamoff>(position));
    return stream.good();
}

bool readExactly(std::istream& stream, std::byte* destination, std::size_t size) {
    stream.read(reinterpret_cast<char*>(destination), static_cast<std::streamsize>(size));
    return static_cast<std::size_t>(stream.gcount()) == size;
}

// Where the buffer is large enough already, nothing needs to be asked before reading.
bool readInto(std::istream& stream, ByteBuffer& buffer, std::uint64_t size, std::size_t roomAfter) {
    if (size + roomAfter > buffer.capacity() && !holdsAtLeast(stream, size)) {
        return false;
    }
    buffer.resize(size + roomAfter);
    return readExactly(stream, buffer.data(), size);
}

std::string seekFailureText(const std::string& what, std::istream& stream) {
    const std::streamoff position = stream.tellg();
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << what << " Current position: " << position << ". Error flags: good: " << stream.good() << ", eof "
         << stream.eof() << ", fail " << stream.fail() << ", bad " << stream.bad();
    return text.str();
}

}  // namespace lumo::io::kova::binary
