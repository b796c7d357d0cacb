#include <gtest/gtest.h>

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "sys/libutils/LogLine.h"
#include "tests/sys/libutils/LogTestSupport.h"

namespace qn::app::osx::qnuapp {
namespace {

using sys::Logger;

TEST(AgentLogging, LogsUnderTheAgentNameAndProcessIdAtDebug) {
    EXPECT_EQ(agentLog(), nullptr);
    testing::ScratchDir dir;
    // A logger built first is the one startAgentLogging finds; it puts the
    // file in the scratch directory as the configuration would.
    Logger logger("QuintorUserAgent", Logger::DEBUG, false, true, nullptr,
                  std::make_unique<testing::DirectoryConfiguration>(dir.path()));
    startAgentLogging(4711);
    ASSERT_NE(agentLog(), nullptr);
    EXPECT_EQ(agentLog()->getModule(), "QuintorUserAgent");
    EXPECT_EQ(agentLog()->getInstance(), "4711");
    EXPECT_TRUE(agentLog()->isEnabled(Logger::DEBUG));
    EXPECT_FALSE(agentLog()->isEnabled(Logger::VERBOSE));
    QN_LOG(*agentLog(), Logger::DEBUG) << "agent line";

    startAgentLogging(-5);
    EXPECT_EQ(agentLog()->getInstance(), "_5");  // the sanitised "-5"
    QN_LOG(*agentLog(), Logger::INFO) << "second object";

    const auto back = testing::readLogFile(dir / "QuintorUserAgent.log");
    ASSERT_EQ(back.lines.size(), 3u);
    sys::logline::Fields f;
    ASSERT_TRUE(sys::logline::parse(back.lines[1], f));
    EXPECT_EQ(f.module, "QuintorUserAgent");
    EXPECT_EQ(f.instance, "4711");
    EXPECT_EQ(f.level, "DEBUG");
    EXPECT_EQ(f.message, "agent line");
    ASSERT_TRUE(sys::logline::parse(back.lines[2], f));
    EXPECT_EQ(f.instance, "_5");
}

}  // namespace
}  // namespace qn::app::osx::qnuapp
