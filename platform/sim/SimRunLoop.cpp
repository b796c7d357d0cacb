#include "platform/sim/SimRunLoop.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace qn::platform::sim {

SimRunLoop::WorkId SimRunLoop::schedule(Nanoseconds deadline, std::function<void()> work) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const WorkId id = m_nextId++;
    m_work.emplace(std::make_pair(std::max(deadline, now()), id), Work{std::move(work), false});
    return id;
}

SimRunLoop::WorkId SimRunLoop::scheduleWorld(Nanoseconds deadline, std::function<void()> work) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const WorkId id = m_nextId++;
    m_work.emplace(std::make_pair(std::max(deadline, now()), id), Work{std::move(work), true});
    return id;
}

bool SimRunLoop::cancel(WorkId id) {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto i = m_work.begin(); i != m_work.end(); ++i) {
        if (i->first.second == id) {
            m_work.erase(i);
            return true;
        }
    }
    return false;
}

bool SimRunLoop::runOneDueBy(Nanoseconds limit, bool worldOnly) {
    std::function<void()> work;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto first = m_work.begin();
        while (worldOnly && first != m_work.end() && !first->second.world) {
            ++first;
        }
        if (first == m_work.end() || first->first.first > limit) {
            return false;
        }
        m_now.store(std::max(first->first.first, now()));
        work = std::move(first->second.run);
        m_work.erase(first);
    }
    // Run unlocked: the work may schedule or cancel work.
    work();
    return true;
}

void SimRunLoop::advance(Nanoseconds duration) {
    duration = std::max<Nanoseconds>(duration, 0);
    if (duration > std::numeric_limits<Nanoseconds>::max() - now()) {
        throw std::overflow_error("the virtual clock cannot advance that far");
    }
    const Nanoseconds target = now() + duration;
    while (runOneDueBy(target)) {
    }
    m_now.store(std::max(target, now()));
}

void SimRunLoop::advanceSeconds(double seconds) {
    // The conversion itself is undefined beyond the integer's range.
    if (!(seconds <= kLongestSeconds)) {
        throw std::overflow_error("the virtual clock cannot advance that far");
    }
    advance(static_cast<Nanoseconds>(seconds * kSecond));
}

void SimRunLoop::runUntil(Nanoseconds horizon) {
    while (runOneDueBy(horizon)) {
    }
}

void SimRunLoop::sleep(Nanoseconds duration) {
    duration = std::max<Nanoseconds>(duration, 0);
    if (duration > std::numeric_limits<Nanoseconds>::max() - now()) {
        throw std::overflow_error("the virtual clock cannot advance that far");
    }
    const Nanoseconds target = now() + duration;
    while (runOneDueBy(target, true)) {
    }
    m_now.store(std::max(target, now()));
}

std::size_t SimRunLoop::pendingCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_work.size();
}

std::optional<SimRunLoop::Nanoseconds> SimRunLoop::nextDeadline() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_work.empty()) {
        return std::nullopt;
    }
    return m_work.begin()->first.first;
}

}  // namespace qn::platform::sim
