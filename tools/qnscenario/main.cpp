// qnscenario: plays a scenario file on the simulated host and prints the transcript.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "tools/qnscenario/Scenario.h"
#include "tools/qnscenario/ScenarioPlayer.h"

namespace {

constexpr const char* kUsage =
    "usage: qnscenario [--help] [--log-dir DIR] SCENARIO.json\n"
    "\n"
    "Plays a scenario on the simulated host, on virtual time, and prints one JSON\n"
    "object per line: what the simulated Manager saw (lookups, calls with their\n"
    "arguments, raised exceptions, notifications it posted, deaths and returns) and\n"
    "\"agent\" lines: for a scenario with \"agent\": true, how the agent's own main\n"
    "ended (exit or returned, with the status, or still running); otherwise what the\n"
    "agent's stand-in saw through the ports; \"window\" lines when a message window\n"
    "is shown (title, text, link, frame), hidden or closed. Every line carries \"t\",\n"
    "the virtual time in seconds. The format of scenario files is in docs/scenarios.md.\n"
    "\n"
    "  --log-dir DIR   the agent writes its encrypted log to DIR/QuintorUserAgent.log\n"
    "                  (read it with qnlog)\n"
    "\n"
    "Exit status: 0 played, 1 an expectation failed or the host saw objects misused,\n"
    "2 usage error, unreadable file or invalid scenario (with its line).\n";

}  // namespace

int main(int argc, char** argv) {
    std::string path;
    std::string logDirectory;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::cout << kUsage;
            return 0;
        }
        if (argument == "--log-dir") {
            if (i + 1 == argc) {
                std::cerr << "qnscenario: --log-dir needs a directory\n" << kUsage;
                return 2;
            }
            logDirectory = argv[++i];
            continue;
        }
        if (!argument.empty() && argument[0] == '-') {
            std::cerr << "qnscenario: unknown option " << argument << "\n" << kUsage;
            return 2;
        }
        if (!path.empty()) {
            std::cerr << "qnscenario: one scenario at a time\n" << kUsage;
            return 2;
        }
        path = argument;
    }
    if (path.empty()) {
        std::cerr << kUsage;
        return 2;
    }
    if (std::filesystem::is_directory(path)) {
        std::cerr << "qnscenario: " << path << " is a directory, not a scenario file\n";
        return 2;
    }
    if (!logDirectory.empty()) {
        // The agent's logger drops what it cannot write; find out here instead.
        const std::string log = logDirectory + "/QuintorUserAgent.log";
        const int fd = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (fd < 0) {
            std::cerr << "qnscenario: --log-dir " << logDirectory << ": cannot write " << log
                      << ": " << std::strerror(errno) << "\n";
            return 2;
        }
        ::close(fd);
    }
    std::ifstream file(path);
    if (!file) {
        std::cerr << "qnscenario: cannot read " << path << "\n";
        return 2;
    }
    std::stringstream text;
    text << file.rdbuf();

    qn::tools::qnscenario::Scenario scenario;
    try {
        scenario = qn::tools::qnscenario::parseScenario(text.str());
    } catch (const qn::tools::qnscenario::ScenarioError& e) {
        std::cerr << path << ":" << e.line() << ": " << e.message() << "\n";
        return 2;
    }
    qn::tools::qnscenario::ScenarioPlayer player(std::cout, logDirectory);
    std::string failure;
    if (!player.play(scenario, failure)) {
        std::cerr << path << ": scenario failed: " << failure << "\n";
        return 1;
    }
    return 0;
}
