#include "platform/linux/bus/ManagerLink.h"

#include <cerrno>

#include "platform/linux/bus/ManagerWire.h"
#include "platform/linux/bus/ProxyError.h"
#include "platform/linux/bus/TerminationSignalsHeld.h"

namespace qn::platform::linux_host {

struct ManagerLink::Connection {
    BusPtr bus;
    BusSlotPtr ownerMatch;
    BusSlotPtr signalMatch;
    BusSlotPtr disconnectMatch;
    bool broken = false;
};

class ManagerLink::Proxy : public NSDistantObject {
  public:
    Proxy(std::shared_ptr<Connection> connection, std::string owner)
        : m_connection(std::move(connection)), m_owner(std::move(owner)) {}

    void invoke(const std::string& selector, const std::vector<Value>& arguments) override {
        const ManagerMethod* method = findManagerMethod(selector);
        if (method == nullptr) {
            raiseProxyException(-EBADRQC, nullptr);
        }
        if (m_connection->broken) {
            raiseProxyException(-ENOTCONN, nullptr);
        }
        sd_bus* bus = m_connection->bus.get();
        BusMessagePtr call;
        BusMessagePtr reply;
        BusError error;
        int r = sd_bus_message_new_method_call(bus, call.receive(), m_owner.c_str(),
                                               kManagerLocator.path, kManagerLocator.interface,
                                               memberForSelector(method->selector).c_str());
        if (r >= 0) {
            r = appendArguments(call.get(), *method, arguments);
        }
        if (r >= 0) {
            const TerminationSignalsHeld held;
            // 0: the library's default timeout.
            r = sd_bus_call(bus, call.get(), 0, error.get(), reply.receive());
        }
        if (r < 0) {
            raiseProxyException(r, error.get());
        }
    }
    void setProtocolForProxy(const std::string&) override {}
    // Each proxy is bound to one owner: it is its own connection.
    const void* connectionForProxy() const override { return this; }

    const Connection* connection() const { return m_connection.get(); }
    const std::string& owner() const { return m_owner; }
    bool announced = false;

