#include "platform/sim/SimAdapterDriver.h"

#include <cstring>

namespace qn::platform::sim {

namespace {

#pragma pack(push, 1)
struct Record {
    std::uint32_t size;
    std::uint64_t sourceAddress;
    std::uint64_t mappedAddress;
};
#pragma pack(pop)
static_assert(sizeof(Record) == 20);

}  // namespace

SimAdapterDriver::SimAdapterDriver(SimIOKit& ioKit, io_service_t service, std::uint32_t index)
    : m_service(service), m_index(index) {
    ioKit.setMethodHandler(
        service, [this](const SimUserClientCall& call, void* output, std::size_t* outputSize) {
            return handle(call, output, outputSize);
        });
}

kern_return_t SimAdapterDriver::handle(const SimUserClientCall& call, void* output,
                                       std::size_t* outputSize) {
    if (!call.scalarInput.empty()) {
        return kIOReturnBadArgument;
    }
    if (call.selector == 10) {
        m_regions.clear();
        return call.structInput.empty() ? KERN_SUCCESS : kIOReturnBadArgument;
    }
    Record record{};
    if (call.structInput.size() != sizeof(record)) {
        return kIOReturnBadArgument;
    }
    std::memcpy(&record, call.structInput.data(), sizeof(record));
    // Copied out: the packed fields are not aligned.
    const std::uint64_t source = record.sourceAddress;
    const std::uint32_t size = record.size;
    switch (call.selector) {
        case 7:
            m_regions[source] = size;
            return KERN_SUCCESS;
        case 9:
            if (m_regions.erase(source) == 0) {
                ++m_unknownReleases;
            }
            return KERN_SUCCESS;
        case 8: {
            if (!m_regions.count(source) || !output || !outputSize ||
                *outputSize < sizeof(record)) {
                return kIOReturnBadArgument;
            }
            // The Manager's view of the region is the region itself here.
            record.mappedAddress = source;
            std::memcpy(output, &record, sizeof(record));
            *outputSize = sizeof(record);
            return KERN_SUCCESS;
        }
        default:
            return kIOReturnBadArgument;
    }
}

const std::uint8_t* SimAdapterDriver::reach(std::uint64_t address, std::size_t size) const {
    auto found = m_regions.upper_bound(address);
    if (found == m_regions.begin()) {
        return nullptr;
    }
    --found;
    if (address + size > found->first + found->second) {
        return nullptr;
    }
    return reinterpret_cast<const std::uint8_t*>(address);
}

}  // namespace qn::platform::sim
