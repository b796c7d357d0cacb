#pragma once
// The sample messages whose panels the documentation shows, shown on a simulated host
// and drawn from its record.

#include <string>
#include <vector>

#include "platform/AttributedString.h"
#include "platform/linux/panel/PanelRenderer.h"

namespace qn::tools::qnpanel {

struct PanelSample {
    std::string name;  // the PNG is docs/panel-<name>.png
    std::string title;
    platform::NSAttributedString text;
};

std::vector<PanelSample> panelSamples();

// Shows the sample as the agent does, on a fresh simulated host, and draws the window
// from that host's record.
platform::panel::CairoSurface renderSample(const PanelSample& sample,
                                           const platform::panel::PanelRenderer& renderer);

}  // namespace qn::tools::qnpanel
