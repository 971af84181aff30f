#include "kovadata/last_error.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include <pthread.h>
#include <boost/exception/diagnostic_information.hpp>

#include "diag/throw.h"
#include "kovadata/interface_family.h"
#include "logging/logger.h"
#include "sys/thread_number.h"

// Texts of failures outlive the exceptions, and must be there even when memory is not. They live in blocks of
// the C library and not in thread_local strings: destructors of those are code of this library, which a
// thread that once failed would have to run when it ends, and a library with such threads cannot be unloaded.
namespace lumo::io {

namespace {

constexpr std::string_view kNone = "<no error>";

// The texts of one family: per thread one block of memory, which the C library frees when the thread ends. A
// block is reused while texts fit. Where there is no memory for a block, a mark that needs none stands for
// it.
template <class Interface>
class Slot {
public:
    Slot() { isMade = pthread_key_create(&key, &std::free) == 0; }

    void store(std::string_view text) noexcept {
        Block* block = current();
        if (block == nullptr || block->capacity < text.size()) {
            block = replaceByLarger(text.size());
        }
        memoryFailed.set(block == nullptr ? 1 : 0);
        if (block != nullptr) {
            block->size = text.copy(block->text(), text.size());
        }
    }

    std::string_view text() const noexcept {
        if (memoryFailed.get() != 0) {
            return "std::bad_alloc";
        }
        Block* const block = current();
        return block != nullptr ? std::string_view(block->text(), block->size) : kNone;
    }

    // Called when the library is unloaded. Texts of other threads that are still alive are lost memory: only
    // a thread itself can reach its block.
    void release() noexcept {
        if (isMade) {
            std::free(current());
            pthread_key_delete(key);
        }
        isMade = false;
        memoryFailed.release();
    }

private:
    // The header of a block; the text follows it, without a terminator.
    struct Block {
        std::size_t capacity;
        std::size_t size;

        char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
    };

    Block* current() const noexcept {
        return isMade ? static_cast<Block*>(pthread_getspecific(key)) : nullptr;
    }

    // Makes room for a text in this thread. Null if there is no memory; what was stored stays then.
    Block* replaceByLarger(std::size_t capacity) noexcept {
        auto* const block = isMade ? static_cast<Block*>(std::malloc(sizeof(Block) + capacity)) : nullptr;
        if (block == nullptr) {
            return nullptr;
        }
        Block* const before = current();
        *block = {capacity, 0};
        const bool isKept = pthread_setspecific(key, block) == 0;
        std::free(isKept ? before : block);
        return isKept ? block : nullptr;
    }

    sys::ThreadNumber memoryFailed;
    pthread_key_t key{};
    std::atomic<bool> isMade;
};

// Made when the library is loaded, so the first failure needs no initialisation that might fail.
template <class Interface>
Slot<Interface> slot;

// The process has few thread keys, and a program may load and unload the library any number of times: every
// family that has a slot gives its keys back here.
[[gnu::destructor]] void releaseSlots() {
    slot<KovaInterface>.release();
    slot<KvsInterface>.release();
    slot<KvrInterface>.release();
}

template <class Interface>
void logDiagnostics(const std::exception& error) {
    const auto logger = logging::Logger::getLogger(Interface::kLoggerName);
    if (!logger.isEnabled(logging::Level::Debug)) {
        return;
    }
    const std::string diagnostics = boost::diagnostic_information(error);
    if (!diagnostics.empty()) {
        LUMO_LOG(logger, Debug,
                 "Caught std::exception with boost::diagnostic_information = \n"
                     << diagnostics);
    }
}

}  // namespace

template <class Interface>
void LastError<Interface>::set(const std::exception& error) noexcept {
    try {
        logDiagnostics<Interface>(error);
    } catch (...) {
        // The text matters more than its diagnostics.
    }
    slot<Interface>.store(error.what());
}

template <class Interface>
std::uint32_t LastError<Interface>::copyTo(char* buffer, std::uint32_t size) noexcept {
    const std::string_view text = slot<Interface>.text();
    if (size != 0) {
        const std::size_t copied = std::min<std::size_t>(size, text.size() + 1) - 1;
        std::memcpy(buffer, text.data(), copied);
        buffer[copied] = '\0';
    }
    return static_cast<std::uint32_t>(text.size() + 1);
}

template class LastError<KovaInterface>;
template class LastError<KvsInterface>;
template class LastError<KvrInterface>;

}  // namespace lumo::io
