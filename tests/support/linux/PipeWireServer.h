#pragma once
// A private PipeWire server in a runtime directory of its own, its command-line tools,
// and the nodes a test makes and reads back through them; every process started and
// reaped here.

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qn::testing::linux_host {

// The process's environment with some entries replaced, for execve.
class Environment {
  public:
    explicit Environment(const std::map<std::string, std::string>& replaced);
    char** get() { return m_pointers.data(); }

  private:
    std::vector<std::string> m_entries;
    std::vector<char*> m_pointers;
};

struct Run {
    int status = -1;
    std::string out;
};

// Runs a program to its end and gives its exit status and standard output.
Run run(const std::vector<std::string>& argv, Environment& env);

// Stopped and reaped by the destructor; ready() is false when it did not come up.
class PipeWireServer {
  public:
    PipeWireServer();
    ~PipeWireServer();
    PipeWireServer(const PipeWireServer&) = delete;
    PipeWireServer& operator=(const PipeWireServer&) = delete;

    bool ready() const { return m_ready; }
    const std::string& runtimeDirectory() const { return m_dir; }
    Environment& environment() { return *m_env; }

  private:
    std::string m_dir;
    std::unique_ptr<Environment> m_env;
    pid_t m_pid = -1;
    bool m_ready = false;
};

// A node on alsa's "null" PCM: it takes USB device properties and a rate like an
// adapter's. `vendor` as the device gives it ("0xabcd"). False when pw-cli failed.
bool createUsbNode(PipeWireServer& server, const std::string& name, const std::string& vendor,
                   int rate);

struct NodeSeen {
    std::uint32_t id = 0;
    std::optional<int> rate;
};

// The node's id and the rate of its raw EnumFormat, as a fresh client (pw-dump) sees them.
std::optional<NodeSeen> nodeNamed(PipeWireServer& server, const std::string& name);

// Asks the server until the node shows `rate`; gives the last rate seen. Bounded, so that
// a rate that never comes fails the test.
std::optional<int> awaitRate(PipeWireServer& server, const std::string& name, int rate);

// Removes the object by id; false when pw-cli failed.
bool destroyObject(PipeWireServer& server, std::uint32_t id);

}  // namespace qn::testing::linux_host
