#pragma once
// A window of a client of its own on an X server, for tests that draw and wait for the
// server's damage: override-redirect (no window manager places it), black, mapped and
// synced when made, with a white pen for filled rectangles.

#include <X11/Xlib.h>

#include <memory>
#include <string>

namespace qn::test {

class PaintedWindow {
  public:
    // Nothing when the display cannot be opened.
    static std::unique_ptr<PaintedWindow> open(const std::string& display, int x, int y,
                                               unsigned width, unsigned height);
    ~PaintedWindow();
    PaintedWindow(const PaintedWindow&) = delete;
    PaintedWindow& operator=(const PaintedWindow&) = delete;

    // A white rectangle in window coordinates, sent at once: Xlib would join fills made
    // back to back into one request, whose damage is their bounding box.
    void fill(int x, int y, unsigned width, unsigned height);
    void move(int x, int y);
    // Returns once the server has done everything asked so far.
    void sync();

  private:
    explicit PaintedWindow(Display* display) : m_display(display) {}

    Display* m_display;
    Window m_window = 0;
    GC m_pen = nullptr;
};

}  // namespace qn::test
