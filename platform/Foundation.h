#pragma once
// The main run loop, timers, the default and distributed notification centres, the
// notification queue, and the connection to a peer by registered name.

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/Value.h"

namespace qn::platform {

struct NSNotification {
    std::string name;
    // The sender, compared by identity; null for none.
    const void* object = nullptr;
    Value userInfo;
};

// The selector of an observer: what the notification is delivered to.
using NSNotificationHandler = std::function<void(const NSNotification& notification)>;

class NSNotificationCenter {
  public:
    virtual ~NSNotificationCenter() = default;
    // An empty name means every name, a null object every sender.
    virtual void addObserver(const void* observer, NSNotificationHandler selector,
                             const std::string& name, const void* object) = 0;
    // Every registration of the observer.
    virtual void removeObserver(const void* observer) = 0;
    virtual void removeObserver(const void* observer, const std::string& name,
                                const void* object) = 0;
    // The default centre delivers before it returns; the distributed centre delivers to
    // the observers of every process on their run loops.
    virtual void postNotification(const NSNotification& notification) = 0;

    void postNotificationName(const std::string& name, const void* object,
                              Value userInfo = Value()) {
        postNotification(NSNotification{name, object, std::move(userInfo)});
    }
};

enum NSPostingStyle { NSPostWhenIdle = 1, NSPostASAP = 2, NSPostNow = 3 };

class NSNotificationQueue {
  public:
    virtual ~NSNotificationQueue() = default;
    // Posts on the default centre in the given style; a notification with the name and
    // sender of one still queued is dropped (coalescing on name and sender).
    virtual void enqueueNotification(const NSNotification& notification,
                                     NSPostingStyle postingStyle) = 0;
};

class NSTimer {
  public:
    virtual ~NSTimer() = default;
    virtual void invalidate() = 0;
    virtual bool isValid() const = 0;
    virtual double timeInterval() const = 0;
    virtual const Value& userInfo() const = 0;
};
// The run loop keeps a scheduled timer alive until it is invalidated (or, for a one-shot
// timer, has fired); the caller may drop its reference.
using NSTimerRef = std::shared_ptr<NSTimer>;
using NSTimerHandler = std::function<void(NSTimer& timer)>;

class NSRunLoop {
  public:
    virtual ~NSRunLoop() = default;
    // Runs the sources and timers of the main thread, normally for ever.
    virtual void run() = 0;
};

// Seconds since the reference date.
struct NSDate {
    double timeIntervalSinceReferenceDate = 0;
    NSDate dateByAddingTimeInterval(double seconds) const {
        return NSDate{timeIntervalSinceReferenceDate + seconds};
    }
    bool operator<(const NSDate& other) const {
        return timeIntervalSinceReferenceDate < other.timeIntervalSinceReferenceDate;
    }
};

// The one exception type of a call on a peer's proxy; the reason says what went wrong.
class ProxyException : public std::exception {
  public:
    explicit ProxyException(std::string reason) : m_reason(std::move(reason)) {}
    const std::string& reason() const { return m_reason; }
    const char* what() const noexcept override { return m_reason.c_str(); }

  private:
    std::string m_reason;
};

// The peer's root object as seen from here.
class NSDistantObject {
  public:
    virtual ~NSDistantObject() = default;
    // A synchronous call: returns when the peer has processed it, or throws
    // ProxyException.
    virtual void invoke(const std::string& selector, const std::vector<Value>& arguments) = 0;
    virtual void setProtocolForProxy(const std::string& protocolName) = 0;
    // The connection the proxy belongs to: the object of NSConnectionDidDieNotification.
    virtual const void* connectionForProxy() const = 0;
};

// A proxy reference that behaves like a message to nil when empty: a call on an absent
// proxy does nothing and raises nothing, and the logic relies on it.
class ProxyRef {
  public:
    ProxyRef() = default;
    explicit ProxyRef(std::shared_ptr<NSDistantObject> object) : m_object(std::move(object)) {}

    void call(const std::string& selector, const std::vector<Value>& arguments = {}) const {
        if (m_object) {
            m_object->invoke(selector, arguments);
        }
    }
    void setProtocolForProxy(const std::string& protocolName) const {
        if (m_object) {
            m_object->setProtocolForProxy(protocolName);
        }
    }
    explicit operator bool() const { return m_object != nullptr; }
    // The proxy object's identity, usable as a notification filter.
    const void* object() const { return m_object.get(); }
    const void* connection() const { return m_object ? m_object->connectionForProxy() : nullptr; }
    bool operator==(const ProxyRef& other) const { return m_object == other.m_object; }

  private:
    std::shared_ptr<NSDistantObject> m_object;
};

inline constexpr const char* NSConnectionDidDieNotification = "NSConnectionDidDieNotification";

class Foundation {
  public:
    virtual ~Foundation() = default;

    virtual NSRunLoop& currentRunLoop() = 0;
    virtual NSNotificationCenter& defaultCenter() = 0;
    // NSDistributedNotificationCenter's default centre.
    virtual NSNotificationCenter& distributedCenter() = 0;
    virtual NSNotificationQueue& defaultQueue() = 0;

    // Schedules on the main run loop.
    virtual NSTimerRef scheduledTimerWithTimeInterval(double seconds, NSTimerHandler selector,
                                                      Value userInfo, bool repeats) = 0;
    // Runs the work on the main thread's run loop; with waitUntilDone on the main thread
    // itself it runs at once.
    virtual void performSelectorOnMainThread(std::function<void()> selector,
                                             bool waitUntilDone) = 0;
    virtual NSDate date() = 0;

    // Moves a signal's work out of signal context. wakeMainRunLoopFromSignal() is safe to
    // call from a signal handler (a real host writes one byte to a self-pipe); the main
    // run loop then calls the wake handler on its next turn, on the main thread, where
    // the logic may use the Manager's proxy and the logger. An empty handler: nothing.
    virtual void setSignalWakeHandler(std::function<void()> handler) = 0;
    virtual void wakeMainRunLoopFromSignal() = 0;

    // The peer's root object, or an empty reference when no process has registered the
    // name. A null host means this machine.
    virtual ProxyRef rootProxyForConnectionWithRegisteredName(const std::string& name,
                                                              const char* host) = 0;

    // NSProcessInfo.
    virtual void disableSuddenTermination() = 0;
    // NSBundle mainBundle: the text for the key in the strings table; the key itself (or
    // the value when not empty) when the table has none.
    virtual std::string localizedStringForKey(const std::string& key, const std::string& value,
                                              const std::string& table) = 0;
};

}  // namespace qn::platform
