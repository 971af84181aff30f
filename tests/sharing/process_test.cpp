// What calls leave of the process they are made in, and of its children.
#include <algorithm>
#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdarg>
#include <filesystem>

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "fixtures/child.h"
#include "fixtures/every_call.h"
#include "fixtures/small_analyses.h"
#include "fixtures/temp_directory.h"
#include "kovadata/kova.h"
#include "sharing/left_behind.h"

namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

struct Opened {
    std::string path;
    int flags;
};
std::vector<Opened>* opened = nullptr;

}  // namespace

// Takes the place of the real one for every library in the process.
extern "C" int open(const char* path, int flags, ...) {
    static const auto real = reinterpret_cast<int (*)(const char*, int, ...)>(dlsym(RTLD_NEXT, "open"));
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (opened != nullptr) {
        opened->push_back({path, flags});
    }
    return real(path, flags, mode);
}

extern "C" int open64(const char* path, int flags, ...) __attribute__((alias("open")));

namespace {

void makeEveryCallIn(const fs::path& folder) {
    fixtures::smallZorelRun(1).write(folder / "scans");
    fixtures::smallZorelRun(2).write(folder / "frames");
    fixtures::smallSpectra().write(folder / "spectra");
    fixtures::writeSmallCalibrationStore(folder / "frames");
    for (const sharing::LeftBehind& state : sharing::allLeftBehind()) {
        write(state, folder / state.name);
    }
    opened = new std::vector<Opened>;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const fs::path name = entry.path().filename();
        const bool spectra = name == "spectra";
        fixtures::makeEveryCall(entry.path().string(), {.spectra = spectra});
        fixtures::makeEveryCall(entry.path().string(), {.spectra = spectra, .recalibrated = true});
    }
}

Texts openFiles() {
    Texts files;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code closedMeanwhile;
        files.push_back(fs::read_symlink(entry.path(), closedMeanwhile).string());
    }
    return files;
}

// Databases and indexes of logs, for the sake of others in the process that may hold locks on them.
bool isKeptOnPurpose(const std::string& file) {
    return file.ends_with("/analysis.kvd") || file.ends_with("/analysis.kvs") ||
           file.ends_with("/calibration.sqlite") || file.ends_with("-shm");
}

Texts stateOfTheProcess() {
    Texts texts;
    for (int signal = 1; signal < SIGRTMAX; ++signal) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        texts.push_back("signal " + std::to_string(signal) + " " + std::to_string(action.sa_flags) +
                        (action.sa_handler == SIG_DFL ? " default" : " handled"));
    }
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    for (int signal = 1; signal < SIGRTMAX; ++signal) {
        texts.push_back("blocked " + std::to_string(sigismember(&blocked, signal)));
    }
    const mode_t mask = umask(0);
    umask(mask);
    itimerval timer{};
    getitimer(ITIMER_REAL, &timer);
    texts.insert(texts.end(),
                 {"umask " + std::to_string(mask), "directory " + fs::current_path().string(),
                  std::string("locale ") + std::setlocale(LC_ALL, nullptr),
                  "locale of the thread " + std::to_string(uselocale(nullptr) == LC_GLOBAL_LOCALE),
                  "rounding " + std::to_string(std::fegetround()), "traps " + std::to_string(fegetexcept()),
                  "timer " + std::to_string(timer.it_value.tv_sec)});
    for (char** variable = environ; *variable != nullptr; ++variable) {
        texts.emplace_back(*variable);
    }
    for (const std::string& file : openFiles()) {
        if (!isKeptOnPurpose(file)) {
            texts.push_back("descriptor " + file);
        }
    }
    return texts;
}

TEST(Process, IsAsItWasAfterEveryCall) {
    const fixtures::TempDirectory folder;
    std::setlocale(LC_ALL, "C.UTF-8");
    umask(0137);
    const Texts before = stateOfTheProcess();
    makeEveryCallIn(folder.path());
    EXPECT_EQ(stateOfTheProcess(), before);
}

TEST(Process, GetsOnlyDescriptorsThatReadAndAreNotInherited) {
    const fixtures::TempDirectory folder;
    makeEveryCallIn(folder.path());
    std::size_t ofData = 0;
    for (const auto& [path, flags] : *opened) {
        EXPECT_NE(flags & O_CLOEXEC, 0) << path;
        if (path.starts_with(folder.string())) {
            ++ofData;
            EXPECT_EQ(flags & (O_ACCMODE | O_CREAT | O_TRUNC), O_RDONLY) << path;
        }
    }
    EXPECT_GT(ofData, 30U);
}

std::ptrdiff_t numKeptFiles() {
    const Texts files = openFiles();
    return std::count_if(files.begin(), files.end(), isKeptOnPurpose);
}

std::uint64_t openSmallRunIn(const fs::path& folder) {
    fixtures::smallZorelRun(2).write(folder);
    return kova_open(folder.c_str(), 0);
}

TEST(Process, KeepsAFewDatabasesOpenAndNoneThatIsDeleted) {
    {
        const fixtures::TempDirectory folder;
        for (int i = 0; i < 20; ++i) {
            kova_close(openSmallRunIn(folder / std::to_string(i)));
        }
        EXPECT_EQ(numKeptFiles(), 16);
    }
    const fixtures::TempDirectory folder;
    kova_close(openSmallRunIn(folder.path()));
    EXPECT_EQ(numKeptFiles(), 1);
}

std::string lastError() {
    char text[100];
    kova_get_last_error_string(text, sizeof text);
    return text;
}

TEST(Fork, ChildCannotUseAHandleOfItsParent) {
    const fixtures::TempDirectory folder;
    const std::uint64_t handle = openSmallRunIn(folder.path());
    EXPECT_EQ(fixtures::inChild([&] {
                  const std::uint32_t size = kova_read_scans_v2(handle, 1, 0, 3, nullptr, 0);
                  kova_close(handle);
                  return size == 0 ? lastError() : "is read";
              }),
              "the analysis was opened before a fork; open it again in this process");
    EXPECT_NE(kova_read_scans_v2(handle, 1, 0, 3, nullptr, 0), 0U);
    kova_close(handle);
}

}  // namespace
