#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "app/OSX/QuintorUserAgent/QuartzDisplayNotificationObserver.h"
#include "tests/app/OSX/QuintorUserAgent/AgentTestSupport.h"

namespace qn::app::osx::qnuapp {
namespace {

using Lines = std::vector<std::string>;
using platform::CGDirectDisplayID;
using testing::kDisplay;
// Display id, flags and the time in seconds of one display report.
using Report = std::tuple<CGDirectDisplayID, std::uint32_t, double>;

constexpr CGDirectDisplayID kSecond = 0x2001;
constexpr CGDirectDisplayID kThird = 0x2002;

// An observer with the Manager's proxy and its callbacks registered, beside the
// machine's display and two more.
class DisplayReconfiguration : public ::testing::Test {
  protected:
    explicit DisplayReconfiguration(const char* release = "13.0.0") {
        agent.host().system().setKernelRelease(release);
        place(kSecond);
        place(kThird);
        auto proxy = agent.host().foundation().rootProxyForConnectionWithRegisteredName(
            platform::sim::SimManager::kRegisteredName, nullptr);
        proxy.setProtocolForProxy("QNUAMessageHandlerProtocol");
        observer.setQnmProxy(proxy);
        observer.registerToQuartzDisplayNotifications();
    }

    void place(CGDirectDisplayID id, bool online = true) {
        platform::sim::SimDisplaySpec spec;
        spec.display.id = id;
        spec.display.online = online;
        agent.world().placeDisplay(spec);
    }
    // The display reports the Manager got since the last call.
    std::vector<Report> reports() {
        std::vector<Report> result;
        const auto calls = agent.host().manager().calls();
        for (auto i = m_seen; i < calls.size(); ++i) {
            const auto& args = calls[i].arguments;
            result.emplace_back(args.at(0).unsignedIntValue(), args.at(1).unsignedIntValue(),
                                calls[i].time);
        }
        m_seen = calls.size();
        return result;
    }
    void settle() {
        observer.sendReconfigurationToOnlineDisplays();
        agent.host().runLoop().runPending();
        reports();
        agent.newLines();
    }

    testing::AgentHost agent;
    QuartzDisplayNotificationObserver observer;

  private:
    std::size_t m_seen = 0;
};

class DisplayReconfigurationOnRelease12 : public DisplayReconfiguration {
  protected:
    DisplayReconfigurationOnRelease12() : DisplayReconfiguration("12.5.0") {}
};

TEST_F(DisplayReconfiguration, EveryCallbackGetsItsOwnDelayedModeReportsAlsoWhenDropped) {
    settle();
    auto& quartz = agent.host().quartz();
    quartz.reconfigure(kSecond, platform::kCGDisplayBeginConfigurationFlag);
    quartz.reconfigure(kSecond, platform::kCGDisplaySetModeFlag);
    quartz.reconfigure(0x9999, platform::kCGDisplayAddFlag);  // no such display: the gate
    agent.host().runLoop().advanceSeconds(1.0);
    quartz.reconfigure(kThird, platform::kCGDisplaySetModeFlag);
    agent.host().runLoop().advanceSeconds(1.5);

    const std::uint32_t mode = platform::kCGDisplaySetModeFlag;
    EXPECT_EQ(reports(), (std::vector<Report>{
                             {kSecond, mode, 0.0},
                             {kThird, mode, 1.0},
                             // the begin event's reports, then the set-mode event's
                             {kDisplay, mode, 2.0},
                             {kThird, mode, 2.0},
                             {kDisplay, mode, 2.0},
                             {kThird, mode, 2.0},
                             // the dropped event's: every online display
                             {kDisplay, mode, 2.0},
                             {kSecond, mode, 2.0},
                             {kThird, mode, 2.0},
                         }));
    agent.host().runLoop().advanceSeconds(1.0);
    EXPECT_EQ(reports(), (std::vector<Report>{{kDisplay, mode, 3.0}, {kSecond, mode, 3.0}}));
}

TEST_F(DisplayReconfigurationOnRelease12, NoDelayedReportsBelowRelease13) {
    settle();
    agent.host().quartz().reconfigure(kSecond, platform::kCGDisplaySetModeFlag);
    agent.host().runLoop().advanceSeconds(5.0);
    EXPECT_EQ(reports(), (std::vector<Report>{{kSecond, platform::kCGDisplaySetModeFlag, 0.0}}));
}

TEST_F(DisplayReconfiguration, ModelKnowsSixtyFourDisplaysAtMost) {
    for (CGDirectDisplayID id = 0x3000; id < 0x3000 + 62; ++id) {
        place(id);
    }
    // 65 online now: the machine's, the two others, 62 more.
    settle();
    observer.sendReconfigurationToOnlineDisplays();
    const auto full = reports();
    ASSERT_EQ(full.size(), 64u);
    EXPECT_EQ(std::get<0>(full.back()), 0x3000u + 60);

    // The 65th is online but not in the first 64: never added, its add bit cleared.
    const CGDirectDisplayID last = 0x3000 + 61;
    observer.reconfigurationDisplay_withFlags(last, platform::kCGDisplayAddFlag);
    EXPECT_EQ(reports(), (std::vector<Report>{{last, 0, 0.0}}));
    EXPECT_FALSE(observer.desktopModel().contains(last));
}

TEST_F(DisplayReconfiguration, EmptyListsAndArraysSendAndLogNothingBeyondTheirOwnLine) {
    settle();
    agent.host().quartz().setWindowServer(false);
    observer.sendReconfigurationToOnlineDisplays();
    observer.sendUpdateConfigurationToOnlineDisplaysOtherThan(0x2a);
    observer.refreshRects_withRectCount(nullptr, 0);
    observer.updateMoveRects_withDelta_andWithRectCount(nullptr, {0, 0}, 0);
    EXPECT_EQ(reports(), std::vector<Report>{});
    EXPECT_EQ(agent.newLines(),
              (Lines{"DEBUG sendUpdateConfigurationToOnlineDisplaysOtherThan2a"}));
}

TEST_F(DisplayReconfiguration, DisplayAddedWithoutProxyIsKnownAndLaterReportedWithMadeUpAdd) {
    settle();
    observer.setQnmProxy(platform::ProxyRef());
    place(0x4001);
    observer.reconfigurationDisplay_withFlags(0x4001, platform::kCGDisplaySetModeFlag);
    EXPECT_TRUE(observer.desktopModel().contains(0x4001));
    EXPECT_EQ(reports(), std::vector<Report>{});

    observer.setQnmProxy(agent.host().foundation().rootProxyForConnectionWithRegisteredName(
        platform::sim::SimManager::kRegisteredName, nullptr));
    observer.sendReconfigurationToOnlineDisplays();
    const auto full = reports();
    ASSERT_EQ(full.size(), 4u);
    EXPECT_EQ(full.back(), (Report{0x4001, platform::kCGDisplayAddFlag, 0.0}));
    const auto lines = agent.newLines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "DEBUG Added display with id 0x4001"), 1);
}

}  // namespace
}  // namespace qn::app::osx::qnuapp
