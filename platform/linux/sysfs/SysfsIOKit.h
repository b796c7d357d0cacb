#pragma once
// The registry port over sysfs. Each DRM connector is an "IODisplayConnect" service; it
// has a display child when an output of the X screen drives it (tied by the connector
// id) and its EDID can be read, with the EDID's vendor and product as the display's
// numbers. Driver services (open, call, map) do not exist here and fail.

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/IOKit.h"
#include "platform/linux/sysfs/DrmConnector.h"

namespace qn::platform::sysfs {

class SysfsIOKit : public IOKit {
  public:
    using ConnectorIds = std::function<std::vector<std::uint32_t>()>;

    // `root` is where sysfs is found ("/" on a running system, a fake tree in tests);
    // `drivenConnectors` gives the connector ids the X screen's outputs drive.
    SysfsIOKit(std::string root, ConnectorIds drivenConnectors);

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
    static constexpr const char* kDisplayConnectClass = "IODisplayConnect";
    // Iterators its callers never release are dropped beyond this many.
    static constexpr std::size_t kIteratorsKept = 16;

    // Objects handed out and not yet released.
    std::size_t liveObjects() const { return m_entries.size() + m_iterators.size(); }

  private:
    struct Entry {
        DrmConnector connector;
        bool display = false;
        long references = 1;
    };
    struct Iterator {
        std::vector<DrmConnector> connectors;
        std::size_t next = 0;
    };

    io_object_t newId() { return ++m_lastId; }
    io_object_t handOut(Entry entry);

    std::string m_root;
    ConnectorIds m_drivenConnectors;
    io_object_t m_lastId = 0x2000;
    std::map<io_object_t, Entry> m_entries;
    std::map<io_iterator_t, Iterator> m_iterators;
    std::deque<io_iterator_t> m_iteratorOrder;
};

}  // namespace qn::platform::sysfs
