// What one read of the session facts costs against logind's stand-in on a private bus,
// beside the two calls it is made of measured bare: a Ping that the stand-in's bus
// library answers by itself (transport only) and an empty method of the stand-in
// (transport plus the stand-in's own handling, which real logind does in C).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <memory>

#include "platform/linux/login/LoginSession.h"
#include "tests/support/linux/LogindStandIn.h"

namespace {

using qn::testing::linux_host::BusConnection;
using qn::testing::linux_host::LogindStandIn;
using qn::testing::linux_host::PrivateBus;

struct World {
    PrivateBus bus;
    LogindStandIn logind{bus};
    BusConnection agentBus = bus.connect();
    std::string sessionPath;

    World() {
        sessionPath = logind.addSession("2", 1000, "alice", true);
        logind.answerSessionByPid(sessionPath);
        sd_bus_call_method(logind.control(), LogindStandIn::kService, LogindStandIn::kManagerPath,
                           "org.freedesktop.DBus.Mock", "AddMethod", nullptr, nullptr, "sssss",
                           "org.freedesktop.login1.Manager", "Nothing", "", "", "");
    }
};

// The servers live for the whole run and are stopped and reaped at exit.
World& world() {
    static World instance;
    return instance;
}

void call(sd_bus* bus, const char* interface, const char* member) {
    sd_bus_message* reply = nullptr;
    if (sd_bus_call_method(bus, LogindStandIn::kService, LogindStandIn::kManagerPath, interface,
                           member, nullptr, &reply, "") < 0) {
        throw std::runtime_error(std::string("call failed: ") + member);
    }
    sd_bus_message_unref(reply);
}

void BM_BarePing(benchmark::State& state) {
    sd_bus* bus = world().agentBus.get();
    for (auto _ : state) {
        call(bus, "org.freedesktop.DBus.Peer", "Ping");
    }
}
BENCHMARK(BM_BarePing)->UseRealTime();

void BM_StandInEmptyMethod(benchmark::State& state) {
    sd_bus* bus = world().agentBus.get();
    for (auto _ : state) {
        call(bus, "org.freedesktop.login1.Manager", "Nothing");
    }
}
BENCHMARK(BM_StandInEmptyMethod)->UseRealTime();

// GetSessionByPID + GetAll of the session: what the agent's start-up and each pass of
// its wait for the active user cost.
void BM_SessionDictionary(benchmark::State& state) {
    qn::platform::linux_host::login::LoginSession session(world().agentBus.get(), ::getpid());
    for (auto _ : state) {
        const auto dictionary = session.copyCurrentDictionary();
        if (!dictionary.isDictionary()) {
            state.SkipWithError("no session dictionary");
            break;
        }
        benchmark::DoNotOptimize(dictionary);
    }
}
BENCHMARK(BM_SessionDictionary)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
