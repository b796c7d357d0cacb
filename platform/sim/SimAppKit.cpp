#include "platform/sim/SimAppKit.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace qn::platform::sim {

namespace {
double scale(const NSFont& font) {
    return font.pointSize > 0 ? font.pointSize / 13.0 : 1.0;
}
}  // namespace

NSRect SimAppKit::usedRectForTextContainer(const std::string& text, const NSFont& font,
                                           double containerWidth) {
    const double characterWidth = m_characterWidth * scale(font);
    const auto perLine = std::max<std::size_t>(
        1, static_cast<std::size_t>(std::floor(containerWidth / characterWidth)));
    std::size_t lines = 0;
    std::size_t widest = 0;
    std::size_t start = 0;
    for (;;) {
        const auto end = text.find('\n', start);
        const auto length = (end == std::string::npos ? text.size() : end) - start;
        lines += std::max<std::size_t>(1, (length + perLine - 1) / perLine);
        widest = std::max(widest, std::min(length, perLine));
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    if (text.empty()) {
        lines = 0;
    }
    return CGRectMake(0, 0, static_cast<double>(widest) * characterWidth,
                      static_cast<double>(lines) * m_lineHeight * scale(font));
}

NSSize SimAppKit::sizeWithAttributes(const std::string& text, const NSFont& font) {
    return NSSize{static_cast<double>(text.size()) * m_characterWidth * scale(font),
                  m_lineHeight * scale(font)};
}

NSWindowRef SimAppKit::initWithContentRect(NSRect contentRect, std::uint32_t styleMask,
                                           std::uint32_t backing, bool) {
    SimWindow w;
    w.id = static_cast<NSWindowRef>(m_windows.size() + 1);
    w.frame = contentRect;
    w.styleMask = styleMask;
    w.backing = backing;
    m_windows.push_back(w);
    return w.id;
}

SimWindow* SimAppKit::window(NSWindowRef id) {
    return id >= 1 && id <= m_windows.size() ? &m_windows[id - 1] : nullptr;
}

SimWindow& SimAppKit::at(NSWindowRef id) {
    auto* w = window(id);
    if (!w) {
        throw std::logic_error("no simulated window " + std::to_string(id));
    }
    return *w;
}

void SimAppKit::setFrame(NSWindowRef window, NSRect frame, bool display, bool) {
    auto& w = at(window);
    w.frame = frame;
    if (display) {
        ++w.displayCount;
    }
}

void SimAppKit::orderFront(NSWindowRef window) {
    auto& w = at(window);
    if (!w.visible && !w.closed) {
        w.visible = true;
        if (m_windowListener) {
            m_windowListener(w, WindowEvent::Shown);
        }
    }
}

void SimAppKit::orderOut(NSWindowRef window) {
    auto& w = at(window);
    if (w.visible) {
        w.visible = false;
        if (m_windowListener) {
            m_windowListener(w, WindowEvent::Hidden);
        }
    }
}

void SimAppKit::close(NSWindowRef window) {
    auto& w = at(window);
    if (w.closed) {
        return;
    }
    w.visible = false;
    w.closed = true;
    if (m_windowListener) {
        m_windowListener(w, WindowEvent::Closed);
    }
}

WindowPicture SimAppKit::picture(NSWindowRef window) const {
    const auto& w = m_windows.at(window - 1);
    WindowPicture picture;
    picture.size = w.frame.size;
    picture.background = w.background;
    if (w.background.kind == NSColor::Kind::Pattern) {
        picture.patternImage = image(w.background.patternImage);
    }
    picture.subviews = w.subviews;
    return picture;
}

bool SimAppKit::click(NSWindowRef window, std::size_t subview) {
    auto& w = at(window);
    if (w.closed || subview >= w.subviews.size() || !w.subviews[subview].action) {
        return false;
    }
    w.subviews[subview].action();
    return true;
}

NSImageRef SimAppKit::initWithSize(NSSize size) {
    SimImage image;
    image.id = static_cast<NSImageRef>(m_images.size() + 1);
    image.size = size;
    m_images.push_back(image);
    return image.id;
}

const SimImage* SimAppKit::image(NSImageRef id) const {
    return id >= 1 && id <= m_images.size() ? &m_images[id - 1] : nullptr;
}

SimImage& SimAppKit::image_at(NSImageRef id) {
    if (id < 1 || id > m_images.size()) {
        throw std::logic_error("no simulated image " + std::to_string(id));
    }
    return m_images[id - 1];
}

void SimAppKit::unlockFocus(NSImageRef image) {
    if (m_focus.empty() || m_focus.back() != image) {
        throw std::logic_error("unlockFocus without lockFocus");
    }
    m_focus.pop_back();
}

SimImage* SimAppKit::focused() {
    if (m_focus.empty()) {
        throw std::logic_error("drawing without lockFocus");
    }
    return &image_at(m_focus.back());
}

void SimAppKit::fill(const NSBezierPath& path, const NSColor& color) {
    focused()->fills.push_back({path, color});
}

void SimAppKit::drawInRect(const std::string& text, NSRect rect, const Value& attributes) {
    focused()->texts.push_back({text, rect, attributes});
}

}  // namespace qn::platform::sim
