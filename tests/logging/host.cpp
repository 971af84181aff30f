// A host program that loads the library at run time and makes it log, for logging_test.py. Its arguments are steps; after
// "fork", the steps up to "end" are the child's, who then ends. "say N" makes N calls that each log one message.
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fixtures/loaded_library.h"

namespace {

bool isChild = false;

}  // namespace

// Asked by the leak sanitizer: what threads held that the child has not got would count as lost there.
extern "C" int __lsan_is_turned_off() { return isChild ? 1 : 0; }

namespace {

std::optional<fixtures::LoadedLibrary> library;

void load() {
#ifdef __SANITIZE_ADDRESS__
    dlopen("libgomp.so.1", RTLD_NOW);  // which leaves 8 bytes behind each time that it is unloaded
#endif
    library.emplace(std::getenv("KOVADATA_LIBRARY"));
}

void say(int count) {
    for (int i = 0; i < count; ++i) {
        library->close(0);
    }
}

void checkNoThreads() {
    if (fixtures::LoadedLibrary::threadsOfTheProcess().find("kovadata-log") != std::string::npos) {
        fixtures::fail("a thread of the library is left");
    }
}

void waitForChild(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) {
        fixtures::fail("a child ended with " + std::to_string(status));
    }
}

void beginChild() {
    isChild = true;
    alarm(60);  // instead of hanging
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
    {"load", [](int) { load(); }},
    {"unload", [](int) { library->unload(); }},
    {"say", [](int count) { say(count); }},
    {"open", [](int use) { library->open("/nowhere", static_cast<std::uint32_t>(use)); }},
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
