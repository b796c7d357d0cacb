#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace qn::sys {

// Derive and override run(). The thread ends when run() returns; a join can
// wait with a time-out (microseconds, kWaitForever for ever). Deleting a Thread
// joins with 10 seconds' patience and logs if the body is still running.
class Thread {
  public:
    Thread();
    explicit Thread(const std::string& name);
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // True if the thread runs afterwards; a second start runs no second body.
    bool start();
    // Stays true after the body has ended, until a join.
    bool isRunning() const;
    // True once the thread has ended, false on time-out. Throws
    // SystemErrorCodeException if the wait between polls fails.
    bool join(std::uint32_t timeout);
    // Acts on the calling thread: 0 lowest .. 3 unchanged .. 6 highest.
    void setPriority(std::uint32_t level);

    const std::string& name() const { return m_name; }

  protected:
    virtual void run() = 0;

  private:
    class State;
    std::string m_name;
    std::unique_ptr<State> m_state;
};

}  // namespace qn::sys
