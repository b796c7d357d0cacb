#include "sys/libutils/Identity.h"

#include <cstdint>
#include <cstdio>

namespace qn::sys {
namespace {

bool allowed(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

const char* const kNull = "(NULL)";

}  // namespace

std::string Identity::sanitise(const std::string& name) {
    std::string clean = name;
    for (char& c : clean)
        if (!allowed(c))
            c = '_';
    return clean;
}

Identity::Identity() : m_instance(ownAddress()), m_parent(nullptr) {}

Identity::Identity(const std::string& module, const std::string& instance, Identity* parent)
    : m_module(sanitise(module)), m_parent(parent) {
    if (!instance.empty())
        m_instance = sanitise(instance);
    else if (parent != nullptr)
        m_instance = parent->m_instance;
    else
        m_instance = ownAddress();
}

Identity::Identity(const std::string& module, Identity* parent)
    : Identity(module, std::string(), parent) {}

void Identity::setModule(const std::string& name) {
    m_module = sanitise(name);
}

void Identity::setInstance(const std::string& name) {
    m_instance = sanitise(name);
}

void Identity::setParent(Identity* parent) {
    m_parent = parent;
    if (parent != nullptr && m_instance.empty())
        m_instance = parent->m_instance;
}

std::string Identity::fullName() const {
    return m_module + "_" + m_instance;
}

std::string Identity::ownAddress() const {
    char text[17];
    std::snprintf(text, sizeof text, "%016llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(this)));
    return text;
}

std::string identityFullName(const Identity* identity) {
    return identity != nullptr ? identity->fullName() : kNull;
}

std::string identityModule(const Identity* identity) {
    return identity != nullptr ? identity->getModule() : kNull;
}

std::string identityInstance(const Identity* identity) {
    return identity != nullptr ? identity->getInstance() : kNull;
}

}  // namespace qn::sys
