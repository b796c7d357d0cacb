#pragma once
// The stand-in's command line.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qn::tools::qnmanager {

struct ManagerOptions {
    // Empty: the system bus (DBUS_SYSTEM_BUS_ADDRESS when set).
    std::string address;
    // Written "ready\n" once the name is owned (or, as an impostor, once posted).
    int readyFd = -1;
    // Commands to run at their times, "SECONDS COMMAND" a line.
    std::string script;
    // Commands run at once, in order (--post, --refuse, --delay).
    std::vector<std::string> commands;
    // The driver endpoints to serve: their directory (empty: the built-in one) and indices.
    std::string driverDirectory;
    std::vector<std::uint32_t> driverIndices;
    // -1: frames go back at once while endpoints are served, and not at all otherwise.
    int releaseDelayMs = -1;
    std::string pngDirectory;
    std::string pngLast;
    // A Unix socket taking length-prefixed frames as bytes, each answered with one byte.
    std::string copySink;
    // Start a stream for each display reported with a served index.
    bool streamAdapters = false;
    // Connect without owning the name: post what --post says and leave.
    bool impostor = false;
    // Print the object's introspection document and exit.
    bool introspect = false;
    bool help = false;
};

// The options, or nothing with `error` set.
std::optional<ManagerOptions> parseManagerOptions(const std::vector<std::string>& arguments,
                                                  std::string& error);

const char* managerUsage();

}  // namespace qn::tools::qnmanager
