#include "platform/linux/x11/XAtomCache.h"

namespace qn::platform::x11 {

Atom XAtomCache::get(const std::string& name) {
    const auto found = m_atoms.find(name);
    if (found != m_atoms.end()) {
        return found->second;
    }
    const Atom atom = XInternAtom(m_display, name.c_str(), False);
    m_atoms.emplace(name, atom);
    return atom;
}

void XAtomCache::prefetch(const std::vector<std::string>& names) {
    std::vector<char*> missing;
    for (const auto& name : names) {
        if (m_atoms.find(name) == m_atoms.end()) {
            missing.push_back(const_cast<char*>(name.c_str()));
        }
    }
    if (missing.empty()) {
        return;
    }
    std::vector<Atom> atoms(missing.size(), None);
    // On a partial failure the rest are None, and get() asks again for those.
    XInternAtoms(m_display, missing.data(), static_cast<int>(missing.size()), False, atoms.data());
    for (std::size_t i = 0; i < missing.size(); ++i) {
        if (atoms[i] != None) {
            m_atoms.emplace(missing[i], atoms[i]);
        }
    }
}

}  // namespace qn::platform::x11
