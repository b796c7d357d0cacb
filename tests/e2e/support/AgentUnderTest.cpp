#include "tests/e2e/support/AgentUnderTest.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <thread>

#include "sys/libutils/LogLine.h"
#include "sys/libutils/LogReader.h"
#include "tests/e2e/support/TestServers.h"

namespace qn::tests::e2e {

AgentUnderTest::AgentUnderTest(Options options)
    : m_logFile(options.home + "/.local/state/quintor/QuintorUserAgent.log") {
    mkdir(options.home.c_str(), 0755);
    ChildProcess::Options child;
    if (!options.user.empty()) {
        const passwd* entry = getpwnam(options.user.c_str());
        if (entry == nullptr) {
            throw std::runtime_error("no user " + options.user);
        }
        chown(options.home.c_str(), entry->pw_uid, entry->pw_gid);
        child.argv = {"/usr/bin/setpriv", "--reuid=" + std::to_string(entry->pw_uid),
                      "--regid=" + std::to_string(entry->pw_gid), "--clear-groups", "--"};
    }
    child.argv.insert(child.argv.end(), options.wrapper.begin(), options.wrapper.end());
    child.argv.push_back(builtProgram(options.programVariable.c_str()));
    child.environment = {"DBUS_SYSTEM_BUS_ADDRESS=" + options.busAddress, "HOME=" + options.home};
    child.environment.insert(child.environment.end(), options.environment.begin(),
                             options.environment.end());
    child.pipeStdin = true;
    m_process = std::make_unique<ChildProcess>(child);
}

std::vector<std::string> AgentUnderTest::logMessages() const {
    std::vector<std::string> messages;
    std::ifstream file(m_logFile);
    sys::LogReader reader;
    std::string line;
    std::string text;
    while (std::getline(file, line)) {
        if (reader.read(line, text) == sys::LogReader::Result::Plain) {
            messages.push_back(text);
        }
    }
    return messages;
}

std::string AgentUnderTest::logText() const {
    std::string text;
    for (const auto& message : logMessages()) {
        text += message + "\n";
    }
    return text;
}

int AgentUnderTest::countInLog(const std::string& text) const {
    int count = 0;
    for (const auto& message : logMessages()) {
        count += message.find(text) != std::string::npos ? 1 : 0;
    }
    return count;
}

std::vector<double> AgentUnderTest::logTimes(const std::string& text) const {
    std::vector<double> times;
    for (const auto& message : logMessages()) {
        sys::logline::Fields fields;
        if (message.find(text) == std::string::npos || !sys::logline::parse(message, fields) ||
            !fields.full) {
            continue;
        }
        // HH:MM:SS.mmm, the hours as wide as they need.
        const std::string time(fields.time);
        const std::size_t minutes = time.size() - 9;
        times.push_back(std::stod(time.substr(0, minutes - 1)) * 3600 +
                        std::stod(time.substr(minutes, 2)) * 60 +
                        std::stod(time.substr(minutes + 3)));
    }
    return times;
}

bool AgentUnderTest::waitForLog(const std::string& text, int count) const {
    const auto deadline = std::chrono::steady_clock::now() + ChildProcess::kHangGuard;
    while (std::chrono::steady_clock::now() < deadline) {
        if (countInLog(text) >= count) {
            return true;
        }
        // A readiness poll on a file; the log offers no notification of its own.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

}  // namespace qn::tests::e2e
