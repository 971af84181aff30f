// A host program that knows nothing of what the library needs: it loads it at run time and links none of its libraries.
// Each case is a process of its own, as often as it takes to find what goes wrong now and then, and must end by itself.
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fixtures/loaded_library.h"
#include "fixtures/process_state.h"

namespace {

constexpr std::uint32_t kValues = 20'000;
constexpr long kAllowedGrowthKilobytes = 1024;
constexpr unsigned kPatienceSeconds = 60;  // what hangs, hangs for ever; a busy machine is only slow

const char* libraryFile = nullptr;
const char* analysis = nullptr;

#define CHECK(condition) \
    ((condition) ? static_cast<void>(0) : fixtures::fail(std::to_string(__LINE__) + ": " #condition))

struct Library : fixtures::LoadedLibrary {
    Library() : LoadedLibrary(libraryFile) {}

    decltype(kova_set_num_threads)* setThreads = get<decltype(kova_set_num_threads)>("kova_set_num_threads");
    decltype(kova_read_scans_v2)* readScans = get<decltype(kova_read_scans_v2)>("kova_read_scans_v2");
    decltype(kova_index_to_mz)* toMz = get<decltype(kova_index_to_mz)>("kova_index_to_mz");

    bool convert(std::uint64_t handle) const {
        std::vector<double> values(kValues, 1000.0);
        return toMz(handle, 1, values.data(), values.data(), kValues) == 1 &&
               std::count(values.begin(), values.end(), values[0]) == kValues;
    }
    void use(std::uint32_t threads) const {
        setThreads(threads);
        const std::uint64_t handle = open(analysis, 0);
        std::array<char, 4096> buffer{};
        CHECK(handle != 0);
        CHECK(readScans(handle, 1, 0, 1, buffer.data(), buffer.size()) != 0);
        CHECK(convert(handle));
        CHECK(open("/nowhere", 0) == 0);
        close(handle);
    }
};

using fixtures::LoadedLibrary;

void unloadAfterUse() {
    const Library library;
    library.use(4);
    std::thread other([&] { library.use(3); });
    other.join();
    library.unload();
    CHECK(LoadedLibrary::threadsOfTheProcess().find("kovadata") == std::string::npos);
    usleep(20'000);
}

void useWithoutThreads() {
    const Library library;
    library.use(1);
    library.setThreads(4);
    const std::uint64_t handle = library.open(analysis, 0);
    const auto used = static_cast<rlim_t>(fixtures::kilobytes("VmSize")) * 1024;
    const rlimit limit{used + (4 << 20), RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &limit);
    CHECK(library.convert(handle));
    CHECK(LoadedLibrary::threadsOfTheProcess().find("kovadata-work") == std::string::npos);
}

template <class Body>
std::vector<pthread_t> startThreads(std::size_t count, Body& body) {
    std::vector<pthread_t> threads(count);
    for (pthread_t& thread : threads) {
        pthread_create(
            &thread, nullptr,
            [](void* argument) -> void* {
                while (true) {
                    (*static_cast<Body*>(argument))();
                }
            },
            &body);
    }
    return threads;
}

void exitUnderCallers() {
    static const Library library;
    static auto call = [] {
        for (int i = 0; i < 2'000; ++i) {
            library.close(0);
        }
    };
    startThreads(8, call);
    usleep(static_cast<useconds_t>(std::rand() % 20'000));
    std::exit(0);
}

void cancelCallers() {
    const Library library;
    auto call = [&] {
        library.use(2);
        pthread_testcancel();
    };
    for (const pthread_t thread : startThreads(4, call)) {
        usleep(static_cast<useconds_t>(std::rand() % 10'000));
        pthread_cancel(thread);
        pthread_join(thread, nullptr);
    }
    library.use(4);
    library.unload();
}

void forkUnderCallers() {
    static const Library library;
    static auto call = [] { library.use(2); };
    startThreads(3, call);
    for (int i = 0; i < 10; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(kPatienceSeconds);
            library.use(3);
            std::exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        CHECK(status == 0);
    }
    std::_Exit(0);
}

// Forks wherever a thread is in the library; the child only ends.
void forkInSignalHandler() {
    static const Library library;
    std::signal(SIGALRM, [](int) {
        const pid_t child = fork();
        child == 0 ? std::_Exit(0) : static_cast<void>(waitpid(child, nullptr, 0));
    });
    const itimerval often{{0, 700}, {0, 700}};
    setitimer(ITIMER_REAL, &often, nullptr);
    for (int i = 0; i < 3'000; ++i) {
        library.close(0);
    }
    std::signal(SIGALRM, SIG_IGN);
}

// How many thread keys the process could still make: there are about a thousand, for the host and all of its
// libraries.
int threadKeysLeft() {
    std::vector<pthread_key_t> keys;
    for (pthread_key_t key = 0; pthread_key_create(&key, nullptr) == 0;) {
        keys.push_back(key);
    }
    for (const pthread_key_t key : keys) {
        pthread_key_delete(key);
    }
    return static_cast<int>(keys.size());
}

void loadAndUnloadManyTimes() {
    long memory = 0;
    const int keys = threadKeysLeft();
    const std::ptrdiff_t descriptors = fixtures::openDescriptors();
    for (int i = 0; i < 1000; ++i) {
        const Library library;
        CHECK(library.open("/nowhere", 0) == 0);
        library.unload();
        memory = i == 50 ? fixtures::kilobytes("VmRSS") : memory;
    }
    std::printf("%ld kB, then %ld kB\n", memory, fixtures::kilobytes("VmRSS"));
    CHECK(fixtures::kilobytes("VmRSS") <= memory + kAllowedGrowthKilobytes);
    CHECK(fixtures::openDescriptors() == descriptors);
    CHECK(threadKeysLeft() == keys);
}

struct Case {
    const char* name;
    void (*run)();
    int times;
    const char* asyncLog;  // null: no log
};

constexpr Case kCases[] = {
    {"unloading after use", unloadAfterUse, 5, nullptr},
    {"unloading after use, logging", unloadAfterUse, 5, "yes"},
    {"loading and unloading many times", loadAndUnloadManyTimes, 1, nullptr},
    {"no thread to be had", useWithoutThreads, 3, nullptr},
    {"exit while other threads call", exitUnderCallers, 100, "no"},
    {"cancelled callers", cancelCallers, 10, "yes"},
    {"forks beside callers", forkUnderCallers, 5, "yes"},
    {"forks beside callers, log written at once", forkUnderCallers, 3, "no"},
    // With more threads the C library's own locks are in the way of such a fork.
    {"forks in signal handlers", forkInSignalHandler, 2, "no"},
};

void useLog(const std::string& async) {
    const std::string file = std::string(analysis) + ".ini";
    std::ofstream(file) << "[levels]\nroot = trace\n[sink.a]\ntype = rolling-file\nfile = " << analysis
                        << ".log\nasync = " << async << '\n';
    setenv("KOVADATA_LOG_CONFIG", file.c_str(), 1);
}

bool endsWell(const Case& each, int round) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kPatienceSeconds);
        std::srand(static_cast<unsigned>(round));
        if (each.asyncLog != nullptr) {
            useLog(each.asyncLog);
        }
        each.run();
        std::exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0;
}

}  // namespace

// Arguments: the library, an analysis, how many times as often (1), a part of the name of the cases (all).
int main(int argc, char** argv) {
    libraryFile = argv[1];
    analysis = argv[2];
    const int factor = argc > 3 ? std::atoi(argv[3]) : 1;
    int all = 0;
    for (const Case& each : kCases) {
        if (argc > 4 && std::strstr(each.name, argv[4]) == nullptr) {
            continue;
        }
        int bad = 0;
        for (int round = 0; round < each.times * factor; ++round) {
            bad += endsWell(each, round) ? 0 : 1;
        }
        std::printf("%-45s %d of %d failed\n", each.name, bad, each.times * factor);
        std::fflush(stdout);
        all += bad;
    }
    return all == 0 ? 0 : 1;
}
