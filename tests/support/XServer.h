#pragma once
// An X server of the test's own: started as a child, ready when it has written its
// display number to -displayfd, ended and reaped when the object goes. Xvfb gives one
// output at 0 Hz; Xorg with the dummy driver gives 16 outputs with real timings.

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

namespace qn::test {

class XServer {
  public:
    enum class Kind { Xvfb, XorgDummy };

    // Null when the server cannot be started or does not get ready; `error` says why.
    // `extraArgs` go to the server's command line (such as "-extension", "RANDR");
    // `xvfbScreen` is Xvfb's only screen as its -screen takes it.
    static std::unique_ptr<XServer> start(Kind kind, std::string* error,
                                          const std::vector<std::string>& extraArgs = {},
                                          const std::string& xvfbScreen = "1920x1080x24");
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    // ":N".
    const std::string& display() const { return m_display; }
    pid_t pid() const { return m_pid; }
    // Ends the server now and reaps it; the destructor then has nothing to do.
    void stop();

    // Runs a client tool (xrandr, xset, ...) against this server and waits for it; its
    // exit status, or -1 when it could not run or ended by a signal. Its output goes to
    // `output` when given.
    int run(const std::vector<std::string>& argv, std::string* output = nullptr) const;

  private:
    XServer(pid_t pid, std::string display, std::string directory);

    pid_t m_pid;
    std::string m_display;
    std::string m_directory;
};

}  // namespace qn::test
