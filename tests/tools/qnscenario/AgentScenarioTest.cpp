#include <gtest/gtest.h>

#include <sstream>

#include "tools/qnscenario/Scenario.h"
#include "tools/qnscenario/ScenarioPlayer.h"

namespace qn::tools::qnscenario {
namespace {

std::string rejectionOf(const std::string& text) {
    try {
        parseScenario(text);
    } catch (const ScenarioError& e) {
        return e.what();
    }
    return "";
}

TEST(AgentScenario, StandInStepsAreRefusedWhenTheAgentPlays) {
    EXPECT_NE(rejectionOf("{\"agent\": true,\n\"steps\": [{\"advance\": 1},\n{\"connect\": true}]}")
                  .find("line 3: step 2 (connect): the agent itself plays this part"),
              std::string::npos);
    EXPECT_EQ(rejectionOf("{\"agent\": true, \"steps\": [{\"signal\": 15}, {\"advance\": 1}]}"),
              "");
    EXPECT_NE(rejectionOf("{\"agent\": \"yes\"}"), "");
}

TEST(AgentScenario, StepsHappenAtTheTimesTheAdvancesAddUpTo) {
    const Scenario scenario = parseScenario(R"({"agent": true,
        "world": {"session": {"kCGSSessionOnConsoleKey": true}, "manager": "down",
                  "displays": [{"id": 5, "bounds": [0, 0, 800, 600]}]},
        "steps": [{"advance": 1.5}, {"manager": "up"}, {"advance": 2}, {"signal": 15},
                  {"advance": 3}]})");
    std::ostringstream out;
    ScenarioPlayer player(out);
    std::string failure;
    ASSERT_TRUE(player.play(scenario, failure)) << failure;
    EXPECT_EQ(player.agentEnd(), "exit");
    EXPECT_EQ(player.agentStatus(), 0);
    const std::string transcript = out.str();
    EXPECT_NE(transcript.find("{\"t\":1.5,\"manager\":\"registered\"}"), std::string::npos);
    EXPECT_NE(
        transcript.find("{\"t\":2.0,\"lookup\":\"com.quintor.QuintorManager\",\"found\":true}"),
        std::string::npos);
    EXPECT_NE(transcript.find("{\"t\":3.5,\"call\":\"closing\",\"args\":[]}"), std::string::npos);
    // Nothing after the exit.
    EXPECT_EQ(transcript.substr(transcript.rfind("{\"t\"")),
              "{\"t\":3.5,\"agent\":\"exit\",\"status\":0}\n");
}

TEST(AgentScenario, AnAgentLeftRunningIsReportedSo) {
    const Scenario scenario = parseScenario(R"({"agent": true,
        "world": {"session": {"kCGSSessionOnConsoleKey": true}, "manager": "up",
                  "displays": [{"id": 5, "bounds": [0, 0, 800, 600]}]},
        "steps": [{"advance": 4}, {"signal": 2}]})");
    std::ostringstream out;
    ScenarioPlayer player(out);
    std::string failure;
    ASSERT_TRUE(player.play(scenario, failure)) << failure;
    EXPECT_EQ(player.agentEnd(), "running");
    // Only SIGTERM has a handler.
    EXPECT_NE(out.str().find("{\"t\":4.0,\"signal\":2,\"handled\":false}"), std::string::npos);
}

}  // namespace
}  // namespace qn::tools::qnscenario
