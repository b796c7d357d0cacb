#include "platform/linux/driver/DriverServices.h"

#include <dirent.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/linux/driver/DriverDirectory.h"
#include "platform/linux/driver/DriverWire.h"
#include "platform/linux/driver/MemoryMapRecord.h"
#include "platform/linux/surface/MemfdSurface.h"
#include "platform/linux/surface/SurfaceRegistry.h"

namespace qn::platform::linux_host {

namespace {

using sys::Logger;

// "QuintorParent" and a decimal index: nothing else names a socket of ours.
bool isInstanceName(const std::string& name) {
    const std::string prefix = kDriverClassName;
    return name.size() > prefix.size() && name.compare(0, prefix.size(), prefix) == 0 &&
           std::all_of(name.begin() + static_cast<long>(prefix.size()), name.end(),
                       [](char c) { return c >= '0' && c <= '9'; });
}

// The instance names present in the directory, in index order.
std::vector<std::string> instancesIn(const std::string& directory) {
    std::vector<std::pair<unsigned long, std::string>> found;
    DIR* dir = ::opendir(directory.c_str());
    if (dir == nullptr) {
        return {};
    }
    while (const dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (!isInstanceName(name)) {
            continue;
        }
        struct stat st {};
        if (::stat((directory + "/" + name).c_str(), &st) != 0 || !S_ISSOCK(st.st_mode)) {
            continue;
        }
        found.emplace_back(std::stoul(name.substr(std::strlen(kDriverClassName))), name);
    }
    ::closedir(dir);
    std::sort(found.begin(), found.end());
    std::vector<std::string> names;
    for (auto& [index, name] : found) {
        names.push_back(std::move(name));
    }
    return names;
}

// A new connection to the instance's socket; empty with errno set on failure.
OwnedFd connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        return OwnedFd();
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    OwnedFd socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (socket && ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address),
                            sizeof(address)) != 0) {
        socket.reset();
    }
    return socket;
}

}  // namespace

DriverServices::DriverServices(const SurfaceRegistry& surfaces, const Logger::Logged& log,
                               int answerTimeoutMs)
    : m_surfaces(surfaces), m_log(log), m_answerTimeoutMs(answerTimeoutMs) {}

bool DriverServices::isDriverMatching(const Value& matching) {
    return matching.get(kIOProviderClassKey).stringValue() == kDriverClassName;
}

bool DriverServices::owns(io_object_t object) const {
    return object >= kFirstId && object < m_nextId;
}

kern_return_t DriverServices::IOServiceGetMatchingServices(const Value& matching,
                                                           io_iterator_t* existing) {
    if (!isDriverMatching(matching)) {
        return kIOReturnBadArgument;
    }
    std::vector<std::string> names;
    for (auto& name : instancesIn(DriverDirectory::get())) {
        bool matches = true;
        for (const auto& [key, value] : matching.get(kIOPropertyMatchKey).dictionaryValue()) {
            if (key != "Name" || value != Value::string(name)) {
                matches = false;
            }
        }
        if (matches) {
            names.push_back(std::move(name));
        }
    }
    const io_object_t id = newId();
    m_iterators[id] = std::move(names);
    *existing = id;
    return KERN_SUCCESS;
}

io_object_t DriverServices::IOIteratorNext(io_iterator_t iterator) {
    const auto found = m_iterators.find(iterator);
    if (found == m_iterators.end() || found->second.empty()) {
        return 0;
    }
    const io_object_t id = newId();
    m_services[id] = found->second.front();
    found->second.erase(found->second.begin());
    return id;
}

kern_return_t DriverServices::IOObjectRelease(io_object_t object) {
    if (m_iterators.erase(object) + m_services.erase(object) == 0) {
        return kIOReturnBadArgument;
    }
    return KERN_SUCCESS;
}

Value DriverServices::IORegistryEntryCreateCFProperty(io_registry_entry_t entry,
                                                      const std::string& key) {
    const auto found = m_services.find(entry);
    if (found == m_services.end()) {
        return Value();
    }
    if (key == "Name") {
        return Value::string(found->second);
    }
    if (key == kIOProviderClassKey) {
        return Value::string(kDriverClassName);
    }
    return Value();
}

kern_return_t DriverServices::IOServiceOpen(io_service_t service, std::uint32_t type,
                                            io_connect_t* connect) {
    const auto found = m_services.find(service);
    if (found == m_services.end() || type != 0) {
        return kIOReturnBadArgument;
    }
    return openInstance(found->second, connect);
}

kern_return_t DriverServices::openInstance(const std::string& name, io_connect_t* connect) {
    if (!isInstanceName(name)) {
        return kIOReturnBadArgument;
    }
    const std::string path = DriverDirectory::get() + "/" + name;
    OwnedFd socket = connectTo(path);
    if (!socket) {
        QN_LOG(m_log, Logger::INFO)
            << "IOServiceOpen: cannot connect to " << path << ": " << std::strerror(errno);
        return kIOReturnNoDevice;
    }
    const io_connect_t id = newId();
    m_connections[id] = Connection{std::move(socket), name, {}, false};
    *connect = id;
    return KERN_SUCCESS;
}

