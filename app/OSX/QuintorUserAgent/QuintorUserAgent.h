#pragma once

namespace qn::app::osx::qnuapp {

// The agent's entry, on whatever backend is installed: 0 after the run loop has ended,
// 1 when the SIGTERM handler cannot be installed. Otherwise the process ends inside,
// through the System port's exit (0 on SIGTERM, 1 without a window server).
int agentMain();

}  // namespace qn::app::osx::qnuapp
