#include "tests/support/linux/PipeWireServer.h"

#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>

extern char** environ;

namespace qn::testing::linux_host {

namespace {

// Starts a program; its standard output goes to `outFd` (or /dev/null with -1).
pid_t spawn(const std::vector<std::string>& argv, Environment& env, int outFd = -1) {
    std::vector<char*> args;
    for (const auto& a : argv) {
        args.push_back(const_cast<char*>(a.c_str()));
    }
    args.push_back(nullptr);
    const int devNull = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid == 0) {
        qn::test::endWithParent(parent);
        ::dup2(outFd >= 0 ? outFd : devNull, STDOUT_FILENO);
        ::dup2(devNull, STDERR_FILENO);
        ::execvpe(args[0], args.data(), env.get());
        ::_exit(127);
    }
    ::close(devNull);
    if (pid < 0) {
        throw std::runtime_error("fork failed");
    }
    return pid;
}

void reap(pid_t pid, int* status) {
    while (::waitpid(pid, status, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace

Environment::Environment(const std::map<std::string, std::string>& replaced) {
    for (char** e = environ; *e; ++e) {
        const std::string entry = *e;
        const std::string key = entry.substr(0, entry.find('='));
        if (!replaced.count(key)) {
            m_entries.push_back(entry);
        }
    }
    for (const auto& [key, value] : replaced) {
        m_entries.push_back(key + "=" + value);
    }
    for (auto& entry : m_entries) {
        m_pointers.push_back(entry.data());
    }
    m_pointers.push_back(nullptr);
}

Run run(const std::vector<std::string>& argv, Environment& env) {
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe failed");
    }
    const pid_t pid = spawn(argv, env, pipeFds[1]);
    ::close(pipeFds[1]);
    Run result;
    char buffer[4096];
    for (ssize_t n; (n = ::read(pipeFds[0], buffer, sizeof buffer)) != 0;) {
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            break;
        }
        result.out.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(pipeFds[0]);
    int status = 0;
    reap(pid, &status);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

PipeWireServer::PipeWireServer() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qnpwXXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
        return;
    }
    m_dir = pattern;
    ::chmod(m_dir.c_str(), 0700);
    m_env = std::make_unique<Environment>(
        std::map<std::string, std::string>{{"XDG_RUNTIME_DIR", m_dir},
                                           {"PIPEWIRE_RUNTIME_DIR", m_dir},
                                           {"PIPEWIRE_REMOTE", ""},
                                           {"DBUS_SESSION_BUS_ADDRESS", "disabled:"}});
    m_pid = spawn({"pipewire"}, *m_env);
    // Ready once a client gets an answer; bounded so a broken server fails the test.
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (std::filesystem::exists(m_dir + "/pipewire-0") &&
            run({"pw-cli", "info", "0"}, *m_env).status == 0) {
            m_ready = true;
            return;
        }
        int status = 0;
        if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_pid = -1;
            return;
        }
        ::usleep(50 * 1000);
    }
}

PipeWireServer::~PipeWireServer() {
    if (m_pid > 0) {
        ::kill(m_pid, SIGTERM);
        int status = 0;
        reap(m_pid, &status);
    }
    if (!m_dir.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_dir, ignored);
    }
}

bool createUsbNode(PipeWireServer& server, const std::string& name, const std::string& vendor,
                   int rate) {
    const std::string properties =
        "{ \"factory.name\": \"api.alsa.pcm.sink\", \"node.name\": \"" + name +
        "\", \"api.alsa.path\": \"null\", \"object.linger\": true, \"device.bus\": \"usb\", "
        "\"device.vendor.id\": \"" +
        vendor +
        "\", \"device.product.id\": \"0x0001\", "
        "\"device.product.name\": \"" +
        name + "\", \"audio.rate\": " + std::to_string(rate) + " }";
    return run({"pw-cli", "create-node", "adapter", properties}, server.environment()).status == 0;
}

std::optional<NodeSeen> nodeNamed(PipeWireServer& server, const std::string& name) {
    const auto dump = run({"pw-dump"}, server.environment());
    if (dump.status != 0) {
        return std::nullopt;
    }
    const auto objects = nlohmann::json::parse(dump.out, nullptr, false);
    if (!objects.is_array()) {
        return std::nullopt;
    }
    for (const auto& o : objects) {
        if (o.value("type", "") != "PipeWire:Interface:Node" ||
            o["info"]["props"].value("node.name", "") != name) {
            continue;
        }
        NodeSeen seen;
        seen.id = o["id"].get<std::uint32_t>();
        const auto& params = o["info"]["params"];
        if (params.contains("EnumFormat")) {
            for (const auto& format : params["EnumFormat"]) {
                if (format.value("mediaSubtype", "") != "raw" || !format.contains("rate")) {
                    continue;
                }
                const auto& rate = format["rate"];
                seen.rate = rate.is_number() ? rate.get<int>() : rate["default"].get<int>();
                break;
            }
        }
        return seen;
    }
    return std::nullopt;
}

std::optional<int> awaitRate(PipeWireServer& server, const std::string& name, int rate) {
    std::optional<int> last;
    for (int attempt = 0; attempt < 300; ++attempt) {
        if (const auto seen = nodeNamed(server, name)) {
            last = seen->rate;
            if (last == rate) {
                break;
            }
        }
        ::usleep(100 * 1000);
    }
    return last;
}

bool destroyObject(PipeWireServer& server, std::uint32_t id) {
    return run({"pw-cli", "destroy", std::to_string(id)}, server.environment()).status == 0;
}

}  // namespace qn::testing::linux_host
