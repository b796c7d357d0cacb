#pragma once
// A proxy of the simulated Manager's root object, bound to one connection.

#include <memory>

#include "platform/Foundation.h"
#include "platform/sim/SimManager.h"

namespace qn::platform::sim {

class SimManagerProxy : public NSDistantObject {
  public:
    SimManagerProxy(std::weak_ptr<SimManager::State> state, std::shared_ptr<int> connection,
                    std::uint64_t generation)
        : m_state(std::move(state)),
          m_connection(std::move(connection)),
          m_generation(generation) {}

    void invoke(const std::string& selector, const std::vector<Value>& arguments) override;
    void setProtocolForProxy(const std::string& protocolName) override {
        m_protocol = protocolName;
    }
    const void* connectionForProxy() const override { return m_connection.get(); }
    const std::string& protocol() const { return m_protocol; }

  private:
    std::weak_ptr<SimManager::State> m_state;
    std::shared_ptr<int> m_connection;
    std::uint64_t m_generation;
    std::string m_protocol;
};

}  // namespace qn::platform::sim
