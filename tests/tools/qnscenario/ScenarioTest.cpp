#include "tools/qnscenario/Scenario.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/tools/qnscenario/ScenarioRejection.h"
#include "tools/qnscenario/ScenarioPlayer.h"

namespace qn::tools::qnscenario {
namespace {

TEST(ScenarioParseTest, RejectionsCarryTheLineOfWhatWasRejected) {
    EXPECT_EQ(rejection("{\n  \"steps\": [\n    {\"advance\": 1},,\n  ]\n}").first, 3);

    const std::string steps =
        "{\n"
        "  \"steps\": [\n"
        "    {\"advance\": 1},\n"
        "    {\"connect\": true}, {\"frobnicate\": 2},\n"
        "    {\"call\":\n"
        "      {\"selector\": 5}}\n"
        "  ]\n"
        "}\n";
    const auto unknown = rejection(steps);
    EXPECT_EQ(unknown.first, 4);
    EXPECT_NE(unknown.second.find("unknown step \"frobnicate\""), std::string::npos)
        << unknown.second;

    const auto badArgument =
        rejection("{\"steps\": [\n{\"advance\": 1},\n{\"call\":\n {\"selector\": 5}}]}");
    EXPECT_EQ(badArgument.first, 3);
    EXPECT_NE(badArgument.second.find("selector must be a string"), std::string::npos);

    const auto world =
        rejection("{\n\"description\": \"d\",\n\n\"world\": {\"displays\": [{\"id\": 0}]}}");
    EXPECT_EQ(world.first, 4);
    EXPECT_NE(world.second.find("not 0"), std::string::npos);

    EXPECT_EQ(rejection("{\"world\": {\"manager\": \"sideways\"}}").first, 1);
    EXPECT_NE(rejection("{\"steps\": [{\"advance\": -1}]}").second.find("0 or more"),
              std::string::npos);
    EXPECT_NE(
        rejection("{\"steps\": [{\"advance\": 1, \"connect\": true}]}").second.find("one key"),
        std::string::npos);
    EXPECT_NE(rejection("{\"stepz\": []}").second.find("unknown key \"stepz\""), std::string::npos);
    EXPECT_NE(rejection("{\"world\": {\"logVerbosity\": \"LOUD\"}}").second.find("level name"),
              std::string::npos);
    EXPECT_EQ(rejection("{\"world\": {\"logVerbosity\": \"verbose\"}}").first, 0);
    EXPECT_EQ(rejection("{\"world\": {\"displays\": [{\"id\": 3, \"adapter\": 1}]}, \"steps\": []}")
                  .first,
              0);
}

TEST(ScenarioPlayTest, ExpectationsCompareWhatHappenedSinceThePreviousOne) {
    const auto scenario = parseScenario(R"({
      "world": {"manager": "up"},
      "steps": [
        {"connect": true},
        {"observe": ["QNM_Notification_Stop_Display_Stream"]},
        {"call": {"selector": "started:withSessionType:", "arguments": [1, 0]}},
        {"post": {"name": "QNM_Notification_Stop_Display_Stream", "userInfo": {"k": 1}}},
        {"advance": 0},
        {"expect": {"calls": ["started:withSessionType:"],
                    "observed": ["QNM_Notification_Stop_Display_Stream"]}},
        {"call": {"selector": "closing"}},
        {"expect": {"calls": ["started:withSessionType:"]}}
      ]})");
    std::ostringstream out;
    ScenarioPlayer player(out);
    std::string failure;
    EXPECT_FALSE(player.play(scenario, failure));
    EXPECT_NE(failure.find("line 12"), std::string::npos) << failure;
    EXPECT_NE(failure.find("got [closing]"), std::string::npos) << failure;
    EXPECT_NE(out.str().find(R"({"t":0.0,"agent":"notification")"), std::string::npos) << out.str();
}

TEST(ScenarioPlayTest, ObjectsMisusedOnTheHostFailTheScenario) {
    const auto scenario = parseScenario(R"({"steps": [{"advance": 1}]})");
    std::ostringstream out;
    ScenarioPlayer player(out);
    player.host().faults().record("CFRelease on a freed surface");
    std::string failure;
    EXPECT_FALSE(player.play(scenario, failure));
    EXPECT_NE(failure.find("misused"), std::string::npos);
}

}  // namespace
}  // namespace qn::tools::qnscenario
