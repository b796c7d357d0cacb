#include "platform/sim/SimDispatch.h"

namespace qn::platform::sim {

SimDispatch::SimDispatch(SimRunLoop& runLoop)
    : m_runLoop(runLoop), m_mainQueue(std::make_unique<SimDispatchQueue>("main-thread")) {}

dispatch_queue_t SimDispatch::dispatch_queue_create(const char* label, dispatch_queue_attr_t) {
    m_queues.push_back(std::make_unique<SimDispatchQueue>(label ? label : ""));
    return m_queues.back().get();
}

void SimDispatch::dispatch_release(dispatch_queue_t queue) {
    static_cast<SimDispatchQueue*>(queue)->released = true;
}

dispatch_time_t SimDispatch::dispatch_time(dispatch_time_t when, std::int64_t delta) {
    if (when == DISPATCH_TIME_FOREVER) {
        return DISPATCH_TIME_FOREVER;
    }
    const auto base = when == DISPATCH_TIME_NOW ? static_cast<std::int64_t>(m_runLoop.now())
                                                : static_cast<std::int64_t>(when);
    const auto result = base + delta;
    // A result of 0 would read as "now", which it is.
    return result < 0 ? DISPATCH_TIME_NOW : static_cast<dispatch_time_t>(result);
}

void SimDispatch::submit(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block) {
    if (when == DISPATCH_TIME_FOREVER) {
        return;
    }
    auto* target = static_cast<SimDispatchQueue*>(queue);
    const auto deadline =
        when == DISPATCH_TIME_NOW ? m_runLoop.now() : static_cast<SimRunLoop::Nanoseconds>(when);
    m_runLoop.schedule(deadline, [this, target, block = std::move(block)] {
        const auto* previous = m_current;
        m_current = target;
        ++target->executed;
        block();
        m_current = previous;
    });
}

void SimDispatch::dispatch_async(dispatch_queue_t queue, dispatch_block_t block) {
    submit(DISPATCH_TIME_NOW, queue, std::move(block));
}

void SimDispatch::dispatch_after(dispatch_time_t when, dispatch_queue_t queue,
                                 dispatch_block_t block) {
    submit(when, queue, std::move(block));
}

void SimDispatch::dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                                   dispatch_function_t work) {
    submit(when, queue, [context, work] { work(context); });
}

}  // namespace qn::platform::sim
