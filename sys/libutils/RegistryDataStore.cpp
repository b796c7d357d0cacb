#include "sys/libutils/RegistryDataStore.h"

#include <exception>

#include "sys/libutils/PersistException.h"

namespace qn::sys::option {

RegistryDataStore::RegistryDataStore(const std::string& name, bool perUser)
    : m_perUser(perUser), m_tree(name) {
    readCopies();
}

RegistryDataStore::RegistryDataStore(const std::string& name, std::uintptr_t reserved)
    : m_perUser(true), m_tree(name, reserved, false) {
    readCopies();
}

RegistryDataStore::RegistryDataStore(const PersistTree& parent, const std::string& name,
                                     bool perUser)
    : m_perUser(perUser), m_tree(parent, name) {
    readCopies();
}

RegistryDataStore::RegistryDataStore(const std::string& name, std::uintptr_t reserved, bool perUser,
                                     bool volatileKey)
    : m_perUser(perUser), m_tree(name, reserved, volatileKey) {
    readCopies();
}

RegistryDataStore::~RegistryDataStore() {
    try {
        m_children.clear();
    } catch (...) {
        // A child that cannot be destroyed leaves the tree in an unknown state.
        std::terminate();
    }
}

void RegistryDataStore::readCopies() {
    m_machineValues = m_tree.read(PersistLocalMachine);
    if (m_perUser) {
        m_userValues = m_tree.read(PersistCurrentUser);
    }
}

PersistFlags RegistryDataStore::ownSection() const {
    return m_perUser ? PersistCurrentUser : PersistLocalMachine;
}

PersistValues& RegistryDataStore::ownValues() {
    return m_perUser ? m_userValues : m_machineValues;
}

DataStore* RegistryDataStore::getChild(const std::string& name, bool create) {
    auto known = m_children.find(name);
    if (known != m_children.end()) {
        return known->second.get();
    }
    if (!create && !m_userValues.isSubKey(name) && !m_machineValues.isSubKey(name)) {
        return nullptr;
    }
    // Only the memory copy learns of the new key; the file gets it with the
    // child's first value.
    if (create && !ownValues().exists(name)) {
        ownValues().setEntry(name, PersistEntry::subKey());
    }
    auto child = std::make_unique<RegistryDataStore>(m_tree, name, m_perUser);
    DataStore* result = child.get();
    m_children.emplace(name, std::move(child));
    return result;
}

void RegistryDataStore::refresh() {
    readCopies();
    m_children.clear();
}

namespace {
void appendNames(const PersistValues& values, bool leaves, std::vector<std::string>& names) {
    for (const auto& [name, entry] : values) {
        if (entry.isLeaf() == leaves) {
            names.push_back(name);
        }
    }
}
}  // namespace

void RegistryDataStore::listValues(std::vector<std::string>& names) {
    appendNames(m_userValues, true, names);
    appendNames(m_machineValues, true, names);
}

void RegistryDataStore::listChildren(std::vector<std::string>& names) {
    appendNames(m_userValues, false, names);
    appendNames(m_machineValues, false, names);
}

std::pair<OptionSource, std::string> RegistryDataStore::getValue(const std::string& name) {
    try {
        if (m_perUser && m_userValues.isValue(name)) {
            return {SourceUserStore, m_userValues.getString(name)};
        }
        if (m_machineValues.isValue(name)) {
            return {SourceMachineStore, m_machineValues.getString(name)};
        }
    } catch (const PersistException&) {
        // Counts as not found.
    }
    return {SourceNone, std::string()};
}

void RegistryDataStore::setValue(const std::string& name, const std::string& text,
                                 OptionSource source) {
    // The gate that keeps defaults, stored and command-line values out of the file.
    if (source != SourceProgram) {
        return;
    }
    PersistValues& values = ownValues();
    try {
        values.setString(name, text);
        m_tree.write(values, ownSection());
    } catch (const PersistException&) {
        // The memory copy keeps the new text all the same.
    }
}

void RegistryDataStore::remove(const std::string& name) {
    m_tree.remove(name, ownSection(), true);
    ownValues().erase(name);
    m_children.erase(name);
}

VolatileRegistryDataStore::VolatileRegistryDataStore(const std::string& name, bool perUser)
    : RegistryDataStore(name, 0, perUser, true) {}

VolatileRegistryDataStore::VolatileRegistryDataStore(const std::string& name,
                                                     std::uintptr_t reserved)
    : RegistryDataStore(name, reserved, true, true) {}

VolatileRegistryDataStore::~VolatileRegistryDataStore() = default;

}  // namespace qn::sys::option
