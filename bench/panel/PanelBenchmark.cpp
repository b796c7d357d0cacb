// The message panel's costs on the way to the screen: measuring a message with Pango
// (as the Linux host does) beside the simulated host's fixed-pitch model, and drawing
// a whole recorded panel into pixels.

#include <benchmark/benchmark.h>

#include "platform/linux/panel/PanelRenderer.h"
#include "platform/linux/panel/PangoText.h"
#include "platform/sim/SimAppKit.h"
#include "tools/qnpanel/PanelSamples.h"

namespace {

using namespace qn::platform;

const std::string kMessage =
    "Adapter A needs new software.\nGet it from www.example.com and\ninstall it to go on.";

void BM_MeasurePango(benchmark::State& state) {
    const auto context = panel::measuringContext();
    panel::TextLayoutSpec spec;
    spec.font = NSFont{13.0, false};
    spec.width = 365.0;
    const NSAttributedString text(kMessage);
    for (auto _ : state) {
        benchmark::DoNotOptimize(panel::measure(context.get(), text, spec));
    }
}
BENCHMARK(BM_MeasurePango);

void BM_MeasureFixedPitch(benchmark::State& state) {
    sim::SimRunLoop loop;
    sim::SimAppKit kit(loop);
    for (auto _ : state) {
        benchmark::DoNotOptimize(kit.usedRectForTextContainer(kMessage, NSFont{13.0, false}, 365));
    }
}
BENCHMARK(BM_MeasureFixedPitch);

// Shows the sample on a simulated host and draws its record: the drawing dominates.
void BM_RenderPanel(benchmark::State& state) {
    const panel::PanelRenderer renderer(QN_SOURCE_DIR "/resources");
    const auto sample = qn::tools::qnpanel::panelSamples()[2];
    for (auto _ : state) {
        benchmark::DoNotOptimize(qn::tools::qnpanel::renderSample(sample, renderer));
    }
}
BENCHMARK(BM_RenderPanel)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
