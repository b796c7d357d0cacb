#include "sys/libutils/posix/Thread.h"

#include <pthread.h>
#include <sched.h>
#include <stdio.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "sys/libutils/Exception.h"
#include "sys/libutils/Hex.h"
#include "sys/libutils/LogSeam.h"
#include "sys/libutils/Waitable.h"

namespace qn::sys {

namespace {

logseam::LogSource sourceOf(const std::string& name) {
    return {"Thread", name};
}

}  // namespace

// What the running body touches lives in a shared block, so that a body which
// outlives its Thread object (a timed-out destructor join) does not run on
// freed memory.
class Thread::State {
  public:
    struct Body {
        Body() { pthread_mutex_init(&mutex, nullptr); }
        // The mutex is held by the thread for the whole of its body: a join
        // that can take it knows the body has ended.
        pthread_mutex_t mutex;
        std::atomic<bool> started{false};
        std::atomic<bool> inBody{false};
        std::atomic<bool> entered{false};  // the body holds the mutex now
        std::atomic<Thread*> owner{nullptr};
    };

    explicit State(Thread* owner) : m_body(std::make_shared<Body>()) { m_body->owner = owner; }

    ~State() {
        try {
            if (!join(10000000)) {
                QN_SEAM_LOG(sourceOf(m_body->owner.load()->name()), logseam::kError,
                            "join timed out in Thread::State::~State()");
                // The body finishes on its own and keeps its shared block alive.
                m_body->owner = nullptr;
                pthread_detach(m_thread);
            }
        } catch (...) {
            // A destructor reports nothing further.
        }
    }

    bool start() {
        if (m_body->started) {
            return true;
        }
        m_body->started = true;
        auto* handed = new std::shared_ptr<Body>(m_body);
        // Keeps the creation apart from any thread writing to stdout.
        flockfile(stdout);
        int error = pthread_create(&m_thread, nullptr, &State::body, handed);
        funlockfile(stdout);
        if (error != 0) {
            delete handed;
            m_body->started = false;
            return false;
        }
        return true;
    }

    bool isRunning() const { return m_body->started || m_body->inBody; }

    bool join(std::uint32_t timeout) {
        if (!m_body->started) {
            return true;
        }
        if (timeout == kWaitForever) {
            finish();
            return true;
        }
        const std::uint32_t step = timeout / 20;
        std::uint32_t left = timeout;
        for (;;) {
            if (m_body->entered && pthread_mutex_trylock(&m_body->mutex) == 0) {
                pthread_mutex_unlock(&m_body->mutex);
                finish();
                return true;
            }
            timespec pause{static_cast<time_t>(step / 1000000),
                           static_cast<long>(step % 1000000) * 1000};
            if (nanosleep(&pause, nullptr) != 0 && errno != EINTR) {
                throw SystemErrorCodeException(static_cast<std::uint64_t>(errno));
            }
            left -= step;
            if (left < step) {
                return false;
            }
        }
    }

  private:
    static void* body(void* argument) {
        std::shared_ptr<Body> body(std::move(*static_cast<std::shared_ptr<Body>*>(argument)));
        delete static_cast<std::shared_ptr<Body>*>(argument);
        pthread_mutex_lock(&body->mutex);
        body->inBody = true;
        body->entered = true;
        if (body->started) {
            if (Thread* owner = body->owner.load()) {
                owner->run();
            }
        }
        body->inBody = false;
        pthread_mutex_unlock(&body->mutex);
        return nullptr;
    }

    void finish() {
        if (pthread_join(m_thread, nullptr) != 0) {
            pthread_detach(m_thread);
        }
        m_body->started = false;
    }

    std::shared_ptr<Body> m_body;
    pthread_t m_thread{};
};

Thread::Thread()
    : m_name(U64ToHexString(reinterpret_cast<std::uintptr_t>(this))),
      m_state(std::make_unique<State>(this)) {}

Thread::Thread(const std::string& name) : m_name(name), m_state(std::make_unique<State>(this)) {}

Thread::~Thread() {
    m_state.reset();
}

bool Thread::start() {
    return m_state->start();
}

bool Thread::isRunning() const {
    return m_state->isRunning();
}

bool Thread::join(std::uint32_t timeout) {
    return m_state->join(timeout);
}

void Thread::setPriority(std::uint32_t level) {
    int policy = 0;
    sched_param parameters{};
    int current = 0;
    if (int error = pthread_getschedparam(pthread_self(), &policy, &parameters); error != 0) {
        QN_SEAM_LOG(sourceOf(m_name), logseam::kError,
                    "Error retrieving current thread policy: " << std::strerror(error));
    } else {
        current = parameters.sched_priority;
    }
    const int lowest = sched_get_priority_min(SCHED_FIFO);
    const int highest = sched_get_priority_max(SCHED_FIFO);
    const double c = current;
    double priority = 0;
    switch (level) {
        case 0:
            priority = lowest;
            break;
        case 1:
            priority = c + (lowest - c) * 0.7;
            break;
        case 2:
            priority = c + (lowest - c) * 0.3;
            break;
        case 3:
            priority = c;
            break;
        case 4:
            priority = c + (highest - c) * 0.3;
            break;
        case 5:
            priority = c + (highest - c) * 0.7;
            break;
        case 6:
            priority = highest;
            break;
        default:
            priority = 0;
            break;
    }
    parameters.sched_priority = static_cast<int>(priority);
    switch (pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters)) {
        case 0:
            break;
        case ESRCH:
            QN_SEAM_LOG(sourceOf(m_name), logseam::kError,
                        "Error setting thread priority - Invalid thread");
            break;
        case EINVAL:
            QN_SEAM_LOG(sourceOf(m_name), logseam::kError,
                        "Error setting thread priority - Invalid policy");
            break;
        case ENOTSUP:
            QN_SEAM_LOG(sourceOf(m_name), logseam::kError,
                        "Error setting thread priority - Invalid params");
            break;
        default:
            break;
    }
}

}  // namespace qn::sys
