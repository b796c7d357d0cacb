#include "tests/platform/linux/capture/XvfbServer.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <stdexcept>

namespace qn::testing::linux_host {

XvfbServer::XvfbServer(const std::string& screen) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        throw std::runtime_error("XvfbServer: pipe failed");
    }
    try {
        m_server = std::make_unique<ChildProcess>(
            std::vector<std::string>{"/usr/bin/Xvfb", "-displayfd", std::to_string(fds[1]),
                                     "-screen", "0", screen, "-nolisten", "tcp", "-noreset"},
            std::map<std::string, std::string>{}, m_dir.path() + "/Xvfb.log", fds[1]);
    } catch (...) {
        ::close(fds[0]);
        ::close(fds[1]);
        throw;
    }
    ::close(fds[1]);
    std::string number;
    for (;;) {
        pollfd p{fds[0], POLLIN, 0};
        char c = 0;
        if (::poll(&p, 1, 30000) <= 0 || ::read(fds[0], &c, 1) != 1 || c == '\n') {
            break;
        }
        number += c;
    }
    ::close(fds[0]);
    if (number.empty()) {
        throw std::runtime_error("XvfbServer: no display number: " +
                                 readWholeFile(m_dir.path() + "/Xvfb.log"));
    }
    m_display = ":" + number;
}

}  // namespace qn::testing::linux_host
