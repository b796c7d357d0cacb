#include "platform/sim/SimIOKit.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qn::platform::sim {

io_registry_entry_t SimIOKit::addEntry(const std::string& className, const std::string& path,
                                       Value properties, io_registry_entry_t parent) {
    SimRegistryEntry e;
    e.id = newId();
    e.className = className;
    e.path = path;
    e.parent = parent;
    e.properties = std::move(properties);
    m_entries.push_back(e);
    if (auto* p = entry(parent)) {
        p->children.push_back(e.id);
    }
    return e.id;
}

SimRegistryEntry* SimIOKit::entry(io_registry_entry_t id) {
    if (id == 0) {
        return nullptr;
    }
    for (auto& e : m_entries) {
        if (e.id == id) {
            return &e;
        }
    }
    return nullptr;
}

void SimIOKit::removeEntry(io_registry_entry_t id) {
    auto* e = entry(id);
    if (!e) {
        return;
    }
    const auto children = e->children;
    if (auto* p = entry(e->parent)) {
        std::erase(p->children, id);
    }
    std::erase_if(m_entries, [id](const SimRegistryEntry& x) { return x.id == id; });
    for (const auto child : children) {
        removeEntry(child);
    }
}

io_object_t SimIOKit::handOut(io_object_t object) {
    ++m_references[object];
    return object;
}

long SimIOKit::outstandingReferences(io_object_t object) const {
    const auto found = m_references.find(object);
    return found == m_references.end() ? 0 : found->second;
}

long SimIOKit::outstandingReferences() const {
    long total = 0;
    for (const auto& [object, count] : m_references) {
        total += count;
    }
    return total;
}

std::size_t SimIOKit::openConnections() const {
    return static_cast<std::size_t>(std::count_if(m_connections.begin(), m_connections.end(),
                                                  [](const auto& c) { return c.second.open; }));
}

Value SimIOKit::IOServiceMatching(const char* name) {
    Value matching = Value::dictionary();
    matching.set(kIOProviderClassKey, Value::string(name ? name : ""));
    return matching;
}

bool SimIOKit::matches(const SimRegistryEntry& e, const Value& matching) const {
    if (e.className != matching.get(kIOProviderClassKey).stringValue()) {
        return false;
    }
    for (const auto& [key, value] : matching.get(kIOPropertyMatchKey).dictionaryValue()) {
        if (e.properties.get(key) != value) {
            return false;
        }
    }
    return true;
}

kern_return_t SimIOKit::IOServiceGetMatchingServices(mach_port_t, Value matching,
                                                     io_iterator_t* existing) {
    if (m_matchingFailure != KERN_SUCCESS) {
        return std::exchange(m_matchingFailure, KERN_SUCCESS);
    }
    Iterator iterator;
    for (const auto& e : m_entries) {
        if (matches(e, matching)) {
            iterator.entries.push_back(e.id);
        }
    }
    const auto id = handOut(newId());
    m_iterators[id] = std::move(iterator);
    *existing = id;
    return KERN_SUCCESS;
}

io_object_t SimIOKit::IOIteratorNext(io_iterator_t id) {
    const auto found = m_iterators.find(id);
    if (found == m_iterators.end()) {
        return 0;
    }
    auto& iterator = found->second;
    while (iterator.next < iterator.entries.size()) {
        const auto candidate = iterator.entries[iterator.next++];
        // An entry removed since the iterator was made is skipped.
        if (entry(candidate)) {
            return handOut(candidate);
        }
    }
    return 0;
}

kern_return_t SimIOKit::IOObjectRelease(io_object_t object) {
    auto found = m_references.find(object);
    if (found == m_references.end() || found->second <= 0) {
        m_faults.record("IOObjectRelease of an object not held: " + std::to_string(object));
        return kIOReturnBadArgument;
    }
    --found->second;
    return KERN_SUCCESS;
}

kern_return_t SimIOKit::IORegistryEntryGetChildEntry(io_registry_entry_t id, const char* plane,
                                                     io_registry_entry_t* child) {
    const auto* e = entry(id);
    if (!e || std::strcmp(plane, kIOServicePlane) != 0 || e->children.empty()) {
        return kIOReturnNoDevice;
    }
    *child = handOut(e->children.front());
    return KERN_SUCCESS;
}

kern_return_t SimIOKit::IORegistryEntryGetPath(io_registry_entry_t id, const char* plane,
                                               io_string_t path) {
    const auto* e = entry(id);
    if (!e || std::strcmp(plane, kIOServicePlane) != 0 || e->path.empty() ||
        e->path.size() >= sizeof(io_string_t)) {
        return kIOReturnBadArgument;
    }
    std::memcpy(path, e->path.c_str(), e->path.size() + 1);
    return KERN_SUCCESS;
}

Value SimIOKit::IORegistryEntryCreateCFProperty(io_registry_entry_t id, const std::string& key,
                                                IOOptionBits) {
    const auto* e = entry(id);
    return e ? e->properties.get(key) : Value();
}

