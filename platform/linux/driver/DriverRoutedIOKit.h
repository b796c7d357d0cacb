#pragma once
// The IOKit port with the driver: matching of the driver's class, and every object the
// driver services handed out, go to DriverServices; the rest (the display registry) to
// the backend this wraps. DriverServices and its log object are made at the first driver
// call, after the agent's logger has started.

#include <memory>

#include "platform/IOKit.h"
#include "platform/linux/driver/DriverServices.h"
#include "sys/libutils/Logger.h"

namespace qn::platform::linux_host {

class SurfaceRegistry;

class DriverRoutedIOKit final : public IOKit {
  public:
    // `registry` and `surfaces` outlive this object.
    DriverRoutedIOKit(IOKit& registry, const SurfaceRegistry& surfaces);
    ~DriverRoutedIOKit() override;
    DriverRoutedIOKit(const DriverRoutedIOKit&) = delete;
    DriverRoutedIOKit& operator=(const DriverRoutedIOKit&) = delete;

    // Null before the first driver call.
    const DriverServices* driver() const { return m_driver.get(); }

    task_port_t mach_task_self() override { return m_registry.mach_task_self(); }
    Value IOServiceMatching(const char* name) override {
        return m_registry.IOServiceMatching(name);
    }
    kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, Value matching,
                                               io_iterator_t* existing) override;
    io_object_t IOIteratorNext(io_iterator_t iterator) override;
    kern_return_t IOObjectRelease(io_object_t object) override;
    kern_return_t IORegistryEntryGetChildEntry(io_registry_entry_t entry, const char* plane,
                                               io_registry_entry_t* child) override {
        return m_registry.IORegistryEntryGetChildEntry(entry, plane, child);
    }
    kern_return_t IORegistryEntryGetPath(io_registry_entry_t entry, const char* plane,
                                         io_string_t path) override {
        return m_registry.IORegistryEntryGetPath(entry, plane, path);
    }
    Value IORegistryEntryCreateCFProperty(io_registry_entry_t entry, const std::string& key,
                                          IOOptionBits options) override;
    Value IODisplayCreateInfoDictionary(io_service_t framebuffer, IOOptionBits options) override {
        return m_registry.IODisplayCreateInfoDictionary(framebuffer, options);
    }
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

  private:
    DriverServices& driverServices();
    bool driverOwns(io_object_t object) const { return m_driver && m_driver->owns(object); }

    IOKit& m_registry;
    const SurfaceRegistry& m_surfaces;
    // The log object before the services that log through it.
    std::unique_ptr<sys::Logger::Logged> m_log;
    std::unique_ptr<DriverServices> m_driver;
};

}  // namespace qn::platform::linux_host
