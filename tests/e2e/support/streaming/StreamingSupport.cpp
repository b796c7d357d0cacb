#include "tests/e2e/support/streaming/StreamingSupport.h"

#include <dirent.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cairo.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

// Last: Xlib's macros (None, Bool, Status) must not meet the headers above.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/Xrandr.h>

namespace qn::tests::e2e {

std::size_t Image::colourDifferences(const Image& other) const {
    if (width != other.width || height != other.height) {
        return static_cast<std::size_t>(std::max(width * height, other.width * other.height));
    }
    std::size_t differences = 0;
    for (std::size_t i = 0; i + 3 < pixels.size(); i += 4) {
        differences += (pixels[i] != other.pixels[i] || pixels[i + 1] != other.pixels[i + 1] ||
                        pixels[i + 2] != other.pixels[i + 2])
                           ? 1
                           : 0;
    }
    return differences;
}

struct ScreenPainter::Connection {
    xcb_connection_t* c = nullptr;
    xcb_window_t window = 0;
    xcb_gcontext_t gc = 0;
};

ScreenPainter::ScreenPainter(const std::string& display, const PixelBox& area)
    : m_c(new Connection) {
    m_c->c = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(m_c->c)) {
        xcb_disconnect(m_c->c);
        delete m_c;
        throw std::runtime_error("ScreenPainter: cannot connect to " + display);
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_c->c)).data;
    m_c->window = xcb_generate_id(m_c->c);
    const std::uint32_t values[] = {screen->black_pixel, 1};
    xcb_create_window(m_c->c, XCB_COPY_FROM_PARENT, m_c->window, screen->root,
                      static_cast<std::int16_t>(area.x), static_cast<std::int16_t>(area.y),
                      static_cast<std::uint16_t>(area.width),
                      static_cast<std::uint16_t>(area.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(m_c->c, m_c->window);
    m_c->gc = xcb_generate_id(m_c->c);
    xcb_create_gc(m_c->c, m_c->gc, m_c->window, 0, nullptr);
    sync();
}

ScreenPainter::~ScreenPainter() {
    xcb_disconnect(m_c->c);
    delete m_c;
}

void ScreenPainter::fill(const PixelBox& box, std::uint32_t rgb) {
    xcb_change_gc(m_c->c, m_c->gc, XCB_GC_FOREGROUND, &rgb);
    const xcb_rectangle_t r{static_cast<std::int16_t>(box.x), static_cast<std::int16_t>(box.y),
                            static_cast<std::uint16_t>(box.width),
                            static_cast<std::uint16_t>(box.height)};
    xcb_poly_fill_rectangle(m_c->c, m_c->window, m_c->gc, 1, &r);
}

void ScreenPainter::sync() {
    std::free(xcb_get_input_focus_reply(m_c->c, xcb_get_input_focus(m_c->c), nullptr));
}

std::optional<Image> grabScreen(const std::string& display, const PixelBox& box) {
    Display* d = XOpenDisplay(display.c_str());
    if (d == nullptr) {
        return std::nullopt;
    }
    XImage* image =
        XGetImage(d, DefaultRootWindow(d), box.x, box.y, static_cast<unsigned>(box.width),
                  static_cast<unsigned>(box.height), AllPlanes, ZPixmap);
    std::optional<Image> out;
    if (image != nullptr && image->bits_per_pixel == 32) {
        out = Image{box.width, box.height, {}};
        out->pixels.resize(static_cast<std::size_t>(box.width) * box.height * 4);
        for (int y = 0; y < box.height; ++y) {
            std::memcpy(out->pixels.data() + static_cast<std::size_t>(y) * box.width * 4,
                        image->data + static_cast<std::size_t>(y) * image->bytes_per_line,
                        static_cast<std::size_t>(box.width) * 4);
        }
    }
    if (image != nullptr) {
        XDestroyImage(image);
    }
    XCloseDisplay(d);
    return out;
}

std::optional<Image> readPng(const std::string& file) {
    cairo_surface_t* surface = cairo_image_surface_create_from_png(file.c_str());
    std::optional<Image> out;
    if (cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS) {
        cairo_surface_flush(surface);
        const int width = cairo_image_surface_get_width(surface);
        const int height = cairo_image_surface_get_height(surface);
        const int stride = cairo_image_surface_get_stride(surface);
        const unsigned char* data = cairo_image_surface_get_data(surface);
        out = Image{width, height, {}};
        out->pixels.resize(static_cast<std::size_t>(width) * height * 4);
        for (int y = 0; y < height; ++y) {
            std::memcpy(out->pixels.data() + static_cast<std::size_t>(y) * width * 4,
                        data + static_cast<std::size_t>(y) * stride,
                        static_cast<std::size_t>(width) * 4);
        }
    }
    cairo_surface_destroy(surface);
    return out;
}

std::vector<OutputPlace> onlineOutputs(const std::string& name) {
    std::vector<OutputPlace> outputs;
    Display* display = XOpenDisplay(name.c_str());
    if (display == nullptr) {
        return outputs;
    }
    XRRScreenResources* resources =
        XRRGetScreenResourcesCurrent(display, DefaultRootWindow(display));
    for (int i = 0; i < resources->noutput; ++i) {
        XRROutputInfo* output = XRRGetOutputInfo(display, resources, resources->outputs[i]);
        if (output->crtc != 0) {
            XRRCrtcInfo* crtc = XRRGetCrtcInfo(display, resources, output->crtc);
            if (crtc->mode != 0) {
                outputs.push_back({output->name,
                                   static_cast<std::uint32_t>(resources->outputs[i]),
                                   {crtc->x, crtc->y, static_cast<int>(crtc->width),
                                    static_cast<int>(crtc->height)}});
            }
            XRRFreeCrtcInfo(crtc);
        }
        XRRFreeOutputInfo(output);
    }
    XRRFreeScreenResources(resources);
    XCloseDisplay(display);
    return outputs;
}

bool markAsAdapterOutput(const std::string& name, std::uint32_t output,
                         const std::vector<unsigned char>& edid, long connectorId) {
    Display* display = XOpenDisplay(name.c_str());
    if (display == nullptr) {
        return false;
    }
    XRRChangeOutputProperty(display, output, XInternAtom(display, "EDID", False), XA_INTEGER, 8,
                            PropModeReplace, edid.data(), static_cast<int>(edid.size()));
    XRRChangeOutputProperty(display, output, XInternAtom(display, "CONNECTOR_ID", False),
                            XA_INTEGER, 32, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(&connectorId), 1);
    XSync(display, False);
    XCloseDisplay(display);
    return true;
}

namespace {

std::vector<pid_t> childrenOf(pid_t pid) {
    std::vector<pid_t> children;
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    DIR* dir = opendir(tasks.c_str());
    if (dir == nullptr) {
        return children;
    }
    while (const dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        std::ifstream file(tasks + "/" + entry->d_name + "/children");
        pid_t child = 0;
        while (file >> child) {
            children.push_back(child);
        }
    }
    closedir(dir);
    return children;
}

std::string executableName(pid_t pid) {
    char target[4096];
    const std::string link = "/proc/" + std::to_string(pid) + "/exe";
    const ssize_t n = readlink(link.c_str(), target, sizeof target - 1);
    if (n <= 0) {
        return {};
    }
    const std::string path(target, static_cast<std::size_t>(n));
    return path.substr(path.rfind('/') + 1);
}

}  // namespace

std::optional<pid_t> findDescendant(pid_t root, const std::string& name) {
    std::vector<pid_t> queue{root};
    for (std::size_t i = 0; i < queue.size(); ++i) {
        if (executableName(queue[i]) == name) {
            return queue[i];
        }
        const auto children = childrenOf(queue[i]);
        queue.insert(queue.end(), children.begin(), children.end());
    }
    return std::nullopt;
}

std::optional<ProcessSample> sampleProcess(pid_t pid) {
    const std::string base = "/proc/" + std::to_string(pid);
    DIR* dir = opendir((base + "/fd").c_str());
    if (dir == nullptr) {
        return std::nullopt;
    }
    ProcessSample sample;
    while (const dirent* entry = readdir(dir)) {
        sample.descriptors += entry->d_name[0] != '.' ? 1 : 0;
    }
    closedir(dir);
    std::ifstream status(base + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0) {
            std::istringstream(line.substr(6)) >> sample.rssKiB;
        }
    }
    return sample;
}

void PixelMask::add(const PixelBox& box) {
    const int left = std::max(box.x, 0), top = std::max(box.y, 0);
    const int right = std::min(box.x + box.width, m_width);
    const int bottom = std::min(box.y + box.height, m_height);
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            m_bits[static_cast<std::size_t>(y) * m_width + x] = true;
        }
    }
}

std::size_t PixelMask::count() const {
    return static_cast<std::size_t>(std::count(m_bits.begin(), m_bits.end(), true));
}

std::size_t PixelMask::differences(const PixelMask& other) const {
    if (m_bits.size() != other.m_bits.size()) {
        return std::max(m_bits.size(), other.m_bits.size());
    }
    std::size_t n = 0;
    for (std::size_t i = 0; i < m_bits.size(); ++i) {
        n += m_bits[i] != other.m_bits[i] ? 1 : 0;
    }
    return n;
}

}  // namespace qn::tests::e2e
