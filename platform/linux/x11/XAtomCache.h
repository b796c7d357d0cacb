#pragma once
// Interns each atom once: every XInternAtom is a round trip.

#include <X11/Xlib.h>

#include <map>
#include <string>

namespace qn::platform::x11 {

class XAtomCache {
  public:
    explicit XAtomCache(Display* display) : m_display(display) {}

    Atom get(const std::string& name);

  private:
    Display* m_display;
    std::map<std::string, Atom> m_atoms;
};

}  // namespace qn::platform::x11
