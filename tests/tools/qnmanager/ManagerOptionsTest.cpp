#include <gtest/gtest.h>

#include "tools/qnmanager/CallRules.h"
#include "tools/qnmanager/ManagerOptions.h"

namespace qn::tools::qnmanager {
namespace {

TEST(ManagerOptions, CommandLineBecomesCommandsInOrder) {
    std::string error;
    const auto options = parseManagerOptions(
        {"--address", "unix:path=/tmp/bus", "--ready-fd", "3", "--post",
         "QNM_Notification_Sw_Update_Required={\"QNM_Notification_Devicekey\":\"a=b\"}", "--refuse",
         "closing=Manager is busy = really", "--delay", "onRectRefreshed:onDisplayID:=2.5",
         "--post", "QNM_Notification_Stop_Display_Stream"},
        error);
    ASSERT_TRUE(options) << error;
    EXPECT_EQ(options->address, "unix:path=/tmp/bus");
    EXPECT_EQ(options->readyFd, 3);
    EXPECT_EQ(
        options->commands,
        (std::vector<std::string>{
            "post QNM_Notification_Sw_Update_Required {\"QNM_Notification_Devicekey\":\"a=b\"}",
            "refuse closing Manager is busy = really", "delay onRectRefreshed:onDisplayID: 2.5",
            "post QNM_Notification_Stop_Display_Stream"}));
}

TEST(ManagerOptions, MistakesAreUsageErrors) {
    std::string error;
    EXPECT_FALSE(parseManagerOptions({"--refuse"}, error));
    EXPECT_NE(error.find("needs a value"), std::string::npos);
    EXPECT_FALSE(parseManagerOptions({"--refuse", "closing"}, error));
    EXPECT_FALSE(parseManagerOptions({"--refuse", "=busy"}, error));
    EXPECT_FALSE(parseManagerOptions({"--ready-fd", "x"}, error));
    EXPECT_FALSE(parseManagerOptions({"--ready-fd", "-1"}, error));
    EXPECT_FALSE(parseManagerOptions({"--verbose"}, error));
    EXPECT_EQ(error, "unknown option --verbose");
}

TEST(ManagerOptions, TheDriverEndpointsAndWhatIsDoneWithFrames) {
    std::string error;
    auto options = parseManagerOptions({}, error);
    ASSERT_TRUE(options) << error;
    EXPECT_TRUE(options->driverIndices.empty());
    EXPECT_EQ(options->releaseDelayMs, -1);

    options = parseManagerOptions({"--driver-dir", "/tmp/d", "--driver-index", "1",
                                   "--driver-index", "3", "--release-delay-ms", "200", "--png-last",
                                   "/tmp/f.png", "--png-dir", "/tmp/p", "--stream-adapters"},
                                  error);
    ASSERT_TRUE(options) << error;
    EXPECT_EQ(options->driverDirectory, "/tmp/d");
    EXPECT_EQ(options->driverIndices, (std::vector<std::uint32_t>{1, 3}));
    EXPECT_EQ(options->releaseDelayMs, 200);
    EXPECT_EQ(options->pngLast, "/tmp/f.png");
    EXPECT_EQ(options->pngDirectory, "/tmp/p");
    EXPECT_TRUE(options->streamAdapters);

    for (const char* bad : {"-1", "x", "", "4294967296"}) {
        EXPECT_FALSE(parseManagerOptions({"--driver-index", bad}, error)) << bad;
        EXPECT_EQ(error, "--driver-index needs a number");
    }
    EXPECT_FALSE(parseManagerOptions({"--release-delay-ms", "2.5"}, error));

    options = parseManagerOptions({"--copy-sink", "/tmp/sink"}, error);
    ASSERT_TRUE(options) << error;
    EXPECT_EQ(options->copySink, "/tmp/sink");
    EXPECT_FALSE(parseManagerOptions({"--copy-sink"}, error));
    EXPECT_EQ(error, "--copy-sink needs a value");
}

TEST(CallRules, EachRuleServesTheNextCallOfItsSelectorOnly) {
    CallRules rules;
    rules.refuseNext("closing", "busy");
    rules.delayNext("onRectRefreshed:onDisplayID:", 1.5);
    EXPECT_FALSE(rules.take("started:withSessionType:").refusal);
    const auto refused = rules.take("closing");
    ASSERT_TRUE(refused.refusal);
    EXPECT_EQ(*refused.refusal, "busy");
    EXPECT_FALSE(rules.take("closing").refusal);
    EXPECT_EQ(rules.take("onRectRefreshed:onDisplayID:").delaySeconds, 1.5);
    EXPECT_EQ(rules.take("onRectRefreshed:onDisplayID:").delaySeconds, 0);
}

}  // namespace
}  // namespace qn::tools::qnmanager
