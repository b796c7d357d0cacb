#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

#include "sys/libutils/LogLine.h"
#include "sys/libutils/LogSeam.h"
#include "sys/libutils/Logger.h"
#include "sys/libutils/LoggerConfiguration.h"
#include "tests/sys/libutils/LogTestSupport.h"

namespace qn::sys {
namespace {

using testing::DirectoryConfiguration;
using testing::readLogFile;
using testing::ScratchDir;

std::unique_ptr<Logger> makeLogger(const ScratchDir& dir, std::int32_t verbosity,
                                   std::unique_ptr<LoggerConfiguration> config = nullptr,
                                   std::unique_ptr<Logger::Helper> helper = nullptr,
                                   bool useStderr = false) {
    if (!config)
        config = std::make_unique<DirectoryConfiguration>(dir.path());
    return std::make_unique<Logger>("app", verbosity, useStderr, true, std::move(helper),
                                    std::move(config));
}

// The time column varies; everything after it must be exact.
std::string afterTime(const std::string& line) {
    logline::Fields f;
    EXPECT_TRUE(logline::parse(line, f)) << line;
    return line.substr(f.time.size());
}

TEST(Logger, WritesBannerThenExactFullLines) {
    ScratchDir dir;
    auto logger = makeLogger(dir, Logger::DEBUG);
    EXPECT_EQ(logger->logFileName(), dir.path() + "/app.log");
    {
        Logger::Logged object(*logger, "Disp.lay", "7");
        EXPECT_EQ(object.getModule(), "Disp_lay");
        QN_LOG(object, Logger::INFO) << "value " << 42;
        const int line = __LINE__ - 1;
        QN_LOG(object, Logger::VERBOSE) << "never";
        object.log(Logger::WARN, "C:\\src/x\\y/z.cpp", 3, "cut at the backslash");

        const auto back = readLogFile(logger->logFileName());
        ASSERT_EQ(back.lines.size(), 3u);
        EXPECT_EQ(back.restarts, std::vector<std::size_t>{0});
        logline::Fields banner;
        ASSERT_TRUE(logline::parse(back.lines[0], banner));
        EXPECT_EQ(banner.module, "app");
        EXPECT_EQ(banner.level, "ALWAYS");
        EXPECT_EQ(banner.message.substr(0, 8), "Version ");
        EXPECT_NE(banner.message.find(". Started at "), std::string_view::npos);
        // The module keeps the name it was asked for; the identity is sanitised.
        EXPECT_EQ(afterTime(back.lines[1]),
                  "\t\tDisp.lay\t7\tINFO\tLoggerTest.cpp:" + std::to_string(line) + "\tvalue 42");
        EXPECT_EQ(afterTime(back.lines[2]),
                  "\t\tDisp.lay\t7\tWARN\ty/z.cpp:3\tcut at the backslash");
    }
}

TEST(Logger, DisabledStatementEvaluatesNothing) {
    ScratchDir dir;
    auto logger = makeLogger(dir, Logger::INFO);
    Logger::Logged object(*logger, "M", "i");
    int evaluated = 0;
    auto costly = [&] { return ++evaluated; };
    QN_LOG(object, Logger::DEBUG) << costly();
    EXPECT_EQ(evaluated, 0);
    QN_LOG(object, Logger::INFO) << costly();
    EXPECT_EQ(evaluated, 1);
    EXPECT_FALSE(object.isEnabled(Logger::DEBUG));
    EXPECT_EQ(object.verbosity(), Logger::INFO);
}

// Records every line handed to it.
struct RecordingOutput : Logger::Output {
    void write(std::int64_t, std::int32_t level, const char*, std::int32_t, const std::string&,
               const std::string&, const char*, const std::string& message) override {
        lines.push_back(std::to_string(level) + ":" + message);
    }
    std::vector<std::string> lines;
};

// Gives every module a recording output that accepts only ERROR and worse.
struct ErrorOutputConfiguration : DirectoryConfiguration {
    using DirectoryConfiguration::DirectoryConfiguration;
    void resolveModule(Logger&, const std::string&, std::int32_t&,
                       Logger::OutputLevels& outputs) override {
        outputs.emplace_back(&recorder, Logger::ERROR);
    }
    RecordingOutput recorder;
};

TEST(Logger, EachLevelReachesOnlyTheOutputsThatAcceptIt) {
    ScratchDir dir;
    auto config = std::make_unique<ErrorOutputConfiguration>(dir.path());
    RecordingOutput& recorder = config->recorder;
    auto logger = makeLogger(dir, Logger::INFO, std::move(config));
    Logger::Logged object(*logger, "M", "i");
    QN_LOG(object, Logger::INFO) << "info";
    QN_LOG(object, Logger::ERROR) << "error";
    // The banner is ALWAYS, so it passes too; the INFO line does not.
    ASSERT_EQ(recorder.lines.size(), 2u);
    EXPECT_EQ(recorder.lines[0].substr(0, 10), "0:Version ");
    EXPECT_EQ(recorder.lines[1], "2:error");
    const auto back = readLogFile(logger->logFileName());
    ASSERT_EQ(back.lines.size(), 3u);  // banner, info, error
    EXPECT_EQ(afterTime(back.lines[1]).substr(0, 13), "\t\tM\ti\tINFO\tLo");

    // setVerbosity resolves again: the file follows the raised level.
    logger->setVerbosity(Logger::VERBOSE, false);
    EXPECT_TRUE(object.isEnabled(Logger::VERBOSE));
    QN_LOG(object, Logger::VERBOSE) << "verbose";
    EXPECT_EQ(readLogFile(logger->logFileName()).lines.size(), 4u);
    EXPECT_EQ(recorder.lines.size(), 2u);
}

struct CollectingHelper : Logger::Helper {
    explicit CollectingHelper(std::vector<std::string>* sink) : m_sink(sink) {}
    void write(const std::string& text) override { m_sink->push_back(text); }
    std::vector<std::string>* m_sink;
};

TEST(Logger, HelperGetsOneArmouredLinePerCall) {
    ScratchDir dir;
    std::vector<std::string> received;
    auto logger =
        makeLogger(dir, Logger::INFO, nullptr, std::make_unique<CollectingHelper>(&received));
    Logger::Logged object(*logger, "H", "1");
    QN_LOG(object, Logger::WARN) << "to the helper";
    ASSERT_EQ(received.size(), 2u);  // banner and line
    std::string joined;
    for (const auto& text : received) {
        ASSERT_EQ(text.back(), '\n');
        ASSERT_EQ(text.find('\n'), text.size() - 1);
        joined += text;
    }
    std::istringstream in(joined);
    const auto back = testing::readArmoured(in);
    ASSERT_EQ(back.lines.size(), 2u);
    EXPECT_NE(back.lines[1].find("\t\tH\t1\tWARN\t"), std::string::npos);
}

TEST(Logger, StderrGetsShortLines) {
    ScratchDir dir;
    std::ostringstream captured;
    auto* saved = std::cerr.rdbuf(captured.rdbuf());
    {
        auto logger = makeLogger(dir, Logger::INFO, nullptr, nullptr, true);
        Logger::Logged object(*logger, "S", "");
        object.setInstance("");
        QN_LOG(object, Logger::INFO) << "short";
    }
    std::cerr.rdbuf(saved);
    std::istringstream in(captured.str());
    const auto back = testing::readArmoured(in);
    ASSERT_EQ(back.lines.size(), 2u);
    EXPECT_EQ(back.lines[0].substr(0, 5), "[app ");
    EXPECT_EQ(back.lines[1], "[S] short");
}

TEST(Logger, CreateBuildsOnceAndLeavesTheHelperWithTheCaller) {
    std::vector<std::string> sink;
    std::unique_ptr<Logger::Helper> first = std::make_unique<CollectingHelper>(&sink);
    Logger* logger = Logger::create("first", Logger::WARN, false, false, first);
    EXPECT_EQ(first, nullptr);
    std::unique_ptr<Logger::Helper> second = std::make_unique<CollectingHelper>(&sink);
    EXPECT_EQ(Logger::create("second", Logger::DEBUG, true, true, second), logger);
    EXPECT_NE(second, nullptr);
    EXPECT_EQ(Logger::instance(), logger);
    EXPECT_EQ(logger->name(), "first");
    EXPECT_EQ(logger->logFileName(), "");
    EXPECT_EQ(logger->getModule("x")->verbosity(), Logger::WARN);

    // An object without a module name says so at WARN.
    Logger::Logged anonymous;
    ASSERT_EQ(sink.size(), 1u);
    std::istringstream in(sink[0]);
    const auto back = testing::readArmoured(in);
    ASSERT_EQ(back.lines.size(), 1u);
    EXPECT_NE(back.lines[0].find("\tWARN\t"), std::string::npos);
    EXPECT_NE(back.lines[0].find("\tAnonymous Logged Object Created"), std::string::npos);
}

TEST(Logger, SeamLinesOfLowerClassesReachTheCurrentLogger) {
    ScratchDir dir;
    const logseam::LogSource source{"Thread", "worker"};
    {
        auto logger = makeLogger(dir, Logger::INFO);
        QN_SEAM_LOG(source, logseam::kError, "failed " << 7);
        const int line = __LINE__ - 1;
        const auto back = readLogFile(logger->logFileName());
        ASSERT_EQ(back.lines.size(), 2u);
        EXPECT_EQ(afterTime(back.lines[1]), "\t\tThread\tworker\tERROR\tLoggerTest.cpp:" +
                                                std::to_string(line) + "\tfailed 7");
    }
    // With no logger left nothing is enabled.
    EXPECT_FALSE(logseam::isEnabled(source, logseam::kFatal));
}

TEST(Logger, ModuleWithItsOwnLogFile) {
    ScratchDir dir;
    auto logger = makeLogger(dir, Logger::DEBUG);
    Logger::Logged own("Own", "1", "own", 102400);
    QN_LOG(own, Logger::INFO) << "to my file";
    QN_LOG(own, Logger::DEBUG) << "off now";

    const auto mine = readLogFile(dir / "own.log");
    ASSERT_EQ(mine.lines.size(), 2u);
    EXPECT_NE(mine.lines[0].find("\t\tOwn\t1\tALWAYS\t"), std::string::npos);
    EXPECT_NE(mine.lines[0].find(". Started at "), std::string::npos);
    EXPECT_NE(mine.lines[1].find("\tINFO\t"), std::string::npos);
    EXPECT_EQ(own.verbosity(), Logger::INFO);

    // The announcement went to the outputs the module had before.
    const auto shared = readLogFile(logger->logFileName());
    ASSERT_EQ(shared.lines.size(), 2u);
    EXPECT_NE(
        shared.lines[1].find("\tCreating logging output for Own to " + dir.path() + "/own.log"),
        std::string::npos);
    EXPECT_TRUE(logger->hasOutput("Own"));
}

TEST(LoggerDeathTest, RegisteredFileOutputsCloseCleanlyAtExit) {
    // At exit the registered outputs go before the file event queue their
    // checkers use (the sanitizer builds catch the wrong order).
    GTEST_FLAG_SET(death_test_style, "fast");  // the child shares the scratch directory
    ScratchDir dir;
    EXPECT_EXIT(
        {
            Logger::registerFileOutput(dir / "exit.log", 2, 0, 1)
                ->write(0, Logger::INFO, "f.cpp", 1, "M", "i", "", "before exit");
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(readLogFile(dir / "exit.log").lines.size(), 1u);
}

// A log that cannot be written says so on stderr, once, naming its folder and the reason.
TEST(Logger, ALogFileThatCannotBeOpenedIsToldOnStderrOnce) {
    ScratchDir dir;
    std::ofstream(dir / "plain") << "a file where the folder should be\n";
    ::testing::internal::CaptureStderr();
    {
        Logger logger("app", Logger::INFO, false, true, nullptr,
                      std::make_unique<DirectoryConfiguration>(dir / "plain"));
        Logger::Logged object(logger, "M", "");
        QN_LOG(object, Logger::INFO) << "nowhere to go";
        QN_LOG(object, Logger::INFO) << "nor this";
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "app: no log file in " + (dir / "plain/") + ": cannot open " +
                  (dir / "plain/app.log") + " (Not a directory)\n");
}

TEST(LoggerDeathTest, ADefaultFolderThatCannotBeMadeIsToldOnStderrOnce) {
    // A process of its own: the default folder is read from HOME once per process.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    using ::testing::AllOf;
    using ::testing::EndsWith;
    using ::testing::HasSubstr;
    using ::testing::StartsWith;
    EXPECT_EXIT(
        {
            // Nothing can be made under a device.
            ::setenv("HOME", "/dev/null", 1);
            Logger logger("app", Logger::INFO, false, true, nullptr,
                          std::make_unique<LoggerConfiguration>());
            Logger::Logged object(logger, "M", "");
            QN_LOG(object, Logger::INFO) << "nowhere to go";
            std::exit(0);
        },
        ::testing::ExitedWithCode(0),
        AllOf(StartsWith("app: no log file in /dev/null/"),
              EndsWith(": cannot make the folder (Not a directory)\n"),
              ::testing::Not(HasSubstr("\napp:"))));
}

TEST(Logger, LogOnConditionChangerReportsFlipsOnly) {
    Logger::LogOnConditionChanger condition;
    EXPECT_FALSE(condition.changed(false));
    EXPECT_TRUE(condition.changed(true));
    EXPECT_FALSE(condition.changed(true));
    EXPECT_TRUE(condition.changed(false));
}

TEST(Logger, ThreadsNeverInterleaveAndTheChainHolds) {
    ScratchDir dir;
    auto logger = makeLogger(dir, Logger::INFO);
    constexpr int kThreads = 6, kLines = 150;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            Logger::Logged object(*logger, "T" + std::to_string(t % 2), std::to_string(t));
            for (int n = 0; n < kLines; ++n)
                QN_LOG(object, Logger::INFO) << "thread " << t << " line " << n;
        });
    for (auto& thread : threads)
        thread.join();

    const auto back = readLogFile(logger->logFileName());
    EXPECT_EQ(back.unreadable, 0u);
    EXPECT_EQ(back.restarts, std::vector<std::size_t>{0});
    ASSERT_EQ(back.lines.size(), 1u + kThreads * kLines);
    std::vector<int> next(kThreads, 0);
    for (std::size_t i = 1; i < back.lines.size(); ++i) {
        logline::Fields f;
        ASSERT_TRUE(logline::parse(back.lines[i], f)) << back.lines[i];
        const int t = std::stoi(std::string(f.instance));
        EXPECT_EQ(f.message, "thread " + std::to_string(t) + " line " + std::to_string(next[t]));
        ++next[t];
    }
}

}  // namespace
}  // namespace qn::sys
