#include "sys/libutils/ErrorHandler.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <future>
#include <regex>
#include <stdexcept>
#include <thread>

#include "sys/libutils/Exception.h"
#include "sys/libutils/Logger.h"
#include "tests/sys/libutils/LogTestSupport.h"

namespace qn::sys {
namespace {

template <typename Throw>
std::string describe(Throw&& raise) {
    try {
        raise();
    } catch (...) {
        return describeCurrentException();
    }
    return "nothing thrown";
}

class WhatOnly : public SystemException {
  public:
    const char* what() const override { return "system exception"; }
};

TEST(ErrorHandler, DescribesEachKindOfException) {
    EXPECT_EQ(describe([] { throw IntException(35, 1); }), "Message 0x00000023");
    EXPECT_EQ(describe([] { throw SystemErrorCodeException(13); }),
              "posix 0x0000000d: Permission denied");
    EXPECT_EQ(describe([] { throw std::runtime_error("plain"); }), "plain");
    EXPECT_EQ(describe([] { throw "text"; }), "text");
    EXPECT_EQ(describe([] { throw WhatOnly(); }), "system exception");
    EXPECT_EQ(describe([] { throw 42; }), "Unknown exception type");
}

// Death tests: the handlers end the process, and report to stderr here.
bool stderrEnabled(const logseam::LogSource&, int) {
    return true;
}
void stderrWrite(const logseam::LogSource& source, int level, const char*, int,
                 const std::string& message) {
    std::fprintf(stderr, "[%s] %d %s\n", source.module.c_str(), level, message.c_str());
}

// Only write(2): the abort handler calls this from signal context.
void stderrWriteFromSignal(const logseam::LogSource& source, int level, const char*, int,
                           const char* message) {
    const auto put = [](const char* text) {
        const ssize_t ignored = ::write(STDERR_FILENO, text, std::strlen(text));
        (void)ignored;
    };
    const char digit[2] = {static_cast<char>('0' + level % 10), '\0'};
    put("[");
    put(source.module.c_str());
    put("] ");
    put(digit);
    put(" ");
    put(message);
    put("\n");
}

void installWithStderr() {
    logseam::setSink({&stderrEnabled, &stderrWrite, &stderrWriteFromSignal});
    installErrorHandler();
}

void failAtTopLevel() {
    logseam::LogSource mine{"Worker", "w1"};
    try {
        throw StringException(38, "busy");
    } catch (...) {
        reportTopLevelException("main", &mine);
    }
}

class ErrorHandlerDeath : public ::testing::Test {
  protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(ErrorHandlerDeath, TerminateLogsOnceAndAborts) {
    EXPECT_DEATH(
        {
            installWithStderr();
            std::terminate();
        },
        "\\[ErrorHandler\\] 1 Terminating\n.*dumpOSCore called - not yet implemented");
}

// Under the thread sanitizer these also prove the handler signal-safe: an
// allocation or a lock in it is reported and ends the child the wrong way.
TEST_F(ErrorHandlerDeath, AbortIsReported) {
    EXPECT_EXIT(
        {
            installWithStderr();
            std::abort();
        },
        ::testing::KilledBySignal(SIGABRT),
        "\\[ErrorHandler\\] 1 Aborting\n\\[ErrorHandler\\] 2 dumpOSCore called - not yet "
        "implemented");
}

// Through a real logger: the line is armoured into the log file by the
// buffers the logger made at start, and reads back with the right chain.
TEST_F(ErrorHandlerDeath, AbortLineReachesTheLogFileWhileAnotherThreadHoldsTheLogger) {
    // A forked child without a new exec, so that it writes into this folder.
    GTEST_FLAG_SET(death_test_style, "fast");
    qn::testing::ScratchDir dir;
    EXPECT_EXIT(
        {
            Logger logger("app", Logger::INFO, false, true, nullptr,
                          std::make_unique<qn::testing::DirectoryConfiguration>(dir.path()));
            installErrorHandler();
            // The lock is recursive, so the aborting thread must not be its holder: a
            // handler that took the lock would pass then. Another thread keeps it.
            std::promise<void> held;
            std::thread holder([&held] {
                Logger::lock();
                held.set_value();
                for (;;) {
                    ::pause();
                }
            });
            holder.detach();
            held.get_future().wait();
            // A handler that waits for the lock never returns: SIGALRM then ends the
            // child, which is not the SIGABRT expected.
            ::alarm(5);
            std::abort();
        },
        ::testing::KilledBySignal(SIGABRT), "");
    const qn::testing::ReadBack back = qn::testing::readLogFile(dir / "app.log");
    EXPECT_EQ(back.unreadable, 0U);
    ASSERT_EQ(back.lines.size(), 3U);
    EXPECT_NE(back.lines[0].find("Started at"), std::string::npos) << back.lines[0];
    EXPECT_TRUE(std::regex_search(
        back.lines[1], std::regex("^\\d\\d:\\d\\d:\\d\\d\\.\\d{3}\t\tErrorHandler\t\tFATAL\t"
                                  "ErrorHandler\\.cpp:\\d+\tAborting$")))
        << back.lines[1];
    EXPECT_NE(back.lines[2].find("\tERROR\t"), std::string::npos) << back.lines[2];
    EXPECT_NE(back.lines[2].find("\tdumpOSCore called - not yet implemented"), std::string::npos);
}

TEST_F(ErrorHandlerDeath, TopLevelExceptionNamesPlaceAndException) {
    EXPECT_DEATH(
        {
            installWithStderr();
            failAtTopLevel();
        },
        "\\[Worker\\] 1 Top level exception at main: Message 0x00000026");
}

TEST_F(ErrorHandlerDeath, OnlyTheFirstFatalEventIsReported) {
    EXPECT_DEATH(
        {
            installWithStderr();
            EXPECT_TRUE(enterFatalHandling());
            EXPECT_FALSE(enterFatalHandling());
            std::fprintf(stderr, "flag set\n");
            std::terminate();
        },
        "flag set\n$");
}

}  // namespace
}  // namespace qn::sys
