#include "platform/linux/driver/DriverEndpointServer.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/linux/driver/DriverDirectory.h"
#include "platform/linux/driver/DriverWire.h"

namespace qn::platform::linux_host {

DriverEndpointServer::Mapping::~Mapping() {
    ::munmap(const_cast<std::uint8_t*>(data), size);
}

DriverEndpointServer::DriverEndpointServer(const std::string& directory, std::uint32_t index,
                                           mode_t mode)
    : m_path(DriverDirectory::socketPath(directory, index)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (m_path.size() >= sizeof(address.sun_path)) {
        throw std::system_error(ENAMETOOLONG, std::generic_category(), m_path);
    }
    std::memcpy(address.sun_path, m_path.c_str(), m_path.size() + 1);
    m_listen.reset(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!m_listen) {
        throw std::system_error(errno, std::generic_category(), "socket");
    }
    struct stat st {};
    if (::lstat(m_path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode)) {
        ::unlink(m_path.c_str());
    }
    if (::bind(m_listen.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(m_listen.get(), 8) != 0) {
        throw std::system_error(errno, std::generic_category(), "bind " + m_path);
    }
    // Set after bind: the umask must not decide who may connect.
    ::chmod(m_path.c_str(), mode);
}

DriverEndpointServer::~DriverEndpointServer() {
    ::unlink(m_path.c_str());
}

std::vector<int> DriverEndpointServer::clientFds() const {
    std::vector<int> fds;
    for (const auto& c : m_clients) {
        fds.push_back(c->socket.get());
    }
    return fds;
}

void DriverEndpointServer::onListenReadable() {
    OwnedFd socket(::accept4(m_listen.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (socket) {
        auto client = std::make_unique<Client>();
        client->socket = std::move(socket);
        m_clients.push_back(std::move(client));
    }
}

void DriverEndpointServer::onClientReadable(int fd) {
    const auto found = std::find_if(m_clients.begin(), m_clients.end(),
                                    [fd](const auto& c) { return c->socket.get() == fd; });
    if (found == m_clients.end()) {
        return;
    }
    Client& client = **found;
    OwnedFd passed;
    const auto request = receiveDriverRequest(fd, passed);
    if (!request) {
        m_clients.erase(found);
        return;
    }
    DriverAnswer reply;
    MemoryMapRecord record;
    reply.result =
        answer(client, request->selector, request->input, std::move(passed), reply.output, record);
    if (reply.output.size() > request->outputCapacity) {
        reply.output.resize(request->outputCapacity);
    }
    // Told before the answer leaves, so the agent goes on only once the peer knows.
    if (m_observer) {
        m_observer(request->selector, record, reply.result);
    }
    if (!sendDriverAnswer(fd, reply)) {
        m_clients.erase(found);
    }
}

IOReturn DriverEndpointServer::answer(Client& client, std::uint32_t selector,
                                      const std::vector<std::uint8_t>& input, OwnedFd passedFd,
                                      std::vector<std::uint8_t>& output, MemoryMapRecord& record) {
    if (selector == kMemoryMapReleaseAllSourceAddressMethod) {
        for (auto& [address, frame] : client.frames) {
            frame.prepared = false;
        }
        return kIOReturnSuccess;
    }
    const auto decoded = MemoryMapRecord::decode(input.data(), input.size());
    if (!decoded) {
        return kIOReturnBadArgument;
    }
    record = *decoded;
    switch (selector) {
        case kMemoryMapRegisterSourceAddressMethod: {
            if (passedFd) {
                struct stat st {};
                if (::fstat(passedFd.get(), &st) != 0 || st.st_size <= 0 ||
                    static_cast<std::uint64_t>(st.st_size) < record.size) {
                    return kIOReturnBadArgument;
                }
                const auto size = static_cast<std::size_t>(st.st_size);
                void* view = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, passedFd.get(), 0);
                if (view == MAP_FAILED) {
                    return kIOReturnError;
                }
                // A new surface where an old one was replaces it.
                client.mappings[record.sourceAddress] =
                    std::make_unique<Mapping>(static_cast<const std::uint8_t*>(view), size);
            }
            const auto mapping = client.mappings.find(record.sourceAddress);
            if (mapping == client.mappings.end() || mapping->second->size < record.size) {
                return kIOReturnNotFound;
            }
            client.frames[record.sourceAddress] =
                Frame{mapping->second->data, mapping->second->size, true};
            return kIOReturnSuccess;
        }
        case kMemoryMapMapSourceAddressMethod: {
            const auto mapping = client.mappings.find(record.sourceAddress);
            if (mapping == client.mappings.end()) {
                return kIOReturnNotFound;
            }
            MemoryMapRecord out = record;
            out.mappedAddress = reinterpret_cast<std::uintptr_t>(mapping->second->data);
            const auto bytes = out.encode();
            output.assign(bytes.begin(), bytes.end());
            return kIOReturnSuccess;
        }
        case kMemoryMapReleaseSourceAddressMethod: {
            const auto frame = client.frames.find(record.sourceAddress);
            if (frame == client.frames.end() || !frame->second.prepared) {
                return kIOReturnNotFound;
            }
            frame->second.prepared = false;
            return kIOReturnSuccess;
        }
        default:
            return kIOReturnBadArgument;
    }
}

bool DriverEndpointServer::serveOnce(int timeoutMs) {
    std::vector<pollfd> fds{{m_listen.get(), POLLIN, 0}};
    for (const auto& c : m_clients) {
        fds.push_back({c->socket.get(), POLLIN, 0});
    }
    const int ready = ::poll(fds.data(), fds.size(), timeoutMs);
    if (ready <= 0) {
        return false;
    }
    for (std::size_t i = 1; i < fds.size(); ++i) {
        if (fds[i].revents != 0) {
            onClientReadable(fds[i].fd);
        }
    }
    if (fds[0].revents & POLLIN) {
        onListenReadable();
    }
    return true;
}

const DriverEndpointServer::Frame* DriverEndpointServer::frame(std::uint64_t address) const {
    // The newest agent first: an agent that restarted reuses addresses.
    for (auto c = m_clients.rbegin(); c != m_clients.rend(); ++c) {
        const auto found = (*c)->frames.find(address);
        if (found != (*c)->frames.end()) {
            return &found->second;
        }
    }
    return nullptr;
}

}  // namespace qn::platform::linux_host
