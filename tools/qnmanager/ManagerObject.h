#pragma once
// The Manager's one object on the bus: answers introspection and the protocol's calls.
// Every call is written to the transcript as it arrives; the call rules decide whether
// it is refused or answered late.

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "platform/Registration.h"
#include "platform/Value.h"
#include "platform/linux/bus/BusHandles.h"
#include "platform/linux/event/EventLoop.h"
#include "tools/qnmanager/CallRules.h"
#include "tools/qnmanager/Transcript.h"

namespace qn::tools::qnmanager {

class ManagerObject {
  public:
    // The error name of a refused call; its message is the command's.
    static constexpr const char* kRefusedError = "com.quintor.QuintorManager.Error.Refused";

    ManagerObject(platform::linux_host::EventLoop& loop, Transcript& transcript, CallRules& rules)
        : m_loop(loop), m_transcript(transcript), m_rules(rules) {}

    // Serves the object on this bus (dropping any earlier one); 0 or a negative errno.
    int attach(sd_bus* bus);
    // Stops serving; replies still waiting are never sent.
    void detach();
    // Told of every call that was answered (not refused), after its answer.
    using CallObserver =
        std::function<void(const std::string& selector, const std::vector<platform::Value>&)>;
    void setCallObserver(CallObserver observer) { m_observer = std::move(observer); }

  private:
    static int onMessage(sd_bus_message* message, void* userdata, sd_bus_error* error);
    int handle(sd_bus_message* message, sd_bus_error* error);

    platform::linux_host::EventLoop& m_loop;
    Transcript& m_transcript;
    CallRules& m_rules;
    platform::linux_host::BusSlotPtr m_slot;
    std::list<platform::Registration> m_lateReplies;
    CallObserver m_observer;
};

}  // namespace qn::tools::qnmanager
