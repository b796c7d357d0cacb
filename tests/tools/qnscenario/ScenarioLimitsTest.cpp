#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "platform/sim/SimRunLoop.h"
#include "tests/tools/qnscenario/ScenarioRejection.h"
#include "tools/qnscenario/Scenario.h"

namespace qn::tools::qnscenario {
namespace {

std::string nested(const std::string& open, const std::string& close, int depth) {
    std::string text;
    for (int i = 0; i < depth; ++i) {
        text += open;
    }
    text += "1";
    for (int i = 0; i < depth; ++i) {
        text += close;
    }
    return text;
}

TEST(ScenarioLimitsTest, DeepNestingIsRefusedWithItsLine) {
    const std::string userInfo =
        "{\"steps\": [\n{\"advance\": 1},\n{\"post\": {\"name\": \"N\", "
        "\"userInfo\": " +
        nested("{\"a\":", "}", 40000) + "}}]}";
    EXPECT_EQ(rejection(userInfo), std::make_pair(3, std::string("nested deeper than 64 levels")));
    const std::string session =
        "{\"world\":\n{\"session\": " + nested("[", "]", 40000) + "}, \"steps\": []}";
    EXPECT_EQ(rejection(session), std::make_pair(2, std::string("nested deeper than 64 levels")));
    // Brackets inside strings are text, not nesting.
    const std::string quoted = "{\"description\": \"" + std::string(100, '[') + "\"}";
    EXPECT_EQ(rejection(quoted).first, 0) << rejection(quoted).second;
}

TEST(ScenarioLimitsTest, AdvancesBeyondTheClockAreRefusedWithTheirLine) {
    EXPECT_EQ(rejection("{\"steps\": [\n{\"advance\": 1e10}]}"),
              std::make_pair(2, std::string("step 1 (advance): the virtual clock cannot go past "
                                            "9223372036 s")));
    EXPECT_EQ(rejection("{\"steps\": [\n{\"advance\": 9e9},\n{\"advance\": 9e9}]}").first, 3);
    EXPECT_EQ(rejection("{\"steps\": [\n{\"advance\": 9e9},\n{\"advance\": 2e8}]}").first, 0);

    platform::sim::SimRunLoop loop;
    bool ran = false;
    loop.schedule(5, [&] { ran = true; });
    EXPECT_THROW(loop.advanceSeconds(1e10), std::overflow_error);
    loop.advanceSeconds(9e9);
    EXPECT_TRUE(ran);
    EXPECT_THROW(loop.advanceSeconds(9e9), std::overflow_error);
    EXPECT_THROW(loop.sleep(platform::sim::SimRunLoop::kSecond * 1000000000), std::overflow_error);
    EXPECT_EQ(loop.now(), 9000000000 * platform::sim::SimRunLoop::kSecond);
}

}  // namespace
}  // namespace qn::tools::qnscenario
