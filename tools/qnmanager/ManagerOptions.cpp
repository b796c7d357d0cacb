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
           "  quit                        end (end of input only stops the reading)\n"
           "\n"
           "exit status: 0 ended by quit, SIGTERM or SIGINT; 1 the bus or the name\n"
           "could not be had; 2 usage error.\n";
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
