#include "tests/support/linux/PrivateBus.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
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

// The system bus's own default rules, with the stand-in's logind name owned by root and
// callable by everyone, as the real one is.
void writeSystemConfig(const std::string& path, const std::string& socket,
                       const std::string& policy) {
    std::ofstream(path)
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>system</type>\n"
           "  <listen>unix:path="
        << socket
        << "</listen>\n"
           "  <auth>EXTERNAL</auth>\n"
           "  <policy context=\"default\">\n"
           "    <allow user=\"*\"/>\n"
           "    <deny own=\"*\"/>\n"
           "    <deny send_type=\"method_call\"/>\n"
           "    <allow send_type=\"signal\"/>\n"
           "    <allow send_requested_reply=\"true\" send_type=\"method_return\"/>\n"
           "    <allow send_requested_reply=\"true\" send_type=\"error\"/>\n"
           "    <allow receive_type=\"method_call\"/>\n"
           "    <allow receive_type=\"method_return\"/>\n"
           "    <allow receive_type=\"error\"/>\n"
           "    <allow receive_type=\"signal\"/>\n"
           "    <allow send_destination=\"org.freedesktop.DBus\"/>\n"
           "    <allow send_destination=\"org.freedesktop.login1\"/>\n"
           "  </policy>\n"
           "  <policy user=\"root\">\n"
           "    <allow own=\"org.freedesktop.login1\"/>\n"
           "  </policy>\n"
           "  <include>"
        << policy
        << "</include>\n"
           "</busconfig>\n";
}

}  // namespace

PrivateBus::PrivateBus(const std::string& systemPolicy) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        throw std::runtime_error("PrivateBus: pipe failed");
    }
    try {
        test::ChildProcess::Options options;
        options.argv = {"/usr/bin/dbus-daemon", "--nofork", "--nopidfile",
                        "--print-address=" + std::to_string(fds[1])};
        if (systemPolicy.empty()) {
            options.argv.push_back("--session");
            options.argv.push_back("--address=unix:dir=" + m_dir.path());
        } else {
            // Reachable by other users: the folder open to them, the socket too.
            ::chmod(m_dir.path().c_str(), 0755);
            const std::string config = m_dir.path() + "/system-bus.conf";
            writeSystemConfig(config, m_dir.path() + "/system_bus_socket", systemPolicy);
            options.argv.push_back("--config-file=" + config);
        }
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
    if (!systemPolicy.empty()) {
        ::chmod((m_dir.path() + "/system_bus_socket").c_str(), 0666);
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
