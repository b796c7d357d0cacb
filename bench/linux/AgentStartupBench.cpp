// The agent's start-up: from the fork before exec until the Manager stand-in has read
// started:withSessionType:, with logind's stand-in (python3-dbusmock), Xvfb and the
// stand-in on a private bus, all started once for the run. Beside it, in the same run:
// a minimal sd-bus client's whole life (exec, connect, one call to the stand-in's name,
// exit), and the logind requests the agent makes before it reports, each measured alone
// from this process, so that the time spent waiting on the stand-in can be shown apart;
// and the X11 backend's own start against the same server.
// The counters give how many of each the agent made in one start (read from the stand-in).

#include <benchmark/benchmark.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

#include "platform/linux/system/LinuxSystem.h"
#include "platform/linux/x11/X11Quartz.h"
#include "tests/e2e/support/AgentUnderTest.h"
#include "tests/e2e/support/TestServers.h"
#include "tests/support/XServer.h"
#include "tests/support/linux/LogindStandIn.h"
#include "tests/support/linux/PrivateBus.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace qn::tests::e2e;
using qn::test::XServer;
using qn::testing::linux_host::LogindStandIn;
using qn::testing::linux_host::PrivateBus;

struct Servers {
    Servers() {
        setenv("QN_TEST_SOURCE_DIR", QN_E2E_SOURCE_DIR, 0);
        setenv("QN_QNMANAGER", QN_E2E_QNMANAGER, 0);
        setenv("QN_E2E_REAL_AGENT", QN_E2E_REAL_AGENT_PROGRAM, 0);
        bus = std::make_unique<PrivateBus>();
        logind = std::make_unique<LogindStandIn>(*bus);
        sessionPath = logind->addSession("7", getuid(), "bench", true);
        logind->answerSessionByPid(sessionPath);
        std::string error;
        x = XServer::start(XServer::Kind::Xvfb, &error);
        manager = std::make_unique<ManagerStandIn>(bus->address());
        manager->next();
        client = bus->connect();
    }
    ScratchDirectory scratch;
    std::unique_ptr<PrivateBus> bus;
    std::unique_ptr<LogindStandIn> logind;
    std::string sessionPath;
    std::unique_ptr<XServer> x;
    std::unique_ptr<ManagerStandIn> manager;
    qn::testing::linux_host::BusConnection client;
};

Servers& servers() {
    static Servers s;
    return s;
}

// The median of the runs, in milliseconds: a start that met a busy moment of the shared
// machine moves the mean, not this.
double medianMs(std::vector<double> runs) {
    if (runs.empty()) {
        return 0;
    }
    std::sort(runs.begin(), runs.end());
    const auto middle = runs.size() / 2;
    const double seconds = runs.size() % 2 ? runs[middle] : (runs[middle - 1] + runs[middle]) / 2;
    return seconds * 1000;
}

