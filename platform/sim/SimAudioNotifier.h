#pragma once
// The host's audio notification thread: property listeners are called there, one
// notification after another, never on the caller's thread.

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace qn::platform::sim {

class SimAudioNotifier {
  public:
    SimAudioNotifier() = default;
    ~SimAudioNotifier();
    SimAudioNotifier(const SimAudioNotifier&) = delete;
    SimAudioNotifier& operator=(const SimAudioNotifier&) = delete;

    void post(std::function<void()> work);
    // Returns when everything posted so far has run.
    void flush();
    // The notification thread's id (default-constructed before the first post).
    std::thread::id threadId() const;

  private:
    void run();

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<std::function<void()>> m_queue;
    bool m_busy = false;
    bool m_stopping = false;
    std::thread m_thread;
};

}  // namespace qn::platform::sim
