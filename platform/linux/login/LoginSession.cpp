#include "platform/linux/login/LoginSession.h"

#include <cstring>

#include "platform/linux/bus/BusHandles.h"
#include "platform/linux/bus/TerminationSignalsHeld.h"
#include "platform/linux/login/LogindNames.h"
#include "platform/linux/login/SessionId.h"

namespace qn::platform::linux_host::login {

namespace {

// Reads a variant's one basic value when it has the expected signature; skips it
// otherwise, so a property of an unexpected type is left at its default.
template <typename T>
bool readVariant(sd_bus_message* m, const char* contents, char type, T* out) {
    const char signature[2] = {type, '\0'};
    if (std::strcmp(contents, signature) != 0) {
        return sd_bus_message_skip(m, "v") >= 0;
    }
    return sd_bus_message_enter_container(m, 'v', signature) >= 0 &&
           sd_bus_message_read_basic(m, type, out) >= 0 && sd_bus_message_exit_container(m) >= 0;
}

bool readStringVariant(sd_bus_message* m, const char* contents, std::string& out) {
    const char* text = nullptr;
    if (!readVariant(m, contents, 's', &text)) {
        return false;
    }
    if (text) {
        out = text;
    }
    return true;
}

bool readBoolVariant(sd_bus_message* m, const char* contents, bool& out) {
    int value = out ? 1 : 0;
    if (!readVariant(m, contents, 'b', &value)) {
        return false;
    }
    out = value != 0;
    return true;
}

// "User" is (uo): the uid and the user's object.
bool readUserVariant(sd_bus_message* m, const char* contents, std::uint32_t& uid) {
    if (std::strcmp(contents, "(uo)") != 0) {
        return sd_bus_message_skip(m, "v") >= 0;
    }
    const char* path = nullptr;
    return sd_bus_message_read(m, "v", "(uo)", &uid, &path) >= 0;
}

bool readProperty(sd_bus_message* m, const std::string& key, SessionRecord& record) {
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(m, nullptr, &contents) < 0 || !contents) {
        return false;
    }
    if (key == "Id") {
        return readStringVariant(m, contents, record.id);
    }
    if (key == "Active") {
        return readBoolVariant(m, contents, record.active);
    }
    if (key == "Class") {
        return readStringVariant(m, contents, record.sessionClass);
    }
    if (key == "Type") {
        return readStringVariant(m, contents, record.type);
    }
    if (key == "Name") {
        return readStringVariant(m, contents, record.userName);
    }
    if (key == "Remote") {
        return readBoolVariant(m, contents, record.remote);
    }
    if (key == "User") {
        return readUserVariant(m, contents, record.uid);
    }
    return sd_bus_message_skip(m, "v") >= 0;
}

std::optional<SessionRecord> parseSessionProperties(sd_bus_message* m) {
    if (sd_bus_message_enter_container(m, 'a', "{sv}") < 0) {
        return std::nullopt;
    }
    SessionRecord record;
    for (;;) {
        const int entered = sd_bus_message_enter_container(m, 'e', "sv");
        if (entered < 0) {
            return std::nullopt;
        }
        if (entered == 0) {
            break;
        }
        const char* key = nullptr;
        if (sd_bus_message_read_basic(m, 's', &key) < 0 || !readProperty(m, key, record) ||
            sd_bus_message_exit_container(m) < 0) {
            return std::nullopt;
        }
    }
    if (sd_bus_message_exit_container(m) < 0) {
        return std::nullopt;
    }
    return record;
}

std::optional<std::string> readObjectPath(sd_bus_message* reply) {
    const char* path = nullptr;
    if (sd_bus_message_read(reply, "o", &path) < 0 || !path) {
        return std::nullopt;
    }
    return std::string(path);
}

}  // namespace

LoginSession::LoginSession(sd_bus* bus, pid_t pid) : m_bus(bus), m_pid(pid) {}

std::optional<std::string> LoginSession::findSessionPath() {
    // A process never leaves the session it was started in; only the fallback, the
    // user's display session, can change between questions.
    if (m_ownSessionPath) {
        return m_ownSessionPath;
    }
    const TerminationSignalsHeld held;
    BusError error;
    BusMessagePtr reply;
    const int r = sd_bus_call_method(m_bus, LogindNames::service, LogindNames::managerPath,
                                     LogindNames::managerInterface, "GetSessionByPID", error.get(),
                                     reply.receive(), "u", static_cast<std::uint32_t>(m_pid));
    std::optional<std::string> path;
    if (r >= 0) {
        path = readObjectPath(reply.get());
        m_ownSessionPath = path;
    } else if (error.has(LogindNames::noSessionForPid)) {
        path = userDisplaySessionPath();
    }
    if (path && *path != m_lastSessionPath) {
        m_lastSessionPath = *path;
        m_lastActive.reset();
    }
    return path;
}

std::optional<std::string> LoginSession::userDisplaySessionPath() {
    BusError error;
    BusMessagePtr reply;
    if (sd_bus_call_method(m_bus, LogindNames::service, LogindNames::managerPath,
                           LogindNames::managerInterface, "GetUserByPID", error.get(),
                           reply.receive(), "u", static_cast<std::uint32_t>(m_pid)) < 0) {
        return std::nullopt;
    }
    const auto userPath = readObjectPath(reply.get());
    if (!userPath) {
        return std::nullopt;
    }
    BusError displayError;
    BusMessagePtr display;
    if (sd_bus_get_property(m_bus, LogindNames::service, userPath->c_str(),
                            LogindNames::userInterface, "Display", displayError.get(),
                            display.receive(), "(so)") < 0) {
        return std::nullopt;
    }
    const char* id = nullptr;
    const char* path = nullptr;
    if (sd_bus_message_read(display.get(), "(so)", &id, &path) < 0 || !path) {
        return std::nullopt;
    }
    // A user without a graphical session has the root path here.
    if (std::strcmp(path, "/") == 0) {
        return std::nullopt;
    }
    return std::string(path);
}

std::optional<SessionRecord> LoginSession::readSession(const std::string& path) {
    const TerminationSignalsHeld held;
    BusError error;
    BusMessagePtr reply;
    if (sd_bus_call_method(m_bus, LogindNames::service, path.c_str(),
                           LogindNames::propertiesInterface, "GetAll", error.get(), reply.receive(),
                           "s", LogindNames::sessionInterface) < 0) {
        return std::nullopt;
    }
    return parseSessionProperties(reply.get());
}

std::optional<SessionRecord> LoginSession::currentSession() {
    const auto path = findSessionPath();
    if (!path) {
        return std::nullopt;
    }
    auto record = readSession(*path);
    if (record) {
        m_lastActive = record->active;
    }
    return record;
}

Value LoginSession::copyCurrentDictionary() {
    return sessionDictionary(currentSession());
}

OSStatus LoginSession::sessionGetInfo(SecuritySessionId session, SecuritySessionId* sessionId,
                                      SessionAttributeBits* attributes) {
    const auto record = currentSession();
    if (!record) {
        return errSessionInvalidId;
    }
    const SecuritySessionId id = securitySessionIdFromLogindId(record->id);
    if (session != callerSecuritySession && session != id) {
        return errSessionInvalidId;
    }
    *sessionId = id;
    *attributes = sessionAttributes(*record);
    return errSessionSuccess;
}

}  // namespace qn::platform::linux_host::login
