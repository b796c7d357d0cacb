#pragma once
// Interns each atom once: every XInternAtom is a round trip.

#include <X11/Xlib.h>

#include <map>
#include <string>
#include <vector>

namespace qn::platform::x11 {

class XAtomCache {
  public:
    explicit XAtomCache(Display* display) : m_display(display) {}

    Atom get(const std::string& name);
    // Interns those not yet known, all in one round trip.
    void prefetch(const std::vector<std::string>& names);

  private:
    Display* m_display;
    std::map<std::string, Atom> m_atoms;
};

}  // namespace qn::platform::x11