  private:
    std::shared_ptr<Connection> m_connection;
    std::string m_owner;
};

ManagerLink::ManagerLink(EventLoop& loop, MainQueue& mainQueue, NSNotificationCenter& defaultCenter,
                         NSNotificationCenter& distributedCenter, BusOpener open)
    : m_loop(loop),
      m_mainQueue(mainQueue),
      m_defaultCenter(defaultCenter),
      m_distributedCenter(distributedCenter),
      m_open(std::move(open)) {}

ManagerLink::~ManagerLink() {
    if (m_connection) {
        sd_bus_detach_event(m_connection->bus.get());
    }
}

bool ManagerLink::connect() {
    // A connection can be found closed by a call before its Disconnected is dispatched.
    if (m_connection && !m_connection->broken && sd_bus_is_open(m_connection->bus.get()) > 0) {
        return true;
    }
    if (m_connection && !m_connection->broken) {
        disconnected();
    }
    auto connection = std::make_shared<Connection>();
    sd_bus* bus = nullptr;
    if (m_open(&bus) < 0) {
        return false;
    }
    connection->bus.reset(bus);
    sd_bus_set_description(bus, "manager-link");
    // The loss of the bus is a death like any other, never the end of the loop.
    sd_bus_set_exit_on_disconnect(bus, 0);
    const std::string ownerRule =
        std::string(
            "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
            "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='") +
        kManagerLocator.name + "'";
    // No sender in this rule: the owner is compared in onSignal.
    const std::string signalRule = std::string("type='signal',path='") + kManagerLocator.path +
                                   "',interface='" + kManagerLocator.interface + "'";
    int r = sd_bus_add_match(bus, connection->ownerMatch.receive(), ownerRule.c_str(),
                             &onOwnerChanged, this);
    if (r >= 0) {
        r = sd_bus_add_match(bus, connection->signalMatch.receive(), signalRule.c_str(), &onSignal,
                             this);
    }
    if (r >= 0) {
        r = sd_bus_match_signal(bus, connection->disconnectMatch.receive(),
                                "org.freedesktop.DBus.Local", "/org/freedesktop/DBus/Local",
                                "org.freedesktop.DBus.Local", "Disconnected", &onDisconnected,
                                this);
    }
    if (r >= 0) {
        r = sd_bus_attach_event(bus, m_loop.get(), SD_EVENT_PRIORITY_NORMAL);
    }
    if (r < 0) {
        return false;
    }
    if (m_connection) {
        sd_bus_detach_event(m_connection->bus.get());
    }
    m_connection = std::move(connection);
    return true;
}

ProxyRef ManagerLink::lookUp(const std::string& registeredName) {
    if (registeredName != kManagerLocator.name || !connect()) {
        return ProxyRef();
    }
    BusMessagePtr reply;
    BusError error;
    const int r = [&] {
        const TerminationSignalsHeld held;
        return sd_bus_call_method(m_connection->bus.get(), "org.freedesktop.DBus",
                                  "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner",
                                  error.get(), reply.receive(), "s", kManagerLocator.name);
    }();
    const char* owner = nullptr;
    if (r < 0 || sd_bus_message_read(reply.get(), "s", &owner) < 0 || owner == nullptr) {
        // NameHasNoOwner, or a bus that went away: nobody to talk to now. A lost bus is
        // the next lookup's to open again.
        if (sd_bus_is_open(m_connection->bus.get()) <= 0) {
            disconnected();
        }
        return ProxyRef();
    }
    m_owner = owner;
    auto proxy = std::make_shared<Proxy>(m_connection, m_owner);
    m_issued.push_back(proxy);
    return ProxyRef(proxy);
}

void ManagerLink::announceDeath(const std::function<bool(const Proxy&)>& bound) {
    std::vector<const void*> dead;
    for (const auto& proxy : m_issued) {
        if (!proxy->announced && bound(*proxy)) {
            proxy->announced = true;
            dead.push_back(proxy.get());
        }
    }
    if (dead.empty()) {
        return;
    }
    // On the next turn: the agent's answer is a lookup, a bus call of its own, which
    // must not run inside the bus's dispatch of this signal.
    m_mainQueue.post(m_lifetime.guard(*this, [dead](ManagerLink& link) {
        for (const void* proxy : dead) {
            link.m_defaultCenter.postNotificationName(NSConnectionDidDieNotification, proxy);
        }
    }));
}

void ManagerLink::ownerChanged(const std::string& oldOwner, const std::string& newOwner) {
    m_owner = newOwner;
    if (!oldOwner.empty()) {
        announceDeath([&](const Proxy& proxy) { return proxy.owner() == oldOwner; });
    }
}

void ManagerLink::disconnected() {
    if (!m_connection) {
        return;
    }
    m_connection->broken = true;
    const Connection* lost = m_connection.get();
    m_owner.clear();
    announceDeath([lost](const Proxy& proxy) { return proxy.connection() == lost; });
}

void ManagerLink::signalArrived(sd_bus_message* message) {
    const char* sender = sd_bus_message_get_sender(message);
    if (sender == nullptr || m_owner.empty() || m_owner != sender) {
        ++m_ignoredSignals;
        return;
    }
    Value userInfo;
    if (readUserInfo(message, userInfo) < 0) {
        return;
    }
    const char* member = sd_bus_message_get_member(message);
    m_distributedCenter.postNotification(NSNotification{member, nullptr, userInfo});
}

int ManagerLink::onOwnerChanged(sd_bus_message* message, void* userdata, sd_bus_error*) {
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    if (sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) >= 0) {
        static_cast<ManagerLink*>(userdata)->ownerChanged(oldOwner, newOwner);
    }
    return 0;
}

int ManagerLink::onSignal(sd_bus_message* message, void* userdata, sd_bus_error*) {
    static_cast<ManagerLink*>(userdata)->signalArrived(message);
    return 0;
}

int ManagerLink::onDisconnected(sd_bus_message*, void* userdata, sd_bus_error*) {
    static_cast<ManagerLink*>(userdata)->disconnected();
    return 0;
}

}  // namespace qn::platform::linux_host
