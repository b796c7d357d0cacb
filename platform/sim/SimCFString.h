#pragma once
// A host string handed out by reference; it can refuse to give its characters directly,
// as a host string in another encoding does.

#include <string>

#include "platform/CoreFoundation.h"
#include "platform/sim/SimCounted.h"

namespace qn::platform::sim {

class SimCFString : public SimCounted<CFStringObject> {
  public:
    SimCFString(SimFaults& faults, std::string text, bool directPointer)
        : SimCounted(faults, "string"), m_text(std::move(text)), m_directPointer(directPointer) {}

    const char* cStringPtr(CFStringEncoding) const override {
        return check("CFStringGetCStringPtr") && m_directPointer ? m_text.c_str() : nullptr;
    }
    const std::string& text() const { return m_text; }

  private:
    std::string m_text;
    bool m_directPointer;
};

}  // namespace qn::platform::sim
