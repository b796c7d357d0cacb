#include "tk/libDriver/osx/MacDriverControl.h"

#include <cstring>
#include <string>

#include "platform/Backend.h"
#include "tk/libDriver/MemoryMapRecord.h"

namespace qn::tk::driver {

using sys::Logger;

std::unique_ptr<DriverControl> DriverControlFactory::create(std::uint32_t,
                                                            std::uint32_t driverIndex) {
    return std::make_unique<MacDriverControl>(driverIndex);
}

MacDriverControl::MacDriverControl(std::uint32_t driverIndex)
    : sys::Identity("MacDriverControl", ""),
      Logger::Logged("MacDriverControl", "", std::string(), 0),
      m_driverIndex(driverIndex) {
    // The result is read back through isOpen().
    createDriverControlSymLink();
}

MacDriverControl::~MacDriverControl() {
    if (m_connection != 0) {
        platform::ioKit().IOServiceClose(m_connection);
    }
}

bool MacDriverControl::createDriverControlSymLink() {
    auto& ioKit = platform::ioKit();
    QN_LOG(*this, Logger::DEBUG) << "createDriverControlSymLink(" << static_cast<const void*>(this)
                                 << ")";
    platform::Value matching = ioKit.IOServiceMatching(kDriverClass);
    platform::Value name = platform::Value::dictionary();
    name.set("Name", platform::Value::string(kDriverClass + std::to_string(m_driverIndex)));
    matching.set(platform::kIOPropertyMatchKey, name);

    platform::io_iterator_t iterator = 0;
    if (ioKit.IOServiceGetMatchingServices(platform::kIOMasterPortDefault, std::move(matching),
                                           &iterator) != platform::KERN_SUCCESS) {
        QN_LOG(*this, Logger::INFO) << "Can't find driver:" << m_driverIndex;
        return false;
    }
    // Only the first match counts.
    const platform::io_service_t service = ioKit.IOIteratorNext(iterator);
    ioKit.IOObjectRelease(iterator);
    if (service == 0) {
        QN_LOG(*this, Logger::INFO) << "Can't find service";
        return false;
    }
    const auto result = ioKit.IOServiceOpen(service, ioKit.mach_task_self(), 0, &m_connection);
    ioKit.IOObjectRelease(service);
    if (result != platform::KERN_SUCCESS) {
        m_connection = 0;
        QN_LOG(*this, Logger::INFO) << "Can't open service";
        return false;
    }
    QN_LOG(*this, Logger::DEBUG) << "Found dataPort";
    return true;
}

bool MacDriverControl::mapMemory(void* output) {
    // The platform writes a 64-bit size over the record's first eight bytes and the
    // address at its offset 12, as the driver's clients have always passed them.
    auto* bytes = static_cast<std::uint8_t*>(output);
    platform::mach_vm_size_t size = 0;
    platform::mach_vm_address_t address = 0;
    std::memcpy(&size, bytes, sizeof(size));
    std::memcpy(&address, bytes + 12, sizeof(address));
    auto& ioKit = platform::ioKit();
    const auto result = ioKit.IOConnectMapMemory(m_connection, 0, ioKit.mach_task_self(), &address,
                                                 &size, platform::kIOMapAnywhere);
    std::memcpy(bytes, &size, sizeof(size));
    std::memcpy(bytes + 12, &address, sizeof(address));
    return result == platform::KERN_SUCCESS;
}

bool MacDriverControl::callMethod(std::uint64_t selector, const void* input,
                                  std::uint64_t inputSize, void* output, std::uint64_t outputSize,
                                  const char*, const char*) {
    if (selector == kMemoryMapSelector) {
        return output && outputSize >= sizeof(MemoryMapRecord) && mapMemory(output);
    }
    // The platform may lower the size in this copy; the caller never sees it.
    std::size_t outputStructSize = static_cast<std::size_t>(outputSize);
    return platform::ioKit().IOConnectCallMethod(
               m_connection, static_cast<std::uint32_t>(selector), nullptr, 0, input,
               static_cast<std::size_t>(inputSize), nullptr, nullptr, output,
               &outputStructSize) == platform::KERN_SUCCESS;
}

}  // namespace qn::tk::driver