kern_return_t DriverServices::IOServiceClose(io_connect_t connect) {
    return m_connections.erase(connect) == 1 ? KERN_SUCCESS : kIOReturnNotOpen;
}

bool DriverServices::descriptorFor(Connection& c, const std::vector<std::uint8_t>& input,
                                   OwnedFd& fd, std::uint64_t& serial) {
    const auto record = MemoryMapRecord::decode(input.data(), input.size());
    if (!record) {
        return false;
    }
    MemfdSurface* surface = m_surfaces.retainByAddress(record->sourceAddress);
    if (surface == nullptr) {
        return false;
    }
    serial = surface->serial();
    if (c.sentSurfaces.count(serial) == 0) {
        fd.reset(surface->openReadOnly());
    }
    surface->release();
    return c.sentSurfaces.count(serial) != 0 || static_cast<bool>(fd);
}

kern_return_t DriverServices::IOConnectCallMethod(io_connect_t connection, std::uint32_t selector,
                                                  const std::uint64_t* /*input*/,
                                                  std::uint32_t inputCnt, const void* inputStruct,
                                                  std::size_t inputStructCnt,
                                                  std::uint64_t* /*output*/,
                                                  std::uint32_t* outputCnt, void* outputStruct,
                                                  std::size_t* outputStructCnt) {
    const auto found = m_connections.find(connection);
    if (found == m_connections.end()) {
        return kIOReturnNotOpen;
    }
    Connection& c = found->second;
    if (!c.socket && !reconnect(c)) {
        return kIOReturnNotOpen;
    }
    // The driver takes no scalars.
    if (inputCnt != 0 || (outputCnt != nullptr && *outputCnt != 0) ||
        inputStructCnt > kMaxDriverStruct) {
        return kIOReturnBadArgument;
    }
    DriverRequest request;
    request.selector = selector;
    request.outputCapacity =
        static_cast<std::uint32_t>(outputStructCnt != nullptr && outputStruct != nullptr
                                       ? std::min(*outputStructCnt, kMaxDriverStruct)
                                       : 0);
    if (inputStruct != nullptr) {
        const auto* bytes = static_cast<const std::uint8_t*>(inputStruct);
        request.input.assign(bytes, bytes + inputStructCnt);
    }
    OwnedFd pass;
    std::uint64_t serial = 0;
    if (selector == kMemoryMapRegisterSourceAddressMethod &&
        !descriptorFor(c, request.input, pass, serial)) {
        QN_LOG(m_log, Logger::INFO) << "IOConnectCallMethod: no frame surface at the address "
                                       "given to "
                                    << c.name;
        return kIOReturnBadArgument;
    }
    if (!sendDriverRequest(c.socket.get(), request, pass.get())) {
        QN_LOG(m_log, Logger::INFO) << "IOConnectCallMethod: " << c.name << " has gone";
        lose(c);
        return kIOReturnNotOpen;
    }
    pollfd p{c.socket.get(), POLLIN, 0};
    int ready;
    do {
        ready = ::poll(&p, 1, m_answerTimeoutMs);
    } while (ready < 0 && errno == EINTR);
    const auto answer = ready == 1 ? receiveDriverAnswer(c.socket.get()) : std::nullopt;
    if (!answer || answer->output.size() > request.outputCapacity) {
        // Without its answer the connection is out of step for good.
        QN_LOG(m_log, Logger::INFO)
            << "IOConnectCallMethod: no answer from " << c.name << " to selector " << selector;
        lose(c);
        return kIOReturnNotOpen;
    }
    if (pass && answer->result == KERN_SUCCESS) {
        c.sentSurfaces.insert(serial);
    }
    if (outputStructCnt != nullptr) {
        if (!answer->output.empty()) {
            std::memcpy(outputStruct, answer->output.data(), answer->output.size());
        }
        *outputStructCnt = answer->output.size();
    }
    return answer->result;
}

void DriverServices::lose(Connection& c) {
    c.socket.reset();
    c.sentSurfaces.clear();
    c.reconnectFailed = false;
}

bool DriverServices::reconnect(Connection& c) {
    c.socket = connectTo(DriverDirectory::get() + "/" + c.name);
    if (!c.socket) {
        // Once per loss: a stream tries again with every frame.
        if (!c.reconnectFailed) {
            QN_LOG(m_log, Logger::INFO) << "IOConnectCallMethod: cannot connect to " << c.name
                                        << " again: " << std::strerror(errno);
            c.reconnectFailed = true;
        }
        return false;
    }
    QN_LOG(m_log, Logger::INFO) << "IOConnectCallMethod: connected to " << c.name << " again";
    c.reconnectFailed = false;
    return true;
}

kern_return_t DriverServices::IOConnectMapMemory(io_connect_t connect, std::uint32_t memoryType,
                                                 mach_vm_address_t*, mach_vm_size_t*,
                                                 IOOptionBits) {
    QN_LOG(m_log, Logger::INFO) << "IOConnectMapMemory: no driver memory to map (connection "
                                << connect << ", type " << memoryType << ")";
    return kIOReturnError;
}

}  // namespace qn::platform::linux_host
