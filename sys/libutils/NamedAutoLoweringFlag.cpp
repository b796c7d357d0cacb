#include "sys/libutils/NamedAutoLoweringFlag.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "sys/libutils/Clock.h"
#include "sys/libutils/Exception.h"

namespace qn::sys {

namespace {

class NamedState : public Waitable::State {
  public:
    NamedState(const std::string& path) : m_path(path) {
        if (mkfifo(path.c_str(), 0777) == 0) {
            m_created = true;
        } else if (errno != EEXIST) {
            throw SystemError(1, errno);
        }
        m_handle = open(path.c_str(), O_RDWR);
        if (m_handle < 0) {
            throw SystemError(1, errno);
        }
        int flags = fcntl(m_handle, F_GETFL);
        if (flags < 0 || fcntl(m_handle, F_SETFL, flags | O_NONBLOCK) < 0) {
            int error = errno;
            close(m_handle);
            throw SystemError(1, error);
        }
    }

    ~NamedState() override {
        if (m_created) {
            unlink(m_path.c_str());
        }
        close(m_handle);
    }

    void raise() {
        if (write(m_handle, "!", 1) != 1) {
            throw SystemError(1, errno);
        }
    }

    bool wait(std::uint32_t timeout) override {
        // Several processes may wake for one byte; the ones that find the FIFO
        // empty wait again for what is left of the time-out.
        const bool forever = timeout == kWaitForever;
        const std::int64_t deadline = CurrentMicroseconds() + timeout;
        std::uint32_t left = timeout;
        for (;;) {
            int ready = pollForReading(m_handle, left, true);
            if (ready < 0) {
                throw SystemError(1, errno);
            }
            if (ready == 0) {
                return false;
            }
            if (isSignalled()) {
                return true;
            }
            if (!forever) {
                std::int64_t remaining = deadline - CurrentMicroseconds();
                if (remaining <= 0) {
                    return false;
                }
                left = static_cast<std::uint32_t>(remaining);
            }
        }
    }

    // Reading empties the FIFO, which is what lowers the flag. An empty FIFO
    // is a lost race with another waiter, not an error.
    bool isSignalled() override {
        char buffer[1000];
        ssize_t got = read(m_handle, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK) {
                return false;
            }
            throw SystemError(1, errno);
        }
        return got > 0;
    }

    bool acknowledge() override { return isSignalled(); }

    bool m_created = false;

  private:
    std::string m_path;
};

}  // namespace

NamedAutoLoweringFlag::NamedAutoLoweringFlag(const std::string& path, bool raiseIfCreated)
    : Waitable(std::make_unique<NamedState>(path)) {
    if (created() && raiseIfCreated) {
        raise();
    }
}

void NamedAutoLoweringFlag::raise() {
    static_cast<NamedState&>(*m_state).raise();
}

bool NamedAutoLoweringFlag::created() const {
    return static_cast<const NamedState&>(*m_state).m_created;
}

}  // namespace qn::sys
