#pragma once

#include <sys/types.h>

#include "sys/libutils/Logger.h"

namespace qn::app::osx::qnuapp {

// Starts the process's logger under the agent's name and makes the one
// logging object of the agent, under the process id as instance. A second
// call replaces that object.
void startAgentLogging(pid_t processId);

// The object every class of the agent logs through; null before
// startAgentLogging.
sys::Logger::Logged* agentLog();

}  // namespace qn::app::osx::qnuapp

// A log statement of the agent, through its one logging object.
#define QNUA_LOG(level) QN_LOG(*::qn::app::osx::qnuapp::agentLog(), (level))
