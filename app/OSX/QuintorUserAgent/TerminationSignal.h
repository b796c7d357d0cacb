#pragma once
// SIGTERM, in two halves. catchTerminationSignal is what the host calls in signal
// context: it only records the signal and wakes the main run loop. The main thread then
// runs terminationSignalHandler, from the run loop or from a waiting loop between two
// sleeps, where the Manager's proxy and the logger may be used safely. See
// docs/signals.md.

namespace qn::app::osx::qnuapp {

class NotificationCommunicator;

// The one communicator, null until construction succeeds; read by the handler.
extern NotificationCommunicator* theCommunicator;

// Signal context: async-signal-safe.
void catchTerminationSignal(int signal);
// Main thread: runs the handler if a signal was caught. Returns if none was.
void runPendingTerminationSignal();
// Main thread: logs, sends closing if connected, and ends the process with status 0.
[[noreturn]] void terminationSignalHandler(int signal);

}  // namespace qn::app::osx::qnuapp
