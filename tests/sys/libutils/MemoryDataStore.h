#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sys/libutils/DataStore.h"

namespace qn::sys::testing {

// A store in memory with the same gate as the registry store: only values the
// program set are kept. `put` plants values as if they had been stored before.
class MemoryDataStore : public option::DataStore {
  public:
    option::DataStore* getChild(const std::string& name, bool create) override {
        auto found = m_children.find(name);
        if (found != m_children.end()) {
            return found->second.get();
        }
        if (!create) {
            return nullptr;
        }
        return (m_children[name] = std::make_unique<MemoryDataStore>()).get();
    }
    void refresh() override {}
    void listValues(std::vector<std::string>& names) override {
        for (const auto& entry : m_values) {
            names.push_back(entry.first);
        }
    }
    void listChildren(std::vector<std::string>& names) override {
        for (const auto& entry : m_children) {
            names.push_back(entry.first);
        }
    }
    std::pair<option::OptionSource, std::string> getValue(const std::string& name) override {
        auto found = m_values.find(name);
        if (found == m_values.end()) {
            return {option::SourceNone, ""};
        }
        return {option::SourceMachineStore, found->second};
    }
    void setValue(const std::string& name, const std::string& text,
                  option::OptionSource source) override {
        ++m_writes;
        if (source == option::SourceProgram) {
            m_values[name] = text;
        }
    }
    void remove(const std::string& name) override {
        m_values.erase(name);
        m_children.erase(name);
    }

    void put(const std::string& name, const std::string& text) { m_values[name] = text; }
    MemoryDataStore& child(const std::string& name) {
        return static_cast<MemoryDataStore&>(*getChild(name, true));
    }
    bool has(const std::string& name) const { return m_values.count(name) != 0; }
    bool hasChild(const std::string& name) const { return m_children.count(name) != 0; }
    const std::map<std::string, std::string>& values() const { return m_values; }
    std::size_t childCount() const { return m_children.size(); }
    int writes() const { return m_writes; }

  private:
    std::map<std::string, std::string> m_values;
    std::map<std::string, std::unique_ptr<MemoryDataStore>> m_children;
    int m_writes = 0;
};

}  // namespace qn::sys::testing