double seconds(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

// One start of the agent named by `programVariable`: seconds from the fork until the
// stand-in read started:withSessionType:, or a negative value when it never came.
double timeOneStart(Servers& s, const char* programVariable) {
    const auto start = Clock::now();
    AgentUnderTest agent(
        {.busAddress = s.bus->address(),
         .home = s.scratch.file("home"),
         .environment = {"DISPLAY=" + s.x->display(), "XDG_RUNTIME_DIR=" + s.scratch.path()},
         .programVariable = programVariable});
    const auto started = s.manager->nextCall("started:withSessionType:");
    const auto end = Clock::now();
    agent.process().signal(SIGTERM);
    if (started) {
        s.manager->nextCall("closing");
    }
    agent.process().wait();
    return started ? seconds(start, end) : -1;
}

// With QN_BENCH_BASELINE_AGENT naming another build of the agent, each iteration starts
// both, in turns that swap which goes first: two binaries measured a minute apart on this
// machine differ by more than most changes to the start, a pair measured back to back
// does not. `baseline_median_ms` is the other build's median, `paired_diff_median_ms`
// the median of (this one - the other) over the pairs.
void BM_AgentExecToStarted(benchmark::State& state) {
    auto& s = servers();
    if (!s.x) {
        state.SkipWithError("no X server");
        return;
    }
    const bool withBaseline = std::getenv("QN_BENCH_BASELINE_AGENT") != nullptr;
    const auto callsBefore = s.logind->managerCalls().size();
    std::vector<double> times;
    std::vector<double> baselineTimes;
    std::vector<double> differences;
    int runs = 0;
    for (auto _ : state) {
        double baseline = 0;
        const bool baselineFirst = withBaseline && runs % 2 == 1;
        if (baselineFirst) {
            baseline = timeOneStart(s, "QN_BENCH_BASELINE_AGENT");
        }
        const double time = timeOneStart(s, "QN_E2E_REAL_AGENT");
        if (withBaseline && !baselineFirst) {
            baseline = timeOneStart(s, "QN_BENCH_BASELINE_AGENT");
        }
        if (time < 0 || baseline < 0) {
            state.SkipWithError("no start message");
            return;
        }
        state.SetIterationTime(time);
        times.push_back(time);
        if (withBaseline) {
            baselineTimes.push_back(baseline);
            differences.push_back(time - baseline);
        }
        ++runs;
    }
    const auto calls = s.logind->managerCalls();
    const auto from = calls.begin() + static_cast<long>(callsBefore);
    const auto starts = runs * (withBaseline ? 2 : 1);
    const auto perStart = [&](auto count) {
        return starts ? static_cast<double>(count) / starts : 0;
    };
    state.counters["median_ms"] = medianMs(times);
    if (withBaseline) {
        state.counters["baseline_median_ms"] = medianMs(baselineTimes);
        state.counters["paired_diff_median_ms"] = medianMs(differences);
    }
    state.counters["by_pid_per_start"] =
        perStart(std::count(from, calls.end(), std::string("GetSessionByPID")));
    state.counters["inhibit_per_start"] =
        perStart(std::count(from, calls.end(), std::string("Inhibit")));
}
BENCHMARK(BM_AgentExecToStarted)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(30);

void BM_MinimalSdBusClientLife(benchmark::State& state) {
    auto& s = servers();
    const std::string address = "DBUS_SYSTEM_BUS_ADDRESS=" + s.bus->address();
    std::vector<double> times;
    for (auto _ : state) {
        const auto start = Clock::now();
        const pid_t pid = fork();
        if (pid == 0) {
            char* argv[] = {const_cast<char*>(QN_MINIMAL_CLIENT), nullptr};
            char* envp[] = {const_cast<char*>(address.c_str()), nullptr};
            execve(argv[0], argv, envp);
            _exit(127);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        times.push_back(seconds(start, Clock::now()));
        state.SetIterationTime(times.back());
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            state.SkipWithError("the client got no answer");
            return;
        }
    }
    state.counters["median_ms"] = medianMs(times);
}
BENCHMARK(BM_MinimalSdBusClientLife)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(30);

// The two logind questions the agent waits for before it reports, each alone: which
// session this process is in (asked once), and all of that session's properties (asked
// on every question).
bool callLogind(sd_bus* bus, const char* path, const char* interface, const char* member,
                const char* signature, const char* argument, std::uint32_t pid) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const int r = argument ? sd_bus_call_method(bus, LogindStandIn::kService, path, interface,
                                                member, &error, &reply, signature, argument)
                           : sd_bus_call_method(bus, LogindStandIn::kService, path, interface,
                                                member, &error, &reply, signature, pid);
    sd_bus_message_unref(reply);
    sd_bus_error_free(&error);
    return r >= 0;
}

void BM_LogindSessionByPid(benchmark::State& state) {
    auto& s = servers();
    for (auto _ : state) {
        if (!callLogind(s.client.get(), LogindStandIn::kManagerPath,
                        "org.freedesktop.login1.Manager", "GetSessionByPID", "u", nullptr,
                        static_cast<std::uint32_t>(getpid()))) {
            state.SkipWithError("the stand-in did not answer");
            return;
        }
    }
}
BENCHMARK(BM_LogindSessionByPid)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(100);

void BM_LogindSessionProperties(benchmark::State& state) {
    auto& s = servers();
    for (auto _ : state) {
        if (!callLogind(s.client.get(), s.sessionPath.c_str(), "org.freedesktop.DBus.Properties",
                        "GetAll", "s", "org.freedesktop.login1.Session", 0)) {
            state.SkipWithError("the stand-in did not answer");
            return;
        }
    }
}
BENCHMARK(BM_LogindSessionProperties)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);

// The sleep delay lock, taken and let go: asked for at start without waiting, so not part
// of the wait; shown for what it would cost if it were.
void BM_LogindInhibit(benchmark::State& state) {
    auto& s = servers();
    for (auto _ : state) {
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_message* reply = nullptr;
        const int r =
            sd_bus_call_method(s.client.get(), LogindStandIn::kService, LogindStandIn::kManagerPath,
                               "org.freedesktop.login1.Manager", "Inhibit", &error, &reply, "ssss",
                               "sleep", "bench", "bench", "delay");
        // The lock's descriptor belongs to the reply: it is let go with it.
        sd_bus_message_unref(reply);
        sd_bus_error_free(&error);
        if (r < 0) {
            state.SkipWithError("the stand-in did not answer");
            return;
        }
    }
}
BENCHMARK(BM_LogindInhibit)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(100);

// The display backend's start inside the agent: the connection, the extensions, the
// outputs with their properties, the change events chosen; a part of the agent's own.
void BM_X11QuartzStart(benchmark::State& state) {
    auto& s = servers();
    qn::platform::linux_host::LinuxSystem system;
    for (auto _ : state) {
        qn::platform::x11::X11Quartz quartz(system, s.x->display().c_str());
        if (!quartz.connected()) {
            state.SkipWithError("no X connection");
            return;
        }
        benchmark::DoNotOptimize(quartz.CGMainDisplayID());
    }
}
BENCHMARK(BM_X11QuartzStart)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(100);

}  // namespace

BENCHMARK_MAIN();
