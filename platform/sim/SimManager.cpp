#include "platform/sim/SimManager.h"

#include "platform/sim/SimManagerProxy.h"

namespace qn::platform::sim {

void SimManager::State::record(SimManagerEvent event) {
    transcript.push_back(std::move(event));
    if (listener) {
        listener(transcript.back());
    }
}

SimManager::SimManager(SimRunLoop& runLoop, NSNotificationCenter& defaultCenter,
                       NSNotificationCenter& distributedCenter)
    : m_state(std::make_shared<State>()),
      m_runLoop(runLoop),
      m_defaultCenter(defaultCenter),
      m_distributedCenter(distributedCenter) {
    m_state->runLoop = &runLoop;
}

SimManager::~SimManager() {
    // Proxies left behind now raise like those of a dead connection.
    m_state->registered = false;
    m_state->listener = nullptr;
}

void SimManager::setRegistered(bool registered) {
    if (registered == m_state->registered) {
        return;
    }
    m_state->registered = registered;
    if (registered) {
        ++m_state->generation;
        m_state->connection = std::make_shared<int>(0);
        m_state->proxies.clear();
        m_state->record(SimManagerEvent::make(SimManagerEvent::Kind::Registered,
                                              m_runLoop.nowSeconds(), kRegisteredName));
    } else {
        m_state->record(SimManagerEvent::make(SimManagerEvent::Kind::Died, m_runLoop.nowSeconds()));
    }
}

void SimManager::failCall(const std::string& selector, const std::string& reason, int times) {
    if (times == 0) {
        m_state->failures.erase(selector);
        return;
    }
    m_state->failures[selector] = State::Failure{reason, times};
}

void SimManager::die(DeathNotice notice) {
    if (!m_state->registered) {
        return;
    }
    const auto connection = m_state->connection;
    std::vector<std::shared_ptr<SimManagerProxy>> proxies;
    for (const auto& weak : m_state->proxies) {
        if (auto proxy = weak.lock()) {
            proxies.push_back(proxy);
        }
    }
    setRegistered(false);
    // The death reaches the agent's run loop like any other port event.
    if (notice == DeathNotice::Connection) {
        m_runLoop.post([this, connection] {
            m_defaultCenter.postNotificationName(NSConnectionDidDieNotification, connection.get());
        });
    } else if (notice == DeathNotice::Proxies) {
        for (const auto& proxy : proxies) {
            m_runLoop.post([this, proxy] {
                m_defaultCenter.postNotificationName(NSConnectionDidDieNotification, proxy.get());
            });
        }
    }
}

void SimManager::post(const std::string& name, Value userInfo) {
    auto event = SimManagerEvent::make(SimManagerEvent::Kind::Post, m_runLoop.nowSeconds(), name);
    event.userInfo = userInfo;
    m_state->record(event);
    m_distributedCenter.postNotification(NSNotification{name, nullptr, std::move(userInfo)});
}

ProxyRef SimManager::lookUp(const std::string& name) {
    auto event = SimManagerEvent::make(SimManagerEvent::Kind::Lookup, m_runLoop.nowSeconds(), name);
    event.found = m_state->registered && name == kRegisteredName;
    m_state->record(event);
    if (!event.found) {
        return ProxyRef();
    }
    auto proxy =
        std::make_shared<SimManagerProxy>(m_state, m_state->connection, m_state->generation);
    m_state->proxies.push_back(proxy);
    m_state->handedOut.push_back(proxy);
    return ProxyRef(proxy);
}

std::vector<SimManagerEvent> SimManager::calls() const {
    std::vector<SimManagerEvent> result;
    for (const auto& event : m_state->transcript) {
        if (event.kind == SimManagerEvent::Kind::Call && event.delivered) {
            result.push_back(event);
        }
    }
    return result;
}

}  // namespace qn::platform::sim
