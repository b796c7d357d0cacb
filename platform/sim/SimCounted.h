#pragma once
// A host object with an exact retain count. It is created with one reference; the sim
// keeps its memory to the end of the host's life, so that a release to zero marks it
// freed and any later use is recorded as a fault instead of being undefined.

#include <atomic>
#include <string>

#include "platform/sim/SimFaults.h"

namespace qn::platform::sim {

template <typename Base>
class SimCounted : public Base {
  public:
    SimCounted(SimFaults& faults, std::string kind) : m_faults(faults), m_kind(std::move(kind)) {}

    void retain() override {
        check("CFRetain");
        ++m_count;
        ++m_retains;
    }
    void release() override {
        check("CFRelease");
        if (m_count.load() <= 0) {
            return;
        }
        ++m_releases;
        --m_count;
    }
    long retainCount() const override { return m_count.load(); }

    bool isFreed() const { return m_count.load() <= 0; }
    long retains() const { return m_retains.load(); }
    long releases() const { return m_releases.load(); }
    const std::string& kind() const { return m_kind; }

    // Records a fault when the object is already freed; true when it is alive.
    bool check(const char* operation) const {
        if (m_count.load() <= 0) {
            m_faults.record(std::string(operation) + " on a freed " + m_kind);
            return false;
        }
        return true;
    }

  protected:
    SimFaults& faults() const { return m_faults; }

  private:
    SimFaults& m_faults;
    std::string m_kind;
    std::atomic<long> m_count{1};
    std::atomic<long> m_retains{0};
    std::atomic<long> m_releases{0};
};

}  // namespace qn::platform::sim
