#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sys/libutils/Flag.h"
#include "sys/libutils/NamedAutoLoweringFlag.h"
#include "sys/libutils/SharedMemory.h"

namespace qn::sys::instrumentation {

// The list of running processes' regions, shared by name so that a tool can
// find them. It lies in a shared region under a named cross-process lock;
// where either cannot be made it falls back to a private buffer, since
// instrumentation must never stop the program.
class Directory {
  public:
    static constexpr const char* kDefaultName = "QNInstrumentationDirectory";

    explicit Directory(const std::string& name = kDefaultName);
    // Removes the own name; a failure there ends the process.
    ~Directory();
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    // StringException 35 for a name of 101 characters or more, MessageException
    // 36 when full, StringException 38 for a name already there.
    void add(const std::string& name);
    // Adds the name and removes it again on destruction.
    void addOwn(const std::string& name);
    // Takes out every entry equal to the name.
    void remove(const std::string& name);
    std::vector<std::string> list();

    // True when other processes can see it (and it has a named lock).
    bool isShared() const { return m_region != nullptr; }
    bool hasNamedLock() const { return m_namedLock != nullptr; }

    // Where the FIFO of the named lock of a directory lies.
    static std::string lockPath(const std::string& name);

  private:
    class Lock;
    void lock();
    void unlock();
    std::uint32_t count() const;
    void setCount(std::uint32_t count);
    char* entry(std::uint32_t index);

    bool m_mapped = false;
    std::unique_ptr<AutoFlag> m_localLock;
    std::vector<std::uint8_t> m_privateBuffer;
    std::unique_ptr<NamedAutoLoweringFlag> m_namedLock;
    std::unique_ptr<SharedMemoryOwner> m_region;
    std::uint8_t* m_address = nullptr;
    std::string m_ownName;
};

}  // namespace qn::sys::instrumentation
