#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "sys/libutils/InstrumentationDirectory.h"
#include "sys/libutils/InstrumentationManager.h"
#include "sys/libutils/InstrumentedValue.h"
#include "tools/qninstr/QninstrApp.h"

extern char** environ;

namespace qn::tools::qninstr {
namespace {

std::string unique(const std::string& what) {
    return "qninstr_" + what + "_" + std::to_string(::getpid());
}

// Runs the tool in this process with the words given; returns its exit code.
int runTool(std::vector<std::string> words, std::string& out, std::string& err) {
    words.insert(words.begin(), "qninstr");
    std::vector<char*> argv;
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    std::ostringstream outStream;
    std::ostringstream errStream;
    QninstrApp app(outStream, errStream);
    ::testing::internal::CaptureStdout();
    const int code = app.run(static_cast<int>(argv.size()), argv.data());
    out = ::testing::internal::GetCapturedStdout() + outStream.str();
    err = errStream.str();
    return code;
}

// The demo program in a process of its own, stopped at the end.
class Demo {
  public:
    explicit Demo(const std::string& directory) {
        int out[2];
        EXPECT_EQ(::pipe(out), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        std::string program = QNINSTR_DEMO;
        std::string dir = directory;
        char* argv[] = {program.data(), dir.data(), nullptr};
        EXPECT_EQ(::posix_spawn(&m_pid, program.c_str(), &actions, nullptr, argv, environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        ::close(out[1]);
        // "ready" comes once the counters are in place.
        char text[6] = {};
        EXPECT_EQ(::read(out[0], text, 6), 6);
        ::close(out[0]);
    }
    ~Demo() { stop(); }
    int stop() {
        int status = -1;
        if (m_pid > 0) {
            ::kill(m_pid, SIGTERM);
            ::waitpid(m_pid, &status, 0);
            m_pid = -1;
        }
        return status;
    }

  private:
    pid_t m_pid = -1;
};

TEST(Qninstr, PrintsTheVariablesOfARunningProgram) {
    const std::string directory = unique("dir");
    Demo demo(directory);
    std::string out, err;
    EXPECT_EQ(runTool({"-directory", directory}, out, err), kShown);
    EXPECT_NE(out.find("Directory " + directory + ": 1 process\n"), std::string::npos) << out;
    EXPECT_NE(out.find("process qninstr_demo: 6 variables, 394 of 400 slots free"),
              std::string::npos)
        << out;
    EXPECT_TRUE(std::regex_search(out, std::regex(R"(\n  64 FramePump\|display1\|bytes += \d+\n)")))
        << out;
    EXPECT_TRUE(
        std::regex_search(out, std::regex(R"(\n  A  FramePump\|display2\|frames  = \d+\n)")))
        << out;

    // Once the program has ended there is nothing to read.
    EXPECT_EQ(WEXITSTATUS(demo.stop()), 0);
    EXPECT_EQ(runTool({"-directory", directory}, out, err), kNoDirectory);
    EXPECT_NE(out.find("No instrumentation directory"), std::string::npos);
}

TEST(Qninstr, ListedProcessWithoutRegionIsSkippedWithANote) {
    const std::string directory = unique("ghost");
    sys::instrumentation::Manager live(directory, unique("live"), 4);
    live.directory().add(unique("ended"));
    std::string out, err;
    EXPECT_EQ(
        runTool({"--watch", "-count", "2", "-interval", "0", "-directory", directory}, out, err),
        kShown);
    EXPECT_NE(out.find("--- snapshot 2 at "), std::string::npos) << out;
    EXPECT_NE(out.find("process " + unique("ended") + ": no longer running, skipped"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("process " + unique("live") + ": 0 variables, 4 of 4 slots free"),
              std::string::npos)
        << out;
}

TEST(Qninstr, HelpAndBadArgumentsAnswerWithTheUsage) {
    std::string out, err;
    EXPECT_EQ(runTool({"--help"}, out, err), kShown);
    EXPECT_NE(out.find("Usage: qninstr "), std::string::npos);
    EXPECT_NE(out.find("--watch  "), std::string::npos);
    EXPECT_EQ(runTool({"-bogus"}, out, err), kUsage);
    EXPECT_EQ(out, "Unknown argument: -bogus\n");
    EXPECT_NE(err.find("Usage: qninstr "), std::string::npos);
    EXPECT_EQ(runTool({"operand"}, out, err), kUsage);
    // A word that is no number would read as 0 and watch for ever.
    EXPECT_EQ(runTool({"-watch", "-count", "abc"}, out, err), kUsage);
    EXPECT_EQ(err, "qninstr: -count takes a whole number from 0 to 999999999, not \"abc\"\n");
    EXPECT_EQ(runTool({"--watch", "--interval", "-1"}, out, err), kUsage);
    EXPECT_NE(err.find("--interval takes a whole number"), std::string::npos) << err;
}

}  // namespace
}  // namespace qn::tools::qninstr
