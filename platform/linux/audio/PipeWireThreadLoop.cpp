#include "platform/linux/audio/PipeWireThreadLoop.h"

#include <pipewire/pipewire.h>

#include <cstdint>

namespace qn::platform::linux_audio {

PipeWireThreadLoop::PipeWireThreadLoop(const char* name) {
    pw_init(nullptr, nullptr);
    m_loop = pw_thread_loop_new(name, nullptr);
}

PipeWireThreadLoop::~PipeWireThreadLoop() {
    stop();
    if (m_event) {
        pw_loop_destroy_source(loop(), m_event);
    }
    if (m_loop) {
        pw_thread_loop_destroy(m_loop);
    }
    pw_deinit();
}

pw_loop* PipeWireThreadLoop::loop() const {
    return m_loop ? pw_thread_loop_get_loop(m_loop) : nullptr;
}

bool PipeWireThreadLoop::start() {
    if (m_loop && !m_running) {
        m_running = pw_thread_loop_start(m_loop) == 0;
    }
    return m_running;
}

void PipeWireThreadLoop::stop() {
    if (m_running) {
        pw_thread_loop_stop(m_loop);
        m_running = false;
    }
}

bool PipeWireThreadLoop::waitUntil(const std::function<bool()>& done, int seconds) {
    timespec deadline{};
    pw_thread_loop_get_time(m_loop, &deadline, std::int64_t{seconds} * SPA_NSEC_PER_SEC);
    while (!done()) {
        if (pw_thread_loop_timed_wait_full(m_loop, &deadline) != 0) {
            return done();
        }
    }
    return true;
}

void PipeWireThreadLoop::signal() {
    pw_thread_loop_signal(m_loop, false);
}

void PipeWireThreadLoop::invoke(void (*function)(void*), void* data) {
    // An event source, not pw_loop_invoke: that runs the function at once, on the
    // caller's thread, while the new thread has not yet entered the loop.
    m_invocation = {function, data};
    if (!m_event) {
        m_event = pw_loop_add_event(
            loop(),
            [](void* self, std::uint64_t) {
                const auto invocation = static_cast<PipeWireThreadLoop*>(self)->m_invocation;
                invocation.function(invocation.data);
            },
            this);
    }
    if (m_event) {
        pw_loop_signal_event(loop(), m_event);
    }
}

bool PipeWireThreadLoop::inThread() const {
    return m_loop && pw_thread_loop_in_thread(m_loop);
}

PipeWireThreadLoop::Lock::Lock(PipeWireThreadLoop& loop) : m_loop(loop.m_loop) {
    if (m_loop) {
        pw_thread_loop_lock(m_loop);
    }
}

PipeWireThreadLoop::Lock::~Lock() {
    if (m_loop) {
        pw_thread_loop_unlock(m_loop);
    }
}

}  // namespace qn::platform::linux_audio
