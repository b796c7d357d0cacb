#include "platform/sim/SimSystem.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>

namespace qn::platform::sim {
namespace {

int g_signal = 0;
void handler(int signal) {
    g_signal = signal;
}

class SimSystemTest : public ::testing::Test {
  protected:
    SimRunLoop loop;
    SimSystem system{loop};
};

TEST_F(SimSystemTest, KernelReleaseIsCopiedOnlyIntoABufferLargeEnough) {
    system.setKernelRelease("12.5.0");
    std::size_t length = 0;
    ASSERT_EQ(system.sysctlbyname("kern.osrelease", nullptr, &length, nullptr, 0), 0);
    EXPECT_EQ(length, 7u);
    char small[4];
    length = sizeof small;
    EXPECT_EQ(system.sysctlbyname("kern.osrelease", small, &length, nullptr, 0), -1);
    char buffer[256];
    length = sizeof buffer;
    ASSERT_EQ(system.sysctlbyname("kern.osrelease", buffer, &length, nullptr, 0), 0);
    EXPECT_STREQ(buffer, "12.5.0");
    EXPECT_EQ(system.sysctlbyname("kern.other", buffer, &length, nullptr, 0), -1);
}

TEST_F(SimSystemTest, SessionLookupFailsWithoutWriting) {
    SecuritySessionId id = 0;
    SessionAttributeBits bits = 0;
    ASSERT_EQ(system.SessionGetInfo(callerSecuritySession, &id, &bits), errSessionSuccess);
    EXPECT_EQ(id, 100000u);
    system.setSessionInfoFails(true);
    id = 0;
    EXPECT_NE(system.SessionGetInfo(callerSecuritySession, &id, &bits), errSessionSuccess);
    EXPECT_EQ(id, 0u);
}

TEST_F(SimSystemTest, SignalsSleepAndExit) {
    EXPECT_FALSE(system.raise(SIGTERM));
    EXPECT_EQ(system.signal(SIGTERM, &handler), SIG_DFL);
    EXPECT_TRUE(system.raise(SIGTERM));
    EXPECT_EQ(g_signal, SIGTERM);
    system.setSignalFails(true);
    EXPECT_EQ(system.signal(SIGTERM, &handler), SIG_ERR);

    bool ran = false;
    loop.schedule(SimRunLoop::kSecond, [&] { ran = true; });
    system.sleep(3);
    EXPECT_FALSE(ran) << "a sleeping main thread runs nothing";
    EXPECT_EQ(loop.now(), 3 * SimRunLoop::kSecond);

    try {
        system.exit(1);
        FAIL();
    } catch (const SimExit& e) {
        EXPECT_EQ(e.status, 1);
    }
}

}  // namespace
}  // namespace qn::platform::sim
