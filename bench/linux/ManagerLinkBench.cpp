// One onRectRefreshed:onDisplayID: round trip from the agent's side of the link to the
// Manager stand-in on a private dbus-daemon, beside the same method call made with bare
// sd-bus on its own connection to the same stand-in, in the same run. Both wait for the
// stand-in's reply, which writes its transcript line (to /dev/null) before answering, so
// the difference is what the link adds: the value arguments, the protocol table, the
// member name and the coding of the message.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <chrono>
#include <memory>

#include "platform/ManagerProtocol.h"
#include "platform/linux/bus/BusHandles.h"
#include "platform/linux/bus/ManagerLink.h"
#include "platform/linux/bus/ManagerWire.h"
#include "platform/linux/event/LinuxNotificationCenter.h"
#include "tests/e2e/support/TestServers.h"

namespace {

using namespace qn::platform;
using namespace qn::platform::linux_host;
using qn::tests::e2e::DbusDaemon;
using qn::tests::e2e::ManagerStandIn;
using qn::tests::e2e::ScratchDirectory;

int openPrivate(const std::string& address, sd_bus** bus) {
    int r = sd_bus_new(bus);
    if (r >= 0)
        r = sd_bus_set_address(*bus, address.c_str());
    if (r >= 0)
        r = sd_bus_set_bus_client(*bus, 1);
    if (r >= 0)
        r = sd_bus_start(*bus);
    return r;
}

// One bus and one stand-in for the whole run.
struct Servers {
    Servers() {
        setenv("QN_TEST_SOURCE_DIR", QN_E2E_SOURCE_DIR, 0);
        setenv("QN_QNMANAGER", QN_E2E_QNMANAGER, 0);
        bus = std::make_unique<DbusDaemon>(scratch, DbusDaemon::Kind::Session);
        standIn = std::make_unique<ManagerStandIn>(bus->address(), std::vector<std::string>{},
                                                   "/dev/null");
    }
    ScratchDirectory scratch;
    std::unique_ptr<DbusDaemon> bus;
    std::unique_ptr<ManagerStandIn> standIn;
};

Servers& servers() {
    static Servers s;
    return s;
}

const CGRect kRect = CGRectMake(16, 32, 256, 128);

void BM_ProxyOnRectRefreshed(benchmark::State& state) {
    const std::string address = servers().bus->address();
    EventLoop loop;
    MainQueue mainQueue(loop);
    LinuxNotificationCenter defaultCenter(mainQueue, LinuxNotificationCenter::Delivery::Immediate);
    LinuxNotificationCenter distributed(mainQueue, LinuxNotificationCenter::Delivery::NextTurn);
    ManagerLink link(loop, mainQueue, defaultCenter, distributed,
                     [address](sd_bus** bus) { return openPrivate(address, bus); });
    QNUAMessageHandlerProxy proxy(link.lookUp(kManagerRegisteredName));
    if (!proxy) {
        state.SkipWithError("no Manager on the bus");
        return;
    }
    for (auto _ : state) {
        proxy.onRectRefreshed_onDisplayID(kRect, 0);
    }
}
BENCHMARK(BM_ProxyOnRectRefreshed)->UseRealTime()->MinTime(2.0);

void BM_BareSdBusCall(benchmark::State& state) {
    BusPtr bus;
    if (openPrivate(servers().bus->address(), bus.receive()) < 0) {
        state.SkipWithError("cannot connect");
        return;
    }
    for (auto _ : state) {
        BusError error;
        BusMessagePtr reply;
        const int r = sd_bus_call_method(bus.get(), kManagerLocator.name, kManagerLocator.path,
                                         kManagerLocator.interface, "onRectRefreshed_onDisplayID",
                                         error.get(), reply.receive(), "(dddd)u", 16.0, 32.0, 256.0,
                                         128.0, 0u);
        if (r < 0) {
            state.SkipWithError("call failed");
            return;
        }
    }
}
BENCHMARK(BM_BareSdBusCall)->UseRealTime()->MinTime(2.0);

// The two calls alternately in one loop, each timed on its own, so that both meet the
// same load on a shared machine; the counters are the mean microseconds of each and
// their ratio.
void BM_InterleavedProxyAndBare(benchmark::State& state) {
    const std::string address = servers().bus->address();
    EventLoop loop;
    MainQueue mainQueue(loop);
    LinuxNotificationCenter defaultCenter(mainQueue, LinuxNotificationCenter::Delivery::Immediate);
    LinuxNotificationCenter distributed(mainQueue, LinuxNotificationCenter::Delivery::NextTurn);
    ManagerLink link(loop, mainQueue, defaultCenter, distributed,
                     [address](sd_bus** bus) { return openPrivate(address, bus); });
    QNUAMessageHandlerProxy proxy(link.lookUp(kManagerRegisteredName));
    BusPtr bare;
    if (!proxy || openPrivate(address, bare.receive()) < 0) {
        state.SkipWithError("no Manager on the bus");
        return;
    }
    using Clock = std::chrono::steady_clock;
    Clock::duration proxyTime{}, bareTime{};
    for (auto _ : state) {
        const auto t0 = Clock::now();
        proxy.onRectRefreshed_onDisplayID(kRect, 0);
        const auto t1 = Clock::now();
        BusError error;
        BusMessagePtr reply;
        const int r = sd_bus_call_method(bare.get(), kManagerLocator.name, kManagerLocator.path,
                                         kManagerLocator.interface, "onRectRefreshed_onDisplayID",
                                         error.get(), reply.receive(), "(dddd)u", 16.0, 32.0, 256.0,
                                         128.0, 0u);
        const auto t2 = Clock::now();
        if (r < 0) {
            state.SkipWithError("call failed");
            return;
        }
        proxyTime += t1 - t0;
        bareTime += t2 - t1;
    }
    const double n = static_cast<double>(state.iterations());
    const double proxyUs = std::chrono::duration<double, std::micro>(proxyTime).count() / n;
    const double bareUs = std::chrono::duration<double, std::micro>(bareTime).count() / n;
    state.counters["proxy_us"] = proxyUs;
    state.counters["bare_us"] = bareUs;
    state.counters["ratio"] = proxyUs / bareUs;
}
BENCHMARK(BM_InterleavedProxyAndBare)->UseRealTime()->MinTime(2.0);

}  // namespace
