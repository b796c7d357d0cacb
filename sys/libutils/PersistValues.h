#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "sys/libutils/PersistEntry.h"

namespace qn::sys {

// The content of one key, a snapshot owned by the caller: names in byte-wise
// order, which is also the order in which a write visits them. Values are all
// text; numbers and booleans are a matter of the getter.
class PersistValues {
  public:
    using Map = std::map<std::string, PersistEntry>;
    using const_iterator = Map::const_iterator;

    bool exists(const std::string& name) const;
    bool isSubKey(const std::string& name) const;
    bool isValue(const std::string& name) const;

    // PersistNotFound if absent, PersistBadLeaf on a sub-key.
    const std::string& getString(const std::string& name) const;
    // Any PersistException gives the fallback.
    std::string getString(const std::string& name, const std::string& fallback) const;
    std::int32_t getInt(const std::string& name) const;
    // Only an absent name gives the fallback; asking a number of a sub-key
    // stays an error.
    std::int32_t getInt(const std::string& name, std::int32_t fallback) const;
    bool getBool(const std::string& name) const;
    bool getBool(const std::string& name, bool fallback) const;

    void setString(const std::string& name, const std::string& text);
    void setInt(const std::string& name, std::int32_t number);
    void setBool(const std::string& name, bool flag);
    void setEntry(const std::string& name, const PersistEntry& entry);
    // Adds the entries of other whose names are not here yet; never overwrites.
    void merge(const PersistValues& other);
    void erase(const std::string& name);

    bool empty() const { return m_entries.empty(); }
    std::size_t size() const { return m_entries.size(); }
    const_iterator begin() const { return m_entries.begin(); }
    const_iterator end() const { return m_entries.end(); }
    bool operator==(const PersistValues& other) const = default;

  private:
    Map m_entries;
};

}  // namespace qn::sys
