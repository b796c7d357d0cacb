#pragma once
// libdispatch on the event loop. Every queue, the main queue and the serial ones the
// agent makes, runs its work on the main thread: the agent's serial queue only carries a
// delay and hands its work to the main thread at once, so a thread of its own would buy
// nothing but locking. Work after a delay is a named timer source.

#include <list>
#include <memory>
#include <string>

#include "platform/Dispatch.h"
#include "platform/Registration.h"
#include "platform/linux/event/EventLoop.h"
#include "platform/linux/event/MainQueue.h"

namespace qn::platform::linux_host {

class LinuxDispatch : public Dispatch {
  public:
    LinuxDispatch(EventLoop& loop, MainQueue& mainQueue);
    ~LinuxDispatch() override;

    dispatch_queue_t dispatch_get_main_queue() override { return &m_mainQueueObject; }
    dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attr) override;
    void dispatch_release(dispatch_queue_t queue) override;
    // Nanoseconds on CLOCK_MONOTONIC.
    dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t delta) override;
    void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) override;
    void dispatch_after(dispatch_time_t when, dispatch_queue_t queue,
                        dispatch_block_t block) override;
    void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                          dispatch_function_t work) override;

    std::size_t queueCount() const { return m_queues.size(); }

  private:
    struct Queue : DispatchQueueObject {
        explicit Queue(std::string name) : label(std::move(name)) {}
        std::string label;
    };

    std::string labelOf(dispatch_queue_t queue) const;
    void afterOnMainThread(dispatch_time_t when, const std::string& label, dispatch_block_t block);

    EventLoop& m_loop;
    MainQueue& m_mainQueue;
    Queue m_mainQueueObject{"main"};
    std::list<std::unique_ptr<Queue>> m_queues;
    // Pending delayed work; each entry removes itself when it has run.
    std::list<Registration> m_delayed;
};

}  // namespace qn::platform::linux_host