Value SimIOKit::IODisplayCreateInfoDictionary(io_service_t framebuffer, IOOptionBits) {
    const auto* e = entry(framebuffer);
    return e ? e->displayInfo : Value();
}

kern_return_t SimIOKit::IOServiceOpen(io_service_t service, task_port_t, std::uint32_t,
                                      io_connect_t* connect) {
    const auto* e = entry(service);
    if (!e) {
        return kIOReturnNoDevice;
    }
    if (e->openResult != KERN_SUCCESS) {
        return e->openResult;
    }
    const auto id = newId();
    m_connections[id] = Connection{service, true};
    *connect = id;
    return KERN_SUCCESS;
}

SimIOKit::Connection* SimIOKit::connection(io_connect_t id) {
    const auto found = m_connections.find(id);
    return found == m_connections.end() || !found->second.open ? nullptr : &found->second;
}

kern_return_t SimIOKit::IOServiceClose(io_connect_t connect) {
    auto* c = connection(connect);
    if (!c) {
        m_faults.record("IOServiceClose of a connection not open: " + std::to_string(connect));
        return kIOReturnNotOpen;
    }
    c->open = false;
    return KERN_SUCCESS;
}

void SimIOKit::setMethodResult(io_service_t service, std::uint32_t selector, kern_return_t result) {
    m_behaviour[service].results[selector] = result;
}

void SimIOKit::setMethodOutput(io_service_t service, std::uint32_t selector,
                               std::vector<std::uint8_t> bytes) {
    m_behaviour[service].outputs[selector] = std::move(bytes);
}

void SimIOKit::setMappedMemory(io_service_t service, mach_vm_address_t address, mach_vm_size_t size,
                               kern_return_t result) {
    auto& b = m_behaviour[service];
    b.mappedAddress = address;
    b.mappedSize = size;
    b.mapResult = result;
}

void SimIOKit::setMethodHandler(io_service_t service, MethodHandler handler) {
    m_behaviour[service].handler = std::move(handler);
}

void SimIOKit::record(const SimUserClientCall& call) {
    m_calls.push_back(call);
    if (m_callListener) {
        m_callListener(m_calls.back());
    }
}

SimIOKit::Behaviour* SimIOKit::behaviourFor(SimUserClientCall& call) {
    auto* c = connection(call.connection);
    if (!c) {
        // Recorded all the same: a call on a closed connection is worth seeing.
        call.result = kIOReturnNotOpen;
        record(call);
        return nullptr;
    }
    call.service = c->service;
    return &m_behaviour[c->service];
}

kern_return_t SimIOKit::IOConnectCallMethod(io_connect_t id, std::uint32_t selector,
                                            const std::uint64_t* input, std::uint32_t inputCnt,
                                            const void* inputStruct, std::size_t inputStructCnt,
                                            std::uint64_t*, std::uint32_t* outputCnt,
                                            void* outputStruct, std::size_t* outputStructCnt) {
    SimUserClientCall call;
    call.connection = id;
    call.selector = selector;
    if (input) {
        call.scalarInput.assign(input, input + inputCnt);
    }
    if (inputStruct) {
        const auto* bytes = static_cast<const std::uint8_t*>(inputStruct);
        call.structInput.assign(bytes, bytes + inputStructCnt);
    }
    call.hasStructOutput = outputStruct != nullptr;
    call.structOutputCapacity = outputStructCnt ? *outputStructCnt : 0;

    auto* behaviour = behaviourFor(call);
    if (!behaviour) {
        return call.result;
    }
    const auto result = behaviour->results.find(selector);
    if (outputCnt) {
        *outputCnt = 0;
    }
    const bool chosen = result != behaviour->results.end() || behaviour->outputs.count(selector);
    if (!chosen && behaviour->handler) {
        call.result = behaviour->handler(call, outputStruct, outputStructCnt);
        record(call);
        return call.result;
    }
    call.result = result == behaviour->results.end() ? KERN_SUCCESS : result->second;
    const auto output = behaviour->outputs.find(selector);
    if (call.result == KERN_SUCCESS && output != behaviour->outputs.end() && outputStruct &&
        outputStructCnt) {
        const auto n = std::min(*outputStructCnt, output->second.size());
        std::memcpy(outputStruct, output->second.data(), n);
        *outputStructCnt = n;
    }
    record(call);
    return call.result;
}

kern_return_t SimIOKit::IOConnectMapMemory(io_connect_t id, std::uint32_t memoryType, task_port_t,
                                           mach_vm_address_t* atAddress, mach_vm_size_t* ofSize,
                                           IOOptionBits options) {
    SimUserClientCall call;
    call.kind = SimUserClientCall::Kind::MapMemory;
    call.connection = id;
    call.selector = memoryType;
    call.options = options;
    const auto* behaviour = behaviourFor(call);
    if (!behaviour) {
        return call.result;
    }
    call.result = behaviour->mapResult;
    if (call.result == KERN_SUCCESS) {
        *atAddress = behaviour->mappedAddress;
        *ofSize = behaviour->mappedSize;
    }
    record(call);
    return call.result;
}

}  // namespace qn::platform::sim
