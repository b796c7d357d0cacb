#include "platform/sim/SimWorld.h"

#include <string>

namespace qn::platform::sim {

io_service_t SimWorld::adapterDriver(std::uint32_t index) {
    const auto found = m_drivers.find(index);
    if (found != m_drivers.end()) {
        return found->second;
    }
    const std::string name = std::string(kDriverClass) + std::to_string(index);
    Value properties = Value::dictionary();
    properties.set("Name", Value::string(name));
    const auto id =
        m_host.ioKit().addEntry(kDriverClass, kDriverPath + std::to_string(index), properties);
    m_drivers[index] = id;
    m_driverMemory[index] = std::make_unique<SimAdapterDriver>(m_host.ioKit(), id, index);
    return id;
}

SimAdapterDriver* SimWorld::driver(std::uint32_t index) {
    const auto found = m_driverMemory.find(index);
    return found == m_driverMemory.end() ? nullptr : found->second.get();
}

void SimWorld::addRegistryEntries(SimDisplaySpec& spec) {
    auto& ioKit = m_host.ioKit();
    auto& display = spec.display;
    removeRegistryEntries(display.id);
    if (!spec.withService) {
        display.servicePort = 0;
        return;
    }
    io_registry_entry_t parent = 0;
    std::string base;
    if (spec.adapterIndex) {
        parent = adapterDriver(*spec.adapterIndex);
        base = kDriverPath + spec.instanceText.value_or(std::to_string(*spec.adapterIndex));
        for (std::uint32_t hub = 1; hub <= spec.hubs; ++hub) {
            base += "/QuintorHub@" + std::to_string(hub);
        }
        base += "/QuintorFramebuffer@" + std::to_string(display.id);
    } else {
        base = "IOService:/PCI0@0/GFX0@2/Framebuffer@" + std::to_string(display.id);
    }
    Value numbers = Value::dictionary();
    numbers.set(kDisplayVendorID,
                spec.vendorProperty.value_or(Value::number(std::int64_t{display.vendorNumber})));
    numbers.set(kDisplayProductID, Value::number(std::int64_t{display.modelNumber}));

    const auto framebuffer = ioKit.addEntry("IOFramebuffer", base, Value::dictionary(), parent);
    const auto connect =
        ioKit.addEntry("IODisplayConnect", base + "/display0", Value::dictionary(), framebuffer);
    m_displayEntries[display.id] =
        ioKit.addEntry("IODisplay", base + "/display0/IODisplay", numbers, connect);

    Value info = numbers;
    info.set(kIODisplayLocationKey, Value::string(base + "/display0/IODisplay"));
    ioKit.entry(framebuffer)->displayInfo = info;
    display.servicePort = framebuffer;
    m_framebuffers[display.id] = framebuffer;
}

void SimWorld::removeRegistryEntries(CGDirectDisplayID id) {
    const auto found = m_framebuffers.find(id);
    if (found != m_framebuffers.end()) {
        m_host.ioKit().removeEntry(found->second);
        m_framebuffers.erase(found);
    }
    m_displayEntries.erase(id);
}

io_registry_entry_t SimWorld::framebuffer(CGDirectDisplayID id) const {
    const auto found = m_framebuffers.find(id);
    return found == m_framebuffers.end() ? 0 : found->second;
}

io_registry_entry_t SimWorld::displayEntry(CGDirectDisplayID id) const {
    const auto found = m_displayEntries.find(id);
    return found == m_displayEntries.end() ? 0 : found->second;
}

void SimWorld::placeDisplay(SimDisplaySpec spec) {
    addRegistryEntries(spec);
    m_host.quartz().setDisplay(spec.display);
}

void SimWorld::plugDisplay(SimDisplaySpec spec) {
    addRegistryEntries(spec);
    m_host.quartz().addDisplay(spec.display);
}

void SimWorld::unplugDisplay(CGDirectDisplayID id) {
    removeRegistryEntries(id);
    m_host.quartz().removeDisplay(id);
}

void SimWorld::vanishDisplay(CGDirectDisplayID id) {
    removeRegistryEntries(id);
    m_host.quartz().forgetDisplay(id);
}

}  // namespace qn::platform::sim
