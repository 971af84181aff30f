// A host program that loads the library at run time and makes it log, for logging_test.py. Its arguments are steps; after
// "fork", the steps up to "end" are the child's, who then ends. "say N" makes N calls that each log one message.
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool isChild = false;

}  // namespace

// Asked by the leak sanitizer: what threads held that the child has not got would count as lost there.
extern "C" int __lsan_is_turned_off() { return isChild ? 1 : 0; }

namespace {

[[noreturn]] void fail(const std::string& text) {
    std::fprintf(stderr, "host: %s\n", text.c_str());
    std::_Exit(3);
}

class Library {
public:
    void load() {
#ifdef __SANITIZE_ADDRESS__
        dlopen("libgomp.so.1", RTLD_NOW);  // which leaves 8 bytes behind each time that it is unloaded
#endif
        handle = dlopen(std::getenv("KOVADATA_LIBRARY"), RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) {
            fail(dlerror());
        }
        close = reinterpret_cast<void (*)(std::uint64_t)>(dlsym(handle, "kova_close"));
        open = reinterpret_cast<std::uint64_t (*)(const char*, std::uint32_t)>(dlsym(handle, "kova_open"));
    }

    void unload() {
        dlclose(handle);
        std::ifstream maps("/proc/self/maps");
        for (std::string line; std::getline(maps, line);) {
            if (line.find("libkovadata") != std::string::npos) {
                fail("the library is still there: " + line);
            }
        }
    }

    void say(int count) const {
        for (int i = 0; i < count; ++i) {
            close(0);
        }
    }

    std::uint64_t (*open)(const char*, std::uint32_t) = nullptr;

private:
    void (*close)(std::uint64_t) = nullptr;
    void* handle = nullptr;
};

Library library;

void checkNoThreads() {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream name(task.path() / "comm");
        if (std::string text; std::getline(name, text) && text == "kovadata-log") {
            fail("a thread of the library is left");
        }
    }
}

void waitForChild(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) {
        fail("a child ended with " + std::to_string(status));
    }
}

void beginChild() {
    isChild = true;
    alarm(20);  // instead of hanging
}

// A thread that is cancelled while it logs: whole messages, and nothing ends but the thread.
void sayUntilCancelled(int rounds) {
    for (int round = 0; round < rounds; ++round) {
        std::atomic<bool> begun = false;
        std::thread talker([&] {
            while (true) {
                library.say(1);
                begun = true;
                pthread_testcancel();
            }
        });
        while (!begun) {
            std::this_thread::yield();
        }
        pthread_cancel(talker.native_handle());
        talker.join();
    }
}

// From now on a signal interrupts what the process does, and nothing is restarted.
void interruptAllTheTime() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often = {{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &often, nullptr);
}

using Step = std::function<void(int)>;

const std::map<std::string, Step> kSteps = {
    {"load", [](int) { library.load(); }},
    {"unload", [](int) { library.unload(); }},
    {"cancelled", [](int count) { sayUntilCancelled(count); }},
    {"say", [](int count) { library.say(count); }},
    {"open", [](int use) { library.open("/nowhere", static_cast<std::uint32_t>(use)); }},
    {"signals", [](int) { interruptAllTheTime(); }},
    {"threadless", [](int) { checkNoThreads(); }},
    {"chdir", [](int) { std::filesystem::current_path("/"); }},
};

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> steps(argv + 1, argv + argc);
    pid_t child = -1;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (steps[i] == "fork") {
            child = fork();
            if (child == 0) {
                beginChild();
            }
            while (child != 0 && steps[i] != "end") {
                ++i;
            }
        } else if (steps[i] == "end") {
            return 0;
        } else {
            const std::size_t space = steps[i].find(' ');
            const long long number = space == std::string::npos ? 0 : std::stoll(steps[i].substr(space));
            kSteps.at(steps[i].substr(0, space))(static_cast<int>(number));
        }
    }
    if (child > 0) {
        waitForChild(child);
    }
    return 0;
}
