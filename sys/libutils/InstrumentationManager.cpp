#include "sys/libutils/InstrumentationManager.h"

#include <cstring>
#include <mutex>

#include "sys/libutils/Exception.h"
#include "sys/libutils/Files.h"
#include "sys/libutils/Formatter.h"

namespace qn::sys::instrumentation {

using namespace layout;

namespace {

constexpr std::int32_t kOwnerWritesEverybodyReads = 1;
constexpr int kAttempts = 10;

// Made at static initialisation, before any thread can ask for the manager.
Mutex singletonMutex;

std::string numberedName(const std::string& name, int attempt) {
    Formatter pattern;
    pattern.setPattern("%1#%2");
    pattern << name;
    pattern.next() << attempt;
    pattern.next();
    return pattern.result();
}

}  // namespace

Manager* Manager::instance() {
    return create(executableName(), kDefaultSlots);
}

Manager* Manager::create(const std::string& name, std::uint32_t slots) {
    static std::unique_ptr<Manager> manager;
    std::lock_guard<Mutex> guard(singletonMutex);
    if (!manager) {
        manager = createWithFallback(name, [slots](const std::string& attempt) {
            return std::make_unique<Manager>(attempt, slots);
        });
    }
    return manager.get();
}

std::unique_ptr<Manager> Manager::createWithFallback(const std::string& name, const Maker& make) {
    for (int attempt = 0;; ++attempt) {
        try {
            return make(attempt == 0 ? name : numberedName(name, attempt));
        } catch (const Exception&) {
            if (attempt + 1 >= kAttempts) {
                throw;
            }
        }
    }
}

Manager::Manager(const std::string& name, std::uint32_t slots)
    : Manager(Directory::kDefaultName, name, slots) {}

Manager::Manager(const std::string& directoryName, const std::string& name, std::uint32_t slots)
    : Manager(std::make_unique<Directory>(directoryName), name, slots) {}

Manager::Manager(std::unique_ptr<Directory> directory, const std::string& name, std::uint32_t slots)
    : m_directory(std::move(directory)), m_size(regionSize(slots)), m_name(name) {
    m_directory->addOwn(name);
    std::uint8_t* address = nullptr;
    if (m_directory->hasNamedLock()) {
        try {
            m_region =
                std::make_unique<SharedMemoryOwner>(name, m_size, kOwnerWritesEverybodyReads);
            address = static_cast<std::uint8_t*>(m_region->address());
        } catch (const Exception&) {
            m_region.reset();
        }
    }
    if (address == nullptr) {
        m_privateBuffer.assign(m_size, 0);
        address = m_privateBuffer.data();
    }
    m_header = reinterpret_cast<Header*>(address);
    m_slots = address + kHeaderSize;
    m_header->totalSize = static_cast<std::uint32_t>(m_size);
    m_header->version = kFormatVersion;
    m_header->firstFree = slots == 0 ? kNoSlot : 0;
    for (auto& head : m_header->heads) {
        head = kNoSlot;
    }
    for (std::uint32_t i = 0; i < slots; ++i) {
        next(i) = i + 1 < slots ? i + 1 : kNoSlot;
    }
}

Manager::~Manager() = default;

std::uint8_t* Manager::slot(std::uint32_t index) const {
    return m_slots + static_cast<std::size_t>(index) * kSlotSize;
}

std::uint32_t& Manager::next(std::uint32_t index) const {
    return *reinterpret_cast<std::uint32_t*>(slot(index) + kSlotNextOffset);
}

const char* Manager::slotName(std::uint32_t index) const {
    return reinterpret_cast<const char*>(slot(index) + kSlotNameOffset);
}

bool Manager::inList(std::uint32_t head, const std::string& name) const {
    for (std::uint32_t i = head; i != kNoSlot; i = next(i)) {
        if (name == slotName(i)) {
            return true;
        }
    }
    return false;
}

void* Manager::allocate(Kind kind, const std::string& name) {
    std::lock_guard<Mutex> guard(m_mutex);
    // Compared with the name as a slot would hold it.
    const std::size_t limit = kind == Kind::Wide ? kMaxName64 : kMaxName32;
    const std::string kept = name.substr(0, limit);
    for (std::uint32_t head : m_header->heads) {
        if (inList(head, kept)) {
            throw StringException(kAlreadyThere, name);
        }
    }
    const std::uint32_t index = m_header->firstFree;
    if (index == kNoSlot) {
        throw MessageException(kNoFreeSlot);
    }
    std::uint32_t& head = m_header->heads[static_cast<std::uint32_t>(kind)];
    m_header->firstFree = next(index);
    next(index) = head;
    head = index;
    std::uint8_t* base = slot(index);
    std::memset(base + kSlotNameOffset, 0, kSlotNameCapacity + 4);
    std::memcpy(base + kSlotNameOffset, kept.data(), kept.size());
    return kind == Kind::Wide ? static_cast<void*>(base + kSlotValue64Offset)
                              : static_cast<void*>(base + kSlotValue32Offset);
}

void Manager::release(Kind kind, const std::string& name) {
    std::lock_guard<Mutex> guard(m_mutex);
    std::uint32_t& head = m_header->heads[static_cast<std::uint32_t>(kind)];
    if (head == kNoSlot) {
        return;
    }
    const std::size_t limit = kind == Kind::Wide ? kMaxName64 : kMaxName32;
    const std::string kept = name.substr(0, limit);
    for (std::uint32_t* link = &head; *link != kNoSlot; link = &next(*link)) {
        const std::uint32_t index = *link;
        if (kept != slotName(index)) {
            continue;
        }
        *link = next(index);
        next(index) = m_header->firstFree;
        m_header->firstFree = index;
        return;
    }
}

std::uint32_t Manager::freeSlots() {
    std::lock_guard<Mutex> guard(m_mutex);
    std::uint32_t count = 0;
    for (std::uint32_t i = m_header->firstFree; i != kNoSlot; i = next(i)) {
        ++count;
    }
    return count;
}

}  // namespace qn::sys::instrumentation
