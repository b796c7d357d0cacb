#include "platform/linux/event/EventLoop.h"

#include <time.h>

#include <memory>
#include <stdexcept>
#include <system_error>

namespace qn::platform::linux_host {

namespace {

void check(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), what);
    }
}

// What a registration keeps alive: the source and the callback it calls. A callback may
// drop its own registration, so each call holds a reference until it returns.
template <typename Handler>
struct Source : std::enable_shared_from_this<Source<Handler>> {
    EventSourcePtr source;
    Handler handler;
};

template <typename Handler>
Registration ownedBy(std::shared_ptr<Source<Handler>> source, const std::string& name) {
    sd_event_source_set_description(source->source.get(), name.c_str());
    // The handler goes with the last reference, never while it runs.
    return Registration([source = std::move(source)] { source->source.reset(); });
}

int onIo(sd_event_source*, int, uint32_t revents, void* userdata) {
    auto* source = static_cast<Source<EventLoop::IoHandler>*>(userdata);
    const auto keep = source->shared_from_this();
    keep->handler(revents);
    return 0;
}

int onTime(sd_event_source* s, uint64_t, void* userdata) {
    auto* source = static_cast<Source<EventLoop::TimerHandler>*>(userdata);
    const auto keep = source->shared_from_this();
    const std::uint64_t next = keep->handler();
    // The handler may have dropped the registration; then the source is gone.
    if (next != 0 && keep->source.get() == s) {
        sd_event_source_set_time(s, next);
        sd_event_source_set_enabled(s, SD_EVENT_ONESHOT);
    }
    return 0;
}

int onDefer(sd_event_source* s, void* userdata) {
    auto* source = static_cast<Source<EventLoop::Work>*>(userdata);
    const auto keep = source->shared_from_this();
    sd_event_source_set_enabled(s, SD_EVENT_OFF);
    keep->handler();
    return 0;
}

int onPost(sd_event_source*, void* userdata) {
    auto* source = static_cast<Source<EventLoop::Work>*>(userdata);
    const auto keep = source->shared_from_this();
    keep->handler();
    return 0;
}

}  // namespace

EventLoop::EventLoop() {
    check(sd_event_new(m_event.receive()), "sd_event_new");
}

Registration EventLoop::addIo(int fd, std::uint32_t events, const std::string& name,
                              IoHandler handler) {
    auto source = std::make_shared<Source<IoHandler>>();
    source->handler = std::move(handler);
    check(sd_event_add_io(m_event.get(), source->source.receive(), fd, events, &onIo, source.get()),
          "sd_event_add_io");
    return ownedBy(std::move(source), name);
}

Registration EventLoop::addTimer(std::uint64_t deadlineUsec, const std::string& name,
                                 TimerHandler handler) {
    auto source = std::make_shared<Source<TimerHandler>>();
    source->handler = std::move(handler);
    check(sd_event_add_time(m_event.get(), source->source.receive(), CLOCK_MONOTONIC, deadlineUsec,
                            kAccuracyUsec, &onTime, source.get()),
          "sd_event_add_time");
    return ownedBy(std::move(source), name);
}

Registration EventLoop::defer(const std::string& name, Work work) {
    auto source = std::make_shared<Source<Work>>();
    source->handler = std::move(work);
    check(sd_event_add_defer(m_event.get(), source->source.receive(), &onDefer, source.get()),
          "sd_event_add_defer");
    return ownedBy(std::move(source), name);
}

Registration EventLoop::afterEachTurn(const std::string& name, Work work) {
    auto source = std::make_shared<Source<Work>>();
    source->handler = std::move(work);
    check(sd_event_add_post(m_event.get(), source->source.receive(), &onPost, source.get()),
          "sd_event_add_post");
    return ownedBy(std::move(source), name);
}

std::uint64_t EventLoop::now() {
    // Not sd_event_now: that is the time the loop woke, and a handler may have blocked
    // in a bus call since.
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<std::uint64_t>(ts.tv_sec) * 1000000u +
           static_cast<std::uint64_t>(ts.tv_nsec) / 1000u;
}

int EventLoop::run() {
    return sd_event_loop(m_event.get());
}

int EventLoop::runOnce(std::uint64_t timeoutUsec) {
    return sd_event_run(m_event.get(), timeoutUsec);
}

void EventLoop::exit(int code) {
    sd_event_exit(m_event.get(), code);
}

}  // namespace qn::platform::linux_host
