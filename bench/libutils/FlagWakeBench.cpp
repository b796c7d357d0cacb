// Wake-up latency of a flag raised in one thread and waited in another.
// Each iteration is one round trip: this thread raises "ping" and waits for
// "pong", which the partner thread raises as soon as its wait for "ping"
// returns. One wake-up is about half the time per iteration.
#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "sys/libutils/Flag.h"

namespace {

using qn::sys::AutoFlag;
using qn::sys::kWaitForever;

void BM_AutoFlagRoundTrip(benchmark::State& state) {
    AutoFlag ping, pong;
    std::atomic<bool> stop{false};
    std::thread partner([&] {
        for (;;) {
            ping.wait(kWaitForever);
            if (stop.load()) {
                return;
            }
            pong.raise();
        }
    });
    for (auto _ : state) {
        ping.raise();
        pong.wait(kWaitForever);
    }
    stop = true;
    ping.raise();
    partner.join();
}
BENCHMARK(BM_AutoFlagRoundTrip)->UseRealTime();

// The same round trip with a condition variable, for comparison.
void BM_ConditionVariableRoundTrip(benchmark::State& state) {
    std::mutex mutex;
    std::condition_variable changed;
    int turn = 0;  // 0 idle, 1 ping, 2 pong, 3 stop
    std::thread partner([&] {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            changed.wait(lock, [&] { return turn == 1 || turn == 3; });
            if (turn == 3) {
                return;
            }
            turn = 2;
            changed.notify_all();
        }
    });
    for (auto _ : state) {
        std::unique_lock<std::mutex> lock(mutex);
        turn = 1;
        changed.notify_all();
        changed.wait(lock, [&] { return turn == 2; });
    }
    {
        std::lock_guard<std::mutex> lock(mutex);
        turn = 3;
    }
    changed.notify_all();
    partner.join();
}
BENCHMARK(BM_ConditionVariableRoundTrip)->UseRealTime();

// Raise and wait on one thread: the cost of the pipe write and drain alone.
void BM_AutoFlagRaiseThenWaitSameThread(benchmark::State& state) {
    AutoFlag flag;
    for (auto _ : state) {
        flag.raise();
        benchmark::DoNotOptimize(flag.wait(0));
    }
}
BENCHMARK(BM_AutoFlagRaiseThenWaitSameThread);

}  // namespace
