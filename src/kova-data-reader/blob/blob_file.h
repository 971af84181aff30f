#pragma once

#include <filesystem>
#include <istream>
#include <streambuf>

namespace lumo::io::kova {

// Unbuffered stream buffer over a regular file, read by position: seeking is arithmetic, and each read goes
// straight to its destination. in_avail() is exact and follows a file that is still growing, so a size that
// the file claims can be checked before memory is taken for it. For one thread at a time.
class BlobFileBuffer : public std::streambuf {
public:
    BlobFileBuffer() = default;
    BlobFileBuffer(const BlobFileBuffer&) = delete;
    BlobFileBuffer& operator=(const BlobFileBuffer&) = delete;
    ~BlobFileBuffer() override;

    // False when `path` cannot be opened for reading or is not a regular file. Never blocks on a pipe or
    // device.
    bool open(const std::filesystem::path& path);

protected:
    int_type underflow() override;
    int_type uflow() override;
    std::streamsize xsgetn(char* destination, std::streamsize count) override;
    std::streamsize showmanyc() override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode which) override;
    pos_type seekpos(pos_type target, std::ios_base::openmode which) override;

private:
    off_type fileSize() const;

    int descriptor = -1;
    off_type position = 0;
    // The file is at least this long. Only a position beyond may be more than the file system can address, so
    // only such a one is tried.
    off_type knownSize = 0;
};

// The blob file of an analysis as an input stream; open for the reader's lifetime.
class BlobFile {
public:
    // Fails with std::runtime_error "Can't open file: " + path + " for reading.".
    explicit BlobFile(const std::filesystem::path& path);

    std::istream& stream() { return input; }

private:
    BlobFileBuffer buffer;
    std::istream input;
};

}  // namespace lumo::io::kova
