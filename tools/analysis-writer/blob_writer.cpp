#include "analysis-writer/blob_writer.h"

#include <algorithm>
#include <array>

namespace analysis_writer {

BlobWriter::BlobWriter(const std::filesystem::path& file)
    : path(file), stream(file, std::ios::binary | std::ios::trunc) {
    if (!stream)
        throw std::runtime_error("cannot create " + path.string());
    std::array<std::uint8_t, kLeadingBytes> leading{};
    leading.fill(0xA5);
    append(leading);
}

std::int64_t BlobWriter::append(ByteView bytes) {
    const std::int64_t position = end;
    put(position, bytes);
    return position;
}

void BlobWriter::writeAt(std::int64_t position, ByteView bytes) {
    if (position < 0)
        throw std::invalid_argument("negative position in " + path.string());
    put(position, bytes);
}

void BlobWriter::put(std::int64_t position, ByteView bytes) {
    if (position != writePosition)
        stream.seekp(position);
    // The stream takes char; the bytes themselves are only copied.
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!stream)
        throw std::runtime_error("cannot write to " + path.string());
    writePosition = position + static_cast<std::int64_t>(bytes.size());
    end = std::max(end, writePosition);
}

void BlobWriter::flush() {
    stream.flush();
    if (!stream)
        throw std::runtime_error("cannot write to " + path.string());
}

}  // namespace analysis_writer
