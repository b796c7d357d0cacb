// Plays every agent scenario and compares what the Manager saw and what the agent
// logged (read back through the log reader) with the scenario's golden file.
// QN_UPDATE_GOLDEN=1 rewrites the golden files instead; review the difference.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "sys/libutils/LogLine.h"
#include "sys/libutils/LogReader.h"
#include "tools/qnscenario/Scenario.h"
#include "tools/qnscenario/ScenarioPlayer.h"

namespace qn::tools::qnscenario {
namespace {

namespace fs = std::filesystem;

// The first folder holds the golden files; those of examples/ go to its examples/.
fs::path goldenDirectory() {
    const std::string dirs = QN_SCENARIO_DIRS;
    return dirs.substr(0, dirs.find(':'));
}

std::vector<fs::path> scenarioFiles() {
    std::vector<fs::path> files;
    std::stringstream dirs(QN_SCENARIO_DIRS);
    for (std::string dir; std::getline(dirs, dir, ':');) {
        for (const auto& entry : fs::directory_iterator(dir)) {
            if (entry.path().extension() == ".json") {
                files.push_back(entry.path());
            }
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class ScratchDirectory {
  public:
    ScratchDirectory() {
        std::string pattern = (fs::temp_directory_path() / "qnscenarioXXXXXX").string();
        m_path = ::mkdtemp(pattern.data());
    }
    ~ScratchDirectory() { fs::remove_all(m_path); }
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

// The agent's lines as "LEVEL message"; every one must carry the agent's module and the
// process id as instance. The audio classes log under modules of their own, their
// instance being the object's address (an empty instance name gives that): their lines
// read "LEVEL [module] message". The logger's own banner (no
// instance of ours) is left out.
std::string agentLog(const std::string& file, const std::string& pid, std::string& wrong) {
    std::ifstream in(file);
    sys::LogReader reader;
    std::string out;
    for (std::string armoured, text; std::getline(in, armoured);) {
        if (reader.read(armoured, text) != sys::LogReader::Result::Plain) {
            wrong += "unreadable line\n";
            continue;
        }
        sys::logline::Fields fields;
        if (!sys::logline::parse(text, fields)) {
            wrong += "unparsed: " + text + "\n";
            continue;
        }
        static const std::set<std::string_view> audioModules{
            "AudioDevice", "QuintorAudioDeviceListerImpl", "AudioDeviceConfiguratorImpl"};
        if (audioModules.count(fields.module)) {
            out += std::string(fields.level) + " [" + std::string(fields.module) + "] " +
                   std::string(fields.message) + "\n";
            continue;
        }
        if (fields.instance != pid) {
            continue;
        }
        if (fields.module != "QuintorUserAgent") {
            wrong += "module: " + text + "\n";
        }
        out += std::string(fields.level) + " " + std::string(fields.message) + "\n";
    }
    return out;
}

class GoldenScenario : public ::testing::TestWithParam<fs::path> {};

TEST_P(GoldenScenario, TranscriptAndLogMatchTheGoldenFile) {
    const fs::path path = GetParam();
    const Scenario scenario = parseScenario(readFile(path));
    ASSERT_TRUE(scenario.agent) << path << " does not play the agent";

    ScratchDirectory logs;
    std::ostringstream transcript;
    std::string failure;
    std::string pid;
    {
        ScenarioPlayer player(transcript, logs.path());
        ASSERT_TRUE(player.play(scenario, failure)) << failure;
        pid_t processId = 0;
        platform::ProcessSerialNumber psn;
        player.host().system().GetProcessPID(&psn, &processId);
        pid = std::to_string(processId);
    }
    std::string wrong;
    const std::string log = agentLog(logs.path() + "/QuintorUserAgent.log", pid, wrong);
    EXPECT_EQ(wrong, "");

    const std::string actual = "# transcript\n" + transcript.str() + "# log\n" + log;
    fs::path golden = path;
    golden.replace_extension(".golden");
    if (path.parent_path() != goldenDirectory()) {
        golden = goldenDirectory() / "examples" / golden.filename();
    }
    if (const char* update = ::getenv("QN_UPDATE_GOLDEN"); update && *update == '1') {
        fs::create_directories(golden.parent_path());
        std::ofstream(golden) << actual;
        return;
    }
    ASSERT_TRUE(fs::exists(golden)) << golden;
    EXPECT_EQ(actual, readFile(golden)) << golden;
}

std::string testName(const ::testing::TestParamInfo<fs::path>& info) {
    std::string name =
        info.param.parent_path().filename().string() + "_" + info.param.stem().string();
    for (auto& c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c))) {
            c = '_';
        }
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Agent, GoldenScenario, ::testing::ValuesIn(scenarioFiles()), testName);

}  // namespace
}  // namespace qn::tools::qnscenario
