#pragma once
// What the X11 end-to-end tests share: a System whose exit really ends the process, a
// plain poll loop standing in for the agent's, and facts read back with xrandr.

#include <poll.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <map>
#include <regex>
#include <sstream>
#include <string>

#include "platform/System.h"
#include "platform/linux/x11/X11Quartz.h"
#include "tests/support/XServer.h"

namespace qn::platform::x11::e2e {

class ExitingSystem : public System {
  public:
    OSErr GetCurrentProcess(ProcessSerialNumber*) override { return 0; }
    OSStatus GetProcessPID(const ProcessSerialNumber*, pid_t* pid) override {
        *pid = ::getpid();
        return 0;
    }
    int sysctlbyname(const char*, void*, std::size_t*, const void*, std::size_t) override {
        return -1;
    }
    OSStatus SessionGetInfo(SecuritySessionId, SecuritySessionId*, SessionAttributeBits*) override {
        return errSessionInvalidId;
    }
    bool UAZoomEnabled() override { return false; }
    SignalHandler signal(int, SignalHandler) override { return nullptr; }
    unsigned int sleep(unsigned int) override { return 0; }
    [[noreturn]] void exit(int status) override {
        // Tells a watching parent that this port, not Xlib, ended the process.
        if (m_exitWitness >= 0) {
            const char byte = 'x';
            (void)!::write(m_exitWitness, &byte, 1);
        }
        std::_Exit(status);
    }
    void setExitWitness(int fd) { m_exitWitness = fd; }

  private:
    int m_exitWitness = -1;
};

// Turns of the backend until `done` holds; false after a minute without it.
inline bool driveUntil(X11Quartz& quartz, const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        pollfd p{quartz.fd(), POLLIN, 0};
        if (!quartz.dispatchPending()) {
            ::poll(&p, 1, 200);
        }
    }
    return true;
}

inline std::unique_ptr<test::XServer> startServer(test::XServer::Kind kind) {
    std::string error;
    auto server = test::XServer::start(kind, &error);
    EXPECT_TRUE(server) << error;
    return server;
}

// What xrandr --verbose says of one output.
struct XrandrOutput {
    std::uint32_t id = 0;
    bool online = false;
    int x = 0, y = 0, width = 0, height = 0;
    double rate = -1;
};

inline std::map<std::string, XrandrOutput> xrandrOutputs(const test::XServer& server) {
    std::string text;
    EXPECT_EQ(server.run({"xrandr", "--verbose"}, &text), 0);
    std::map<std::string, XrandrOutput> outputs;
    const std::regex head(R"(^(\S+) (dis)?connected (primary )?(?:(\d+)x(\d+)\+(\d+)\+(\d+) \()?)");
    const std::regex identifier(R"(^\s+Identifier:\s+0x([0-9a-f]+))");
    const std::regex clock(R"(^\s+v:.*clock\s+([0-9.]+)Hz)");
    std::istringstream in(text);
    std::string line;
    XrandrOutput* current = nullptr;
    bool currentMode = false;
    std::smatch m;
    while (std::getline(in, line)) {
        if (std::regex_search(line, m, head)) {
            current = &outputs[m[1]];
            current->online = m[4].matched;
            if (current->online) {
                current->width = std::stoi(m[4]);
                current->height = std::stoi(m[5]);
                current->x = std::stoi(m[6]);
                current->y = std::stoi(m[7]);
            }
            currentMode = false;
        } else if (current && std::regex_search(line, m, identifier)) {
            current->id = static_cast<std::uint32_t>(std::stoul(m[1], nullptr, 16));
        } else if (current && line.find("*current") != std::string::npos) {
            currentMode = true;
        } else if (current && currentMode && std::regex_search(line, m, clock)) {
            current->rate = std::stod(m[1]);
            currentMode = false;
        }
    }
    return outputs;
}

}  // namespace qn::platform::x11::e2e
