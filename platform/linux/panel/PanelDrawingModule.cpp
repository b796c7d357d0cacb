#include "platform/linux/panel/PanelDrawingModule.h"

#include <dlfcn.h>
#include <unistd.h>

#include <vector>

namespace qn::platform::panel {

void PanelDrawingModule::Close::operator()(void* handle) const {
    // Opened with RTLD_NODELETE: this drops the reference, the mapping stays.
    dlclose(handle);
}

PanelDrawingModule::PanelDrawingModule(const std::string& resourceDirectory) {
    const std::vector<std::string> candidates = {QN_PANEL_DRAWING_INSTALLED,
                                                 QN_PANEL_DRAWING_BUILT};
    for (const auto& candidate : candidates) {
        if (::access(candidate.c_str(), R_OK) != 0) {
            continue;
        }
        m_handle.reset(dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE));
        if (!m_handle) {
            const char* why = dlerror();
            m_error = why ? why : "dlopen failed";
            continue;
        }
        const auto create =
            reinterpret_cast<QnPanelDrawingCreate>(dlsym(m_handle.get(), kQnPanelDrawingCreate));
        if (!create) {
            m_error = candidate + ": no " + kQnPanelDrawingCreate;
            m_handle.reset();
            continue;
        }
        m_drawing.reset(create(resourceDirectory.c_str()));
        m_path = candidate;
        m_error.clear();
        return;
    }
    if (m_error.empty()) {
        m_error = "no panel drawing module";
    }
}

PanelDrawingModule::~PanelDrawingModule() {
    // The drawing's code lives in the module.
    m_drawing.reset();
}

}  // namespace qn::platform::panel
