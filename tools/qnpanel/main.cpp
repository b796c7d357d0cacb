// qnpanel: draws the sample message panels from the simulated host's record to PNG files.

#include <cairo.h>

#include <iostream>
#include <string>

#include "tools/qnpanel/PanelSamples.h"

namespace {

constexpr const char* kUsage =
    "usage: qnpanel [--help] --resources DIR --out DIR\n"
    "\n"
    "Shows each sample message on the simulated host as the agent shows it, draws the\n"
    "window from the host's drawing record (Cairo and Pango, DejaVu Sans, one point one\n"
    "pixel) and writes OUT/panel-<sample>.png. Prints one line per file.\n"
    "\n"
    "  --resources DIR   where the icon qnicon.png lies (the repository's resources/)\n"
    "  --out DIR         where the PNG files go\n"
    "\n"
    "Exit status: 0 written, 1 a file could not be written, 2 usage error.\n";

}  // namespace

int main(int argc, char** argv) {
    std::string resources;
    std::string out;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::cout << kUsage;
            return 0;
        }
        if ((argument == "--resources" || argument == "--out") && i + 1 < argc) {
            (argument == "--out" ? out : resources) = argv[++i];
            continue;
        }
        std::cerr << "qnpanel: unexpected argument " << argument << "\n" << kUsage;
        return 2;
    }
    if (resources.empty() || out.empty()) {
        std::cerr << kUsage;
        return 2;
    }
    const qn::platform::panel::PanelRenderer renderer(resources);
    for (const auto& sample : qn::tools::qnpanel::panelSamples()) {
        const auto path = out + "/panel-" + sample.name + ".png";
        const auto surface = qn::tools::qnpanel::renderSample(sample, renderer);
        if (cairo_surface_write_to_png(surface.get(), path.c_str()) != CAIRO_STATUS_SUCCESS) {
            std::cerr << "qnpanel: cannot write " << path << "\n";
            return 1;
        }
        std::cout << path << "\n";
    }
    return 0;
}
