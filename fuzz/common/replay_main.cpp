// Runs a fuzz target over files and the files in directories, without a fuzzer: the corpus as a test.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <vector>

#include "fixtures/temp_directory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

void run(const fs::path& file) {
    const std::vector<std::uint8_t> bytes = fixtures::contentOf(file);
    try {
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", file.c_str(), error.what());
        throw;
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            run(argv[i]);
            ++count;
            continue;
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(argv[i])) {
            run(entry.path());
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return count == 0 ? 1 : 0;  // a corpus that is not there tests nothing
}
