// One full display report (sendReconfigurationToOnlineDisplays, release 13) with the
// registry port being the sysfs one over a fake DRM tree, beside the same report on the
// simulated registry, in the same run; 1, 8 and 64 online displays, half of them
// (rounded up) adapters. Everything but the registry is the simulated host's: Quartz,
// the Manager that answers every report, the agent's logger at INFO into a file (so
// each display that is no adapter writes its "FB index not found" line). The lookups
// alone, without the rest of the report, are measured as a third case, to show what
// part of the report the sysfs walk is.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "app/OSX/QuintorUserAgent/DisplayRegistryHelper.h"
#include "bench/agent/ReportWorld.h"
#include "platform/linux/sysfs/SysfsIOKit.h"
#include "tests/support/FakeDrmTree.h"

namespace {

using qn::app::osx::qnuapp::DisplayRegistryHelper;
using qn::bench::ReportWorld;
using qn::platform::sysfs::SysfsIOKit;

constexpr std::uint32_t kNotFound = 0xffffffff;

// Display i's connector on card i, driven by X, with the display's numbers in its EDID;
// the adapters' cards carry the adapter driver, the others a machine's own.
struct DrmTree {
    explicit DrmTree(int displays) {
        const int adapters = qn::bench::adaptersAmong(displays);
        for (int i = 0; i < displays; ++i) {
            const auto card = static_cast<std::uint32_t>(i);
            tree.addCard(card, i < adapters ? "quintor" : "i915");
            tree.addConnector(
                card, "DVI-I-1", 100 + card,
                qn::test::makeEdid(static_cast<std::uint16_t>(qn::bench::kVendor),
                                   static_cast<std::uint16_t>(qn::bench::kFirstModel + card)));
            driven.push_back(100 + card);
        }
    }
    qn::test::FakeDrmTree tree;
    std::vector<std::uint32_t> driven;
    SysfsIOKit registry{tree.root(), [this] { return driven; }};
};

std::uint32_t expectedIndex(int display, int displays) {
    return display < qn::bench::adaptersAmong(displays) ? static_cast<std::uint32_t>(display)
                                                        : kNotFound;
}

// The last full report's indices are the ones the layout gives: the walk really found
// each adapter and nothing else.
bool reportedIndicesRight(ReportWorld& world, int displays) {
    const auto calls = world.host.manager().calls();
    if (calls.size() < static_cast<std::size_t>(displays)) {
        return false;
    }
    for (std::size_t i = calls.size() - static_cast<std::size_t>(displays); i < calls.size(); ++i) {
        const auto& args = calls[i].arguments;
        if (args.size() < 4) {
            return false;
        }
        const int display = static_cast<int>(args[0].unsignedIntValue() - qn::bench::kFirstDisplay);
        if (args[3].unsignedIntValue() != expectedIndex(display, displays)) {
            return false;
        }
    }
    return true;
}

void fullReport(benchmark::State& state, qn::platform::IOKit* registry) {
    qn::bench::agentLogger();
    const int displays = static_cast<int>(state.range(0));
    ReportWorld world("13.0.0", displays, registry);
    for (auto _ : state) {
        world.observer.sendReconfigurationToOnlineDisplays();
    }
    if (!reportedIndicesRight(world, displays)) {
        state.SkipWithError("a report carried the wrong framebuffer index");
    }
    const auto reports = world.host.manager().calls().size();
    state.counters["reports"] =
        benchmark::Counter(static_cast<double>(reports), benchmark::Counter::kAvgIterations);
}

void BM_FullReport_SimulatedRegistry(benchmark::State& state) {
    fullReport(state, nullptr);
}

void BM_FullReport_SysfsRegistry(benchmark::State& state) {
    DrmTree tree(static_cast<int>(state.range(0)));
    fullReport(state, &tree.registry);
}

// Only the index lookups a full report makes, one per display, over sysfs.
void BM_IndexLookupsOnly_SysfsRegistry(benchmark::State& state) {
    qn::bench::agentLogger();
    const int displays = static_cast<int>(state.range(0));
    DrmTree tree(displays);
    ReportWorld world("13.0.0", displays, &tree.registry);
    bool right = true;
    for (auto _ : state) {
        for (int i = 0; i < displays; ++i) {
            const auto index = DisplayRegistryHelper::getFramebufferIndexForDisplay(
                qn::bench::kFirstDisplay + static_cast<std::uint32_t>(i));
            right = right && index == expectedIndex(i, displays);
        }
    }
    if (!right) {
        state.SkipWithError("a lookup gave the wrong framebuffer index");
    }
}

BENCHMARK(BM_FullReport_SimulatedRegistry)->Arg(1)->Arg(8)->Arg(64);
BENCHMARK(BM_FullReport_SysfsRegistry)->Arg(1)->Arg(8)->Arg(64);
BENCHMARK(BM_IndexLookupsOnly_SysfsRegistry)->Arg(1)->Arg(8)->Arg(64);

}  // namespace

BENCHMARK_MAIN();
