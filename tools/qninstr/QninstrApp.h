#pragma once

#include <atomic>
#include <ostream>
#include <string>

namespace qn::tools::qninstr {

// Exit codes of qninstr.
enum ExitCode { kShown = 0, kNoDirectory = 1, kUsage = 2 };

// Lists the processes in an instrumentation directory and prints each one's
// variables; with -watch it prints a fresh snapshot at every interval.
class QninstrApp {
  public:
    QninstrApp(std::ostream& out, std::ostream& err);

    int run(int argc, char** argv);
    // Ends a -watch run before its next snapshot (from a signal handler too).
    void stop() { m_stop = true; }

    // One snapshot; false if there is no directory of that name.
    bool printSnapshot(const std::string& directory);

  private:
    bool pause(int seconds);

    std::ostream& m_out;
    std::ostream& m_err;
    std::atomic<bool> m_stop{false};
};

}  // namespace qn::tools::qninstr
