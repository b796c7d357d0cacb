#include "platform/linux/sysfs/SysfsIOKit.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qn::platform::sysfs {

SysfsIOKit::SysfsIOKit(std::string root, ConnectorIds drivenConnectors)
    : m_root(std::move(root)), m_drivenConnectors(std::move(drivenConnectors)) {}

Value SysfsIOKit::IOServiceMatching(const char* name) {
    auto matching = Value::dictionary();
    matching.set(kIOProviderClassKey, Value::string(name ? name : ""));
    return matching;
}

kern_return_t SysfsIOKit::IOServiceGetMatchingServices(mach_port_t, Value matching,
                                                       io_iterator_t* existing) {
    if (!matching.isDictionary() || !existing) {
        return kIOReturnBadArgument;
    }
    Iterator iterator;
    // Connectors are the only services here; any other class matches nothing.
    const auto wanted = matching.get(kIOProviderClassKey);
    if (wanted.isString() && wanted.stringValue() == kDisplayConnectClass) {
        iterator.connectors = listDrmConnectors(m_root);
    }
    const auto id = newId();
    m_iterators.emplace(id, std::move(iterator));
    m_iteratorOrder.push_back(id);
    while (m_iteratorOrder.size() > kIteratorsKept) {
        m_iterators.erase(m_iteratorOrder.front());
        m_iteratorOrder.pop_front();
    }
    *existing = id;
    return KERN_SUCCESS;
}

io_object_t SysfsIOKit::handOut(Entry entry) {
    const auto id = newId();
    m_entries.emplace(id, std::move(entry));
    return id;
}

io_object_t SysfsIOKit::IOIteratorNext(io_iterator_t id) {
    const auto found = m_iterators.find(id);
    if (found == m_iterators.end() || found->second.next >= found->second.connectors.size()) {
        return 0;
    }
    auto& iterator = found->second;
    return handOut(Entry{iterator.connectors[iterator.next++]});
}

kern_return_t SysfsIOKit::IOObjectRelease(io_object_t object) {
    if (const auto entry = m_entries.find(object); entry != m_entries.end()) {
        if (--entry->second.references == 0) {
            m_entries.erase(entry);
        }
        return KERN_SUCCESS;
    }
    if (m_iterators.erase(object) > 0) {
        std::erase(m_iteratorOrder, object);
        return KERN_SUCCESS;
    }
    return kIOReturnBadArgument;
}

kern_return_t SysfsIOKit::IORegistryEntryGetChildEntry(io_registry_entry_t entry, const char* plane,
                                                       io_registry_entry_t* child) {
    const auto found = m_entries.find(entry);
    if (found == m_entries.end() || found->second.display || !plane ||
        std::strcmp(plane, kIOServicePlane) != 0) {
        return kIOReturnNoDevice;
    }
    const auto& connector = found->second.connector;
    // A connector has a display only while the X screen drives it, and the display is
    // known by its EDID.
    const auto driven = m_drivenConnectors ? m_drivenConnectors() : std::vector<std::uint32_t>{};
    if (!connector.edid ||
        std::find(driven.begin(), driven.end(), connector.connectorId) == driven.end()) {
        return kIOReturnNoDevice;
    }
    *child = handOut(Entry{connector, true});
    return KERN_SUCCESS;
}

kern_return_t SysfsIOKit::IORegistryEntryGetPath(io_registry_entry_t entry, const char* plane,
                                                 io_string_t path) {
    const auto found = m_entries.find(entry);
    if (found == m_entries.end() || !plane || std::strcmp(plane, kIOServicePlane) != 0) {
        return kIOReturnBadArgument;
    }
    std::string text = connectorRegistryPath(found->second.connector);
    if (found->second.display) {
        text += "/display";
    }
    if (text.size() >= sizeof(io_string_t)) {
        return kIOReturnBadArgument;
    }
    std::memcpy(path, text.c_str(), text.size() + 1);
    return KERN_SUCCESS;
}

Value SysfsIOKit::IORegistryEntryCreateCFProperty(io_registry_entry_t entry, const std::string& key,
                                                  IOOptionBits) {
    const auto found = m_entries.find(entry);
    if (found == m_entries.end() || !found->second.display || !found->second.connector.edid) {
        return Value();
    }
    const auto& ids = *found->second.connector.edid;
    if (key == kDisplayVendorID) {
        return Value::number(static_cast<std::int64_t>(ids.vendor));
    }
    if (key == kDisplayProductID) {
        return Value::number(static_cast<std::int64_t>(ids.product));
    }
    return Value();
}

// The older road's display information and the driver services have no sysfs
// counterpart here: they fail as for a device that is not there.
Value SysfsIOKit::IODisplayCreateInfoDictionary(io_service_t, IOOptionBits) {
    return Value();
}

kern_return_t SysfsIOKit::IOServiceOpen(io_service_t, task_port_t, std::uint32_t, io_connect_t*) {
    return kIOReturnNoDevice;
}

kern_return_t SysfsIOKit::IOServiceClose(io_connect_t) {
    return kIOReturnNotOpen;
}

kern_return_t SysfsIOKit::IOConnectCallMethod(io_connect_t, std::uint32_t, const std::uint64_t*,
                                              std::uint32_t, const void*, std::size_t,
                                              std::uint64_t*, std::uint32_t*, void*, std::size_t*) {
    return kIOReturnNotOpen;
}

kern_return_t SysfsIOKit::IOConnectMapMemory(io_connect_t, std::uint32_t, task_port_t,
                                             mach_vm_address_t*, mach_vm_size_t*, IOOptionBits) {
    return kIOReturnNotOpen;
}

}  // namespace qn::platform::sysfs
