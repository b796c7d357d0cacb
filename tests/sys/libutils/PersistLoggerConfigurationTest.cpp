#include "sys/libutils/PersistLoggerConfiguration.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "sys/libutils/LogOutputs.h"
#include "sys/libutils/Logger.h"
#include "tests/sys/libutils/HiveTestSupport.h"
#include "tests/sys/libutils/LogTestSupport.h"

using namespace qn::sys;

namespace {

// One logger name for every case: the outputs branch is fixed per process by
// the first logger that asks for an output.
const char* const kName = "TestLog";

class LoggerSettings : public qn::test::HiveFixture {
  protected:
    // Writes name=value pairs into the key below Software/Quintor.
    static void put(std::initializer_list<const char*> keys,
                    std::initializer_list<std::pair<const char*, const char*>> entries,
                    PersistFlags flags = PersistLocalMachine) {
        auto it = keys.begin();
        std::unique_ptr<PersistTree> tree = std::make_unique<PersistTree>(*it++);
        for (; it != keys.end(); ++it) {
            tree = std::make_unique<PersistTree>(*tree, *it);
        }
        PersistValues values;
        for (const auto& [name, value] : entries) {
            values.setString(name, value);
        }
        tree->write(values, flags);
    }

    LoggerConfiguration::Globals globals(std::int32_t verbosity = Logger::DEBUG) {
        LoggerConfiguration::Globals result;
        result.fileVerbosity = verbosity;
        PersistLoggerConfiguration().readGlobals(kName, result);
        return result;
    }

    std::unique_ptr<Logger> makeLogger(std::int32_t verbosity, bool withLogFile) {
        return std::make_unique<Logger>(kName, verbosity, false, withLogFile, nullptr,
                                        std::make_unique<PersistLoggerConfiguration>());
    }

    std::string file(const std::string& name) const { return (m_dir / name).string(); }
};

logoutput::FileOutput* asFile(Logger::Output* output) {
    return dynamic_cast<logoutput::FileOutput*>(output);
}

std::size_t linesHolding(const std::string& path, const std::string& text) {
    std::size_t count = 0;
    for (const std::string& line : qn::testing::readLogFile(path).lines) {
        count += line.find(text) != std::string::npos ? 1 : 0;
    }
    return count;
}

}  // namespace

TEST_F(LoggerSettings, NothingConfiguredKeepsTheDefaults) {
    const auto g = globals(Logger::DEBUG);
    EXPECT_EQ(g.fileVerbosity, Logger::DEBUG);
    EXPECT_EQ(g.fileSize, 102400u);
    EXPECT_EQ(g.directory, "");
    // A hive that cannot even be created reads as empty, and nothing throws.
    HivePath::set(file("missing/.qn.xml"));
    EXPECT_EQ(globals(Logger::INFO).fileVerbosity, Logger::INFO);
}

TEST_F(LoggerSettings, FileSizeIsClamped) {
    for (const auto& [text, expected] : {std::pair<const char*, std::uint64_t>{"5", 102400},
                                         {"99999999", 10240000},
                                         {"abc", 102400},
                                         {"200000", 200000}}) {
        put({"Logger"}, {{"filesize", text}});
        EXPECT_EQ(globals().fileSize, expected) << text;
    }
}

TEST_F(LoggerSettings, VerbosityThenThresholdAndBadNamesKeepTheLevel) {
    put({"Logger"}, {{"verbosity threshold", "ERROR"}});
    EXPECT_EQ(globals().fileVerbosity, Logger::ERROR);
    put({"Logger"}, {{"verbosity", "warn"}});
    EXPECT_EQ(globals().fileVerbosity, Logger::WARN);
    put({"Logger"}, {{"verbosity", "loud"}});
    EXPECT_EQ(globals(Logger::INFO).fileVerbosity, Logger::INFO);
}

TEST_F(LoggerSettings, DirectoryAlwaysGetsABackslash) {
    put({"Logger"}, {{"directory", "/var/log"}});
    EXPECT_EQ(globals().directory, "/var/log\\");
    put({"Logger"}, {{"directory", "/var/log/"}});
    EXPECT_EQ(globals().directory, "/var/log/\\");
    put({"Logger"}, {{"directory", "C:\\logs\\"}});
    EXPECT_EQ(globals().directory, "C:\\logs\\");

    // Through the logger: the file is "logs\TestLog.log" in the scratch directory.
    put({"Logger"}, {{"directory", file("logs").c_str()}});
    auto logger = makeLogger(Logger::DEBUG, true);
    EXPECT_EQ(logger->logFileName(), file("logs\\TestLog.log"));
    EXPECT_TRUE(std::filesystem::exists(file("logs\\TestLog.log")));
}

TEST_F(LoggerSettings, AUserNodeHidesTheMachineNodeEntirely) {
    put({"Logger"}, {{"verbosity", "WARN"}, {"filesize", "200000"}});
    put({"Logger"}, {{"directory", "/u"}}, PersistCurrentUser);
    const auto g = globals(Logger::DEBUG);
    EXPECT_EQ(g.fileVerbosity, Logger::DEBUG);
    EXPECT_EQ(g.fileSize, 102400u);
    EXPECT_EQ(g.directory, "/u\\");
}

