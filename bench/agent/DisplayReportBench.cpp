// One full display report (sendReconfigurationToOnlineDisplays) on the simulated host,
// with 1, 8 and 64 online displays of which half (rounded up) hang under adapters.
// Release 13 finds each display's framebuffer index by walking every display
// connection of the registry; release 12, measured in the same run as the peer, reads
// the display's own location. The Manager answers every report; the agent logs at INFO,
// so of the lookup's lines only "FB index not found" (ERROR, release 13) is written.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "app/OSX/QuintorUserAgent/QuartzDisplayNotificationObserver.h"
#include "platform/sim/SimHost.h"
#include "platform/sim/SimWorld.h"
#include "sys/libutils/Logger.h"
#include "sys/libutils/LoggerConfiguration.h"

namespace {

using namespace qn;

const std::string& scratchDirectory() {
    static const std::string* dir = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "qnbenchXXXXXX").string();
        auto* made = new std::string(::mkdtemp(pattern.data()));
        std::atexit([] { std::filesystem::remove_all(*dir); });
        return made;
    }();
    return *dir;
}

struct InDirectory : sys::LoggerConfiguration {
    void readGlobals(const std::string&, Globals& globals) override {
        globals.directory = scratchDirectory() + "/";
        globals.fileSize = 0;  // no rotation while measuring
    }
};

// A fresh host per benchmark: the model, the registry and the Manager's transcript
// start empty each time.
struct ReportWorld {
    ReportWorld(const char* release, int displays) {
        host.system().setKernelRelease(release);
        host.manager().setRegistered(true);
        const int adapters = (displays + 1) / 2;
        for (int i = 0; i < displays; ++i) {
            platform::sim::SimDisplaySpec spec;
            spec.display.id = 0x1000 + static_cast<platform::CGDirectDisplayID>(i);
            spec.display.bounds = platform::CGRectMake(1920.0 * i, 0, 1920, 1080);
            spec.display.modelNumber = 0x5900 + static_cast<std::uint32_t>(i);
            spec.display.vendorNumber = 0x10ac;
            if (i < adapters) {
                spec.adapterIndex = static_cast<std::uint32_t>(i);
            }
            world.placeDisplay(spec);
        }
        app::osx::qnuapp::startAgentLogging(4242);
        observer.setQnmProxy(host.foundation().rootProxyForConnectionWithRegisteredName(
            platform::sim::SimManager::kRegisteredName, nullptr));
    }

    platform::sim::SimHost host;
    platform::sim::SimWorld world{host};
    platform::ScopedBackend backend{host.backend()};
    app::osx::qnuapp::QuartzDisplayNotificationObserver observer;
};

sys::Logger& logger() {
    static sys::Logger logger("QuintorUserAgent", sys::Logger::INFO, false, true, nullptr,
                              std::make_unique<InDirectory>());
    return logger;
}

void fullReport(benchmark::State& state, const char* release) {
    logger();
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
