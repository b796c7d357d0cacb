#include "sys/libutils/PipeState.h"

#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "sys/libutils/Exception.h"

namespace qn::sys {

PipeState::~PipeState() {
    if (m_writeEnd >= 0) {
        close(m_writeEnd);
    }
    m_writeEnd = -1;
    if (m_readEnd >= 0) {
        close(m_readEnd);
    }
    m_readEnd = -1;
}

void PipeState::createPipe() {
    std::lock_guard<Mutex> guard(m_mutex);
    if (m_writeEnd >= 0) {
        return;
    }
    int ends[2];
    if (pipe(ends) != 0) {
        throw SystemError(10, errno);
    }
    m_readEnd = ends[0];
    m_writeEnd = ends[1];
    m_handle = m_readEnd;
    if (holdsByte()) {
        writeByte();  // a raise before the pipe existed wrote nothing
    }
}

void PipeState::writeByte() {
    if (m_writeEnd < 0) {
        return;
    }
    if (write(m_writeEnd, "\n", 1) < 1) {
        throw SystemError(10, errno);
    }
}

void PipeState::drain() {
    if (m_writeEnd < 0) {
        return;
    }
    char buffer[1000];
    if (read(m_readEnd, buffer, sizeof buffer) < 1) {
        throw SystemError(10, errno);
    }
}

std::uint32_t PipeState::readOnce() {
    if (m_readEnd < 0) {
        return 0xFFFFFFFF;
    }
    char buffer[1000];
    ssize_t got = read(m_readEnd, buffer, sizeof buffer);
    if (got < 0) {
        throw SystemError(1, errno);
    }
    return got == 0 ? 0xFFFFFFFF : 1;
}

bool PipeState::wait(std::uint32_t timeout) {
    createPipe();
    if (isSignalled()) {
        return true;
    }
    if (timeout == 0) {
        return false;
    }
    // The time-out is always passed on: kWaitForever here is about 71 minutes.
    int ready = pollForReading(m_readEnd, timeout, false);
    if (ready < 0) {
        throw SystemError(1, errno);
    }
    return ready > 0 && acknowledge();
}

}  // namespace qn::sys
