#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "sys/libutils/LogOutputs.h"
#include "tests/sys/libutils/LogTestSupport.h"
#include "tests/tools/qnlog/QnlogRun.h"
#include "tools/qnlog/LogFollower.h"
#include "tools/qnlog/QnlogApp.h"

namespace qn::tools::qnlog {
namespace {

using sys::logoutput::FileOutput;
using testing::ScratchDir;

// Writes a short mixed log: two modules, two instances, several levels.
void writeMixedLog(const std::string& path) {
    FileOutput out(path, FileOutput::Append, 0, 1);
    out.write(0, 0, "a.cpp", 1, "Agent", "10", "", "banner");
    out.write(5, 3, "a.cpp", 2, "Agent", "10", "", "a warning");
    out.write(6, 5, "b.cpp", 3, "Audio", "11", "", "some debug");
    out.write(7, 2, "b.cpp", 4, "Audio", "10", "", "an error");
}

TEST(Qnlog, PrintsPlainLinesAndFilters) {
    ScratchDir dir;
    const std::string path = dir / "agent.log";
    writeMixedLog(path);

    const Outcome all = qnlog({path});
    EXPECT_EQ(all.status, kAllRead);
    EXPECT_EQ(all.err, "");
    EXPECT_EQ(all.out,
              "00:00:00.000\t\tAgent\t10\tALWAYS\ta.cpp:1\tbanner\n"
              "00:00:00.005\t\tAgent\t10\tWARN\ta.cpp:2\ta warning\n"
              "00:00:00.006\t\tAudio\t11\tDEBUG\tb.cpp:3\tsome debug\n"
              "00:00:00.007\t\tAudio\t10\tERROR\tb.cpp:4\tan error\n");

    const Outcome warn = qnlog({"--level", "warn", path});
    EXPECT_EQ(warn.out.find("some debug"), std::string::npos);
    EXPECT_NE(warn.out.find("a warning"), std::string::npos);
    EXPECT_NE(warn.out.find("an error"), std::string::npos);

    EXPECT_EQ(qnlog({"-m", "Audio", "-i", "10", path}).out,
              "00:00:00.007\t\tAudio\t10\tERROR\tb.cpp:4\tan error\n");
}

TEST(Qnlog, ReportsForeignLinesWithTheirNumberAndGoesOn) {
    ScratchDir dir;
    const std::string path = dir / "agent.log";
    writeMixedLog(path);
    auto lines = testing::rawLines(path);
    std::string input = lines[0] + "\n" + lines[1] + "\nplain text, not a log\n";
    input += std::string("\x00\xff\x01garbage", 10) + "\n" + lines[2] + "\n" + lines[3];

    const Outcome run = qnlog({}, input);
    EXPECT_EQ(run.status, kSomeUnreadable);
    EXPECT_EQ(run.err,
              "qnlog: (stdin):3: not an armoured log line\n"
              "qnlog: (stdin):4: not an armoured log line\n");
    // The chain went on across the foreign lines, and the last line needs no newline.
    EXPECT_NE(run.out.find("an error\n"), std::string::npos);
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 4);
}

TEST(Qnlog, HelpUsageAndExitCodes) {
    const Outcome help = qnlog({"--help"});
    EXPECT_EQ(help.status, kAllRead);
    EXPECT_NE(help.out.find("usage: qnlog"), std::string::npos);
    EXPECT_EQ(qnlog({"--bogus"}).status, kUsage);
    EXPECT_EQ(qnlog({"--level", "LOUD"}).status, kUsage);
    EXPECT_EQ(qnlog({"--level"}).status, kUsage);
    EXPECT_EQ(qnlog({"/nonexistent/file.log"}).status, kUsage);
    EXPECT_EQ(qnlog({"-f", "a", "b"}).status, kUsage);
}

TEST(Qnlog, ReportsWhereNewChainsBegin) {
    ScratchDir dir;
    const std::string path = dir / "agent.log";
    writeMixedLog(path);
    writeMixedLog(path);
    const Outcome run = qnlog({"-r", path});
    EXPECT_EQ(run.status, kAllRead);
    EXPECT_EQ(run.err, "qnlog: " + path + ":1: a new chain begins\nqnlog: " + path +
                           ":5: a new chain begins\n");
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 8);
}

TEST(LogFollower, FollowsAGrowingFileAcrossRotation) {
    ScratchDir dir;
    const std::string path = dir / "agent.log";
    std::istringstream none;
    std::ostringstream out, err;
    QnlogApp app(none, out, err);
    int newFiles = 0;
    std::size_t number = 0;
    LogFollower follower(path);
    const auto onLine = [&](std::string_view line, bool) { app.readLine(line, path, ++number); };
    const auto onNewFile = [&] {
        ++newFiles;
        number = 0;
        app.startSource();
    };

    FileOutput log(path, FileOutput::Append, 330, 1);
    log.write(0, 4, "f.cpp", 1, "M", "i", "", "first line, long enough for five blocks of text");
    ASSERT_TRUE(follower.open());
    EXPECT_TRUE(follower.poll(onLine, onNewFile));
    EXPECT_FALSE(follower.poll(onLine, onNewFile));
    for (int n = 2; n <= 5; ++n)  // the fifth rotates the file
        log.write(0, 4, "f.cpp", n, "M", "i", "",
                  "line " + std::to_string(n) + " long enough for five blocks of text");
    EXPECT_TRUE(follower.poll(onLine, onNewFile));
    EXPECT_EQ(newFiles, 1);
    EXPECT_EQ(err.str(), "");
    const std::string text = out.str();
    for (int n = 1; n <= 5; ++n)
        EXPECT_NE(text.find("f.cpp:" + std::to_string(n) + "\t"), std::string::npos) << n;
    EXPECT_NE(text.find("Log file restarted at"), std::string::npos);
    EXPECT_LT(text.find("f.cpp:4\t"), text.find("Log file restarted at"));
}

}  // namespace
}  // namespace qn::tools::qnlog
