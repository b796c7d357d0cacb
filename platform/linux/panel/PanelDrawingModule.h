#pragma once
// Loads the drawing module and makes its drawing: the installed module beside the agent
// (<prefix>/lib/.../quintor), else the one in the build tree. The module stays mapped
// for the process's life (GLib's types cannot be unloaded); the drawing goes first.

#include <memory>
#include <string>

#include "platform/linux/panel/PanelDrawing.h"

namespace qn::platform::panel {

class PanelDrawingModule {
  public:
    // Null drawing() when no module loads; error() says why.
    explicit PanelDrawingModule(const std::string& resourceDirectory);
    ~PanelDrawingModule();
    PanelDrawingModule(const PanelDrawingModule&) = delete;
    PanelDrawingModule& operator=(const PanelDrawingModule&) = delete;

    PanelDrawing* drawing() const { return m_drawing.get(); }
    const std::string& error() const { return m_error; }
    // Where the module was found; empty when it was not.
    const std::string& path() const { return m_path; }

  private:
    struct Close {
        void operator()(void* handle) const;
    };
    std::unique_ptr<void, Close> m_handle;
    std::unique_ptr<PanelDrawing> m_drawing;
    std::string m_path;
    std::string m_error;
};

}  // namespace qn::platform::panel
