#pragma once
// The I/O registry (matching, iterators, children, paths, properties, display info) and
// driver services (open, close, call method, map memory).

#include <cstddef>
#include <cstdint>

#include "platform/Value.h"

namespace qn::platform {

using kern_return_t = std::int32_t;
using IOReturn = kern_return_t;
using mach_port_t = std::uint32_t;
using task_port_t = mach_port_t;
using io_object_t = mach_port_t;
using io_service_t = io_object_t;
using io_iterator_t = io_object_t;
using io_registry_entry_t = io_object_t;
using io_connect_t = io_object_t;
using IOOptionBits = std::uint32_t;
using mach_vm_address_t = std::uint64_t;
using mach_vm_size_t = std::uint64_t;
using io_name_t = char[128];
using io_string_t = char[512];

constexpr kern_return_t KERN_SUCCESS = 0;
constexpr IOReturn kIOReturnSuccess = 0;
constexpr IOReturn kIOReturnError = static_cast<IOReturn>(0xe00002bc);
constexpr IOReturn kIOReturnNoDevice = static_cast<IOReturn>(0xe00002c0);
constexpr IOReturn kIOReturnNotOpen = static_cast<IOReturn>(0xe00002cd);
constexpr IOReturn kIOReturnBadArgument = static_cast<IOReturn>(0xe00002c2);
constexpr IOReturn kIOReturnNotFound = static_cast<IOReturn>(0xe00002f0);

constexpr mach_port_t kIOMasterPortDefault = 0;
constexpr IOOptionBits kIOMapAnywhere = 1;
constexpr IOOptionBits kIODisplayOnlyPreferredName = 0x00000200;
inline constexpr const char* kIOServicePlane = "IOService";
inline constexpr const char* kIOPropertyMatchKey = "IOPropertyMatch";
inline constexpr const char* kIOProviderClassKey = "IOProviderClass";
inline constexpr const char* kIONameMatchKey = "IONameMatch";
inline constexpr const char* kIODisplayLocationKey = "IODisplayLocation";
inline constexpr const char* kDisplayVendorID = "DisplayVendorID";
inline constexpr const char* kDisplayProductID = "DisplayProductID";

class IOKit {
  public:
    virtual ~IOKit() = default;

    virtual task_port_t mach_task_self() = 0;

    // A matching dictionary for the services of a class.
    virtual Value IOServiceMatching(const char* name) = 0;
    // An iterator over the matching services; the matching dictionary is consumed.
    virtual kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, Value matching,
                                                       io_iterator_t* existing) = 0;
    // The next entry (a reference owned by the caller) or 0.
    virtual io_object_t IOIteratorNext(io_iterator_t iterator) = 0;
    virtual kern_return_t IOObjectRelease(io_object_t object) = 0;

    // The first child in the plane; KERN_SUCCESS (0) on success.
    virtual kern_return_t IORegistryEntryGetChildEntry(io_registry_entry_t entry, const char* plane,
                                                       io_registry_entry_t* child) = 0;
    virtual kern_return_t IORegistryEntryGetPath(io_registry_entry_t entry, const char* plane,
                                                 io_string_t path) = 0;
    // A property as a new object, or the null value.
    virtual Value IORegistryEntryCreateCFProperty(io_registry_entry_t entry, const std::string& key,
                                                  IOOptionBits options) = 0;
    // The display's information as an owned dictionary, or the null value.
    virtual Value IODisplayCreateInfoDictionary(io_service_t framebuffer, IOOptionBits options) = 0;

    virtual kern_return_t IOServiceOpen(io_service_t service, task_port_t owningTask,
                                        std::uint32_t type, io_connect_t* connect) = 0;
    virtual kern_return_t IOServiceClose(io_connect_t connect) = 0;
    virtual kern_return_t IOConnectCallMethod(io_connect_t connection, std::uint32_t selector,
                                              const std::uint64_t* input, std::uint32_t inputCnt,
                                              const void* inputStruct, std::size_t inputStructCnt,
                                              std::uint64_t* output, std::uint32_t* outputCnt,
                                              void* outputStruct, std::size_t* outputStructCnt) = 0;
    virtual kern_return_t IOConnectMapMemory(io_connect_t connect, std::uint32_t memoryType,
                                             task_port_t intoTask, mach_vm_address_t* atAddress,
                                             mach_vm_size_t* ofSize, IOOptionBits options) = 0;
};

}  // namespace qn::platform
