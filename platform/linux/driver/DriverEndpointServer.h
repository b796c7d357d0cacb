#pragma once
// The peer of the driver endpoint, for the Manager (or a stand-in) to embed: binds
// "<directory>/QuintorParent<N>", accepts agents, answers every selector, and keeps the
// frame surfaces it was given by the agent's addresses, mapped read-only. A frame is
// reached only through the descriptor and address the agent sent.
//
// Loop-agnostic: hand listenFd() and clientFds() to a loop and call onListenReadable() /
// onClientReadable(), or let serveOnce() poll them.

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/IOKit.h"
#include "platform/linux/OwnedFd.h"
#include "platform/linux/driver/MemoryMapRecord.h"

namespace qn::platform::linux_host {

class DriverEndpointServer {
  public:
    // A frame buffer as this process sees it.
    struct Frame {
        const std::uint8_t* data = nullptr;
        std::size_t size = 0;
        bool prepared = false;
    };
    // Told of each request once it is handled and before its answer leaves.
    using Observer =
        std::function<void(std::uint32_t selector, const MemoryMapRecord& record, IOReturn result)>;

    // Throws std::system_error when the socket cannot be bound; a stale socket file of
    // the same name is replaced. `mode` is the socket file's: the agents of every session
    // connect, each as its own user.
    DriverEndpointServer(const std::string& directory, std::uint32_t index, mode_t mode = 0666);
    DriverEndpointServer(const DriverEndpointServer&) = delete;
    DriverEndpointServer& operator=(const DriverEndpointServer&) = delete;
    ~DriverEndpointServer();

    const std::string& path() const { return m_path; }
    int listenFd() const { return m_listen.get(); }
    std::vector<int> clientFds() const;
    void setObserver(Observer observer) { m_observer = std::move(observer); }

    void onListenReadable();
    // Answers one request; a client that has gone is dropped with its frames.
    void onClientReadable(int fd);
    // Waits up to `timeoutMs` for anything to do and does it; false on a time-out.
    bool serveOnce(int timeoutMs);

    // The frame the agent prepared at `address`, or null. Valid until the next call that
    // serves requests.
    const Frame* frame(std::uint64_t address) const;
    std::size_t clientCount() const { return m_clients.size(); }

  private:
    struct Mapping {
        Mapping(const std::uint8_t* data, std::size_t size) : data(data), size(size) {}
        Mapping(const Mapping&) = delete;
        Mapping& operator=(const Mapping&) = delete;
        ~Mapping();
        const std::uint8_t* data;
        std::size_t size;
    };
    struct Client {
        OwnedFd socket;
        std::map<std::uint64_t, std::unique_ptr<Mapping>> mappings;
        std::map<std::uint64_t, Frame> frames;
    };

    IOReturn answer(Client& client, std::uint32_t selector, const std::vector<std::uint8_t>& input,
                    OwnedFd passedFd, std::vector<std::uint8_t>& output, MemoryMapRecord& record);

    std::string m_path;
    OwnedFd m_listen;
    std::vector<std::unique_ptr<Client>> m_clients;
    Observer m_observer;
};

}  // namespace qn::platform::linux_host
