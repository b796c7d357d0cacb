#include "sys/libutils/WaitableList.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>

#include "sys/libutils/Flag.h"
#include "sys/libutils/HandleReadWaitable.h"

namespace qn::sys {
namespace {

TEST(WaitableList, EmptyListTimesOutAfterTheTimeOut) {
    WaitableList list;
    auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(list.waitForAny(20000), kWaitTimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(15));
}

TEST(WaitableList, GivesIndexOfFirstSignalled) {
    AutoFlag a, b, c;
    WaitableList list;
    list.add(&a);
    list.add(&b);
    list.add(&c);
    c.raise();
    b.raise();
    EXPECT_EQ(list.waitForAny(0), 1u);
    EXPECT_EQ(list.waitForAny(0), 2u);
    EXPECT_EQ(list.waitForAny(1000), kWaitTimedOut);
}

TEST(WaitableList, AddMovesAnEntryToTheEnd) {
    AutoFlag a, b;
    WaitableList list;
    list.add(&a);
    list.add(&b);
    list.add(&a);
    EXPECT_EQ(list.size(), 2u);
    a.raise();
    EXPECT_EQ(list.waitForAny(0), 1u);
    list.remove(&b);
    a.raise();
    EXPECT_EQ(list.waitForAny(0), 0u);
    WaitableList other;
    other.addAll(list);
    EXPECT_EQ(other.size(), 1u);
}

TEST(WaitableList, ReadHandleGoesByItsDescriptor) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    HandleReadWaitable readable(ends[0]);
    AutoFlag flag;
    WaitableList list;
    list.add(&flag);
    list.add(&readable);
    EXPECT_FALSE(readable.wait(0));
    EXPECT_EQ(list.waitForAny(1000), kWaitTimedOut);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_TRUE(readable.wait(0));
    EXPECT_EQ(list.waitForAny(kWaitForever), 1u);
    EXPECT_EQ(list.waitForAny(0), 1u);  // never reads: still ready
    close(ends[0]);
    close(ends[1]);
}

// Ready descriptor, but the state refuses the claim (as a flag lowered by
// another waiter between the poll and the claim would).
class RefusingState : public Waitable::State {
  public:
    explicit RefusingState(int descriptor) : State(descriptor) {}
    bool wait(std::uint32_t) override { return false; }
    bool isSignalled() override { return false; }
    bool acknowledge() override { return false; }
};

TEST(WaitableList, ReadyButUnclaimedGivesNoneClaimed) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    Waitable refusing(std::make_unique<RefusingState>(ends[0]));
    WaitableList list;
    list.add(&refusing);
    EXPECT_EQ(list.waitForAny(kWaitForever), kWaitNoneClaimed);
    close(ends[0]);
    close(ends[1]);
}

}  // namespace
}  // namespace qn::sys
