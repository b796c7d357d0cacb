#include "platform/linux/event/MainQueue.h"

#include <sys/epoll.h>

#include <condition_variable>

namespace qn::platform::linux_host {

MainQueue::MainQueue(EventLoop& loop)
    : m_mainThread(std::this_thread::get_id()),
      m_source(
          loop.addIo(m_wake.fd(), EPOLLIN, "main-queue", [this](std::uint32_t) { runQueued(); })) {}

void MainQueue::post(std::function<void()> work) {
    {
        std::lock_guard lock(m_mutex);
        m_work.push_back(std::move(work));
    }
    m_wake.signal();
}

void MainQueue::runAndWait(std::function<void()> work) {
    if (onMainThread()) {
        work();
        return;
    }
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
    post([&] {
        work();
        std::lock_guard lock(mutex);
        finished = true;
        done.notify_one();
    });
    std::unique_lock lock(mutex);
    done.wait(lock, [&] { return finished; });
}

void MainQueue::runQueued() {
    m_wake.drain();
    std::deque<std::function<void()>> batch;
    {
        std::lock_guard lock(m_mutex);
        batch.swap(m_work);
    }
    for (auto& work : batch) {
        work();
    }
}

}  // namespace qn::platform::linux_host
