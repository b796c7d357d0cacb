#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "sys/libutils/LogLine.h"
#include "sys/libutils/LogOutputs.h"
#include "tests/sys/libutils/LogTestSupport.h"

namespace qn::sys {
namespace {

using logoutput::FileOutput;
using testing::readLogFile;
using testing::ScratchDir;

void put(FileOutput& out, std::int32_t line, const std::string& message,
         std::int32_t level = Logger::INFO) {
    out.write(1000, level, "Place.cpp", line, "Mod", "inst", "", message);
}

std::string fullLine(std::int32_t line, const std::string& message, const char* level = "INFO") {
    return std::string("00:00:01.000\t\tMod\tinst\t") + level +
           "\tPlace.cpp:" + std::to_string(line) + "\t" + message;
}

TEST(LogFileOutput, RotatesAtTheLimitWithBannerFirstInTheNewFile) {
    ScratchDir dir;
    const std::string path = dir / "app.log";
    // Each plain line is 78 bytes, padded to 80: 108 Base64 characters and a newline.
    FileOutput out(path, FileOutput::Append, 250, 1);
    for (int n = 1; n <= 4; ++n)
        put(out, n, "message number " + std::to_string(n) + " padded to two blocks");

    // Lines 1..3 fit (the size is tested before writing: 0, 109, 218 <= 250);
    // line 4 finds 327 bytes and rotates first.
    const auto old = readLogFile(dir / "app.old.log");
    ASSERT_EQ(old.lines.size(), 3u);
    EXPECT_EQ(old.lines.back(), fullLine(3, "message number 3 padded to two blocks"));

    const auto fresh = readLogFile(path);
    ASSERT_EQ(fresh.lines.size(), 2u);
    EXPECT_EQ(fresh.restarts, std::vector<std::size_t>{0});
    const std::string banner = fresh.lines[0];
    EXPECT_EQ(banner.substr(0, 43), fullLine(4, "Version ", "ALWAYS").substr(0, 43));
    EXPECT_NE(banner.find("Log file restarted at "), std::string::npos);
    EXPECT_EQ(fresh.lines[1], fullLine(4, "message number 4 padded to two blocks"));
    // The new file decrypts from its first line: its chain starts at zero.
    EXPECT_EQ(testing::rawLines(path).size(), 2u);
}

TEST(LogFileOutput, DeletedFileIsMadeAgainEvenWithoutALimit) {
    ScratchDir dir;
    const std::string path = dir / "app.log";
    FileOutput out(path, FileOutput::New, 0, 1);
    put(out, 1, "before");
    ASSERT_EQ(std::remove(path.c_str()), 0);
    put(out, 2, "after");
    const auto back = readLogFile(path);
    ASSERT_EQ(back.lines.size(), 2u);
    EXPECT_NE(back.lines[0].find("\tALWAYS\tPlace.cpp:2\tVersion "), std::string::npos);
    EXPECT_EQ(back.lines[1], fullLine(2, "after"));
    EXPECT_FALSE(std::filesystem::exists(dir / "app.old.log"));
}

TEST(LogFileOutput, RenamedFileIsMadeAgainUnderItsName) {
    ScratchDir dir;
    const std::string path = dir / "app.log";
    FileOutput out(path, FileOutput::Append, 0, 1);
    put(out, 1, "first");
    std::filesystem::rename(path, dir / "moved.log");
    put(out, 2, "second");
    EXPECT_EQ(readLogFile(dir / "moved.log").lines, std::vector<std::string>{fullLine(1, "first")});
    const auto back = readLogFile(path);
    ASSERT_EQ(back.lines.size(), 2u);
    EXPECT_EQ(back.lines[1], fullLine(2, "second"));
}

TEST(LogFileOutput, AppendOverThreeRunsReadsBackWhole) {
    ScratchDir dir;
    const std::string path = dir / "app.log";
    for (int run = 0; run < 3; ++run) {
        FileOutput out(path, FileOutput::Append, 102400, 1);
        put(out, 1, "Version x. Started at run " + std::to_string(run), Logger::ALWAYS);
        put(out, 2, "work of run " + std::to_string(run));
    }
    const auto back = readLogFile(path);
    EXPECT_EQ(back.unreadable, 0u);
    ASSERT_EQ(back.lines.size(), 6u);
    EXPECT_EQ(back.restarts, (std::vector<std::size_t>{0, 2, 4}));
    EXPECT_EQ(back.lines[4], fullLine(1, "Version x. Started at run 2", "ALWAYS"));
    EXPECT_EQ(back.lines[5], fullLine(2, "work of run 2"));
}

TEST(LogFileOutput, NewModeKeepsOneOldGeneration) {
    ScratchDir dir;
    const std::string plain = dir / "app";
    {
        FileOutput first(plain, FileOutput::New, 0, 0);
        put(first, 1, "one");
    }
    {
        FileOutput second(plain, FileOutput::New, 0, 0);
        put(second, 2, "two");
    }
    {
        FileOutput third(plain, FileOutput::New, 0, 0);
        put(third, 3, "three");
    }
    EXPECT_EQ(readLogFile(plain).lines, std::vector<std::string>{"[Mod inst] three"});
    EXPECT_EQ(readLogFile(dir / "app.old").lines, std::vector<std::string>{"[Mod inst] two"});

    EXPECT_EQ(FileOutput::splitName("/var/a.b/app"),
              (std::pair<std::string, std::string>{"/var/a", ".b/app"}));
    EXPECT_EQ(FileOutput::splitName("app.log"),
              (std::pair<std::string, std::string>{"app", ".log"}));
}

TEST(LogFileOutput, DecorateAddsATimeStampBeforeTheExtension) {
    ScratchDir dir;
    FileOutput out(dir / "app.log", FileOutput::Decorate, 0, 1);
    put(out, 1, "decorated");
    const std::string name = std::filesystem::path(out.currentPath()).filename().string();
    ASSERT_EQ(name.size(), std::string("app20250102-030405.log").size()) << name;
    EXPECT_EQ(name.substr(0, 3), "app");
    EXPECT_EQ(name[11], '-');
    EXPECT_EQ(name.substr(18), ".log");
    EXPECT_EQ(readLogFile(out.currentPath()).lines.size(), 1u);
}

TEST(LogFileOutput, UnopenableFileSwallowsLines) {
    FileOutput out("/nonexistent-dir/qn/app.log", FileOutput::Append, 1000, 1);
    put(out, 1, "vanishes");
    put(out, 2, "also vanishes");
    EXPECT_FALSE(std::filesystem::exists("/nonexistent-dir/qn/app.log"));
}

}  // namespace
}  // namespace qn::sys
