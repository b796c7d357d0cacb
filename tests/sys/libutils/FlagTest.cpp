#include "sys/libutils/Flag.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <thread>

namespace qn::sys {
namespace {

// Bytes waiting in a flag's pipe, without taking them.
bool pipeHoldsByte(Waitable& waitable) {
    pollfd entry{waitable.getHandle(), POLLIN, 0};
    return poll(&entry, 1, 0) == 1;
}

TEST(Flag, RaiseBeforeFirstWaitMakesNoPipe) {
    AutoFlag flag;
    flag.raise();
    auto& state = static_cast<FlagState&>(flag.state());
    EXPECT_FALSE(state.pipeExists());
    EXPECT_TRUE(flag.wait(0));  // makes the pipe, finds the raise
    EXPECT_TRUE(state.pipeExists());
    EXPECT_FALSE(pipeHoldsByte(flag));
    EXPECT_FALSE(flag.wait(0));
}

TEST(Flag, PipeAgreesWithARaiseMadeBeforeIt) {
    Flag flag(false, true);
    flag.raise();
    flag.state().isSignalled();  // makes the pipe only
    EXPECT_TRUE(pipeHoldsByte(flag));
}

TEST(Flag, TwoRaisesWriteOneByte) {
    AutoFlag flag;
    EXPECT_FALSE(flag.wait(0));
    flag.raise();
    flag.raise();
    EXPECT_TRUE(flag.wait(0));
    EXPECT_FALSE(pipeHoldsByte(flag));
    EXPECT_FALSE(flag.wait(1000));
}

TEST(Flag, KeepRaisedWakesEveryWaitUntilLowered) {
    Flag flag(true, true);
    EXPECT_TRUE(flag.wait(0));
    EXPECT_TRUE(flag.wait(0));
    EXPECT_TRUE(flag.wait(1000));
    flag.lower();
    EXPECT_FALSE(flag.isRaised());
    EXPECT_FALSE(flag.wait(0));
    EXPECT_FALSE(pipeHoldsByte(flag));
}

TEST(Flag, LowerBeforeWaitCancelsTheRaise) {
    UnnamedFlag flag(true);
    flag.lower();
    EXPECT_FALSE(flag.wait(0));
    flag.raise();
    EXPECT_TRUE(flag.wait(0));
}

TEST(Flag, RaiseFromAnotherThreadWakesOneWaiterPerRaise) {
    AutoFlag flag;
    flag.wait(0);
    std::atomic<int> woken{0};
    std::thread first([&] { woken += flag.wait(5000000) ? 1 : 0; });
    std::thread second([&] { woken += flag.wait(300000) ? 1 : 0; });
    flag.raise();
    first.join();
    second.join();
    EXPECT_EQ(woken.load(), 1);
}

TEST(Flag, InterfacesReachTheSameFlag) {
    Flag flag;
    IWaitableFlag& asInterface = flag;
    asInterface.raise();
    EXPECT_EQ(asInterface.asWaitable(), &flag);
    EXPECT_TRUE(asInterface.asWaitable()->wait(0));
    EXPECT_FALSE(static_cast<ISecurableObject&>(flag).hasSecurity());
}

}  // namespace
}  // namespace qn::sys
