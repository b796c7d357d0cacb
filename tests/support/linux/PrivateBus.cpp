#include "tests/support/linux/PrivateBus.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <stdexcept>

namespace qn::testing::linux_host {

namespace {

// The daemon's first line on the pipe, or an empty text when it never comes.
std::string readAddressLine(int fd) {
    std::string line;
    for (;;) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 30000) <= 0) {
            return {};
        }
        char c = 0;
        if (::read(fd, &c, 1) != 1) {
            return {};
        }
        if (c == '\n') {
            return line;
        }
        line += c;
    }
}

}  // namespace

PrivateBus::PrivateBus() {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        throw std::runtime_error("PrivateBus: pipe failed");
    }
    try {
        test::ChildProcess::Options options;
        options.argv = {"/usr/bin/dbus-daemon",
                        "--session",
                        "--nofork",
                        "--nopidfile",
                        "--address=unix:dir=" + m_dir.path(),
                        "--print-address=" + std::to_string(fds[1])};
        options.logPath = m_dir.path() + "/dbus-daemon.log";
        options.keepFd = fds[1];
        m_daemon = std::make_unique<test::ChildProcess>(options);
    } catch (...) {
        ::close(fds[0]);
        ::close(fds[1]);
        throw;
    }
    ::close(fds[1]);
    m_address = readAddressLine(fds[0]);
    ::close(fds[0]);
    if (m_address.empty()) {
        throw std::runtime_error("PrivateBus: dbus-daemon gave no address: " +
                                 readWholeFile(m_dir.path() + "/dbus-daemon.log"));
    }
}

BusConnection PrivateBus::connect() const {
    sd_bus* raw = nullptr;
    if (sd_bus_new(&raw) < 0) {
        throw std::runtime_error("PrivateBus: sd_bus_new failed");
    }
    BusConnection bus(raw);
    if (sd_bus_set_address(raw, m_address.c_str()) < 0 || sd_bus_set_bus_client(raw, 1) < 0 ||
        sd_bus_start(raw) < 0) {
        throw std::runtime_error("PrivateBus: cannot connect to " + m_address);
    }
    return bus;
}

}  // namespace qn::testing::linux_host