TEST_F(LoggerSettings, OutputsChosenByNameWithTheirLevels) {
    put({kName, "Logger", "Outputs", "errors"},
        {{"filename", file("errors.log").c_str()}, {"Mode", "append"}, {"line type", "1"}});
    put({kName, "Logger", "Outputs", "console"}, {{"filename", "stderr"}});
    put({kName, "Logger", "Outputs", "broken"}, {{"Mode", "New"}});  // no filename
    put({kName, "Logger", "Modules"}, {{"verbosity", "WARN"}, {"Quiet", "ERROR"}});
    put({kName, "Logger", "Modules", "Net", "Outputs"},
        {{"errors", "ERROR"}, {"broken", "VERBOSE"}});
    put({kName, "Logger", "Modules", "Loud"}, {{"verbosity", "VERBOSE"}});

    auto logger = makeLogger(Logger::INFO, false);
    auto* errors = asFile(logger->getOutput("errors"));
    ASSERT_NE(errors, nullptr);
    EXPECT_EQ(errors->mode(), logoutput::FileOutput::Append);
    EXPECT_EQ(errors->maxSize(), 65536u);
    EXPECT_EQ(logger->getOutput("console"), Logger::stderrOutput());
    EXPECT_EQ(logger->getOutput("broken"), nullptr);

    // Net names its outputs: errors at ERROR; the broken one is left out but
    // its level still raises the module's.
    Logger::Logged net(*logger, "Net", "1");
    EXPECT_EQ(net.verbosity(), Logger::VERBOSE);
    QN_LOG(net, Logger::WARN) << "net warning";
    QN_LOG(net, Logger::ERROR) << "net error";
    EXPECT_EQ(linesHolding(file("errors.log"), "net warning"), 0u);
    EXPECT_EQ(linesHolding(file("errors.log"), "net error"), 1u);

    // Loud's node holds only a level, so it takes every output; Quiet has no
    // node, and the leaf in Modules gives its level.
    Logger::Logged loud(*logger, "Loud", "1");
    EXPECT_EQ(loud.verbosity(), Logger::VERBOSE);
    Logger::Logged quiet(*logger, "Quiet", "1");
    EXPECT_EQ(quiet.verbosity(), Logger::ERROR);
    // A module without a node of its own takes Modules' level and all outputs.
    Logger::Logged other(*logger, "Other", "1");
    EXPECT_EQ(other.verbosity(), Logger::WARN);
    QN_LOG(other, Logger::WARN) << "other warning";
    EXPECT_EQ(linesHolding(file("errors.log"), "other warning"), 1u);
}

TEST_F(LoggerSettings, DefaultModuleNodeAndTheDefaultFileRaiseTheLevel) {
    put({kName, "Logger", "Outputs", "errors"}, {{"filename", file("errors.log").c_str()}});
    put({kName, "Logger", "Modules", "default"}, {{"errors", "ERROR"}});
    put({"Logger"}, {{"directory", (m_dir.string() + "\\").c_str()}});
    auto logger = makeLogger(Logger::WARN, true);
    Logger::Logged any(*logger, "Any", "1");
    // default names errors at ERROR, then the default file lifts it to WARN.
    EXPECT_EQ(any.verbosity(), Logger::WARN);
    QN_LOG(any, Logger::WARN) << "warned";
    EXPECT_EQ(linesHolding(file("errors.log"), "warned"), 0u);
    EXPECT_EQ(linesHolding(logger->logFileName(), "warned"), 1u);
}

TEST_F(LoggerSettings, AnOutputOnTheDefaultFileReplacesIt) {
    put({"Logger"}, {{"directory", (m_dir.string() + "/").c_str()}});
    const std::string defaultFile = m_dir.string() + "/\\TestLog.log";
    put({kName, "Logger", "Outputs", "main"}, {{"filename", defaultFile.c_str()}});
    // The banner's module resolves at construction, takes every output, and
    // so main replaces the default file at once.
    auto logger = makeLogger(Logger::INFO, true);
    EXPECT_EQ(logger->logFileName(), "");
    auto* main = asFile(logger->getOutput("main"));
    ASSERT_NE(main, nullptr);
    EXPECT_EQ(main->fileName(), defaultFile);
    EXPECT_EQ(main->mode(), logoutput::FileOutput::New);
}

TEST_F(LoggerSettings, AModuleWithItsOwnLogFile) {
    put({"Logger"}, {{"directory", (m_dir.string() + "\\").c_str()}});
    auto logger = makeLogger(Logger::DEBUG, true);
    Logger::Logged own("Own", "1", "own", 4096);
    EXPECT_EQ(own.verbosity(), Logger::INFO);
    EXPECT_TRUE(logger->hasOutput("Own"));
    QN_LOG(own, Logger::INFO) << "own line";
    const std::string ownFile = m_dir.string() + "\\own.log";
    EXPECT_GE(linesHolding(ownFile, "own line"), 1u);
    EXPECT_EQ(linesHolding(logger->logFileName(), "own line"), 0u);
    // A second object of the module keeps the output it already has.
    Logger::Logged again("Own", "2", "own", 4096);
    QN_LOG(again, Logger::INFO) << "second object";
    EXPECT_GE(linesHolding(ownFile, "second object"), 1u);
}

TEST_F(LoggerSettings, AnOwnLogFileAlsoGetsTheModeOfTheLoggersFileOutput) {
    put({"Logger"}, {{"directory", (m_dir.string() + "\\").c_str()}});
    put({kName, "Logger", "Outputs", "main"}, {{"filename", file("TestLog-main.log").c_str()},
                                               {"Mode", "Append"},
                                               {"max size", "500000"}});
    auto logger = makeLogger(Logger::DEBUG, true);  // the banner registers main
    Logger::Logged own("Own", "1", "own", 4096);
    // The output remembered for the module is the second one, on the same
    // path, in main's mode and with the greater limit.
    auto* second = asFile(logger->getOutput("Own"));
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->fileName(), m_dir.string() + "\\own.log");
    EXPECT_EQ(second->mode(), logoutput::FileOutput::Append);
    EXPECT_EQ(second->maxSize(), 500000u);
}
