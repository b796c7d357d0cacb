#include "platform/sim/SimManagerProxy.h"

#include "platform/ManagerProtocol.h"

namespace qn::platform::sim {

void SimManagerProxy::invoke(const std::string& selector, const std::vector<Value>& arguments) {
    SimManagerEvent event;
    event.kind = SimManagerEvent::Kind::Call;
    event.name = selector;
    event.arguments = arguments;

    auto state = m_state.lock();
    if (!state || !state->registered || state->generation != m_generation) {
        if (state) {
            event.time = state->runLoop->nowSeconds();
            event.delivered = false;
            event.raised = SimManager::kConnectionInvalidReason;
            state->record(event);
        }
        throw ProxyException(SimManager::kConnectionInvalidReason);
    }
    event.time = state->runLoop->nowSeconds();
    // Once the proxy speaks the Manager's protocol, a call outside it is refused the way
    // distributed objects refuse an unknown selector.
    if (m_protocol == kManagerProtocolName && !isManagerCall(selector, arguments)) {
        event.raised = "unrecognized selector or arguments: " + selector;
        state->record(event);
        throw ProxyException(event.raised);
    }
    const auto failure = state->failures.find(selector);
    if (failure == state->failures.end()) {
        state->record(event);
        const auto handlers = state->callHandlers;
        for (const auto& handler : handlers) {
            handler(event);
        }
        return;
    }
    const std::string reason = failure->second.reason;
    if (failure->second.times > 0 && --failure->second.times == 0) {
        state->failures.erase(failure);
    }
    event.raised = reason;
    state->record(event);
    throw ProxyException(reason);
}

}  // namespace qn::platform::sim
