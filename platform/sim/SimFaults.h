#pragma once
// Misuse of host objects seen by the simulated host (over-release, use after free, a
// use count below zero, ...). Tests and scenarios assert that none was recorded.

#include <mutex>
#include <string>
#include <vector>

namespace qn::platform::sim {

class SimFaults {
  public:
    void record(std::string fault) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_faults.push_back(std::move(fault));
    }
    std::vector<std::string> list() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_faults;
    }
    bool empty() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_faults.empty();
    }

  private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_faults;
};

}  // namespace qn::platform::sim
