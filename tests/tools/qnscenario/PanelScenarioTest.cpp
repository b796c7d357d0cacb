#include <gtest/gtest.h>

#include <sstream>

#include "tools/qnscenario/Scenario.h"
#include "tools/qnscenario/ScenarioPlayer.h"

namespace qn::tools::qnscenario {
namespace {

std::vector<std::string> play(const std::string& text, std::string& failure) {
    std::ostringstream out;
    {
        ScenarioPlayer player(out);
        player.play(parseScenario(text), failure);
    }
    std::vector<std::string> lines;
    std::istringstream in(out.str());
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(PanelScenario, WindowsAreShownHiddenAndClosedInTheTranscript) {
    std::string failure;
    const auto lines = play(R"({"steps": [
        {"showMessage": {"text": "Adapter A needs new software. Get it from ",
                         "link": "https://www.example.com/download"}},
        {"advance": 5},
        {"showMessage": {"title": "Monitor mode restricted", "text": "Monitor 1 at 1920x1080"}},
        {"clickIcon": 1},
        {"clickIcon": 1},
        {"advance": 10},
        {"advance": 5}
    ]})",
                            failure);
    EXPECT_EQ(failure, "");
    EXPECT_EQ(lines,
              (std::vector<std::string>{
                  R"({"t":0.0,"window":"shown","id":1,"title":"","text":"Adapter A needs new )"
                  R"(software. Get it from www.example.com","link":"https://www.example.com/)"
                  R"(download","frame":[1510.0,945.0,400.0,105.0]})",
                  R"({"t":5.0,"window":"shown","id":2,"title":"Monitor mode restricted","text":)"
                  R"("Monitor 1 at 1920x1080","link":null,"frame":[1510.0,945.0,400.0,105.0]})",
                  // A second click on a hidden window changes nothing and says nothing.
                  R"({"t":5.0,"window":"hidden","id":1})", R"({"t":15.0,"window":"closed","id":1})",
                  R"({"t":20.0,"window":"closed","id":2})"}));
}

TEST(PanelScenario, ClickingWhereThereIsNoIconFailsTheScenario) {
    std::string failure;
    play(R"({"steps": [{"clickIcon": 3}]})", failure);
    EXPECT_NE(failure.find("window 3 has no icon to click"), std::string::npos) << failure;
    failure.clear();
    play(R"({"steps": [{"showMessage": {"text": "x"}}, {"advance": 15}, {"clickIcon": 1}]})",
         failure);
    EXPECT_NE(failure.find("window 1 has no icon to click"), std::string::npos) << failure;
    try {
        parseScenario(R"({"agent": true, "steps": [{"showMessage": {"text": "x"}}]})");
        ADD_FAILURE() << "a stand-in step was accepted in an agent scenario";
    } catch (const ScenarioError& e) {
        EXPECT_NE(std::string(e.what()).find("the agent itself plays this part"),
                  std::string::npos);
    }
}

}  // namespace
}  // namespace qn::tools::qnscenario
