#pragma once
// A dispatch queue of the simulated host: a label and what was run on it.

#include <string>

#include "platform/Dispatch.h"

namespace qn::platform::sim {

class SimDispatchQueue : public DispatchQueueObject {
  public:
    explicit SimDispatchQueue(std::string label) : m_label(std::move(label)) {}
    const std::string& label() const { return m_label; }
    bool released = false;
    int executed = 0;

  private:
    std::string m_label;
};

}  // namespace qn::platform::sim
