#include "platform/linux/event/LinuxDispatch.h"

#include <time.h>

namespace qn::platform::linux_host {

LinuxDispatch::LinuxDispatch(EventLoop& loop, MainQueue& mainQueue)
    : m_loop(loop), m_mainQueue(mainQueue) {}

LinuxDispatch::~LinuxDispatch() = default;

dispatch_queue_t LinuxDispatch::dispatch_queue_create(const char* label, dispatch_queue_attr_t) {
    m_queues.push_back(std::make_unique<Queue>(label ? label : ""));
    return m_queues.back().get();
}

void LinuxDispatch::dispatch_release(dispatch_queue_t queue) {
    m_queues.remove_if([queue](const auto& q) { return q.get() == queue; });
}

std::string LinuxDispatch::labelOf(dispatch_queue_t queue) const {
    const auto* known = dynamic_cast<const Queue*>(queue);
    return known ? known->label : "queue";
}

dispatch_time_t LinuxDispatch::dispatch_time(dispatch_time_t when, std::int64_t delta) {
    if (when == DISPATCH_TIME_FOREVER) {
        return when;
    }
    if (when == DISPATCH_TIME_NOW) {
        when = EventLoop::now() * 1000u;
    }
    const auto result = static_cast<std::int64_t>(when) + delta;
    return result < 1 ? 1 : static_cast<dispatch_time_t>(result);
}

void LinuxDispatch::dispatch_async(dispatch_queue_t, dispatch_block_t block) {
    m_mainQueue.post(std::move(block));
}

void LinuxDispatch::afterOnMainThread(dispatch_time_t when, const std::string& label,
                                      dispatch_block_t block) {
    if (when == DISPATCH_TIME_FOREVER) {
        return;
    }
    m_delayed.emplace_back();
    auto entry = std::prev(m_delayed.end());
    *entry = m_loop.addTimer(when / 1000u, "after-" + label,
                             [this, entry, block = std::move(block)]() -> std::uint64_t {
                                 const auto work = block;
                                 // Drops this source, and with it the copy being run.
                                 m_delayed.erase(entry);
                                 work();
                                 return 0;
                             });
}

void LinuxDispatch::dispatch_after(dispatch_time_t when, dispatch_queue_t queue,
                                   dispatch_block_t block) {
    // sd-event belongs to the main thread; a call from elsewhere is carried there.
    auto label = labelOf(queue);
    if (m_mainQueue.onMainThread()) {
        afterOnMainThread(when, label, std::move(block));
    } else {
        m_mainQueue.post([this, when, label, block = std::move(block)] {
            afterOnMainThread(when, label, block);
        });
    }
}

void LinuxDispatch::dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                                     dispatch_function_t work) {
    dispatch_after(when, queue, [context, work] { work(context); });
}

}  // namespace qn::platform::linux_host
