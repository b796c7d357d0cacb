#pragma once
// Holds the agent back until the session's user is on the console.

namespace qn::app::osx::qnuapp {

// True when the session dictionary's on-console value is exactly true.
bool isUserActive();
// Returns once isUserActive() gives true, testing once a second for ever.
void waitForActiveUser();

}  // namespace qn::app::osx::qnuapp
