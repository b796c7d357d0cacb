// qnagent_simdisplays: the agent's own main as a real process on the Linux host (event
// loop, signals, the Manager over the bus), with display, registry, audio and window
// facts from the simulated host, fixed: one display of 1920x1080 at 60 Hz, a session on
// the console, session id 4242. A test program, not the agent: it stands in for the
// display backends until they exist and is never installed.
//
// Usage: qnagent_simdisplays [HIVE]   (HIVE: the settings file to use; default a fresh
// one under $HOME). Commands on stdin, one a line:
//   refresh X Y W H    the screen reports that rectangle changed

#include <sys/epoll.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <system_error>

#include "app/OSX/QuintorUserAgent/QuintorUserAgent.h"
#include "platform/linux/LinuxHost.h"
#include "platform/sim/SimHost.h"
#include "platform/sim/SimWorld.h"
#include "sys/libutils/HivePath.h"

namespace {

using namespace qn::platform;

constexpr CGDirectDisplayID kDisplay = 0x2B1F0A10;
constexpr SecuritySessionId kSessionId = 4242;

void placeFacts(sim::SimHost& simulated) {
    sim::SimWorld world(simulated);
    sim::SimDisplaySpec spec;
    spec.display.id = kDisplay;
    spec.display.bounds = CGRectMake(0, 0, 1920, 1080);
    spec.display.pixelWidth = 1920;
    spec.display.pixelHeight = 1080;
    spec.display.refreshRate = 60.0;
    world.placeDisplay(spec);
    simulated.quartz().setMainDisplay(kDisplay);
    Value session;
    session.set(kCGSSessionOnConsoleKey, kCFBooleanTrue());
    session.set(kCGSessionLoginDoneKey, kCFBooleanTrue());
    simulated.quartz().setSession(session);
}

class Commands {
  public:
    Commands(linux_host::EventLoop& loop, sim::SimHost& simulated) : m_simulated(simulated) {
        try {
            m_source = loop.addIo(STDIN_FILENO, EPOLLIN, "test-commands",
                                  [this](std::uint32_t) { read(); });
        } catch (const std::system_error&) {
            // Stdin that cannot be watched (/dev/null): no commands.
        }
    }

  private:
    void read() {
        char chunk[1024];
        const ssize_t got = ::read(STDIN_FILENO, chunk, sizeof chunk);
        if (got <= 0) {
            m_source.reset();
            return;
        }
        m_pending.append(chunk, static_cast<std::size_t>(got));
        for (auto nl = m_pending.find('\n'); nl != std::string::npos; nl = m_pending.find('\n')) {
            run(m_pending.substr(0, nl));
            m_pending.erase(0, nl + 1);
        }
    }
    void run(const std::string& line) {
        std::istringstream words(line);
        std::string verb;
        double x = 0, y = 0, w = 0, h = 0;
        if (words >> verb >> x >> y >> w >> h && verb == "refresh") {
            m_simulated.quartz().refresh({CGRectMake(x, y, w, h)});
            // The simulated host delivers on its own run loop; turn it once, here on the
            // agent's main thread.
            m_simulated.runLoop().runPending();
        }
    }

    sim::SimHost& m_simulated;
    Registration m_source;
    std::string m_pending;
};

}  // namespace

int main(int argc, char** argv) {
    const char* home = getenv("HOME");
    qn::sys::HivePath::set(argc > 1 ? argv[1] : std::string(home ? home : "/tmp") + "/qn.xml");

    sim::SimHost simulated;
    placeFacts(simulated);
    linux_host::LinuxHost host;
    host.quartzSlot().lend(simulated.quartz());
    host.ioKitSlot().lend(simulated.ioKit());
    host.ioSurfaceSlot().lend(simulated.ioSurface());
    host.coreAudioSlot().lend(simulated.coreAudio());
    host.appKitSlot().lend(simulated.appKit());
    host.linuxSystem().setSessionIdSource(
        [] { return std::optional<SecuritySessionId>(kSessionId); });
    Commands commands(host.loop(), simulated);

    const auto backend = host.install();
    return qn::app::osx::qnuapp::agentMain();
}
