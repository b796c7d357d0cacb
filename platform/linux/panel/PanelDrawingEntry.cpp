// The drawing module's entry, the only symbol it exports.

#include "platform/linux/panel/CairoPanelDrawing.h"

extern "C" __attribute__((visibility("default"))) qn::platform::panel::PanelDrawing*
qn_panel_drawing_create(const char* resourceDirectory) {
    return new qn::platform::panel::CairoPanelDrawing(resourceDirectory ? resourceDirectory : "");
}
