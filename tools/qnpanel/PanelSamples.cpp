#include "tools/qnpanel/PanelSamples.h"

#include "app/OSX/QuintorUserAgent/Hyperlink.h"
#include "app/OSX/QuintorUserAgent/QNUAMessageWindowController.h"
#include "platform/sim/SimHost.h"

namespace qn::tools::qnpanel {

using namespace platform;

std::vector<PanelSample> panelSamples() {
    std::vector<PanelSample> samples;
    samples.push_back({"one-line", "", NSAttributedString("The display adapter is ready.")});

    samples.push_back({"ten-lines", "Display settings",
                       NSAttributedString("Monitor 1: 1920x1080 at 60 Hz\n"
                                          "Monitor 2: 1280x1024 at 60 Hz\n"
                                          "Monitor 3: not connected\n"
                                          "Audio: 48 kHz\n"
                                          "Stream: running\n"
                                          "Frames sent: 1200\n"
                                          "Frames merged: 3\n"
                                          "Adapter software: 1.4\n"
                                          "Link: USB 3.0\n"
                                          "Session: active")});

    const auto url = NSURL::URLWithString("https://www.example.com/download");
    NSMutableAttributedString link("Adapter A needs new software.\nGet it from ");
    link.appendAttributedString(app::osx::qnuapp::hyperlinkFromString_withURL(url.host(), url));
    link.appendAttributedString(NSAttributedString(" and\ninstall it to go on."));
    samples.push_back({"hyperlink", "Software update required", link});

    samples.push_back(
        {"long-title",
         "Monitor mode restricted: the adapter cannot drive Monitor 1 at the resolution you chose",
         NSAttributedString("Monitor 1 runs at 1920x1080 while\nMonitor 2 is connected.")});
    return samples;
}

panel::CairoSurface renderSample(const PanelSample& sample, const panel::PanelRenderer& renderer) {
    sim::SimHost host;
    ScopedBackend backend(host.backend());
    auto controller = app::osx::qnuapp::QNUAMessageWindowController::create();
    controller->showWindow_forTimeInterval_withTitle(sample.text, 15, sample.title);
    const auto ref = controller->window()->windowRef();
    return renderer.render(host.appKit().picture(ref), host.appKit().systemFontSize());
}

}  // namespace qn::tools::qnpanel
