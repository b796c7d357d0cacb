#pragma once
// The driver half of the IOKit port on Linux. A driver instance is the socket
// "QuintorParent<N>" in the driver directory; its registry entry is of class
// "QuintorParent" with the property "Name" = "QuintorParent<N>". Opening a user client
// connects to the socket, and every method call is one request and its answer, so the
// peer has handled a `prepare` before the agent tells the Manager about the frame.
//
// A connection whose peer has gone, or did not answer in time, is dropped; the next call
// on it connects to the instance's socket anew (a restarted peer binds it again), so a
// stream outlives its peer's restart. A new connection never carries a stale answer.
//
// Objects handed out here carry ids from kFirstId up, so the Linux IOKit port can route
// an id it did not make to this object (owns()).

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/IOKit.h"
#include "platform/linux/OwnedFd.h"
#include "sys/libutils/Logger.h"

namespace qn::platform::linux_host {

class SurfaceRegistry;

class DriverServices {
  public:
    static constexpr io_object_t kFirstId = 0x51000000;

    // The registry and the log object must outlive this object. `answerTimeoutMs` bounds
    // each wait for the peer; a late answer breaks the connection.
    DriverServices(const SurfaceRegistry& surfaces, const sys::Logger::Logged& log,
                   int answerTimeoutMs = 2000);
    DriverServices(const DriverServices&) = delete;
    DriverServices& operator=(const DriverServices&) = delete;

    // True for a matching dictionary of the driver's class.
    static bool isDriverMatching(const Value& matching);
    bool owns(io_object_t object) const;

    kern_return_t IOServiceGetMatchingServices(const Value& matching, io_iterator_t* existing);
    io_object_t IOIteratorNext(io_iterator_t iterator);
    kern_return_t IOObjectRelease(io_object_t object);
    // "Name" and the class of a service of ours, or the null value.
    Value IORegistryEntryCreateCFProperty(io_registry_entry_t entry, const std::string& key);

    kern_return_t IOServiceOpen(io_service_t service, std::uint32_t type, io_connect_t* connect);
    // Opens the instance of that name ("QuintorParent<N>") directly, for a registry kept
    // elsewhere whose entries stand for the same instances.
    kern_return_t openInstance(const std::string& name, io_connect_t* connect);
    kern_return_t IOServiceClose(io_connect_t connect);
    kern_return_t IOConnectCallMethod(io_connect_t connection, std::uint32_t selector,
                                      const std::uint64_t* input, std::uint32_t inputCnt,
                                      const void* inputStruct, std::size_t inputStructCnt,
                                      std::uint64_t* output, std::uint32_t* outputCnt,
                                      void* outputStruct, std::size_t* outputStructCnt);
    // No driver memory exists on this host: always refused, with a log line.
    kern_return_t IOConnectMapMemory(io_connect_t connect, std::uint32_t memoryType,
                                     mach_vm_address_t* atAddress, mach_vm_size_t* ofSize,
                                     IOOptionBits options);

    // Connections open and not closed, including those waiting to connect again.
    std::size_t openConnections() const { return m_connections.size(); }

  private:
    struct Connection {
        OwnedFd socket;
        std::string name;
        // Surfaces whose descriptor the peer already holds, by serial.
        std::set<std::uint64_t> sentSurfaces;
        // A new connection after a loss failed (logged once per loss).
        bool reconnectFailed = false;
    };

    io_object_t newId() { return m_nextId++; }
    // The connection's socket is gone; its descriptors go with it.
    static void lose(Connection& c);
    bool reconnect(Connection& c);
    // The descriptor to send with a prepare of `record`'s address, -1 when the peer has
    // it; false when the address is no surface of ours.
    bool descriptorFor(Connection& c, const std::vector<std::uint8_t>& input, OwnedFd& fd,
                       std::uint64_t& serial);

    const SurfaceRegistry& m_surfaces;
    const sys::Logger::Logged& m_log;
    const int m_answerTimeoutMs;
    io_object_t m_nextId = kFirstId;
    std::map<io_object_t, std::string> m_services;                // id -> instance name
    std::map<io_object_t, std::vector<std::string>> m_iterators;  // id -> names left
    std::map<io_connect_t, Connection> m_connections;
};

}  // namespace qn::platform::linux_host
