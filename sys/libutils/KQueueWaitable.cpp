#include "sys/libutils/KQueueWaitable.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "sys/libutils/Exception.h"

namespace qn::sys {

namespace {

// The event record keeps the kernel-queue vocabulary: a filter kind and its
// filter flags.
constexpr std::int16_t kFilterRead = -1;
constexpr std::int16_t kFilterVnode = -4;
constexpr std::uint32_t kNoteDelete = 1;
constexpr std::uint32_t kNoteWrite = 2;
constexpr std::uint32_t kNoteRename = 32;

struct Event {
    std::int16_t filter = 0;
    std::uint32_t filterFlags = 0;
};

std::uint32_t inotifyMaskFor(std::uint32_t filterFlags) {
    std::uint32_t mask = 0;
    if (filterFlags & kNoteRename) {
        mask |= IN_MOVE_SELF;
    }
    if (filterFlags & kNoteDelete) {
        // Unlinking a file that is still open (and this watch holds it open)
        // gives only an attribute change with a link count of 0.
        mask |= IN_DELETE_SELF | IN_ATTRIB;
    }
    if (filterFlags & kNoteWrite) {
        mask |= IN_MODIFY;
    }
    return mask;
}

class KQueueState;

// The one inotify instance of the process and who listens to which watch.
class EventQueue {
  public:
    // Never destroyed: waitables held by statics (the logger's registered file
    // outputs) are destroyed at exit and still unregister here.
    static EventQueue& instance() {
        static EventQueue* queue = new EventQueue;
        return *queue;
    }

    int descriptor() const { return m_descriptor; }
    std::mutex& mutex() { return m_mutex; }

    int addWatch(int descriptor, std::uint32_t mask, KQueueState* listener) {
        if (m_descriptor < 0) {
            return -1;
        }
        std::string path = "/proc/self/fd/" + std::to_string(descriptor);
        std::lock_guard<std::mutex> guard(m_mutex);
        int watch = inotify_add_watch(m_descriptor, path.c_str(), mask | IN_MASK_ADD);
        if (watch >= 0) {
            auto& listeners = m_listeners[watch];
            if (std::find(listeners.begin(), listeners.end(), listener) == listeners.end()) {
                listeners.push_back(listener);
            }
        }
        return watch;
    }

    void removeListener(KQueueState* listener) {
        std::lock_guard<std::mutex> guard(m_mutex);
        for (auto it = m_listeners.begin(); it != m_listeners.end();) {
            auto& listeners = it->second;
            listeners.erase(std::remove(listeners.begin(), listeners.end(), listener),
                            listeners.end());
            if (listeners.empty()) {
                inotify_rm_watch(m_descriptor, it->first);
                it = m_listeners.erase(it);
            } else {
                ++it;
            }
        }
    }

    // Reads whatever the kernel has and hands each event to its listeners.
    // Caller holds the mutex.
    void dispatchLocked();

  private:
    EventQueue() : m_descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

    int m_descriptor;
    std::mutex m_mutex;
    std::map<int, std::vector<KQueueState*>> m_listeners;
};

class KQueueState : public Waitable::State {
  public:
    explicit KQueueState(int descriptor)
        : State(EventQueue::instance().descriptor()),
          m_descriptor(descriptor),
          m_wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

    ~KQueueState() override {
        EventQueue::instance().removeListener(this);
        if (m_wake >= 0) {
            close(m_wake);
        }
    }

    void addFilter(std::int16_t filter, std::uint32_t filterFlags) {
        if (m_count == KQueueWaitable::kMaxFilters) {
            throw Failure("No more filters can be set");
        }
        bool registered = false;
        if (filter == kFilterVnode) {
            // Accepted only once the listener is known, so publish the flags first.
            {
                std::lock_guard<std::mutex> guard(EventQueue::instance().mutex());
                m_watchedFlags |= filterFlags;
            }
            registered = EventQueue::instance().addWatch(m_descriptor, inotifyMaskFor(filterFlags),
                                                         this) >= 0;
        } else {
            registered = fcntl(m_descriptor, F_GETFL) >= 0;
        }
        if (!registered) {
            throw Failure("Failed to set event");
        }
        m_filters[m_count] = Event{filter, filterFlags};
        ++m_count;
    }

    // Called by the queue, under its mutex.
    void deliver(const inotify_event& event) {
        std::uint32_t flags = 0;
        if (event.mask & IN_MOVE_SELF) {
            flags |= kNoteRename;
        }
        if (event.mask & IN_DELETE_SELF) {
            flags |= kNoteDelete;
        }
        if (event.mask & IN_ATTRIB) {
            struct stat status {};
            if (fstat(m_descriptor, &status) == 0 && status.st_nlink == 0) {
                flags |= kNoteDelete;
            }
        }
        if (event.mask & IN_MODIFY) {
            flags |= kNoteWrite;
        }
        flags &= m_watchedFlags;
        if (flags != 0) {
            m_pending |= flags;
            std::uint64_t one = 1;
            (void)!::write(m_wake, &one, sizeof one);
        }
    }

