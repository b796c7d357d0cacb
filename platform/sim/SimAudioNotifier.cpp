#include "platform/sim/SimAudioNotifier.h"

namespace qn::platform::sim {

SimAudioNotifier::~SimAudioNotifier() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void SimAudioNotifier::post(std::function<void()> work) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_queue.push_back(std::move(work));
        if (!m_thread.joinable()) {
            m_thread = std::thread([this] { run(); });
        }
    }
    m_wake.notify_all();
}

void SimAudioNotifier::flush() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_idle.wait(lock, [this] { return m_queue.empty() && !m_busy; });
}

std::thread::id SimAudioNotifier::threadId() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_thread.get_id();
}

void SimAudioNotifier::run() {
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
        if (m_queue.empty()) {
            return;
        }
        auto work = std::move(m_queue.front());
        m_queue.pop_front();
        m_busy = true;
        lock.unlock();
        work();
        lock.lock();
        m_busy = false;
        if (m_queue.empty()) {
            m_idle.notify_all();
        }
    }
}

}  // namespace qn::platform::sim
