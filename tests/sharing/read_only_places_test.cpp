// Analyses where nobody can write, or this user cannot.
#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "api/analysis.h"
#include "fixtures/child.h"
#include "fixtures/temp_directory.h"
#include "sharing/left_behind.h"

namespace {

namespace fs = std::filesystem;

// "" if everything that was left behind in the folder can be read.
std::string problemsIn(const fs::path& folder) {
    std::string problems;
    for (const sharing::LeftBehind& state : sharing::allLeftBehind()) {
        const api::Analysis analysis(folder / state.name);
        const std::string error = analysis ? analysis.errorOf(state.frames, 0, 3) : api::lastError();
        if (!error.empty()) {
            problems += std::string(state.name) + ": " + error + "\n";
        }
    }
    return problems;
}

void writeAll(const fs::path& folder) {
    for (const sharing::LeftBehind& state : sharing::allLeftBehind()) {
        write(state, folder / state.name);
    }
}

TEST(ReadOnly, MountIsRead) {
    const fixtures::TempDirectory folder;
    const std::string result = fixtures::inChild([&]() -> std::string {
        if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
            return std::string("skip: no mount namespace: ") + std::strerror(errno);
        }
        if (mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", folder.string().c_str(), "tmpfs", 0, nullptr) != 0) {
            return std::string("skip: no mount: ") + std::strerror(errno);
        }
        writeAll(folder.path());
        if (mount("none", folder.string().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) != 0) {
            return std::string("read-only mount: ") + std::strerror(errno);
        }
        return problemsIn(folder.path());
    });
    if (result.starts_with("skip: ")) {
        GTEST_SKIP() << result;
    }
    EXPECT_EQ(result, "");
}

TEST(ReadOnly, DirectoryAndFilesOfSomebodyElseAreRead) {
    const fixtures::TempDirectory folder;
    writeAll(folder.path());
    for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
        fs::permissions(entry.path(), entry.is_directory() ? fs::perms(0555) : fs::perms(0444));
    }
    fs::permissions(folder.path(), fs::perms(0755));
    EXPECT_EQ(fixtures::inChild([&]() -> std::string {
                  constexpr uid_t kNobody = 65534;
                  if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
                      return std::strerror(errno);
                  }
                  return access(folder.string().c_str(), W_OK) == 0 && geteuid() == kNobody
                             ? "may write"
                             : problemsIn(folder.path());
              }),
              "");
    for (const auto& entry : fs::directory_iterator(folder.path())) {
        fs::permissions(entry.path(), fs::perms(0755));
    }
}

}  // namespace
