#pragma once

#include "sys/libutils/Identity.h"

namespace qn::sys::instrumentation {

class Manager;

// The base of classes that keep counters: it attaches the object to a
// manager, and its identity names the object's variables.
class Instrumented : public virtual Identity {
  public:
    // The process's manager.
    Instrumented();
    explicit Instrumented(Manager* manager);
    virtual ~Instrumented() = default;

    Manager* manager() const { return m_manager; }

  private:
    Manager* m_manager;
};

}  // namespace qn::sys::instrumentation
