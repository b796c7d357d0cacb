#include "sys/libutils/WaitableList.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>

#include "sys/libutils/Exception.h"

namespace qn::sys {

void WaitableList::add(Waitable* waitable) {
    remove(waitable);
    m_entries.push_back(waitable);
}

void WaitableList::remove(Waitable* waitable) {
    m_entries.erase(std::remove(m_entries.begin(), m_entries.end(), waitable), m_entries.end());
}

void WaitableList::addAll(const WaitableList& other) {
    for (Waitable* waitable : other.m_entries) {
        add(waitable);
    }
}

std::uint32_t WaitableList::waitForAny(std::uint32_t timeout) {
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        if (m_entries[i]->state().isSignalled()) {
            return static_cast<std::uint32_t>(i);
        }
    }
    std::vector<pollfd> entries;
    entries.reserve(m_entries.size());
    for (Waitable* waitable : m_entries) {
        entries.push_back(pollfd{waitable->getHandle(), POLLIN, 0});
    }
    timespec limit{static_cast<time_t>(timeout / 1000000),
                   static_cast<long>(timeout % 1000000) * 1000};
    int ready =
        ppoll(entries.data(), entries.size(), timeout == kWaitForever ? nullptr : &limit, nullptr);
    if (ready == 0) {
        return kWaitTimedOut;
    }
    if (ready < 0) {
        throw SystemError(1, errno);
    }
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        if (entries[i].revents != 0 && m_entries[i]->state().acknowledge()) {
            return static_cast<std::uint32_t>(i);
        }
    }
    return kWaitNoneClaimed;
}

}  // namespace qn::sys
