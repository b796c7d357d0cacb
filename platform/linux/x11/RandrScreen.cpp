#include "platform/linux/x11/RandrScreen.h"

#include <X11/Xatom.h>
#include <X11/extensions/Xrandr.h>

#include <memory>

#include "platform/linux/edid/EdidIds.h"
#include "platform/linux/x11/XErrorTrap.h"

namespace qn::platform::x11 {
namespace {

struct ResourcesFree {
    void operator()(XRRScreenResources* r) const { XRRFreeScreenResources(r); }
};
struct OutputInfoFree {
    void operator()(XRROutputInfo* o) const { XRRFreeOutputInfo(o); }
};
struct CrtcInfoFree {
    void operator()(XRRCrtcInfo* c) const { XRRFreeCrtcInfo(c); }
};
struct XFreeData {
    void operator()(unsigned char* d) const { XFree(d); }
};

}  // namespace

RandrScreen::RandrScreen(Display* display, XAtomCache& atoms)
    : m_display(display), m_atoms(atoms), m_root(DefaultRootWindow(display)) {
    int errorBase = 0;
    int major = 0;
    int minor = 0;
    int opcode = 0;
    // The core query first: libXrandr keeps a record it never frees for a display
    // that lacks the extension. Per-output CRTCs and the primary output came with 1.3.
    m_hasRandr = XQueryExtension(m_display, "RANDR", &opcode, &m_eventBase, &errorBase) &&
                 XRRQueryExtension(m_display, &m_eventBase, &errorBase) &&
                 XRRQueryVersion(m_display, &major, &minor) &&
                 (major > 1 || (major == 1 && minor >= 3));
}

void RandrScreen::selectChangeEvents() {
    XSelectInput(m_display, m_root, StructureNotifyMask);
    if (m_hasRandr) {
        XRRSelectInput(m_display, m_root,
                       RRScreenChangeNotifyMask | RRCrtcChangeNotifyMask |
                           RROutputChangeNotifyMask | RROutputPropertyNotifyMask);
    }
}

void RandrScreen::noteEvent(XEvent& event) {
    if (m_hasRandr) {
        XRRUpdateConfiguration(&event);
    }
}

DisplayOutputs RandrScreen::rootOnly() {
    const int screen = DefaultScreen(m_display);
    DisplayOutput root;
    root.id = static_cast<std::uint32_t>(m_root);
    root.name = "root";
    root.width = root.pixelWidth = static_cast<std::uint32_t>(DisplayWidth(m_display, screen));
    root.height = root.pixelHeight = static_cast<std::uint32_t>(DisplayHeight(m_display, screen));
    return {root};
}

DisplayOutputs RandrScreen::readOutputs(std::uint32_t* primary,
                                        std::vector<std::string>* allNames) {
    *primary = 0;
    if (!m_hasRandr) {
        return rootOnly();
    }
    // Outputs and CRTCs can vanish between two requests; such an output is left out.
    XErrorTrap trap(m_display);
    std::unique_ptr<XRRScreenResources, ResourcesFree> resources(
        XRRGetScreenResourcesCurrent(m_display, m_root));
    if (!resources) {
        return {};
    }
    *primary = static_cast<std::uint32_t>(XRRGetOutputPrimary(m_display, m_root));
    if (resources->noutput > 0) {
        // Both property names in one round trip, not one each at the first output.
        m_atoms.prefetch({"EDID", "CONNECTOR_ID"});
    }
    DisplayOutputs outputs;
    for (int i = 0; i < resources->noutput; ++i) {
        std::unique_ptr<XRROutputInfo, OutputInfoFree> info(
            XRRGetOutputInfo(m_display, resources.get(), resources->outputs[i]));
        if (info && allNames) {
            allNames->emplace_back(info->name, static_cast<std::size_t>(info->nameLen));
        }
        if (!info || info->crtc == None) {
            continue;
        }
        std::unique_ptr<XRRCrtcInfo, CrtcInfoFree> crtc(
            XRRGetCrtcInfo(m_display, resources.get(), info->crtc));
        if (!crtc || crtc->mode == None) {
            continue;
        }
        DisplayOutput output;
        output.id = static_cast<std::uint32_t>(resources->outputs[i]);
        output.name.assign(info->name, static_cast<std::size_t>(info->nameLen));
        output.crtc = static_cast<std::uint32_t>(info->crtc);
        output.mode = static_cast<std::uint32_t>(crtc->mode);
        output.x = crtc->x;
        output.y = crtc->y;
        output.width = crtc->width;
        output.height = crtc->height;
        for (int m = 0; m < resources->nmode; ++m) {
            const XRRModeInfo& mode = resources->modes[m];
            if (mode.id == crtc->mode) {
                output.pixelWidth = mode.width;
                output.pixelHeight = mode.height;
                output.refreshRate = modeRefreshRate(mode.dotClock, mode.hTotal, mode.vTotal,
                                                     (mode.modeFlags & RR_DoubleScan) != 0,
                                                     (mode.modeFlags & RR_Interlace) != 0);
                break;
            }
        }
        readIdentity(output);
        outputs.push_back(std::move(output));
    }
    return outputs;
}

void RandrScreen::readIdentity(DisplayOutput& output) {
    auto property = [&](const char* name, Atom type, unsigned char** data, unsigned long* count,
                        int* format) {
        Atom actualType = None;
        unsigned long after = 0;
        *data = nullptr;
        const Status status =
            XRRGetOutputProperty(m_display, output.id, m_atoms.get(name), 0, 256, False, False,
                                 type, &actualType, format, count, &after, data);
        return status == Success && actualType == type && *data != nullptr;
    };
    unsigned char* raw = nullptr;
    unsigned long count = 0;
    int format = 0;
    if (property("EDID", XA_INTEGER, &raw, &count, &format) && format == 8) {
        std::unique_ptr<unsigned char, XFreeData> data(raw);
        if (const auto ids = edid::parseEdidIds(data.get(), count)) {
            output.vendor = ids->vendor;
            output.model = ids->product;
        }
    } else if (raw) {
        XFree(raw);
    }
    raw = nullptr;
    if (property("CONNECTOR_ID", XA_INTEGER, &raw, &count, &format) && format == 32 && count >= 1) {
        std::unique_ptr<unsigned char, XFreeData> data(raw);
        // Xlib hands 32-bit items as longs.
        output.connectorId = static_cast<std::uint32_t>(reinterpret_cast<long*>(data.get())[0]);
    } else if (raw) {
        XFree(raw);
    }
}

}  // namespace qn::platform::x11
