#pragma once
// The agent's link to the Manager on the system bus. A lookup finds the unique name that
// owns the Manager's name now and gives a proxy bound to it: calls go to that unique
// name, so once that owner is gone every call on the old proxy raises, as on a dead
// connection. The name's owner is tracked from NameOwnerChanged; a change of owner, or
// the loss of the bus, is the death of the proxies bound to the old one, posted as
// NSConnectionDidDieNotification with each proxy as object. Proxies are kept for the
// life of the link, so a later proxy never takes the address of an earlier one and a
// death registration filtered on the first proxy never matches a later one by accident.
// The Manager's signals are accepted only when their sender is the current owner,
// compared here: the daemon's routing alone lets any process's signal through once the
// connection has a broader match.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/Foundation.h"
#include "platform/LifetimeToken.h"
#include "platform/linux/bus/BusHandles.h"
#include "platform/linux/event/EventLoop.h"
#include "platform/linux/event/MainQueue.h"
#include "platform/linux/event/PeerDirectory.h"

namespace qn::platform::linux_host {

class ManagerLink : public PeerDirectory {
  public:
    // Opens the bus the link talks on: the system bus, unless a test says otherwise.
    using BusOpener = std::function<int(sd_bus** bus)>;

    ManagerLink(EventLoop& loop, MainQueue& mainQueue, NSNotificationCenter& defaultCenter,
                NSNotificationCenter& distributedCenter, BusOpener open = &sd_bus_open_system);
    ~ManagerLink() override;
    ManagerLink(const ManagerLink&) = delete;
    ManagerLink& operator=(const ManagerLink&) = delete;

    ProxyRef lookUp(const std::string& registeredName) override;

    // The unique name the Manager's name has now, as far as the link knows; empty for none.
    const std::string& currentOwner() const { return m_owner; }
    // Signals dropped because their sender was not the owner.
    unsigned ignoredSignals() const { return m_ignoredSignals; }

    struct Connection;
    class Proxy;

  private:
    bool connect();
    void ownerChanged(const std::string& oldOwner, const std::string& newOwner);
    void disconnected();
    void signalArrived(sd_bus_message* message);
    void announceDeath(const std::function<bool(const Proxy&)>& bound);

    static int onOwnerChanged(sd_bus_message* message, void* userdata, sd_bus_error*);
    static int onSignal(sd_bus_message* message, void* userdata, sd_bus_error*);
    static int onDisconnected(sd_bus_message* message, void* userdata, sd_bus_error*);

    EventLoop& m_loop;
    MainQueue& m_mainQueue;
    NSNotificationCenter& m_defaultCenter;
    NSNotificationCenter& m_distributedCenter;
    BusOpener m_open;
    std::shared_ptr<Connection> m_connection;
    std::string m_owner;
    std::vector<std::shared_ptr<Proxy>> m_issued;
    unsigned m_ignoredSignals = 0;
    LifetimeToken m_lifetime;
};

}  // namespace qn::platform::linux_host
