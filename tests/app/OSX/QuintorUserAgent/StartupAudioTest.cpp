#include <gtest/gtest.h>

#include "app/OSX/QuintorUserAgent/QuintorUserAgent.h"
#include "tests/app/OSX/QuintorUserAgent/AgentTestSupport.h"

namespace qn::app::osx::qnuapp {
namespace {

using platform::sim::SimRunLoop;

platform::sim::SimCoreAudio::Device adapterAudio() {
    platform::sim::SimCoreAudio::Device d;
    d.id = 40;
    d.modelUID = "usb:abcd:1";
    d.sampleRate = 44100.0;
    return d;
}

TEST(AgentAudio, ListensFromBeforeTheWaitsUntilMainReturns) {
    testing::AgentHost agent;
    auto& host = agent.host();
    platform::Value away;
    away.set(platform::kCGSSessionOnConsoleKey, platform::kCFBooleanFalse());
    host.quartz().setSession(away);

    std::size_t writesWhileWaiting = 0;
    // Lookups and calls the Manager had seen.
    std::size_t managerEventsWhileWaiting = 1;
    host.runLoop().scheduleWorld(SimRunLoop::kSecond + SimRunLoop::kSecond / 2, [&] {
        host.coreAudio().addDevice(adapterAudio());
        host.coreAudio().flush();
        writesWhileWaiting = host.coreAudio().setCalls().size();
        managerEventsWhileWaiting = 0;
        for (const auto& event : host.manager().transcript()) {
            using Kind = platform::sim::SimManagerEvent::Kind;
            managerEventsWhileWaiting += event.kind == Kind::Lookup || event.kind == Kind::Call;
        }
    });
    host.runLoop().scheduleWorld(3 * SimRunLoop::kSecond, [&] {
        platform::Value here;
        here.set(platform::kCGSSessionOnConsoleKey, platform::kCFBooleanTrue());
        host.quartz().setSession(here);
    });
    host.foundation().setRunHorizon(5 * SimRunLoop::kSecond);
    EXPECT_EQ(agentMain(), 0);

    // The adapter got its rate while the agent still waited for the user.
    EXPECT_EQ(writesWhileWaiting, 1u);
    EXPECT_EQ(managerEventsWhileWaiting, 0u);
    EXPECT_EQ(host.coreAudio().propertyReal(40, platform::kAudioDevicePropertyActualSampleRate),
              48000.0);
    EXPECT_FALSE(agent.newCalls().empty());
    // One listener, gone once main has returned.
    EXPECT_EQ(host.coreAudio().listenerAdds(), 1u);
    EXPECT_EQ(host.coreAudio().listenerRemoves(), 1u);
    EXPECT_EQ(host.coreAudio().listenerCount(), 0u);
}

TEST(AgentAudio, MadeBeforeTheSignalHandlerAndDeletedWhenItFails) {
    testing::AgentHost agent;
    agent.host().system().setSignalFails(true);
    EXPECT_EQ(agentMain(), 1);
    EXPECT_EQ(agent.host().coreAudio().listenerAdds(), 1u);
    EXPECT_EQ(agent.host().coreAudio().listenerRemoves(), 1u);
    EXPECT_EQ(agent.host().coreAudio().listenerCount(), 0u);
}

}  // namespace
}  // namespace qn::app::osx::qnuapp
