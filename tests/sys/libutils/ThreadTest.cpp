#include "sys/libutils/posix/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "SeamCapture.h"
#include "sys/libutils/Flag.h"
#include "sys/libutils/LogSeam.h"

namespace qn::sys {
namespace {

// Runs until its gate is raised; counts its bodies.
class GatedThread : public Thread {
  public:
    explicit GatedThread(AutoFlag& gate) : Thread("gated"), m_gate(gate) {}
    std::atomic<int> m_runs{0};

  protected:
    void run() override {
        ++m_runs;
        m_gate.wait(kWaitForever);
    }

  private:
    AutoFlag& m_gate;
};

TEST(Thread, JoinWithoutStartReturnsAtOnce) {
    AutoFlag gate;
    GatedThread thread(gate);
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.join(0));
}

TEST(Thread, JoinTimesOutThenSucceedsOnceTheBodyEnds) {
    AutoFlag gate;
    GatedThread thread(gate);
    ASSERT_TRUE(thread.start());
    auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(thread.join(200000));
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(150));
    EXPECT_TRUE(thread.isRunning());
    gate.raise();
    EXPECT_TRUE(thread.join(5000000));
    EXPECT_FALSE(thread.isRunning());
    EXPECT_EQ(thread.m_runs.load(), 1);
}

TEST(Thread, StartTwiceRunsOneBodyAndForeverJoinWaits) {
    AutoFlag gate;
    GatedThread thread(gate);
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(thread.start());
    gate.raise();
    EXPECT_TRUE(thread.join(kWaitForever));
    EXPECT_EQ(thread.m_runs.load(), 1);
}

TEST(Thread, IsRunningUntilJoinedEvenAfterTheBodyEnds) {
    AutoFlag gate(true);
    GatedThread thread(gate);
    ASSERT_TRUE(thread.start());
    while (thread.m_runs.load() == 0) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(thread.isRunning());
    EXPECT_TRUE(thread.join(1000000));
    EXPECT_FALSE(thread.isRunning());
}

// The body does not touch its object once the destructor has begun.
class DetachedBody : public Thread {
  public:
    DetachedBody(std::atomic<bool>& entered, std::atomic<bool>& release)
        : m_entered(entered), m_release(release) {}

  protected:
    void run() override {
        std::atomic<bool>& release = m_release;
        m_entered = true;
        while (!release) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

  private:
    std::atomic<bool>& m_entered;
    std::atomic<bool>& m_release;
};

TEST(Thread, DestructorGivesUpAfterTenSecondsAndLogs) {
    testing::SeamCapture capture;
    static std::atomic<bool> entered{false}, release{false};
    auto* thread = new DetachedBody(entered, release);
    ASSERT_TRUE(thread->start());
    while (!entered) {
        std::this_thread::yield();
    }
    auto before = std::chrono::steady_clock::now();
    delete thread;
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::seconds(9));
    EXPECT_TRUE(capture.contains("join timed out in Thread::State::~State()"));
    release = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // let the body leave
}

TEST(Thread, InvalidPriorityIsLoggedNotThrown) {
    testing::SeamCapture capture;
    AutoFlag gate;
    GatedThread owner(gate);
    // On a separate thread so that a granted real-time priority stays there.
    std::thread([&] { owner.setPriority(7); }).join();
    auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].message, "Error setting thread priority - Invalid policy");
    EXPECT_EQ(lines[0].level, logseam::kError);
    EXPECT_EQ(lines[0].instance, "gated");
}

}  // namespace
}  // namespace qn::sys
