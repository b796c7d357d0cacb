// The agent's own cost of one frame on the simulated host, and its peers in the same run.
//
// - BM_FrameSentAtOnce: one call of the stream handler with a complete frame while the
//   Manager is ready, from handler entry until frameAvailable has returned: use count
//   and references, the driver told the memory (a call into the simulated driver), the
//   rectangles, and the call marshalled onto a proxy whose Manager answers at once (it
//   does nothing with the call). Only that call is timed; the release that makes the
//   Manager ready again runs outside the clock.
// - BM_FrameSentToSimulatedManager: the same with the simulated Manager behind the
//   proxy, which checks the call against the protocol and records it.
// - BM_FrameMergedWhileBusy: one handler call while the Manager holds a frame and one
//   waits in reserve: the merge of the updates and the replaced surface given back.
// - BM_ProxyCallAlone: the frameAvailable call with the same arguments marshalled onto
//   the answering proxy directly, with no updater around it.
// - BM_DriverPrepareAlone: one prepare through the mapper and driver connection alone.
// The updater's logic is the first row less the last two.

#include <benchmark/benchmark.h>

#include <chrono>

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "app/OSX/QuintorUserAgent/DisplayStreamFrameUpdaterImpl.h"
#include "platform/sim/SimHost.h"
#include "platform/sim/SimWorld.h"
#include "sys/libutils/LoggerConfiguration.h"
#include "tk/libDriver/MacMemoryMapper.h"
#include "tk/libDriver/osx/MacDriverControl.h"

namespace {

using namespace qn;
using app::osx::qnuapp::DisplayStreamFrameUpdaterImpl;
using Status = DisplayStreamFrameUpdaterImpl::FrameStatus;

constexpr platform::CGDirectDisplayID kDisplay = 0x42;
constexpr std::uint32_t kAdapter = 1;

// A Manager that answers every call at once and does nothing with it.
class AnsweringManager : public platform::NSDistantObject {
  public:
    void invoke(const std::string&, const std::vector<platform::Value>& arguments) override {
        benchmark::DoNotOptimize(arguments.data());
    }
    void setProtocolForProxy(const std::string&) override {}
    const void* connectionForProxy() const override { return this; }
};

// A host with one adapter display and a running Manager, the agent's logger at its
// usual DEBUG (the per-frame lines are VERBOSE, so off), and a started updater.
struct Bench {
    explicit Bench(bool simulatedManager = false) {
        platform::sim::SimDisplaySpec spec;
        spec.display.id = kDisplay;
        spec.display.pixelWidth = 64;
        spec.display.pixelHeight = 64;
        spec.adapterIndex = kAdapter;
        world.placeDisplay(spec);
        host.manager().setRegistered(true);
        app::osx::qnuapp::startAgentLogging(4242);
        if (simulatedManager) {
            proxy = platform::foundation().rootProxyForConnectionWithRegisteredName(
                platform::kManagerRegisteredName, nullptr);
            proxy.setProtocolForProxy(platform::kManagerProtocolName);
        } else {
            proxy = platform::ProxyRef(std::make_shared<AnsweringManager>());
        }
        updater = new DisplayStreamFrameUpdaterImpl(proxy, nullptr, &controls, &mappers);
        updater->start(kDisplay, kAdapter, 7);
    }
    ~Bench() { delete updater; }

    platform::sim::SimSurface* surface() {
        surfaces.push_back(std::make_unique<platform::sim::SimSurface>(host.faults(), 64, 64));
        return surfaces.back().get();
    }
    platform::sim::SimStreamUpdate* update() {
        updates.push_back(std::make_unique<platform::sim::SimStreamUpdate>(
            host.faults(), std::vector<platform::CGRect>{platform::CGRectMake(8, 8, 16, 16)}));
        return updates.back().get();
    }
    static std::uint64_t address(platform::sim::SimSurface* s) {
        return reinterpret_cast<std::uint64_t>(s->baseAddress());
    }

    sys::Logger logger{"QuintorUserAgent",
                       sys::Logger::DEBUG,
                       false,
                       false,
                       nullptr,
                       std::make_unique<sys::LoggerConfiguration>()};
    platform::sim::SimHost host;
    platform::sim::SimWorld world{host};
    platform::ScopedBackend backend{host.backend()};
    platform::ProxyRef proxy;
    tk::driver::DriverControlFactory controls;
    tk::driver::MemoryMapperFactory mappers;
    DisplayStreamFrameUpdaterImpl* updater = nullptr;
    std::vector<std::unique_ptr<platform::sim::SimSurface>> surfaces;
    std::vector<std::unique_ptr<platform::sim::SimStreamUpdate>> updates;
};

void frameSent(benchmark::State& state, bool simulatedManager) {
    Bench bench(simulatedManager);
    auto* surface = bench.surface();
    auto* update = bench.update();
    for (auto _ : state) {
        const auto begin = std::chrono::steady_clock::now();
        bench.updater->frameAvailableHandler(Status::FrameComplete, 0, surface, update);
        const auto end = std::chrono::steady_clock::now();
        state.SetIterationTime(std::chrono::duration<double>(end - begin).count());
        bench.updater->releaseFrameSurface(Bench::address(surface));
    }
    if (!bench.host.faults().empty() || surface->useCount() != 0) {
        state.SkipWithError("counts did not balance");
    }
}
void BM_FrameSentAtOnce(benchmark::State& state) {
    frameSent(state, false);
}
BENCHMARK(BM_FrameSentAtOnce)->UseManualTime()->Iterations(200000);

void BM_FrameSentToSimulatedManager(benchmark::State& state) {
    frameSent(state, true);
}
BENCHMARK(BM_FrameSentToSimulatedManager)->UseManualTime()->Iterations(200000);

void BM_FrameMergedWhileBusy(benchmark::State& state) {
    Bench bench;
    auto* sent = bench.surface();
    platform::sim::SimSurface* alternate[2] = {bench.surface(), bench.surface()};
    auto* update = bench.update();
    // One frame with the Manager, one in reserve.
    bench.updater->frameAvailableHandler(Status::FrameComplete, 0, sent, update);
    bench.updater->frameAvailableHandler(Status::FrameComplete, 0, alternate[1], update);
    std::size_t i = 0;
    for (auto _ : state) {
        bench.updater->frameAvailableHandler(Status::FrameComplete, 0, alternate[i++ & 1], update);
    }
    if (!bench.host.faults().empty() || alternate[0]->useCount() + alternate[1]->useCount() != 1) {
        state.SkipWithError("counts did not balance");
    }
}
BENCHMARK(BM_FrameMergedWhileBusy)->Iterations(200000);

void BM_ProxyCallAlone(benchmark::State& state) {
    Bench bench;
    platform::QNUAMessageHandlerProxy proxy(bench.proxy);
    const auto rect = platform::CGRectMake(8, 8, 16, 16);
    for (auto _ : state) {
        proxy.frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
            kDisplay, rect, 0x7f0000001000, 256, 7);
    }
}
BENCHMARK(BM_ProxyCallAlone)->Iterations(200000);

void BM_DriverPrepareAlone(benchmark::State& state) {
    Bench bench;
    tk::driver::MacMemoryMapper mapper(std::make_unique<tk::driver::MacDriverControl>(kAdapter));
    for (auto _ : state) {
        benchmark::DoNotOptimize(mapper.prepare(0x7f0000001000, 16384));
    }
}
BENCHMARK(BM_DriverPrepareAlone)->Iterations(200000);

}  // namespace
