#include "kova-data-reader/blob/blob_file.h"

#include <algorithm>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diag/throw.h"
#include "sys/interrupted_calls.h"
#include "sys/work_counters.h"

// The file of frames as a stream without a buffer. Whoever reads knows the exact number of bytes and has a
// place for them, so copying through a buffer would be a waste. One read by position is one system call, and
// since the position is kept here and not in the descriptor, nothing else can move it.
//
// The file may grow while it is read, as during an acquisition, so its end is asked for when somebody needs
// it and not remembered.
namespace lumo::io::kova {

namespace {

constexpr std::streamoff kFailed = -1;

}  // namespace

BlobFileBuffer::~BlobFileBuffer() {
    if (descriptor >= 0) {
        close(descriptor);
    }
}

bool BlobFileBuffer::open(const std::filesystem::path& path) {
    // O_NONBLOCK: opening a named pipe would wait for its writer. It has no effect on regular files.
    descriptor = sys::repeatInterrupted(
        [&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); });
    struct stat status {};
    if (descriptor < 0 || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    knownSize = status.st_size;
    return true;
}

BlobFileBuffer::off_type BlobFileBuffer::fileSize() const {
    struct stat status {};
    return fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

// Ends early at the end of the file or at an error, which look the same to the reader: fewer bytes than asked
// for.
std::streamsize BlobFileBuffer::xsgetn(char* destination, std::streamsize count) {
    const sys::WorkStopwatch stopwatch(&sys::WorkCounters::reading);
    std::streamsize done = 0;
    while (done < count) {
        const ssize_t got = sys::repeatInterrupted([&] {
            return pread(descriptor, destination + done, static_cast<std::size_t>(count - done), position);
        });
        if (got <= 0) {
            break;
        }
        done += got;
        position += got;
    }
    knownSize = std::max(knownSize, position);
    stopwatch.add(&sys::WorkCounters::bytesRead, static_cast<std::uint64_t>(done));
    return done;
}

BlobFileBuffer::int_type BlobFileBuffer::underflow() {
    const int_type character = uflow();
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        --position;
    }
    return character;
}

BlobFileBuffer::int_type BlobFileBuffer::uflow() {
    char character = 0;
    return xsgetn(&character, 1) == 1 ? traits_type::to_int_type(character) : traits_type::eof();
}

// How many bytes follow. Sizes that a block claims are held against this before memory is taken.
std::streamsize BlobFileBuffer::showmanyc() {
    const off_type size = fileSize();
    return position < size ? size - position : kFailed;
}

BlobFileBuffer::pos_type BlobFileBuffer::seekoff(off_type offset, std::ios_base::seekdir direction,
                                                 std::ios_base::openmode which) {
    const off_type base = direction == std::ios_base::beg   ? 0
                          : direction == std::ios_base::cur ? position
                                                            : fileSize();
    off_type target = 0;
    if (__builtin_add_overflow(base, offset, &target)) {
        return kFailed;
    }
    return seekpos(target, which);
}

// Positions come from the database, and may be anything. One beyond what the file system can address fails
// here; one beyond the end is noticed only by reading.
BlobFileBuffer::pos_type BlobFileBuffer::seekpos(pos_type target, std::ios_base::openmode which) {
    if (off_type(target) < 0 || (which & std::ios_base::in) == 0) {
        return kFailed;
    }
    if (off_type(target) > knownSize && lseek(descriptor, off_type(target), SEEK_SET) < 0) {
        return kFailed;
    }
    position = off_type(target);
    return position;
}

BlobFile::BlobFile(const std::filesystem::path& path) : input(&buffer) {
    if (!buffer.open(path)) {
        LUMO_THROW(std::runtime_error("Can't open file: " + path.string() + " for reading."));
    }
}

}  // namespace lumo::io::kova
