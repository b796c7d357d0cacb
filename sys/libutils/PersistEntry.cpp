#include "sys/libutils/PersistEntry.h"

#include "sys/libutils/PersistException.h"

namespace qn::sys {

PersistEntry PersistEntry::leaf(std::string value) {
    PersistEntry entry;
    entry.m_isLeaf = true;
    entry.m_value = std::move(value);
    return entry;
}

const std::string& PersistEntry::value() const {
    if (!m_isLeaf) {
        throw PersistBadLeaf();
    }
    return m_value;
}

void PersistEntry::setValue(std::string value) {
    if (!m_isLeaf) {
        throw PersistBadLeaf();
    }
    m_value = std::move(value);
}

}  // namespace qn::sys
