// One full display report (sendReconfigurationToOnlineDisplays) on the simulated host,
// with 1, 8 and 64 online displays of which half (rounded up) hang under adapters.
// Release 13 finds each display's framebuffer index by walking every display
// connection of the registry; release 12, measured in the same run as the peer, reads
// the display's own location. The Manager answers every report; the agent logs at INFO,
// so of the lookup's lines only "FB index not found" (ERROR, release 13) is written.

#include <benchmark/benchmark.h>

#include "bench/agent/ReportWorld.h"

namespace {

using qn::bench::ReportWorld;

void fullReport(benchmark::State& state, const char* release) {
    qn::bench::agentLogger();
    ReportWorld world(release, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        world.observer.sendReconfigurationToOnlineDisplays();
    }
    const auto reports = world.host.manager().calls().size();
    state.counters["reports"] =
        benchmark::Counter(static_cast<double>(reports), benchmark::Counter::kAvgIterations);
}

void BM_FullReport_Release13_RegistryWalk(benchmark::State& state) {
    fullReport(state, "13.0.0");
}
void BM_FullReport_Release12_DisplayLocation(benchmark::State& state) {
    fullReport(state, "12.5.0");
}

BENCHMARK(BM_FullReport_Release13_RegistryWalk)->Arg(1)->Arg(8)->Arg(64);
BENCHMARK(BM_FullReport_Release12_DisplayLocation)->Arg(1)->Arg(8)->Arg(64);

}  // namespace

BENCHMARK_MAIN();
