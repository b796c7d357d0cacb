#pragma once

#include <string>

namespace qn::sys {

// One entry of a key: a leaf holding a text value, or a sub-key (no value).
class PersistEntry {
  public:
    PersistEntry() = default;
    static PersistEntry leaf(std::string value);
    static PersistEntry subKey() { return PersistEntry(); }

    bool isLeaf() const { return m_isLeaf; }
    // Both throw PersistBadLeaf on a sub-key.
    const std::string& value() const;
    void setValue(std::string value);

    bool operator==(const PersistEntry& other) const = default;

  private:
    bool m_isLeaf = false;
    std::string m_value;
};

}  // namespace qn::sys
