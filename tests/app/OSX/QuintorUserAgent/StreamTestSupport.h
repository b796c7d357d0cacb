#pragma once
// A frame updater's world: the agent host, an adapter driver, a proxy on the Manager,
// and readers for what the Manager, the driver and the surfaces saw.

#include <cstring>
#include <string>
#include <vector>

#include "app/OSX/QuintorUserAgent/ExceptionHandlingCallbacks.h"
#include "platform/ManagerProtocol.h"
#include "tests/app/OSX/QuintorUserAgent/AgentTestSupport.h"
#include "tk/libDriver/MemoryMapRecord.h"

namespace qn::app::osx::qnuapp::testing {

constexpr std::uint32_t kAdapter = 2;
constexpr std::uint64_t kToken = 0xFFFFFFFFFFFFFFF9;  // -7, widened with its sign

struct ExceptionCounter : ExceptionHandlingCallbacks {
    void onProxyException() override { ++count; }
    int count = 0;
};

// One Manager call, its selector and arguments as JSON-like text.
struct SeenCall {
    std::string selector;
    std::vector<platform::Value> arguments;
    std::string raised;
};

// One driver call: the selector and the source address of its record (0 without one).
struct DriverCall {
    std::uint32_t selector;
    std::uint64_t address;
    std::uint32_t size;
};

class StreamHost : public AgentHost {
  public:
    StreamHost() { m_world.adapterDriver(kAdapter); }

    platform::ProxyRef proxy() {
        auto proxy = platform::foundation().rootProxyForConnectionWithRegisteredName(
            platform::kManagerRegisteredName, nullptr);
        proxy.setProtocolForProxy(platform::kManagerProtocolName);
        return proxy;
    }

    // The newest platform stream of the display.
    platform::sim::SimDisplayStream& stream(platform::CGDirectDisplayID display = kDisplay) {
        const auto& streams = host().quartz().streams();
        for (auto it = streams.rbegin(); it != streams.rend(); ++it) {
            if ((*it)->display == display) {
                return **it;
            }
        }
        throw std::logic_error("no stream for the display");
    }

    // Frames with their rectangles, all queued before any is handled.
    void frames(const std::vector<std::vector<platform::CGRect>>& rects,
                platform::CGDirectDisplayID display = kDisplay) {
        for (const auto& r : rects) {
            host().quartz().deliverFrame(display, r);
        }
        host().runLoop().runPending();
    }

    std::vector<SeenCall> newManagerCalls() {
        std::vector<SeenCall> calls;
        const auto& transcript = host().manager().transcript();
        for (std::size_t i = m_managerSeen; i < transcript.size(); ++i) {
            if (transcript[i].kind == platform::sim::SimManagerEvent::Kind::Call) {
                calls.push_back(
                    {transcript[i].name, transcript[i].arguments, transcript[i].raised});
            }
        }
        m_managerSeen = transcript.size();
        return calls;
    }

    std::vector<DriverCall> newDriverCalls() {
        std::vector<DriverCall> calls;
        const auto& all = host().ioKit().calls();
        for (std::size_t i = m_driverSeen; i < all.size(); ++i) {
            tk::driver::MemoryMapRecord record;
            if (all[i].structInput.size() == sizeof(record)) {
                std::memcpy(&record, all[i].structInput.data(), sizeof(record));
            }
            calls.push_back({all[i].selector, record.sourceAddress, record.size});
        }
        m_driverSeen = all.size();
        return calls;
    }

  private:
    platform::sim::SimWorld m_world{host()};
    std::size_t m_managerSeen = 0;
    std::size_t m_driverSeen = 0;
};

inline std::uint64_t address(const platform::sim::SimSurface& surface) {
    return reinterpret_cast<std::uint64_t>(
        const_cast<platform::sim::SimSurface&>(surface).baseAddress());
}

inline platform::CGRect rectOf(const platform::Value& value) {
    const auto& a = value.arrayValue();
    return platform::CGRectMake(a.at(0).doubleValue(), a.at(1).doubleValue(), a.at(2).doubleValue(),
                                a.at(3).doubleValue());
}

}  // namespace qn::app::osx::qnuapp::testing
