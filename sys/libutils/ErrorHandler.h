#pragma once

#include <string>

#include "sys/libutils/LogSeam.h"

namespace qn::sys {

// The process-wide last-resort reporting: terminate and abort handlers that
// log one FATAL line for the first fatal event only.

// Once per process: terminate handler and SIGABRT handler.
void installErrorHandler();
// For a catch (...) at the top of a thread or of main. Never returns.
[[noreturn]] void reportTopLevelException(const char* place, const logseam::LogSource* logged);
// Inside a catch block: the narrow text of the exception in flight.
std::string describeCurrentException();
// A hook that stays empty on this platform; it only says so.
void dumpOSCore(const logseam::LogSource* logged);
// Sets the fatal flag; true if it was clear.
bool enterFatalHandling();

}  // namespace qn::sys
