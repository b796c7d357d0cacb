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

}  // namespace qn::platform::x11
