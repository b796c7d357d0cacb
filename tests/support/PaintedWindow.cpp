#include "tests/support/PaintedWindow.h"

namespace qn::test {

std::unique_ptr<PaintedWindow> PaintedWindow::open(const std::string& display, int x, int y,
                                                   unsigned width, unsigned height) {
    Display* connection = XOpenDisplay(display.c_str());
    if (!connection) {
        return nullptr;
    }
    std::unique_ptr<PaintedWindow> painted(new PaintedWindow(connection));
    const int screen = DefaultScreen(connection);
    XSetWindowAttributes attributes{};
    attributes.override_redirect = True;
    attributes.background_pixel = BlackPixel(connection, screen);
    painted->m_window = XCreateWindow(connection, RootWindow(connection, screen), x, y, width,
                                      height, 0, CopyFromParent, InputOutput, CopyFromParent,
                                      CWOverrideRedirect | CWBackPixel, &attributes);
    painted->m_pen = XCreateGC(connection, painted->m_window, 0, nullptr);
    XSetForeground(connection, painted->m_pen, WhitePixel(connection, screen));
    XMapWindow(connection, painted->m_window);
    painted->sync();
    return painted;
}

PaintedWindow::~PaintedWindow() {
    XFreeGC(m_display, m_pen);
    XDestroyWindow(m_display, m_window);
    XCloseDisplay(m_display);
}

void PaintedWindow::fill(int x, int y, unsigned width, unsigned height) {
    XFillRectangle(m_display, m_window, m_pen, x, y, width, height);
    XFlush(m_display);
}

void PaintedWindow::move(int x, int y) {
    XMoveWindow(m_display, m_window, x, y);
}

void PaintedWindow::sync() {
    XSync(m_display, False);
}

}  // namespace qn::test
