#pragma once
// libdispatch: the main queue, serial queues and work after a delay.

#include <cstdint>
#include <functional>

namespace qn::platform {

class DispatchQueueObject {
  public:
    virtual ~DispatchQueueObject() = default;
};
using dispatch_queue_t = DispatchQueueObject*;
using dispatch_queue_attr_t = const void*;
using dispatch_time_t = std::uint64_t;
using dispatch_block_t = std::function<void()>;
using dispatch_function_t = void (*)(void* context);

constexpr dispatch_time_t DISPATCH_TIME_NOW = 0;
constexpr dispatch_time_t DISPATCH_TIME_FOREVER = ~0ull;
constexpr std::int64_t NSEC_PER_SEC = 1000000000;
// Default attributes: a serial queue.
constexpr dispatch_queue_attr_t DISPATCH_QUEUE_SERIAL = nullptr;

class Dispatch {
  public:
    virtual ~Dispatch() = default;

    // Work on the main queue runs on the main thread, from its run loop.
    virtual dispatch_queue_t dispatch_get_main_queue() = 0;
    virtual dispatch_queue_t dispatch_queue_create(const char* label,
                                                   dispatch_queue_attr_t attr) = 0;
    virtual void dispatch_release(dispatch_queue_t queue) = 0;
    // A point in time delta nanoseconds after when (DISPATCH_TIME_NOW: now).
    virtual dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t delta) = 0;
    virtual void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) = 0;
    virtual void dispatch_after(dispatch_time_t when, dispatch_queue_t queue,
                                dispatch_block_t block) = 0;
    virtual void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                                  dispatch_function_t work) = 0;
};

}  // namespace qn::platform
