#include "platform/linux/driver/DriverRoutedIOKit.h"

namespace qn::platform::linux_host {

namespace {

struct DriverLog : sys::Logger::Logged {
    DriverLog() : sys::Identity("DriverServices", "") {}
};

}  // namespace

DriverRoutedIOKit::DriverRoutedIOKit(IOKit& registry, const SurfaceRegistry& surfaces)
    : m_registry(registry), m_surfaces(surfaces) {}

DriverRoutedIOKit::~DriverRoutedIOKit() = default;

DriverServices& DriverRoutedIOKit::driverServices() {
    if (!m_driver) {
        m_log = std::make_unique<DriverLog>();
        m_driver = std::make_unique<DriverServices>(m_surfaces, *m_log);
    }
    return *m_driver;
}

kern_return_t DriverRoutedIOKit::IOServiceGetMatchingServices(mach_port_t masterPort,
                                                              Value matching,
                                                              io_iterator_t* existing) {
    if (DriverServices::isDriverMatching(matching)) {
        return driverServices().IOServiceGetMatchingServices(matching, existing);
    }
    return m_registry.IOServiceGetMatchingServices(masterPort, std::move(matching), existing);
}

io_object_t DriverRoutedIOKit::IOIteratorNext(io_iterator_t iterator) {
    return driverOwns(iterator) ? m_driver->IOIteratorNext(iterator)
                                : m_registry.IOIteratorNext(iterator);
}

kern_return_t DriverRoutedIOKit::IOObjectRelease(io_object_t object) {
    return driverOwns(object) ? m_driver->IOObjectRelease(object)
                              : m_registry.IOObjectRelease(object);
}

Value DriverRoutedIOKit::IORegistryEntryCreateCFProperty(io_registry_entry_t entry,
                                                         const std::string& key,
                                                         IOOptionBits options) {
    return driverOwns(entry) ? m_driver->IORegistryEntryCreateCFProperty(entry, key)
                             : m_registry.IORegistryEntryCreateCFProperty(entry, key, options);
}

kern_return_t DriverRoutedIOKit::IOServiceOpen(io_service_t service, task_port_t owningTask,
                                               std::uint32_t type, io_connect_t* connect) {
    return driverOwns(service) ? m_driver->IOServiceOpen(service, type, connect)
                               : m_registry.IOServiceOpen(service, owningTask, type, connect);
}

kern_return_t DriverRoutedIOKit::IOServiceClose(io_connect_t connect) {
    return driverOwns(connect) ? m_driver->IOServiceClose(connect)
                               : m_registry.IOServiceClose(connect);
}

kern_return_t DriverRoutedIOKit::IOConnectCallMethod(
    io_connect_t connection, std::uint32_t selector, const std::uint64_t* input,
    std::uint32_t inputCnt, const void* inputStruct, std::size_t inputStructCnt,
    std::uint64_t* output, std::uint32_t* outputCnt, void* outputStruct,
    std::size_t* outputStructCnt) {
    if (driverOwns(connection)) {
        return m_driver->IOConnectCallMethod(connection, selector, input, inputCnt, inputStruct,
                                             inputStructCnt, output, outputCnt, outputStruct,
                                             outputStructCnt);
    }
    return m_registry.IOConnectCallMethod(connection, selector, input, inputCnt, inputStruct,
                                          inputStructCnt, output, outputCnt, outputStruct,
                                          outputStructCnt);
}

kern_return_t DriverRoutedIOKit::IOConnectMapMemory(io_connect_t connect, std::uint32_t memoryType,
                                                    task_port_t intoTask,
                                                    mach_vm_address_t* atAddress,
                                                    mach_vm_size_t* ofSize, IOOptionBits options) {
    if (driverOwns(connect)) {
        return m_driver->IOConnectMapMemory(connect, memoryType, atAddress, ofSize, options);
    }
    return m_registry.IOConnectMapMemory(connect, memoryType, intoTask, atAddress, ofSize, options);
}

}  // namespace qn::platform::linux_host
