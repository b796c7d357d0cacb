#include "tests/e2e/support/TestServers.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace qn::tests::e2e {

ScratchDirectory::ScratchDirectory() {
    char pattern[] = "/tmp/qn_e2e_XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    m_path = pattern;
    // Readable by an unprivileged agent (the bus's socket lives here).
    chmod(m_path.c_str(), 0755);
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string builtProgram(const char* variable) {
    const char* path = std::getenv(variable);
    if (path == nullptr || *path == '\0') {
        throw std::runtime_error(std::string(variable) + " is not set: run the test through ctest");
    }
    return path;
}

std::string sourceDirectory() {
    return builtProgram("QN_TEST_SOURCE_DIR");
}

DbusDaemon::DbusDaemon(const ScratchDirectory& scratch, Kind kind, const std::string& socketName) {
    ChildProcess::Options options;
    options.argv = {"/usr/bin/dbus-daemon", "--nofork", "--nopidfile", "--print-address=3"};
    if (kind == Kind::Session) {
        options.argv.push_back("--session");
        options.argv.push_back(socketName.empty()
                                   ? "--address=unix:dir=" + scratch.path()
                                   : "--address=unix:path=" + scratch.file(socketName));
    } else {
        // The system bus's own rules, on a socket of our own, with the packaged policy.
        const std::string config = scratch.file("system-bus.conf");
        std::ofstream(config)
            << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration "
               "1.0//EN\"\n"
               " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
               "<busconfig>\n"
               "  <type>system</type>\n"
               "  <listen>unix:path="
            << scratch.file("system_bus_socket")
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
               "    <allow send_destination=\"org.freedesktop.DBus\"\n"
               "           send_interface=\"org.freedesktop.DBus\"/>\n"
               "    <allow send_destination=\"org.freedesktop.DBus\"\n"
               "           send_interface=\"org.freedesktop.DBus.Introspectable\"/>\n"
               "    <allow send_destination=\"org.freedesktop.DBus\"\n"
               "           send_interface=\"org.freedesktop.DBus.Peer\"/>\n"
               "  </policy>\n"
               "  <include>"
            << sourceDirectory()
            << "/packaging/com.quintor.QuintorManager.conf</include>\n"
               "</busconfig>\n";
        options.argv.push_back("--config-file=" + config);
    }
    options.pipeFd3 = true;
    m_process = std::make_unique<ChildProcess>(options);
    const auto address = m_process->readFd3Line();
    if (!address || address->empty()) {
        throw std::runtime_error("dbus-daemon gave no address");
    }
    m_address = *address;
    if (kind == Kind::SystemWithPolicy) {
        chmod(scratch.file("system_bus_socket").c_str(), 0666);
    }
}

ManagerStandIn::ManagerStandIn(const std::string& busAddress,
                               std::vector<std::string> extraArguments,
                               const std::string& transcriptFile) {
    ChildProcess::Options options;
    options.argv = {builtProgram("QN_QNMANAGER"), "--address", busAddress, "--ready-fd", "3"};
    options.argv.insert(options.argv.end(), extraArguments.begin(), extraArguments.end());
    options.pipeStdin = true;
    options.pipeStdout = transcriptFile.empty();
    options.stdoutPath = transcriptFile;
    options.pipeFd3 = true;
    m_process = std::make_unique<ChildProcess>(options);
    if (m_process->readFd3Line() != std::optional<std::string>("ready")) {
        throw std::runtime_error("qnmanager did not become ready");
    }
}

std::optional<nlohmann::json> ManagerStandIn::next() {
    const auto line = m_process->readLine();
    if (!line) {
        return std::nullopt;
    }
    return nlohmann::json::parse(*line);
}

std::optional<nlohmann::json> ManagerStandIn::nextCall(const std::string& selector,
                                                       std::vector<nlohmann::json>* skipped) {
    while (auto line = next()) {
        if (line->value("call", "") == selector) {
            return line;
        }
        if (skipped != nullptr) {
            skipped->push_back(*line);
        }
    }
    return std::nullopt;
}

}  // namespace qn::tests::e2e
