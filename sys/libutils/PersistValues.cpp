#include "sys/libutils/PersistValues.h"

#include <cstdio>
#include <cstdlib>

#include "sys/libutils/PersistException.h"

namespace qn::sys {

namespace {

// A boolean is true on a first character of T, Y, t or y.
bool textIsTrue(const std::string& text) {
    if (text.empty()) {
        return false;
    }
    const char c = text[0];
    return c == 'T' || c == 'Y' || c == 't' || c == 'y';
}

}  // namespace

bool PersistValues::exists(const std::string& name) const {
    return m_entries.count(name) != 0;
}

bool PersistValues::isSubKey(const std::string& name) const {
    const auto found = m_entries.find(name);
    return found != m_entries.end() && !found->second.isLeaf();
}

bool PersistValues::isValue(const std::string& name) const {
    const auto found = m_entries.find(name);
    return found != m_entries.end() && found->second.isLeaf();
}

const std::string& PersistValues::getString(const std::string& name) const {
    const auto found = m_entries.find(name);
    if (found == m_entries.end()) {
        throw PersistNotFound();
    }
    return found->second.value();
}

std::string PersistValues::getString(const std::string& name, const std::string& fallback) const {
    try {
        return getString(name);
    } catch (const PersistException&) {
        return fallback;
    }
}

std::int32_t PersistValues::getInt(const std::string& name) const {
    return static_cast<std::int32_t>(std::atoi(getString(name).c_str()));
}

std::int32_t PersistValues::getInt(const std::string& name, std::int32_t fallback) const {
    return exists(name) ? getInt(name) : fallback;
}

bool PersistValues::getBool(const std::string& name) const {
    return textIsTrue(getString(name));
}

bool PersistValues::getBool(const std::string& name, bool fallback) const {
    return exists(name) ? getBool(name) : fallback;
}

void PersistValues::setString(const std::string& name, const std::string& text) {
    m_entries[name] = PersistEntry::leaf(text);
}

void PersistValues::setInt(const std::string& name, std::int32_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", static_cast<int>(number));
    setString(name, text);
}

void PersistValues::setBool(const std::string& name, bool flag) {
    setString(name, flag ? "yes" : "no");
}

void PersistValues::setEntry(const std::string& name, const PersistEntry& entry) {
    m_entries[name] = entry;
}

void PersistValues::merge(const PersistValues& other) {
    for (const auto& [name, entry] : other.m_entries) {
        m_entries.emplace(name, entry);
    }
}

void PersistValues::erase(const std::string& name) {
    m_entries.erase(name);
}

}  // namespace qn::sys
