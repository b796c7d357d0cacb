#include "app/OSX/QuintorUserAgent/QuintorUserAgent.h"

#include <csignal>
#include <memory>

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "app/OSX/QuintorUserAgent/NotificationCommunicator.h"
#include "app/OSX/QuintorUserAgent/SessionFacts.h"
#include "app/OSX/QuintorUserAgent/SessionGate.h"
#include "app/OSX/QuintorUserAgent/TerminationSignal.h"
#include "platform/AppKit.h"
#include "platform/Backend.h"
#include "platform/Foundation.h"
#include "platform/System.h"
#include "tk/libOSXAudio/AudioDeviceConfigurator.h"
#include "tk/libOSXAudio/QuintorAudioDeviceLister.h"

namespace qn::app::osx::qnuapp {

using sys::Logger;

namespace {

// On a host whose exit unwinds (the simulated one), the communicator goes with main's
// frame; the handler must not find it afterwards.
struct CommunicatorReset {
    ~CommunicatorReset() { theCommunicator = nullptr; }
};

}  // namespace

int agentMain() {
    auto& system = platform::system();
    auto& foundation = platform::foundation();

    platform::ProcessSerialNumber process;
    system.GetCurrentProcess(&process);
    pid_t pid = 0;
    system.GetProcessPID(&process, &pid);
    startAgentLogging(pid);
    QNUA_LOG(Logger::ALWAYS) << "QuintorUserAgent main starting";

    // Listening from here on, so the adapters' audio is looked after during the waits too.
    // Declared in this order, the configurator goes first, on every road out of main.
    const auto audioLister = tk::osx::QuintorAudioDeviceLister::create();
    const auto audioConfigurator = tk::osx::AudioDeviceConfigurator::create(audioLister.get());

    foundation.setSignalWakeHandler(&runPendingTerminationSignal);
    if (system.signal(SIGTERM, &catchTerminationSignal) == SIG_ERR) {
        QNUA_LOG(Logger::FATAL) << "Could not establish new signal SIGTERM handler - stoping "
                                   "the service will not work.";
        return 1;
    }

    waitForActiveUser();

    const CommunicatorReset reset;
    std::unique_ptr<NotificationCommunicator> communicator;
    for (;;) {
        communicator = NotificationCommunicator::create();
        theCommunicator = communicator.get();
        if (communicator) {
            break;
        }
        // It is the Manager that is awaited; the text has always said otherwise.
        QNUA_LOG(Logger::VERBOSE) << "Waiting for Notification Center to start up.";
        system.sleep(1);
        runPendingTerminationSignal();
    }

    const SessionFacts facts = SessionFacts::read();
    communicator->postInitConfigurationInSession_asPreloginAgent(facts.userSessionId,
                                                                 facts.isPreloginSession);

    // Only once the link to the Manager stands.
    auto& appKit = platform::appKit();
    appKit.sharedApplication();
    appKit.finishLaunching();

    foundation.currentRunLoop().run();

    theCommunicator = nullptr;
    NotificationCommunicator::release(std::move(communicator));
    return 0;
}

}  // namespace qn::app::osx::qnuapp
