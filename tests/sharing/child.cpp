#include "sharing/child.h"

#include <exception>

#include <sys/wait.h>
#include <unistd.h>

namespace sharing {

std::string inChild(const std::function<std::string()>& function) {
    constexpr unsigned kPatienceSeconds = 20;
    int ends[2];
    if (pipe(ends) != 0) {
        return "no pipe";
    }
    const pid_t child = fork();
    if (child == 0) {
        alarm(kPatienceSeconds);
        std::string text;
        try {
            text = function();
        } catch (const std::exception& e) {
            text = e.what();
        }
        _exit(write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
    }
    close(ends[1]);
    std::string text;
    char buffer[1000];
    for (ssize_t size = 0; (size = read(ends[0], buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(size));
    }
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0 ? text : text + " status " + std::to_string(status);
}

}  // namespace sharing
