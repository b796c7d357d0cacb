#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "sys/libutils/DataStore.h"
#include "sys/libutils/PersistTree.h"
#include "sys/libutils/PersistValues.h"

namespace qn::sys::option {

// The store over the persistent tree. It keeps a copy of its key in memory,
// one per section, so that lookups cost no file access; only construction and
// refresh read the file. A per-user store answers from the user's section
// first and writes only there; any other store reads and writes the machine's.
class RegistryDataStore : public DataStore {
  public:
    RegistryDataStore(const std::string& name, bool perUser);
    RegistryDataStore(const std::string& name, std::uintptr_t reserved);
    RegistryDataStore(const PersistTree& parent, const std::string& name, bool perUser);
    RegistryDataStore(const std::string& name, std::uintptr_t reserved, bool perUser,
                      bool volatileKey);
    ~RegistryDataStore() override;
    RegistryDataStore(const RegistryDataStore&) = delete;
    RegistryDataStore& operator=(const RegistryDataStore&) = delete;

    DataStore* getChild(const std::string& name, bool create) override;
    void refresh() override;
    void listValues(std::vector<std::string>& names) override;
    void listChildren(std::vector<std::string>& names) override;
    std::pair<OptionSource, std::string> getValue(const std::string& name) override;
    void setValue(const std::string& name, const std::string& text, OptionSource source) override;
    void remove(const std::string& name) override;

  private:
    void readCopies();
    PersistFlags ownSection() const;
    PersistValues& ownValues();

    bool m_perUser;
    PersistTree m_tree;
    PersistValues m_machineValues;
    PersistValues m_userValues;
    std::map<std::string, std::unique_ptr<DataStore>> m_children;
};

// The same store with the volatile mark on its tree. A hive has no keys that
// vanish by themselves, so it persists like any other.
class VolatileRegistryDataStore : public RegistryDataStore {
  public:
    VolatileRegistryDataStore(const std::string& name, bool perUser);
    VolatileRegistryDataStore(const std::string& name, std::uintptr_t reserved);
    ~VolatileRegistryDataStore() override;
};

}  // namespace qn::sys::option
