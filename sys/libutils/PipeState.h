#pragma once

#include <cstdint>

#include "sys/libutils/Mutex.h"
#include "sys/libutils/Waitable.h"

namespace qn::sys {

// The anonymous pipe behind a flag: one byte lies in it while the flag is
// raised, so the read end can stand in a poll set. Made on first need.
class PipeState : public Waitable::State {
  public:
    PipeState() = default;
    ~PipeState() override;

    void createPipe();
    // Both run under the caller's hold of the mutex.
    void writeByte();
    void drain();
    // 0xFFFFFFFF if closed or nothing came, 1 if bytes came.
    std::uint32_t readOnce();

    bool wait(std::uint32_t timeout) override;
    bool pipeExists() const { return m_writeEnd >= 0; }

  protected:
    // Whether the pipe must hold its byte when it is made.
    virtual bool holdsByte() const = 0;

    int m_readEnd = -2;
    int m_writeEnd = -2;
    Mutex m_mutex;
};

}  // namespace qn::sys
