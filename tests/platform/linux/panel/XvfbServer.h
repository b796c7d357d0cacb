#pragma once
// An Xvfb of the test's own: started as a child with -displayfd, ready once it has
// written its display number, ended with SIGTERM and waited for (or when the test dies).

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace qn::platform::panel::testing {

class XvfbServer {
  public:
    XvfbServer() {
        int fds[2];
        if (pipe(fds) != 0) {
            return;
        }
        m_pid = fork();
        if (m_pid == 0) {
            // A test that crashes takes its server with it.
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            close(fds[0]);
            const std::string fd = std::to_string(fds[1]);
            const int null = open("/dev/null", O_WRONLY);
            dup2(null, 1);
            dup2(null, 2);
            execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1280x800x24",
                   "-nolisten", "tcp", "-noreset", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        // Readiness: the display number and a newline; end of file if it died.
        char c;
        while (m_pid > 0 && read(fds[0], &c, 1) == 1 && c != '\n') {
            m_number += c;
        }
        close(fds[0]);
    }
    ~XvfbServer() {
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            int status = 0;
            waitpid(m_pid, &status, 0);
        }
    }
    XvfbServer(const XvfbServer&) = delete;
    XvfbServer& operator=(const XvfbServer&) = delete;

    bool ready() const { return !m_number.empty(); }
    // ":N"
    std::string name() const { return ":" + m_number; }

  private:
    pid_t m_pid = -1;
    std::string m_number;
};

}  // namespace qn::platform::panel::testing