    bool wait(std::uint32_t timeout) override {
        using Clock = std::chrono::steady_clock;
        m_latest = Event{};
        const bool forever = timeout == kWaitForever;
        const auto deadline = Clock::now() + std::chrono::microseconds(timeout);
        EventQueue& queue = EventQueue::instance();
        for (;;) {
            if (takePending()) {
                return true;
            }
            std::vector<pollfd> entries{{queue.descriptor(), POLLIN, 0}, {m_wake, POLLIN, 0}};
            if (readFilters()) {
                entries.push_back({m_descriptor, POLLIN, 0});
            }
            auto left =
                std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now());
            if (left.count() < 0) {
                left = std::chrono::nanoseconds(0);
            }
            timespec limit{static_cast<time_t>(left.count() / 1000000000),
                           static_cast<long>(left.count() % 1000000000)};
            int ready = ppoll(entries.data(), entries.size(), forever ? nullptr : &limit, nullptr);
            if (ready < 0 && errno != EINTR) {
                return false;
            }
            if (entries.size() > 2 && (entries[2].revents & POLLIN)) {
                m_latest = Event{kFilterRead, 0};
                return true;
            }
            if (ready == 0) {
                return takePending();
            }
        }
    }

    bool isSignalled() override { return false; }
    bool acknowledge() override { return true; }

    bool hasFired(std::uint32_t mask) const {
        switch (mask) {
            case KQueueWaitable::kRename:
                return m_latest.filter == kFilterVnode && (m_latest.filterFlags & kNoteRename);
            case KQueueWaitable::kDelete:
                return m_latest.filter == kFilterVnode && (m_latest.filterFlags & kNoteDelete);
            case KQueueWaitable::kWrite:
                return m_latest.filter == kFilterVnode && (m_latest.filterFlags & kNoteWrite);
            case KQueueWaitable::kRead:
                return m_latest.filter == kFilterRead && m_latest.filterFlags == 0;
            default:
                return false;
        }
    }

    std::size_t filterCount() const { return m_count; }

  private:
    bool readFilters() const {
        return std::any_of(m_filters.begin(), m_filters.begin() + m_count,
                           [](const Event& e) { return e.filter == kFilterRead; });
    }

    // Fetches new kernel events for everybody, then takes this waitable's own.
    bool takePending() {
        EventQueue& queue = EventQueue::instance();
        std::lock_guard<std::mutex> guard(queue.mutex());
        queue.dispatchLocked();
        if (m_pending == 0) {
            return false;
        }
        m_latest = Event{kFilterVnode, m_pending};
        m_pending = 0;
        std::uint64_t count;
        (void)!::read(m_wake, &count, sizeof count);
        return true;
    }

    int m_descriptor;
    int m_wake;  // readable while events wait here, so a waiter never sleeps past them
    std::array<Event, KQueueWaitable::kMaxFilters> m_filters{};
    std::size_t m_count = 0;
    Event m_latest;
    std::uint32_t m_watchedFlags = 0;  // under the queue's mutex
    std::uint32_t m_pending = 0;       // under the queue's mutex
};

void EventQueue::dispatchLocked() {
    alignas(inotify_event) char buffer[4096];
    for (;;) {
        ssize_t got = read(m_descriptor, buffer, sizeof buffer);
        if (got <= 0) {
            return;
        }
        for (char* p = buffer; p < buffer + got;) {
            const auto* event = reinterpret_cast<const inotify_event*>(p);
            auto found = m_listeners.find(event->wd);
            if (found != m_listeners.end()) {
                for (KQueueState* listener : found->second) {
                    listener->deliver(*event);
                }
            }
            p += sizeof(inotify_event) + event->len;
        }
    }
}

}  // namespace

KQueueWaitable::KQueueWaitable(int descriptor)
    : Waitable(std::make_unique<KQueueState>(descriptor)) {}

void KQueueWaitable::setEvents(std::uint32_t mask) {
    auto& state = static_cast<KQueueState&>(*m_state);
    std::uint32_t flags = 0;
    if (mask & kRename) {
        flags += kNoteRename;
    }
    if (mask & kDelete) {
        flags += kNoteDelete;
    }
    if (mask & kWrite) {
        flags += kNoteWrite;
    }
    if (flags != 0) {
        state.addFilter(kFilterVnode, flags);
    }
    if (mask & kRead) {
        state.addFilter(kFilterRead, 0);
    }
}

bool KQueueWaitable::hasFired(std::uint32_t mask) const {
    return static_cast<const KQueueState&>(*m_state).hasFired(mask);
}

std::size_t KQueueWaitable::filterCount() const {
    return static_cast<const KQueueState&>(*m_state).filterCount();
}

}  // namespace qn::sys
