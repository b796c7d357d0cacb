#include "tools/qnmanager/ManagerApp.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <ostream>
#include <sstream>
#include <system_error>

#include "platform/linux/bus/ManagerWire.h"
#include "tools/qnmanager/Notifier.h"
#include "tools/transcript/JsonNesting.h"
#include "tools/transcript/TranscriptLines.h"
#include "tools/transcript/ValueJson.h"

namespace qn::tools::qnmanager {

using platform::linux_host::EventLoop;

namespace {

int onStopSignal(sd_event_source* source, const signalfd_siginfo*, void*) {
    sd_event_exit(sd_event_source_get_event(source), 0);
    return 0;
}

void tellReady(int fd) {
    if (fd >= 0) {
        static const char kReady[] = "ready\n";
        [[maybe_unused]] const ssize_t written = write(fd, kReady, sizeof kReady - 1);
        close(fd);
    }
}

}  // namespace

ManagerApp::ManagerApp(const ManagerOptions& options, std::ostream& out, std::ostream& err)
    : m_options(options),
      m_err(err),
      m_transcript(out),
      m_presence(m_loop, options.address),
      m_object(m_loop, m_transcript, m_rules),
      m_frames(
          m_loop, m_transcript, [this] { return m_presence.bus(); },
          FrameReceiver::Settings{options.driverDirectory, options.driverIndices,
                                  options.releaseDelayMs, options.pngDirectory, options.pngLast,
                                  options.streamAdapters}) {
    m_object.setCallObserver(
        [this](const std::string& selector, const std::vector<platform::Value>& arguments) {
            m_frames.onCall(selector, arguments);
        });
}

int ManagerApp::takeName() {
    int r = m_presence.connect();
    if (r < 0) {
        m_err << "qnmanager: cannot connect to the bus: " << std::strerror(-r) << '\n';
        return r;
    }
    r = m_object.attach(m_presence.bus());
    if (r >= 0) {
        r = m_presence.ownName();
    }
    if (r < 0) {
        m_err << "qnmanager: cannot own " << platform::linux_host::kManagerLocator.name << ": "
              << std::strerror(-r) << '\n';
        m_object.detach();
        m_presence.leave();
        return r;
    }
    m_transcript.write(transcript::managerLine("registered"));
    return 0;
}

bool ManagerApp::execute(const std::string& command) {
    std::istringstream words(command);
    std::string verb;
    words >> verb;
    std::string rest;
    std::getline(words >> std::ws, rest);
    const auto bad = [&](const char* why) {
        m_err << "qnmanager: " << why << ": " << command << '\n';
        return false;
    };
    if (verb.empty() || verb[0] == '#') {
        return true;
    }
    if (verb == "post") {
        std::istringstream parts(rest);
        std::string name;
        parts >> name;
        std::string json;
        std::getline(parts >> std::ws, json);
        if (name.empty()) {
            return bad("post needs a name");
        }
        platform::Value userInfo = platform::Value::dictionary();
        if (!json.empty()) {
            if (transcript::lineNestedDeeperThan(json, transcript::kMaxJsonNesting) != 0) {
                static const std::string kTooDeep = "userInfo nested deeper than " +
                                                    std::to_string(transcript::kMaxJsonNesting) +
                                                    " levels";
                return bad(kTooDeep.c_str());
            }
            const auto parsed = nlohmann::json::parse(json, nullptr, false);
            if (parsed.is_discarded() || !parsed.is_object()) {
                return bad("userInfo must be a JSON object");
            }
            userInfo = transcript::valueFromJson(parsed);
        }
        if (!m_presence.bus()) {
            return bad("not on the bus");
        }
        if (postNotification(m_presence.bus(), name, userInfo) < 0) {
            return bad("cannot post");
        }
        m_transcript.write(transcript::postLine(name, userInfo));
        return true;
    }
    if (verb == "refuse" || verb == "delay") {
        std::istringstream parts(rest);
        std::string selector;
        parts >> selector;
        std::string value;
        std::getline(parts >> std::ws, value);
        if (selector.empty() || value.empty()) {
            return bad("needs a selector and a value");
        }
        if (verb == "refuse") {
            m_rules.refuseNext(selector, value);
        } else {
            char* end = nullptr;
            const double seconds = std::strtod(value.c_str(), &end);
            if (*end != '\0' || seconds <= 0) {
                return bad("delay needs seconds");
            }
            m_rules.delayNext(selector, seconds);
        }
        return true;
    }
    if (verb == "drop") {
        if (m_presence.bus()) {
            m_object.detach();
            m_presence.leave();
            m_transcript.write(transcript::managerLine("died"));
        }
        return true;
    }
    if (verb == "return") {
        if (!m_presence.bus() && takeName() < 0) {
            m_status = 1;
            m_loop.exit(1);
        }
        return true;
    }
    if (verb == "start-stream" || verb == "stop-stream") {
        std::istringstream parts(rest);
        std::uint64_t display = 0, index = 0, token = 1;
        if (!(parts >> display) || (verb == "start-stream" && !(parts >> index))) {
            return bad(verb == "start-stream" ? "start-stream needs DISPLAY INDEX [TOKEN]"
                                              : "stop-stream needs DISPLAY");
        }
        parts >> token;
        const bool posted = verb == "start-stream"
                                ? m_frames.startStream(static_cast<std::uint32_t>(display),
                                                       static_cast<std::uint32_t>(index), token)
                                : m_frames.stopStream(static_cast<std::uint32_t>(display));
        return posted || bad("cannot post");
    }
    if (verb == "png") {
        if (rest.empty()) {
            return bad("png needs a file");
        }
        return m_frames.writeLastFrame(rest) || bad("no frame written");
    }
    if (verb == "quit") {
        m_loop.exit(0);
        return true;
    }
    return bad("unknown command");
}

bool ManagerApp::loadScript() {
    if (m_options.script.empty()) {
        return true;
    }
    std::ifstream file(m_options.script);
    if (!file) {
        m_err << "qnmanager: cannot read " << m_options.script << '\n';
        return false;
    }
    const std::uint64_t start = EventLoop::now();
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream parts(line);
        double at = 0;
        std::string command;
        if (line.empty() || line[0] == '#') {
            continue;
        }
        if (!(parts >> at) || at < 0 || !std::getline(parts >> std::ws, command)) {
            m_err << "qnmanager: " << m_options.script << ": not \"SECONDS COMMAND\": " << line
                  << '\n';
            return false;
        }
        m_scripted.push_back(m_loop.addTimer(start + static_cast<std::uint64_t>(at * 1e6), "script",
                                             [this, command]() -> std::uint64_t {
                                                 execute(command);
                                                 return 0;
                                             }));
    }
    return true;
}

