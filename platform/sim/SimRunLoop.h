#pragma once
// The main thread's run loop on virtual time. Work is scheduled at a virtual deadline;
// advance() fires everything due in deadline order, work with the same deadline in the
// order it was scheduled, including work scheduled by the work itself.

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace qn::platform::sim {

class SimRunLoop {
  public:
    using Nanoseconds = std::int64_t;
    using WorkId = std::uint64_t;
    static constexpr Nanoseconds kSecond = 1000000000;
    // The whole seconds the clock can hold from its start.
    static constexpr double kLongestSeconds = 9223372036.0;

    // Virtual time since the host was made.
    Nanoseconds now() const { return m_now.load(); }
    double nowSeconds() const { return static_cast<double>(now()) / kSecond; }

    // May be called from any thread. A deadline in the past means now.
    WorkId schedule(Nanoseconds deadline, std::function<void()> work);
    WorkId post(std::function<void()> work) { return schedule(now(), std::move(work)); }
    // Work of the world outside the process (a user comes to the console, the Manager
    // starts, a signal arrives). It runs in deadline order with the main thread's work,
    // and also while the main thread is blocked in sleep().
    WorkId scheduleWorld(Nanoseconds deadline, std::function<void()> work);
    // False when the work has already run or was cancelled.
    bool cancel(WorkId id);

    // Runs everything due up to now + duration, then leaves the clock there.
    // Throws std::overflow_error, running nothing, when the clock cannot hold
    // the end.
    void advance(Nanoseconds duration);
    void advanceSeconds(double seconds);
    // Runs what is due now, including work that it schedules for now.
    void runPending() { advance(0); }
    // Runs until nothing is scheduled at or before the horizon; the clock ends at the last
    // deadline run (or stays, if nothing ran).
    void runUntil(Nanoseconds horizon);
    // Moves the clock with the main thread blocked: only world work runs meanwhile.
    void sleep(Nanoseconds duration);

    std::size_t pendingCount() const;
    std::optional<Nanoseconds> nextDeadline() const;

  private:
    bool runOneDueBy(Nanoseconds limit, bool worldOnly = false);

    std::atomic<Nanoseconds> m_now{0};
    mutable std::mutex m_mutex;
    WorkId m_nextId = 1;
    // Ordered by deadline, then by scheduling order.
    struct Work {
        std::function<void()> run;
        bool world = false;
    };
    std::map<std::pair<Nanoseconds, WorkId>, Work> m_work;
};

}  // namespace qn::platform::sim
