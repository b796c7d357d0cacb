#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sys/libutils/InstrumentationDirectory.h"
#include "sys/libutils/InstrumentationLayout.h"
#include "sys/libutils/Mutex.h"
#include "sys/libutils/SharedMemory.h"

namespace qn::sys::instrumentation {

// Keeps a process's named counters in one shared region, listed in the
// directory under the process's name, so that a tool in another process can
// read them while the program runs. Values are plain stores without a lock:
// a variable costs one pointer dereference.
class Manager {
  public:
    static constexpr std::uint32_t kDefaultSlots = 400;

    // The process's manager, named after the executable, with 400 slots.
    static Manager* instance();
    // The process's manager, made on first use: the name as given, then
    // "name#1" to "name#9" while making it throws.
    static Manager* create(const std::string& name, std::uint32_t slots);
    // The attempts of create, for any way of making a manager; the failure of
    // the tenth attempt reaches the caller.
    using Maker = std::function<std::unique_ptr<Manager>(const std::string&)>;
    static std::unique_ptr<Manager> createWithFallback(const std::string& name, const Maker& make);

    Manager(const std::string& name, std::uint32_t slots);
    Manager(const std::string& directoryName, const std::string& name, std::uint32_t slots);
    Manager(std::unique_ptr<Directory> directory, const std::string& name, std::uint32_t slots);
    ~Manager();
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    // A slot for the variable: StringException 38 when the name is in any
    // list, MessageException 37 when no slot is free. Returns the value's
    // address, zeroed.
    void* allocate(layout::Kind kind, const std::string& name);
    // Gives the slot of the first variable of that name back; an unknown
    // name changes nothing.
    void release(layout::Kind kind, const std::string& name);

    const std::string& name() const { return m_name; }
    bool isShared() const { return m_region != nullptr; }
    Directory& directory() { return *m_directory; }
    std::uint32_t freeSlots();

  private:
    std::uint8_t* slot(std::uint32_t index) const;
    std::uint32_t& next(std::uint32_t index) const;
    const char* slotName(std::uint32_t index) const;
    bool inList(std::uint32_t head, const std::string& name) const;

    Mutex m_mutex;
    std::unique_ptr<Directory> m_directory;
    std::size_t m_size;
    std::vector<std::uint8_t> m_privateBuffer;
    std::unique_ptr<SharedMemoryOwner> m_region;
    layout::Header* m_header = nullptr;
    std::uint8_t* m_slots = nullptr;
    std::string m_name;
};

}  // namespace qn::sys::instrumentation
