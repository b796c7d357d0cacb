#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

namespace qn::test {

// Runs body in a forked child and returns what it reported: an empty text
// when all went well, else what went wrong. A child that dies without a
// report is a failure too. Used where a test needs a process of its own: a
// mount namespace, a resource limit, an exit in the middle of a write.
inline std::string reportFromChild(const std::function<std::string()>& body) {
    int pipeFds[2];
    if (::pipe(pipeFds) != 0) {
        return "pipe failed";
    }
    const pid_t child = ::fork();
    if (child < 0) {
        return "fork failed";
    }
    if (child == 0) {
        ::close(pipeFds[0]);
        const std::string report = "R" + body();
        const ssize_t ignored = ::write(pipeFds[1], report.data(), report.size());
        (void)ignored;
        ::_exit(0);
    }
    ::close(pipeFds[1]);
    std::string report;
    char buffer[512];
    for (ssize_t got; (got = ::read(pipeFds[0], buffer, sizeof buffer)) > 0;) {
        report.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(pipeFds[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (report.empty()) {
        return "the child ended without a report, status " + std::to_string(status);
    }
    return report.substr(1);
}

// Waits for a child and gives its exit code, or 128 + the signal that ended it.
inline int waitForChild(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace qn::test
