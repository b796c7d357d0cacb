#include "platform/linux/login/LoginEvents.h"

#include <cstring>
#include <optional>
#include <string>

#include "platform/AppKit.h"
#include "platform/linux/login/LogindNames.h"

namespace qn::platform::linux_host::login {

namespace {

bool readFlag(sd_bus_message* message, bool& flag) {
    int value = 0;
    if (sd_bus_message_read(message, "b", &value) < 0) {
        return false;
    }
    flag = value != 0;
    return true;
}

// Active from a PropertiesChanged of the session interface (after its interface
// argument): its new value, or "changed, value not sent" as invalidated.
struct ActiveChange {
    std::optional<bool> value;
    bool invalidated = false;
};

bool readActiveChange(sd_bus_message* m, ActiveChange& change) {
    if (sd_bus_message_enter_container(m, 'a', "{sv}") < 0) {
        return false;
    }
    for (;;) {
        const int entered = sd_bus_message_enter_container(m, 'e', "sv");
        if (entered < 0) {
            return false;
        }
        if (entered == 0) {
            break;
        }
        const char* key = nullptr;
        if (sd_bus_message_read_basic(m, 's', &key) < 0) {
            return false;
        }
        const char* contents = nullptr;
        if (std::strcmp(key, "Active") == 0 &&
            sd_bus_message_peek_type(m, nullptr, &contents) >= 0 && contents &&
            std::strcmp(contents, "b") == 0) {
            int value = 0;
            if (sd_bus_message_read(m, "v", "b", &value) < 0) {
                return false;
            }
            change.value = value != 0;
        } else if (sd_bus_message_skip(m, "v") < 0) {
            return false;
        }
        if (sd_bus_message_exit_container(m) < 0) {
            return false;
        }
    }
    if (sd_bus_message_exit_container(m) < 0 || sd_bus_message_enter_container(m, 'a', "s") < 0) {
        return false;
    }
    const char* name = nullptr;
    int r = 0;
    while ((r = sd_bus_message_read_basic(m, 's', &name)) > 0) {
        if (std::strcmp(name, "Active") == 0) {
            change.invalidated = true;
        }
    }
    return r == 0 && sd_bus_message_exit_container(m) >= 0;
}

}  // namespace

LoginEvents::LoginEvents(sd_bus* bus, LoginSession& session, NSNotificationCenter& workspace)
    : m_session(session),
      m_workspace(workspace),
      m_owner(bus, [this](const std::string& owner) { logindChanged(owner); }),
      m_inhibitor(bus) {
    // Nothing here is waited for: the daemon handles the connection's messages in order,
    // so the matches stand before any later call on this connection is answered (the
    // session lookups the agent makes next), and the lock follows on the loop.
    sd_bus_match_signal_async(bus, m_sleepMatch.receive(), LogindNames::service,
                              LogindNames::managerPath, LogindNames::managerInterface,
                              "PrepareForSleep", &LoginEvents::onPrepareForSleep,
                              &LoginEvents::onMatchInstalled, this);
    sd_bus_match_signal_async(bus, m_shutdownMatch.receive(), LogindNames::service,
                              LogindNames::managerPath, LogindNames::managerInterface,
                              "PrepareForShutdown", &LoginEvents::onPrepareForShutdown,
                              &LoginEvents::onMatchInstalled, this);
    // Every session's changes: the session is found by path in the callback, because it
    // may not exist yet when the agent starts.
    sd_bus_add_match_async(bus, m_propertiesMatch.receive(),
                           "type='signal',sender='org.freedesktop.login1',"
                           "interface='org.freedesktop.DBus.Properties',member='PropertiesChanged',"
                           "arg0='org.freedesktop.login1.Session'",
                           &LoginEvents::onPropertiesChanged, &LoginEvents::onMatchInstalled, this);
}

void LoginEvents::holdSleepLock() {
    // A lock asked for while a sleep is under way would only hold that sleep up; the
    // wake takes one.
    if (!m_sleeping) {
        m_inhibitor.takeSoon();
    }
}

int LoginEvents::onMatchInstalled(sd_bus_message* reply, void* userdata, sd_bus_error*) {
    auto* self = static_cast<LoginEvents*>(userdata);
    // A refused match means some events will never arrive. The library's own timeout is
    // no refusal: the daemon answers a match at once, and the answer only waited in the
    // queue while this thread was blocked elsewhere.
    if (sd_bus_message_is_method_error(reply, nullptr) &&
        !sd_bus_message_is_method_error(reply, SD_BUS_ERROR_NO_REPLY)) {
        self->m_refusedMatches++;
    } else {
        self->m_installedMatches++;
    }
    return 0;
}

void LoginEvents::logindChanged(const std::string& owner) {
    // A lock dies with the logind that granted it; a new logind knows nothing of it.
    m_inhibitor.release();
    if (!owner.empty()) {
        holdSleepLock();
    }
}

int LoginEvents::onPrepareForSleep(sd_bus_message* message, void* userdata, sd_bus_error*) {
    auto* self = static_cast<LoginEvents*>(userdata);
    bool sleeping = false;
    if (self->m_owner.sentByOwner(message) && readFlag(message, sleeping)) {
        self->prepareForSleep(sleeping);
    }
    return 0;
}

void LoginEvents::prepareForSleep(bool sleeping) {
    m_sleeping = sleeping;
    if (sleeping) {
        m_workspace.postNotificationName(NSWorkspaceWillSleepNotification, nullptr);
        m_inhibitor.release();
    } else {
        // Ready for the next sleep before anyone hears of this wake.
        m_inhibitor.take();
        m_workspace.postNotificationName(NSWorkspaceDidWakeNotification, nullptr);
    }
}

int LoginEvents::onPrepareForShutdown(sd_bus_message* message, void* userdata, sd_bus_error*) {
    auto* self = static_cast<LoginEvents*>(userdata);
    bool shuttingDown = false;
    // false is a shutdown called off: nothing to report.
    if (self->m_owner.sentByOwner(message) && readFlag(message, shuttingDown) && shuttingDown) {
        self->m_workspace.postNotificationName(NSWorkspaceWillPowerOffNotification, nullptr);
    }
    return 0;
}

int LoginEvents::onPropertiesChanged(sd_bus_message* message, void* userdata, sd_bus_error*) {
    auto* self = static_cast<LoginEvents*>(userdata);
    if (!self->m_owner.sentByOwner(message)) {
        return 0;
    }
    const char* path = sd_bus_message_get_path(message);
    std::string sessionPath = self->m_session.lastSessionPath();
    if (sessionPath.empty()) {
        sessionPath = self->m_session.findSessionPath().value_or(std::string());
    }
    const char* interface = nullptr;
    if (!path || sessionPath != path || sd_bus_message_read(message, "s", &interface) < 0) {
        return 0;
    }
    ActiveChange change;
    if (!readActiveChange(message, change)) {
        return 0;
    }
    if (!change.value && change.invalidated) {
        if (const auto record = self->m_session.readSession(sessionPath)) {
            change.value = record->active;
        }
    }
    if (change.value) {
        self->sessionActive(*change.value);
    }
    return 0;
}

void LoginEvents::sessionActive(bool active) {
    // logind repeats nothing, but the agent may already have read this state itself.
    if (m_session.lastActive() == active) {
        return;
    }
    m_session.noteActive(active);
    m_workspace.postNotificationName(active ? NSWorkspaceSessionDidBecomeActiveNotification
                                            : NSWorkspaceSessionDidResignActiveNotification,
                                     nullptr);
}

}  // namespace qn::platform::linux_host::login
