#pragma once
// logind's announcements turned into the workspace notifications the agent observes:
// PrepareForSleep(true / false) into will-sleep / did-wake, PrepareForShutdown(true) into
// will-power-off, the session's Active turning true / false into became-active /
// resigned-active. A sleep delay lock is held between wakes and let go once the sleep
// notification has been delivered.
//
// The bus is borrowed and driven by whoever owns it (the main loop, or a test calling
// sd_bus_process); the callbacks run there. The centre must deliver before
// postNotification returns, or the lock would be let go before the Manager heard.

#include <systemd/sd-bus.h>

#include <string>

#include "platform/Foundation.h"
#include "platform/linux/bus/BusHandles.h"
#include "platform/linux/login/LoginSession.h"
#include "platform/linux/login/LogindOwner.h"
#include "platform/linux/login/SleepInhibitor.h"

namespace qn::platform::linux_host::login {

class LoginEvents {
  public:
    // All three stay the caller's and must outlive this object.
    LoginEvents(sd_bus* bus, LoginSession& session, NSNotificationCenter& workspace);
    LoginEvents(const LoginEvents&) = delete;
    LoginEvents& operator=(const LoginEvents&) = delete;

    // False when one of the matches could not be sent, or once the bus has refused one:
    // some events will not arrive.
    bool watching() const {
        return m_sleepMatch && m_shutdownMatch && m_propertiesMatch && m_refusedMatches == 0;
    }
    // Asks logind for the sleep delay lock without waiting; kept from then on between
    // wakes, and asked for again from a new logind. Not asked for by the constructor: at
    // start the agent's own session lookups go to logind first.
    void holdSleepLock();
    bool holdsSleepLock() const { return m_inhibitor.held(); }
    // True once the bus has confirmed every match and said who logind is: from then on
    // no announcement is missed. Until then the loop has not yet processed the answers.
    bool listening() const { return m_installedMatches == 3 && m_owner.answered(); }

  private:
    static int onPrepareForSleep(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int onPrepareForShutdown(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int onPropertiesChanged(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int onMatchInstalled(sd_bus_message* reply, void* userdata, sd_bus_error* error);

    void logindChanged(const std::string& owner);
    void prepareForSleep(bool sleeping);
    void sessionActive(bool active);

    LoginSession& m_session;
    NSNotificationCenter& m_workspace;
    // Declared before the matches: their callbacks use it.
    LogindOwner m_owner;
    SleepInhibitor m_inhibitor;
    BusSlotPtr m_sleepMatch;
    BusSlotPtr m_shutdownMatch;
    BusSlotPtr m_propertiesMatch;
    int m_refusedMatches = 0;
    int m_installedMatches = 0;
    bool m_sleeping = false;
};

}  // namespace qn::platform::linux_host::login
