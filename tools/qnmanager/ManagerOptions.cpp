#include "tools/qnmanager/ManagerOptions.h"

#include <cstdlib>

namespace qn::tools::qnmanager {

const char* managerUsage() {
    return "usage: qnmanager [options]\n"
           "\n"
           "A stand-in for the Manager: owns com.quintor.QuintorManager on a bus, writes every\n"
           "call it receives to stdout as one JSON line, and answers commands read from stdin\n"
           "(one a line) or from a script.\n"
           "\n"
           "options:\n"
           "  --address ADDRESS    the bus to use (default: the system bus)\n"
           "  --ready-fd FD        write \"ready\" to FD once the name is owned\n"
           "  --script FILE        run \"SECONDS COMMAND\" lines at their time after start\n"
           "  --post NAME[=JSON]   post a notification once the name is owned\n"
           "  --refuse SELECTOR=MESSAGE   refuse the next such call with MESSAGE\n"
           "  --delay SELECTOR=SECONDS    answer the next such call SECONDS late\n"
           "  --driver-dir DIR     where the driver endpoints are (default: the built-in one)\n"
           "  --driver-index N     serve the driver endpoint QuintorParent<N> (repeatable)\n"
           "  --release-delay-ms MS   give each frame back MS after it came (default: at\n"
           "                       once while an endpoint is served, never otherwise)\n"
           "  --png-dir DIR        write every frame received as DIR/frame-<display>-<n>.png\n"
           "  --png-last FILE      write the last frame received as PNG at the end\n"
           "  --copy-sink PATH     listen at PATH for frames sent as bytes: a 32-bit length\n"
           "                       (host order), then the bytes; each answered with one byte\n"
           "  --stream-adapters    start a stream for each display reported with a served\n"
           "                       index (again after each agent's start)\n"
           "  --impostor           do not own the name: post what --post says, then exit\n"
           "  --introspect         print the Manager object's introspection XML and exit\n"
           "  --help               this text\n"
           "\n"
           "commands:\n"
           "  post NAME [JSON]            signal NAME with the JSON object as userInfo\n"
           "  refuse SELECTOR MESSAGE     refuse the next call of SELECTOR with MESSAGE\n"
           "  delay SELECTOR SECONDS      answer the next call of SELECTOR SECONDS late\n"
           "  drop                        leave the bus (the name loses its owner)\n"
           "  return                      come back to the bus and own the name again\n"
           "  start-stream DISPLAY INDEX [TOKEN]   ask for a display stream\n"
           "  stop-stream DISPLAY         stop it\n"
           "  png FILE                    write the last frame received as PNG (--png-last)\n"
           "  quit                        end (end of input only stops the reading)\n"
           "\n"
           "exit status: 0 ended by quit, SIGTERM or SIGINT; 1 the bus, the name, a\n"
           "driver endpoint or the copy sink could not be had, or the last frame could not\n"
           "be written; 2 usage error.\n";
}

std::optional<ManagerOptions> parseManagerOptions(const std::vector<std::string>& arguments,
                                                  std::string& error) {
    ManagerOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& a = arguments[i];
        const auto value = [&]() -> std::optional<std::string> {
            if (i + 1 >= arguments.size()) {
                error = a + " needs a value";
                return std::nullopt;
            }
            return arguments[++i];
        };
        // SELECTOR=VALUE, split at the first '=': a selector has none, a message may.
        const auto pair = [&](const std::string& verb) -> bool {
            const auto v = value();
            if (!v) {
                return false;
            }
            const auto eq = v->find('=');
            if (eq == std::string::npos || eq == 0) {
                error = a + " needs SELECTOR=VALUE";
                return false;
            }
            options.commands.push_back(verb + " " + v->substr(0, eq) + " " + v->substr(eq + 1));
            return true;
        };
        if (a == "--help" || a == "-h") {
            options.help = true;
        } else if (a == "--address") {
            const auto v = value();
            if (!v)
                return std::nullopt;
            options.address = *v;
        } else if (a == "--ready-fd") {
            const auto v = value();
            if (!v)
                return std::nullopt;
            char* end = nullptr;
            options.readyFd = static_cast<int>(std::strtol(v->c_str(), &end, 10));
            if (v->empty() || *end != '\0' || options.readyFd < 0) {
                error = "--ready-fd needs a descriptor number";
                return std::nullopt;
            }
        } else if (a == "--script") {
            const auto v = value();
            if (!v)
                return std::nullopt;
            options.script = *v;
        } else if (a == "--post") {
            const auto v = value();
            if (!v)
                return std::nullopt;
            const auto eq = v->find('=');
            options.commands.push_back(eq == std::string::npos
                                           ? "post " + *v
                                           : "post " + v->substr(0, eq) + " " + v->substr(eq + 1));
        } else if (a == "--refuse") {
            if (!pair("refuse"))
                return std::nullopt;
        } else if (a == "--delay") {
            if (!pair("delay"))
                return std::nullopt;
        } else if (a == "--driver-dir") {
            const auto v = value();
            if (!v)
                return std::nullopt;
            options.driverDirectory = *v;
        } else if (a == "--driver-index" || a == "--release-delay-ms") {
            const auto v = value();
            if (!v)
                return std::nullopt;
            char* end = nullptr;
            const long n = std::strtol(v->c_str(), &end, 10);
            if (v->empty() || *end != '\0' || n < 0 || n > 0x7fffffff) {
                error = a + " needs a number";
                return std::nullopt;
            }
            if (a == "--driver-index") {
                options.driverIndices.push_back(static_cast<std::uint32_t>(n));
            } else {
                options.releaseDelayMs = static_cast<int>(n);
            }
        } else if (a == "--png-dir") {
            const auto v = value();
            if (!v)
                return std::nullopt;
            options.pngDirectory = *v;
        } else if (a == "--png-last") {
            const auto v = value();
            if (!v)
                return std::nullopt;
            options.pngLast = *v;
        } else if (a == "--copy-sink") {
            const auto v = value();
            if (!v)
                return std::nullopt;
            options.copySink = *v;
        } else if (a == "--stream-adapters") {
            options.streamAdapters = true;
        } else if (a == "--introspect") {
            options.introspect = true;
        } else if (a == "--impostor") {
            options.impostor = true;
        } else {
            error = "unknown option " + a;
            return std::nullopt;
        }
    }
    return options;
}

}  // namespace qn::tools::qnmanager
