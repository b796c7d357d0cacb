#pragma once
// The I/O registry and driver services of the simulated world. Every object handed out
// (entries, iterators) carries a reference count that IOObjectRelease lowers, so that
// tests can tell what was given up; user clients record each call with its bytes.

#include <functional>
#include <map>
#include <vector>

#include "platform/IOKit.h"
#include "platform/sim/SimFaults.h"
#include "platform/sim/SimRegistryEntry.h"
#include "platform/sim/SimUserClientCall.h"

namespace qn::platform::sim {

class SimIOKit : public IOKit {
  public:
    explicit SimIOKit(SimFaults& faults) : m_faults(faults) {}

    task_port_t mach_task_self() override { return kTaskSelf; }
    Value IOServiceMatching(const char* name) override;
    kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, Value matching,
                                               io_iterator_t* existing) override;
    io_object_t IOIteratorNext(io_iterator_t iterator) override;
    kern_return_t IOObjectRelease(io_object_t object) override;
    kern_return_t IORegistryEntryGetChildEntry(io_registry_entry_t entry, const char* plane,
                                               io_registry_entry_t* child) override;
    kern_return_t IORegistryEntryGetPath(io_registry_entry_t entry, const char* plane,
                                         io_string_t path) override;
    Value IORegistryEntryCreateCFProperty(io_registry_entry_t entry, const std::string& key,
                                          IOOptionBits options) override;
    Value IODisplayCreateInfoDictionary(io_service_t framebuffer, IOOptionBits options) override;
    kern_return_t IOServiceOpen(io_service_t service, task_port_t owningTask, std::uint32_t type,
                                io_connect_t* connect) override;
    kern_return_t IOServiceClose(io_connect_t connect) override;
    kern_return_t IOConnectCallMethod(io_connect_t connection, std::uint32_t selector,
                                      const std::uint64_t* input, std::uint32_t inputCnt,
                                      const void* inputStruct, std::size_t inputStructCnt,
                                      std::uint64_t* output, std::uint32_t* outputCnt,
                                      void* outputStruct, std::size_t* outputStructCnt) override;
    kern_return_t IOConnectMapMemory(io_connect_t connect, std::uint32_t memoryType,
                                     task_port_t intoTask, mach_vm_address_t* atAddress,
                                     mach_vm_size_t* ofSize, IOOptionBits options) override;

    static constexpr task_port_t kTaskSelf = 0x103;

    // The world. An entry is a child of its parent (0: a root).
    io_registry_entry_t addEntry(const std::string& className, const std::string& path,
                                 Value properties = Value(), io_registry_entry_t parent = 0);
    SimRegistryEntry* entry(io_registry_entry_t id);
    // Detaches the entry and its children; ids already handed out stay valid handles.
    void removeEntry(io_registry_entry_t id);
    // The next IOServiceGetMatchingServices gives this code (0 clears it).
    void failMatching(kern_return_t code) { m_matchingFailure = code; }
    // A method selector of a service's user clients gives this result from now on.
    void setMethodResult(io_service_t service, std::uint32_t selector, kern_return_t result);
    // Bytes written into the structure output of a selector (as far as they fit).
    void setMethodOutput(io_service_t service, std::uint32_t selector,
                         std::vector<std::uint8_t> bytes);
    // IOConnectMapMemory's address and size for a service's user clients.
    void setMappedMemory(io_service_t service, mach_vm_address_t address, mach_vm_size_t size,
                         kern_return_t result = KERN_SUCCESS);

    // A driver with behaviour of its own answers its user clients' method calls: the
    // handler gives the result and may write the structure output. A result or output
    // chosen for the selector still comes first.
    using MethodHandler = std::function<kern_return_t(
        const SimUserClientCall& call, void* outputStruct, std::size_t* outputStructCnt)>;
    void setMethodHandler(io_service_t service, MethodHandler handler);
    // Told of every user client call as it is recorded.
    void setCallListener(std::function<void(const SimUserClientCall&)> listener) {
        m_callListener = std::move(listener);
    }

    const std::vector<SimUserClientCall>& calls() const { return m_calls; }
    // References handed out and not yet released, per object.
    long outstandingReferences(io_object_t object) const;
    long outstandingReferences() const;
    std::size_t openConnections() const;

  private:
    struct Iterator {
        std::vector<io_object_t> entries;
        std::size_t next = 0;
    };
    struct Connection {
        io_service_t service;
        bool open;
    };
    struct Behaviour {
        std::map<std::uint32_t, kern_return_t> results;
        std::map<std::uint32_t, std::vector<std::uint8_t>> outputs;
        mach_vm_address_t mappedAddress = 0;
        mach_vm_size_t mappedSize = 0;
        kern_return_t mapResult = KERN_SUCCESS;
        MethodHandler handler;
    };

    io_object_t newId() { return m_nextId += 4; }
    io_object_t handOut(io_object_t object);
    bool matches(const SimRegistryEntry& entry, const Value& matching) const;
    Connection* connection(io_connect_t id);
    // The behaviour of the call's service; null (with the call recorded as failed) when
    // its connection is not open.
    Behaviour* behaviourFor(SimUserClientCall& call);
    void record(const SimUserClientCall& call);

    SimFaults& m_faults;
    io_object_t m_nextId = 0x1000;
    std::vector<SimRegistryEntry> m_entries;
    std::map<io_iterator_t, Iterator> m_iterators;
    std::map<io_connect_t, Connection> m_connections;
    std::map<io_object_t, long> m_references;
    std::map<io_service_t, Behaviour> m_behaviour;
    std::vector<SimUserClientCall> m_calls;
    std::function<void(const SimUserClientCall&)> m_callListener;
    kern_return_t m_matchingFailure = KERN_SUCCESS;
};

}  // namespace qn::platform::sim
