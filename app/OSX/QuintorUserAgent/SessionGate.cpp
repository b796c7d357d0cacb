#include "app/OSX/QuintorUserAgent/SessionGate.h"

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "app/OSX/QuintorUserAgent/TerminationSignal.h"
#include "platform/Backend.h"
#include "platform/Quartz.h"
#include "platform/System.h"

namespace qn::app::osx::qnuapp {

using sys::Logger;

bool isUserActive() {
    const platform::Value session = platform::quartz().CGSessionCopyCurrentDictionary();
    if (session.isNull()) {
        QNUA_LOG(Logger::DEBUG) << "No session info. Assuming my user is not active.";
        return false;
    }
    return session.get(platform::kCGSSessionOnConsoleKey).boolValue();
}

void waitForActiveUser() {
    const bool active = isUserActive();
    QNUA_LOG(Logger::DEBUG) << "The user whose session we are running in is "
                            << (active ? "active" : "inactive");
    if (active) {
        return;
    }
    QNUA_LOG(Logger::VERBOSE) << "Waiting for the user to become active...";
    while (!isUserActive()) {
        platform::system().sleep(1);
        // A SIGTERM that came during the second is handled here: no run loop turns yet.
        runPendingTerminationSignal();
    }
    QNUA_LOG(Logger::DEBUG) << "...user became active";
}

}  // namespace qn::app::osx::qnuapp
