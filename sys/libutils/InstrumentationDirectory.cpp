#include "sys/libutils/InstrumentationDirectory.h"

#include <cstring>
#include <exception>

#include "sys/libutils/Exception.h"
#include "sys/libutils/InstrumentationLayout.h"
#include "sys/libutils/Waitable.h"

namespace qn::sys::instrumentation {

using namespace layout;

namespace {
constexpr std::int32_t kEverybodyReadsAndWrites = 2;
}  // namespace

class Directory::Lock {
  public:
    explicit Lock(Directory& directory) : m_directory(directory) { m_directory.lock(); }
    ~Lock() { m_directory.unlock(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    Directory& m_directory;
};

std::string Directory::lockPath(const std::string& name) {
    return "/tmp/" + name + "Lock";
}

Directory::Directory(const std::string& name) {
    try {
        m_namedLock = std::make_unique<NamedAutoLoweringFlag>(lockPath(name), true);
    } catch (const Exception&) {
        // Without the lock another process couldn't share safely: stay private.
    }
    m_localLock = std::make_unique<AutoFlag>(false);
    if (m_namedLock) {
        try {
            // The owner removes any former region: the newest process starts
            // an empty directory.
            m_region =
                std::make_unique<SharedMemoryOwner>(name, kDirectorySize, kEverybodyReadsAndWrites);
            m_address = static_cast<std::uint8_t*>(m_region->address());
        } catch (const Exception&) {
            m_namedLock.reset();
        }
    }
    if (!m_namedLock) {
        m_privateBuffer.assign(kDirectorySize, 0);
        m_address = m_privateBuffer.data();
    }
    m_mapped = true;
    setCount(0);
    const std::uint32_t capacity = kDirectoryCapacity;
    std::memcpy(m_address + kDirectoryCapacityOffset, &capacity, sizeof capacity);
    unlock();
}

Directory::~Directory() {
    if (!m_ownName.empty()) {
        try {
            remove(m_ownName);
        } catch (...) {
            std::terminate();
        }
    }
}

void Directory::lock() {
    if (m_namedLock) {
        m_namedLock->wait(kWaitForever);
    }
    m_localLock->wait(kWaitForever);
}

void Directory::unlock() {
    m_localLock->raise();
    if (m_namedLock) {
        m_namedLock->raise();
    }
}

std::uint32_t Directory::count() const {
    std::uint32_t value = 0;
    std::memcpy(&value, m_address + kDirectoryCountOffset, sizeof value);
    // Another process may have written rubbish; never read past the table.
    return value > kDirectoryCapacity ? kDirectoryCapacity : value;
}

void Directory::setCount(std::uint32_t value) {
    std::memcpy(m_address + kDirectoryCountOffset, &value, sizeof value);
}

char* Directory::entry(std::uint32_t index) {
    return reinterpret_cast<char*>(m_address + kDirectoryNamesOffset + index * kDirectoryNameSize);
}

void Directory::add(const std::string& name) {
    Lock guard(*this);
    if (name.size() >= kDirectoryNameSize) {
        throw StringException(kNameTooLong, name);
    }
    const std::uint32_t used = count();
    if (used >= kDirectoryCapacity) {
        throw MessageException(kDirectoryFull);
    }
    for (std::uint32_t i = 0; i < used; ++i) {
        if (std::strncmp(entry(i), name.c_str(), kDirectoryNameSize) == 0) {
            throw StringException(kAlreadyThere, name);
        }
    }
    char* target = entry(used);
    std::memset(target, 0, kDirectoryNameSize);
    std::memcpy(target, name.data(), name.size());
    setCount(used + 1);
}

void Directory::addOwn(const std::string& name) {
    add(name);
    m_ownName = name;
}

void Directory::remove(const std::string& name) {
    Lock guard(*this);
    std::uint32_t used = count();
    std::uint32_t i = 0;
    while (i < used) {
        if (std::strncmp(entry(i), name.c_str(), kDirectoryNameSize) != 0) {
            ++i;
            continue;
        }
        std::memmove(entry(i), entry(i + 1), (used - i - 1) * kDirectoryNameSize);
        --used;
        std::memset(entry(used), 0, kDirectoryNameSize);
    }
    setCount(used);
}

std::vector<std::string> Directory::list() {
    Lock guard(*this);
    std::vector<std::string> names;
    const std::uint32_t used = count();
    for (std::uint32_t i = 0; i < used; ++i) {
        const char* name = entry(i);
        names.emplace_back(name, strnlen(name, kDirectoryNameSize));
    }
    return names;
}

}  // namespace qn::sys::instrumentation
