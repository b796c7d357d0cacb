#pragma once
// A source of events of one type and the handlers it calls. The source keeps plain
// pointers: each handler's owner adds it and removes it again before it goes.

#include <algorithm>
#include <mutex>
#include <vector>

#include "sys/libutils/Mutex.h"
#include "sys/libutils/posix/qnassert.h"

// Assertions of the template name this path, wherever it is instantiated.
#define QN_EVENT_ASSERT(condition) QN_ASSERT_FROM("sys/libutils/Event", condition)

namespace qn::sys {

template <typename E>
class EventTemplate {
  public:
    class Source;

    class Handler {
      public:
        virtual void handle(Source& source, const E& event) = 0;
        virtual void addedToSource(Source& source) { source.addHandler(this); }
        virtual void removedFromSource(Source& source) { source.removeHandler(this); }
        virtual ~Handler() = default;
    };

    class Source {
      public:
        Source() = default;
        Source(const Source&) = delete;
        Source& operator=(const Source&) = delete;
        virtual ~Source() { QN_EVENT_ASSERT(!hasHandlers()); }

        void addHandler(Handler* handler) {
            QN_EVENT_ASSERT(handler);
            if (!handler) {
                return;
            }
            std::lock_guard<Mutex> lock(m_mutex);
            m_handlers.push_back(handler);
            if (m_handlers.size() == 1) {
                firstHandlerAdded();
            }
        }

        void removeHandler(Handler* handler) {
            QN_EVENT_ASSERT(handler);
            if (!handler) {
                return;
            }
            std::lock_guard<Mutex> lock(m_mutex);
            const auto i = std::find(m_handlers.begin(), m_handlers.end(), handler);
            QN_EVENT_ASSERT(i != m_handlers.end());
            if (i == m_handlers.end()) {
                return;
            }
            m_handlers.erase(i);
            if (m_handlers.empty()) {
                lastHandlerRemoved();
            }
        }

        // Handlers run under the (recursive) lock and from a copy of the list, so that
        // one of them may add or remove handlers.
        void fire(const E& event) {
            std::lock_guard<Mutex> lock(m_mutex);
            const std::vector<Handler*> handlers = m_handlers;
            for (Handler* handler : handlers) {
                handler->handle(*this, event);
            }
        }

        bool hasHandlers() const {
            std::lock_guard<Mutex> lock(m_mutex);
            return !m_handlers.empty();
        }

      protected:
        virtual void firstHandlerAdded() {}
        virtual void lastHandlerRemoved() {}

      private:
        std::vector<Handler*> m_handlers;
        mutable Mutex m_mutex;
    };
};

}  // namespace qn::sys
