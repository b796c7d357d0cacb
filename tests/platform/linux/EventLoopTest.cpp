#include "platform/linux/event/EventLoop.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/event/LinuxTimer.h"
#include "platform/linux/event/MainQueue.h"

namespace qn::platform::linux_host {
namespace {

struct Pipe {
    Pipe() { EXPECT_EQ(pipe(fds), 0); }
    ~Pipe() {
        close(fds[0]);
        close(fds[1]);
    }
    void put(char c) const { ASSERT_EQ(write(fds[1], &c, 1), 1); }
    char take() const {
        char c = 0;
        EXPECT_EQ(read(fds[0], &c, 1), 1);
        return c;
    }
    int fds[2] = {-1, -1};
};

TEST(EventLoop, IoSourceServesUntilItsRegistrationIsDropped) {
    EventLoop loop;
    Pipe pipe;
    std::string seen;
    Registration stop;
    std::optional<Registration> source;
    source = loop.addIo(pipe.fds[0], EPOLLIN, "test-pipe", [&](std::uint32_t events) {
        EXPECT_TRUE(events & EPOLLIN);
        const char c = pipe.take();
        seen += c;
        if (c == 'b') {
            // Dropped from inside its own callback; the byte left must stay unread while
            // the loop turns on.
            source.reset();
            stop = loop.addTimer(EventLoop::now() + 20000, "test-stop", [&]() -> std::uint64_t {
                loop.exit(0);
                return 0;
            });
        }
    });
    pipe.put('a');
    pipe.put('b');
    pipe.put('c');
    EXPECT_EQ(loop.run(), 0);
    EXPECT_EQ(seen, "ab");
    EXPECT_EQ(pipe.take(), 'c');
}

TEST(EventLoop, TimerReArmsAtTheDeadlineItsHandlerGives) {
    EventLoop loop;
    std::vector<std::uint64_t> deadlines;
    const std::uint64_t start = EventLoop::now();
    Registration timer = loop.addTimer(start, "test-timer", [&]() -> std::uint64_t {
        deadlines.push_back(EventLoop::now());
        if (deadlines.size() == 3) {
            loop.exit(7);
            return 0;
        }
        return start + deadlines.size() * 2000;
    });
    EXPECT_EQ(loop.run(), 7);
    ASSERT_EQ(deadlines.size(), 3u);
    // Never early.
    EXPECT_GE(deadlines[1], start + 2000);
    EXPECT_GE(deadlines[2], start + 4000);
}

TEST(EventLoop, DeferredWorkRunsOnceAndNotAtAllWhenDropped) {
    EventLoop loop;
    int ran = 0;
    int dropped = 0;
    Registration once = loop.defer("test-once", [&] { ++ran; });
    loop.defer("test-dropped", [&] { ++dropped; }).reset();
    Registration later =
        loop.addTimer(EventLoop::now() + 2000, "test-stop", [&]() -> std::uint64_t {
            loop.exit(0);
            return 0;
        });
    loop.run();
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(dropped, 0);
}

// The hook for libraries that read ahead: it runs after each turn that served a source,
// sees what that source left, and stops when dropped.
TEST(EventLoop, AfterEachTurnRunsBehindEveryServedSourceUntilDropped) {
    EventLoop loop;
    Pipe pipe;
    std::vector<std::string> order;
    int left = 0;
    Registration io = loop.addIo(pipe.fds[0], EPOLLIN, "test-io", [&](std::uint32_t) {
        pipe.take();
        order.push_back("io");
        left = 1;
    });
    Registration after = loop.afterEachTurn("test-after", [&] {
        order.push_back(left ? "after-left" : "after");
        left = 0;
    });
    // sd-event serves one source per turn: a few turns serve everything that is ready,
    // and the idle ones among them run nothing.
    const auto turns = [&] {
        for (int i = 0; i < 4; ++i) {
            ASSERT_GE(loop.runOnce(1000), 0);
        }
    };
    pipe.put('a');
    turns();
    pipe.put('b');
    turns();
    after.reset();
    pipe.put('c');
    turns();
    EXPECT_EQ(order, (std::vector<std::string>{"io", "after-left", "io", "after-left", "io"}));
}

TEST(LinuxTimerGrid, NextBeatIsTheFirstGridPointAfterNow) {
    constexpr std::uint64_t step = 2000000;
    // On time, or early: the next point.
    EXPECT_EQ(LinuxTimer::nextGridPoint(10 * step, step, 10 * step + 5), 11 * step);
    // Blocked past three beats: they are skipped, the grid is kept.
    EXPECT_EQ(LinuxTimer::nextGridPoint(10 * step, step, 13 * step + 7), 14 * step);
    // Exactly on a point: that one is not in the future.
    EXPECT_EQ(LinuxTimer::nextGridPoint(10 * step, step, 12 * step), 13 * step);
}

TEST(MainQueue, WorkFromOtherThreadsRunsOnTheLoopInOrder) {
    EventLoop loop;
    MainQueue queue(loop);
    const auto mainThread = std::this_thread::get_id();
    std::vector<int> order;
    std::thread poster([&] {
        EXPECT_FALSE(queue.onMainThread());
        for (int i = 0; i < 100; ++i) {
            queue.post([&, i] {
                EXPECT_EQ(std::this_thread::get_id(), mainThread);
                order.push_back(i);
            });
        }
        int waited = 0;
        queue.runAndWait([&] { waited = static_cast<int>(order.size()); });
        // Everything posted before ran before.
        EXPECT_EQ(waited, 100);
        queue.post([&] { loop.exit(0); });
    });
    loop.run();
    poster.join();
    ASSERT_EQ(order.size(), 100u);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
    }
}

}  // namespace
}  // namespace qn::platform::linux_host
