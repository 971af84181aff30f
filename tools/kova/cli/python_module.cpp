#include "kova/cli/python_module.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include "common/interruption.h"
#include "kova/failure.h"

// Verbs that draw or export are Python programs. First a short program asks the interpreter whether the
// packages are there, since an error about a missing module would be a stack trace that no user wants to
// read; then this process becomes the program, so that its signals and exit status are the user's.
//
// What must stay true: Ctrl-C ends everything with one line and status 130, whatever is just starting. So
// SIGINT is blocked from the first interpreter on, and whatever runs in it lets the signal through.
extern char** environ;

namespace kova_tool {
namespace {

constexpr const char* kVariable = "KOVADATA_PYTHON";

// Exits with the number of the first argument that names no module. A package that is there but fails to load
// is left to the program itself, which says why. When it is interrupted it ends without a stack trace.
constexpr const char* kProbe = R"(
import importlib.util, signal, sys
if signal.getsignal(signal.SIGINT) is not signal.SIG_IGN:
    signal.signal(signal.SIGINT, signal.SIG_DFL)
signal.pthread_sigmask(signal.SIG_UNBLOCK, {signal.SIGINT})
for number, name in enumerate(sys.argv[1:]):
    try:
        found = importlib.util.find_spec(name) is not None
    except ModuleNotFoundError as error:
        found = error.name != name.partition('.')[0]
    except Exception:
        found = True
    if not found:
        sys.exit(100 + number)
)";
constexpr int kFirstMissing = 100;

std::string interpreter() {
    const char* const named = std::getenv(kVariable);
    return named == nullptr || *named == '\0' ? "python3" : named;
}

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

[[noreturn]] void throwNoInterpreter(const std::string& python, const PythonProgram& program, int error) {
    throw Failure(python + " cannot be run: " + std::generic_category().message(error),
                  program.purpose + " need Python 3: install it, or name an interpreter in " + kVariable);
}

// Runs a command, returns its exit status; -1 if it ended otherwise.
int run(std::vector<std::string> command, const PythonProgram& program) {
    const std::vector<char*> words = pointersTo(command);
    pid_t child = 0;
    if (const int error = posix_spawnp(&child, words[0], nullptr, nullptr, words.data(), environ)) {
        throwNoInterpreter(command[0], program, error);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) {
        throw kova_tool_common::Interrupted(SIGINT);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The interpreter would answer Ctrl-C with a trace while it starts. What runs in it lets the signal through.
void holdBackInterruptions() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

void requireModules(const std::string& python, const PythonProgram& program) {
    std::vector<std::string> command = {python, "-c", kProbe};
    command.insert(command.end(), program.needed.begin(), program.needed.end());
    const int missing = run(command, program) - kFirstMissing;
    if (missing >= 0 && static_cast<std::size_t>(missing) < program.needed.size()) {
        throw Failure(python + " has no module " + program.needed[static_cast<std::size_t>(missing)],
                      "install " + program.packages + " for it, or name another interpreter in " + kVariable);
    }
}

}  // namespace

void runPythonModule(const PythonProgram& program, const std::vector<std::string>& arguments) {
    const std::string python = interpreter();
    holdBackInterruptions();
    requireModules(python, program);
    std::vector<std::string> command = {python, "-m", program.module};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const std::vector<char*> words = pointersTo(command);
    execvp(words[0], words.data());
    throwNoInterpreter(python, program, errno);
}

}  // namespace kova_tool