void ManagerApp::readInput() {
    char buffer[4096];
    const ssize_t got = read(STDIN_FILENO, buffer, sizeof buffer);
    if (got <= 0) {
        if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
            // End of input ends the reading, not the stand-in.
            m_input.reset();
        }
        return;
    }
    m_pending.append(buffer, static_cast<std::size_t>(got));
    for (auto newline = m_pending.find('\n'); newline != std::string::npos;
         newline = m_pending.find('\n')) {
        const std::string command = m_pending.substr(0, newline);
        m_pending.erase(0, newline + 1);
        execute(command);
    }
}

int ManagerApp::run() {
    if (m_options.impostor) {
        if (const int r = m_presence.connect(); r < 0) {
            m_err << "qnmanager: cannot connect to the bus: " << std::strerror(-r) << '\n';
            return 1;
        }
        for (const auto& command : m_options.commands) {
            if (!execute(command)) {
                return 1;
            }
        }
        tellReady(m_options.readyFd);
        return 0;
    }
    // Blocked so that sd-event takes them as sources; the stand-in never sleeps.
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTERM);
    sigaddset(&stop, SIGINT);
    sigprocmask(SIG_BLOCK, &stop, nullptr);
    sd_event_add_signal(m_loop.get(), m_sigterm.receive(), SIGTERM, &onStopSignal, nullptr);
    sd_event_add_signal(m_loop.get(), m_sigint.receive(), SIGINT, &onStopSignal, nullptr);
    sd_event_source_set_description(m_sigterm.get(), "sigterm");
    sd_event_source_set_description(m_sigint.get(), "sigint");

    if (!loadScript()) {
        return 2;
    }
    try {
        m_frames.open();
    } catch (const std::system_error& e) {
        m_err << "qnmanager: cannot serve the driver endpoint: " << e.what() << '\n';
        return 1;
    }
    if (!m_options.copySink.empty()) {
        try {
            m_copySink = std::make_unique<CopySink>(m_loop, m_options.copySink);
        } catch (const std::system_error& e) {
            m_err << "qnmanager: cannot listen for copies: " << e.what() << '\n';
            return 1;
        }
    }
    if (takeName() < 0) {
        return 1;
    }
    for (const auto& command : m_options.commands) {
        if (!execute(command)) {
            return 2;
        }
    }
    try {
        m_input =
            m_loop.addIo(STDIN_FILENO, EPOLLIN, "commands", [this](std::uint32_t) { readInput(); });
    } catch (const std::system_error&) {
        // Stdin that cannot be watched (/dev/null, a file): no commands from there.
    }
    tellReady(m_options.readyFd);
    const int r = m_loop.run();
    m_object.detach();
    m_presence.leave();
    if (!m_frames.lastFrameFile().empty() && !m_frames.writeLastFrame(m_frames.lastFrameFile())) {
        m_err << "qnmanager: no frame written to " << m_frames.lastFrameFile() << '\n';
        if (m_status == 0) {
            m_status = 1;
        }
    }
    return r < 0 ? 1 : m_status;
}

}  // namespace qn::tools::qnmanager
