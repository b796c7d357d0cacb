#pragma once
// The world of a full display report on the simulated host, shared by the benches that
// time it: N online displays of which half (rounded up) hang under adapters, display i
// with model 0x5900 + i of vendor 0x10ac and, when an adapter's, index i; the agent's
// logger writing at INFO into a scratch folder; a Manager that answers every report.
// A registry port of the caller's may stand in for the simulated one.

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "app/OSX/QuintorUserAgent/QuartzDisplayNotificationObserver.h"
#include "bench/ScratchDirectory.h"
#include "platform/sim/SimHost.h"
#include "platform/sim/SimWorld.h"
#include "sys/libutils/Logger.h"
#include "sys/libutils/LoggerConfiguration.h"

namespace qn::bench {

struct InScratchDirectory : sys::LoggerConfiguration {
    void readGlobals(const std::string&, Globals& globals) override {
        globals.directory = scratchDirectory() + "/";
        globals.fileSize = 0;  // no rotation while measuring
    }
};

inline sys::Logger& agentLogger() {
    static sys::Logger logger("QuintorUserAgent", sys::Logger::INFO, false, true, nullptr,
                              std::make_unique<InScratchDirectory>());
    return logger;
}

inline constexpr std::uint32_t kVendor = 0x10ac;
inline constexpr std::uint32_t kFirstModel = 0x5900;
inline constexpr platform::CGDirectDisplayID kFirstDisplay = 0x1000;

inline int adaptersAmong(int displays) {
    return (displays + 1) / 2;
}

// A fresh host per benchmark: the model, the registry and the Manager's transcript start
// empty each time. agentLogger() must exist before it.
struct ReportWorld {
    ReportWorld(const char* release, int displays, platform::IOKit* registry = nullptr)
        : backend(withRegistry(host.backend(), registry)) {
        host.system().setKernelRelease(release);
        host.manager().setRegistered(true);
        const int adapters = adaptersAmong(displays);
        for (int i = 0; i < displays; ++i) {
            platform::sim::SimDisplaySpec spec;
            spec.display.id = kFirstDisplay + static_cast<platform::CGDirectDisplayID>(i);
            spec.display.bounds = platform::CGRectMake(1920.0 * i, 0, 1920, 1080);
            spec.display.modelNumber = kFirstModel + static_cast<std::uint32_t>(i);
            spec.display.vendorNumber = kVendor;
            if (i < adapters) {
                spec.adapterIndex = static_cast<std::uint32_t>(i);
            }
            world.placeDisplay(spec);
        }
        app::osx::qnuapp::startAgentLogging(4242);
        observer.setQnmProxy(host.foundation().rootProxyForConnectionWithRegisteredName(
            platform::sim::SimManager::kRegisteredName, nullptr));
    }

    static platform::Backend withRegistry(platform::Backend backend, platform::IOKit* registry) {
        if (registry != nullptr) {
            backend.ioKit = registry;
        }
        return backend;
    }

    platform::sim::SimHost host;
    platform::sim::SimWorld world{host};
    platform::ScopedBackend backend;
    app::osx::qnuapp::QuartzDisplayNotificationObserver observer;
};

}  // namespace qn::bench
