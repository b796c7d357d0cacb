#include "platform/linux/panel/XlibOwners.h"

#include <X11/Xlib.h>

namespace qn::platform::panel {

void DisplayClose::operator()(_XDisplay* display) const {
    XCloseDisplay(display);
}

void destroyWindow(_XDisplay* display, unsigned long window) {
    XDestroyWindow(display, window);
}

void freeColormap(_XDisplay* display, unsigned long colormap) {
    XFreeColormap(display, colormap);
}

void GcFree::operator()(_XGC* gc) const {
    XFreeGC(display, gc);
}

}  // namespace qn::platform::panel
