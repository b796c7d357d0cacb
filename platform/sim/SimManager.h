#pragma once
// The simulated Manager: owns its registered name (or not), records every call made on
// its proxies with the arguments, raises with a chosen reason on chosen calls, dies and
// comes back on command, and posts any distributed notification.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/Foundation.h"
#include "platform/sim/SimManagerEvent.h"
#include "platform/sim/SimRunLoop.h"

namespace qn::platform::sim {

class SimManagerProxy;

class SimManager {
  public:
    static constexpr const char* kRegisteredName = "com.quintor.QuintorManager";
    static constexpr const char* kConnectionInvalidReason =
        "connection went invalid while waiting for a reply";

    // How the agent's process hears of a death.
    enum class DeathNotice {
        Connection,  // NSConnectionDidDieNotification with the connection as object
        Proxies,     // one NSConnectionDidDieNotification per live proxy, the proxy as object
        None,        // nothing: the next call finds out
    };

    SimManager(SimRunLoop& runLoop, NSNotificationCenter& defaultCenter,
               NSNotificationCenter& distributedCenter);
    ~SimManager();

    // Whether the Manager runs and owns its name; a new registration is a new connection.
    void setRegistered(bool registered);
    bool isRegistered() const { return m_state->registered; }

    // Calls of the selector raise ProxyException with the reason, the next `times` calls
    // or (times < 0) every call from now on. The call is recorded with the reason.
    void failCall(const std::string& selector, const std::string& reason, int times = -1);
    void clearFailures() { m_state->failures.clear(); }

    // The Manager process ends: the name loses its owner, calls on existing proxies raise
    // kConnectionInvalidReason, and the agent hears of it as chosen.
    void die(DeathNotice notice = DeathNotice::Connection);
    // The Manager starts again and registers its name.
    void comeBack() { setRegistered(true); }

    // Broadcasts a distributed notification (object nil).
    void post(const std::string& name, Value userInfo = Value());

    // The lookup of Foundation's rootProxyForConnectionWithRegisteredName.
    ProxyRef lookUp(const std::string& name);

    const std::vector<SimManagerEvent>& transcript() const { return m_state->transcript; }
    // Delivered calls only, in order.
    std::vector<SimManagerEvent> calls() const;
    // Called for each call the Manager processed without raising, while the caller
    // waits: the Manager's own work on a call.
    void addCallHandler(std::function<void(const SimManagerEvent&)> handler) {
        m_state->callHandlers.push_back(std::move(handler));
    }
    void clearCallHandlers() { m_state->callHandlers.clear(); }
    // Called for each new transcript line, as it happens.
    void setListener(std::function<void(const SimManagerEvent&)> listener) {
        m_state->listener = std::move(listener);
    }

    // Shared with the proxies, which may outlive the Manager object.
    struct State {
        SimRunLoop* runLoop = nullptr;
        bool registered = false;
        std::uint64_t generation = 0;
        std::shared_ptr<int> connection;  // identity of the current connection
        struct Failure {
            std::string reason;
            int times;
        };
        std::map<std::string, Failure> failures;
        std::vector<SimManagerEvent> transcript;
        std::vector<std::weak_ptr<SimManagerProxy>> proxies;
        // Every proxy ever handed out stays allocated, so that no two proxies share an
        // address: the agent filters a death notification by the proxy's identity.
        std::vector<std::shared_ptr<SimManagerProxy>> handedOut;
        std::function<void(const SimManagerEvent&)> listener;
        std::vector<std::function<void(const SimManagerEvent&)>> callHandlers;
        void record(SimManagerEvent event);
    };

  private:
    std::shared_ptr<State> m_state;
    SimRunLoop& m_runLoop;
    NSNotificationCenter& m_defaultCenter;
    NSNotificationCenter& m_distributedCenter;
};

}  // namespace qn::platform::sim
