#pragma once
// The stand-in as a whole: the loop, its place on the bus, the object, the rules, and
// the commands from stdin and the script.

#include <iosfwd>
#include <list>
#include <memory>
#include <string>

#include "platform/Registration.h"
#include "platform/linux/event/EventHandles.h"
#include "platform/linux/event/EventLoop.h"
#include "tools/qnmanager/BusPresence.h"
#include "tools/qnmanager/CallRules.h"
#include "tools/qnmanager/CopySink.h"
#include "tools/qnmanager/FrameReceiver.h"
#include "tools/qnmanager/ManagerObject.h"
#include "tools/qnmanager/ManagerOptions.h"
#include "tools/qnmanager/Transcript.h"

namespace qn::tools::qnmanager {

class ManagerApp {
  public:
    ManagerApp(const ManagerOptions& options, std::ostream& out, std::ostream& err);
    // The exit status.
    int run();

    // One command as typed; false (and a line on err) when it is not understood.
    bool execute(const std::string& command);

  private:
    int takeName();
    bool loadScript();
    void readInput();

    ManagerOptions m_options;
    std::ostream& m_err;
    platform::linux_host::EventLoop m_loop;
    Transcript m_transcript;
    CallRules m_rules;
    BusPresence m_presence;
    ManagerObject m_object;
    FrameReceiver m_frames;
    std::unique_ptr<CopySink> m_copySink;
    platform::Registration m_input;
    std::string m_pending;
    std::list<platform::Registration> m_scripted;
    platform::linux_host::EventSourcePtr m_sigterm;
    platform::linux_host::EventSourcePtr m_sigint;
    int m_status = 0;
};

}  // namespace qn::tools::qnmanager
