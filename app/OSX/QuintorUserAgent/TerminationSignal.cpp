#include "app/OSX/QuintorUserAgent/TerminationSignal.h"

#include <atomic>
#include <cstdlib>

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "app/OSX/QuintorUserAgent/NotificationCommunicator.h"
#include "platform/Backend.h"
#include "platform/Foundation.h"
#include "platform/System.h"

namespace qn::app::osx::qnuapp {

using sys::Logger;

NotificationCommunicator* theCommunicator = nullptr;

namespace {

// The caught signal, 0 for none.
std::atomic<int> pendingSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "touched in signal context");

}  // namespace

void catchTerminationSignal(int signal) {
    pendingSignal.store(signal);
    platform::foundation().wakeMainRunLoopFromSignal();
}

void runPendingTerminationSignal() {
    if (const int signal = pendingSignal.exchange(0)) {
        terminationSignalHandler(signal);
    }
}

void terminationSignalHandler(int signal) {
    QNUA_LOG(Logger::DEBUG) << "Got signal " << signal << " - will forward to QNM";
    if (NotificationCommunicator* communicator = theCommunicator) {
        communicator->sendCloseMessage();
    } else {
        QNUA_LOG(Logger::WARN) << "Not connected with QNM. Signal " << signal
                               << " will not be forwarded.";
    }
    // The objects main owns are left as they are.
    platform::system().exit(0);
    // A host whose exit came back has broken its promise.
    std::abort();
}

}  // namespace qn::app::osx::qnuapp
