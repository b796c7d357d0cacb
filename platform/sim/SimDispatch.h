#pragma once
// libdispatch on the simulated host. Every queue's work runs from the virtual-time run
// loop, so work after a delay fires in deadline order with everything else; a serial
// queue keeps its own order because equal deadlines run in scheduling order.

#include <memory>
#include <string>
#include <vector>

#include "platform/Dispatch.h"
#include "platform/sim/SimDispatchQueue.h"
#include "platform/sim/SimRunLoop.h"

namespace qn::platform::sim {

class SimDispatch : public Dispatch {
  public:
    explicit SimDispatch(SimRunLoop& runLoop);

    dispatch_queue_t dispatch_get_main_queue() override { return m_mainQueue.get(); }
    dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attr) override;
    void dispatch_release(dispatch_queue_t queue) override;
    dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t delta) override;
    void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) override;
    void dispatch_after(dispatch_time_t when, dispatch_queue_t queue,
                        dispatch_block_t block) override;
    void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                          dispatch_function_t work) override;

    // The queue whose work is running, or null between work items.
    const SimDispatchQueue* currentQueue() const { return m_current; }
    const std::vector<std::unique_ptr<SimDispatchQueue>>& queues() const { return m_queues; }

  private:
    void submit(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block);

    SimRunLoop& m_runLoop;
    std::unique_ptr<SimDispatchQueue> m_mainQueue;
    std::vector<std::unique_ptr<SimDispatchQueue>> m_queues;
    const SimDispatchQueue* m_current = nullptr;
};

}  // namespace qn::platform::sim
