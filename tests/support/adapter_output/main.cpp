// qn-adapter-output: makes an X output look like an adapter's, as its kernel driver
// would: an EDID with the given vendor and product, and the kernel connector's id. For
// scripts that run the agent against a dummy X server and a recorded device tree.
//
// Usage: qn-adapter-output OUTPUT VENDOR PRODUCT CONNECTOR_ID   (numbers in C notation)
// Exit status: 0 set, 1 no X display or no such output, 2 usage.

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/FakeDrmTree.h"

namespace {

bool number(const char* text, unsigned long& value) {
    char* end = nullptr;
    value = std::strtoul(text, &end, 0);
    return end != text && *end == '\0';
}

RROutput findOutput(Display* display, const std::string& name) {
    XRRScreenResources* resources =
        XRRGetScreenResourcesCurrent(display, DefaultRootWindow(display));
    RROutput found = 0;
    for (int i = 0; resources && i < resources->noutput && !found; ++i) {
        XRROutputInfo* info = XRRGetOutputInfo(display, resources, resources->outputs[i]);
        if (info && name == info->name) {
            found = resources->outputs[i];
        }
        XRRFreeOutputInfo(info);
    }
    XRRFreeScreenResources(resources);
    return found;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::puts(
            "Usage: qn-adapter-output OUTPUT VENDOR PRODUCT CONNECTOR_ID\n"
            "Sets an EDID (VENDOR, PRODUCT) and CONNECTOR_ID on the X output OUTPUT\n"
            "of the display DISPLAY names. Exit: 0 set, 1 no display or output, 2 usage.");
        return 0;
    }
    unsigned long vendor = 0, product = 0, connector = 0;
    if (argc != 5 || !number(argv[2], vendor) || !number(argv[3], product) ||
        !number(argv[4], connector) || vendor > 0xffff || product > 0xffff) {
        std::fputs("usage: qn-adapter-output OUTPUT VENDOR PRODUCT CONNECTOR_ID\n", stderr);
        return 2;
    }
    Display* display = XOpenDisplay(nullptr);
    if (!display) {
        std::fputs("qn-adapter-output: no X display\n", stderr);
        return 1;
    }
    const RROutput output = findOutput(display, argv[1]);
    if (!output) {
        std::fprintf(stderr, "qn-adapter-output: no output %s\n", argv[1]);
        XCloseDisplay(display);
        return 1;
    }
    const auto edid =
        qn::test::makeEdid(static_cast<std::uint16_t>(vendor), static_cast<std::uint16_t>(product));
    XRRChangeOutputProperty(display, output, XInternAtom(display, "EDID", False), XA_INTEGER, 8,
                            PropModeReplace, edid.data(), static_cast<int>(edid.size()));
    const long id = static_cast<long>(connector);
    XRRChangeOutputProperty(display, output, XInternAtom(display, "CONNECTOR_ID", False),
                            XA_INTEGER, 32, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(&id), 1);
    XSync(display, False);
    XCloseDisplay(display);
    return 0;
}
