#include "tests/support/linux/LogindStandIn.h"

#include <cstdarg>
#include <stdexcept>

namespace qn::testing::linux_host {

namespace {

constexpr const char* kMockInterface = "org.freedesktop.DBus.Mock";
constexpr const char* kManagerInterface = "org.freedesktop.login1.Manager";
constexpr const char* kSessionInterface = "org.freedesktop.login1.Session";

std::string userPath(std::uint32_t uid) {
    return "/org/freedesktop/login1/user/" + std::to_string(uid);
}

struct Reply {
    sd_bus_message* message = nullptr;
    ~Reply() { sd_bus_message_unref(message); }
};

struct Error {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    ~Error() { sd_bus_error_free(&error); }
};

[[noreturn]] void fail(const std::string& what, const Error& error) {
    throw std::runtime_error("logind stand-in: " + what + ": " +
                             (error.error.message ? error.error.message : "failed"));
}

// The owner of the name, or "" when it has none yet.
std::string nameOwner(sd_bus* bus, const char* name) {
    Error error;
    Reply reply;
    if (sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "GetNameOwner", &error.error, &reply.message,
                           "s", name) < 0) {
        return {};
    }
    const char* owner = nullptr;
    sd_bus_message_read(reply.message, "s", &owner);
    return owner ? owner : "";
}

int onOwnerChanged(sd_bus_message* message, void* userdata, sd_bus_error*) {
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    if (sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) >= 0) {
        *static_cast<std::string*>(userdata) = newOwner;
    }
    return 0;
}

}  // namespace

LogindStandIn::LogindStandIn(const PrivateBus& bus)
    : m_control(bus.connect()), m_logPath(bus.directory() + "/logind-stand-in.log") {
    sd_bus_slot* slot = nullptr;
    std::string owner;
    // Watch before starting it, so the moment it takes the name is not missed.
    if (sd_bus_add_match(m_control.get(), &slot,
                         "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',"
                         "arg0='org.freedesktop.login1'",
                         onOwnerChanged, &owner) < 0) {
        throw std::runtime_error("logind stand-in: cannot watch the bus");
    }
    test::ChildProcess::Options options;
    options.argv = {"/usr/bin/python3", "-m", "dbusmock", "--template", "logind"};
    options.environment = {"DBUS_SYSTEM_BUS_ADDRESS=" + bus.address()};
    options.logPath = m_logPath;
    m_mock = std::make_unique<test::ChildProcess>(options);
    const bool up = processUntil(m_control.get(), [&] {
        if (owner.empty()) {
            owner = nameOwner(m_control.get(), kService);
        }
        return !owner.empty() || !m_mock->running();
    });
    sd_bus_slot_unref(slot);
    if (!up || owner.empty()) {
        throw std::runtime_error("logind stand-in did not come up: " + readWholeFile(m_logPath));
    }
    m_uniqueName = owner;
}

LogindStandIn::~LogindStandIn() {
    stop();
}

void LogindStandIn::stop() {
    if (m_mock) {
        m_mock->stop();
    }
}

void LogindStandIn::mockCall(const char* path, const char* member, const char* types, ...) {
    Error error;
    Reply reply;
    sd_bus_message* call = nullptr;
    int r = sd_bus_message_new_method_call(m_control.get(), &call, kService, path, kMockInterface,
                                           member);
    if (r >= 0) {
        va_list ap;
        va_start(ap, types);
        r = sd_bus_message_appendv(call, types, ap);
        va_end(ap);
    }
    if (r >= 0) {
        r = sd_bus_call(m_control.get(), call, 0, &error.error, &reply.message);
    }
    sd_bus_message_unref(call);
    if (r < 0) {
        fail(member, error);
    }
}

void LogindStandIn::addManagerMethod(const char* name, const char* in, const char* out,
                                     const std::string& code) {
    mockCall(kManagerPath, "AddMethod", "sssss", kManagerInterface, name, in, out, code.c_str());
}

std::string LogindStandIn::addSession(const std::string& id, std::uint32_t uid,
                                      const std::string& user, bool active) {
    mockCall(kManagerPath, "AddSession", "ssusb", id.c_str(), "seat0", uid, user.c_str(),
             active ? 1 : 0);
    return "/org/freedesktop/login1/session/" + id;
}

void LogindStandIn::answerSessionByPid(const std::string& sessionPath) {
    addManagerMethod("GetSessionByPID", "u", "o", "ret = '" + sessionPath + "'");
}

void LogindStandIn::answerNoSessionForPid() {
    addManagerMethod("GetSessionByPID", "u", "o",
                     "raise dbus.exceptions.DBusException('PID %u does not belong to any known "
                     "session' % args[0], name='org.freedesktop.login1.NoSessionForPID')");
}

void LogindStandIn::answerUserByPid(std::uint32_t uid) {
    addManagerMethod("GetUserByPID", "u", "o", "ret = '" + userPath(uid) + "'");
}

void LogindStandIn::setUserDisplay(std::uint32_t uid, const std::string& sessionId,
                                   const std::string& sessionPath) {
    // Properties.Set rather than the mock's UpdateProperties, which cannot wrap a struct.
    Error error;
    Reply reply;
    if (sd_bus_call_method(m_control.get(), kService, userPath(uid).c_str(),
                           "org.freedesktop.DBus.Properties", "Set", &error.error, &reply.message,
                           "ssv", "org.freedesktop.login1.User", "Display", "(so)",
                           sessionId.c_str(), sessionPath.c_str()) < 0) {
        fail("Set Display", error);
    }
}

void LogindStandIn::setSessionActive(const std::string& sessionPath, bool active) {
    mockCall(sessionPath.c_str(), "UpdateProperties", "sa{sv}", kSessionInterface, 1, "Active", "b",
             active ? 1 : 0);
}

void LogindStandIn::setSessionClass(const std::string& sessionPath,
                                    const std::string& sessionClass) {
    mockCall(sessionPath.c_str(), "UpdateProperties", "sa{sv}", kSessionInterface, 1, "Class", "s",
             sessionClass.c_str());
}

void LogindStandIn::emitActiveChanged(const std::string& sessionPath, std::optional<bool> active) {
    if (active) {
        mockCall(sessionPath.c_str(), "EmitSignal", "sssav", "org.freedesktop.DBus.Properties",
                 "PropertiesChanged", "sa{sv}as", 3, "s", kSessionInterface, "a{sv}", 1, "Active",
                 "b", *active ? 1 : 0, "as", 0);
    } else {
        mockCall(sessionPath.c_str(), "EmitSignal", "sssav", "org.freedesktop.DBus.Properties",
                 "PropertiesChanged", "sa{sv}as", 3, "s", kSessionInterface, "a{sv}", 0, "as", 1,
                 "Active");
    }
}

void LogindStandIn::emitPrepareForSleep(bool start) {
    mockCall(kManagerPath, "EmitSignal", "sssav", kManagerInterface, "PrepareForSleep", "b", 1, "b",
             start ? 1 : 0);
}

void LogindStandIn::emitPrepareForShutdown(bool start) {
    mockCall(kManagerPath, "EmitSignal", "sssav", kManagerInterface, "PrepareForShutdown", "b", 1,
             "b", start ? 1 : 0);
}

std::vector<HeldInhibitor> LogindStandIn::inhibitors() {
    Error error;
    Reply reply;
    if (sd_bus_call_method(m_control.get(), kService, kManagerPath, kManagerInterface,
                           "ListInhibitors", &error.error, &reply.message, "") < 0) {
        fail("ListInhibitors", error);
    }
    std::vector<HeldInhibitor> held;
    if (sd_bus_message_enter_container(reply.message, 'a', "(ssssuu)") < 0) {
        throw std::runtime_error("logind stand-in: ListInhibitors reply unreadable");
    }
    const char *what, *who, *why, *mode;
    std::uint32_t uid, pid;
    while (sd_bus_message_read(reply.message, "(ssssuu)", &what, &who, &why, &mode, &uid, &pid) >
           0) {
        held.push_back({what, who, why, mode});
    }
    return held;
}

std::vector<std::string> LogindStandIn::managerCalls() {
    Error error;
    Reply reply;
    if (sd_bus_call_method(m_control.get(), kService, kManagerPath, kMockInterface, "GetCalls",
                           &error.error, &reply.message, "") < 0) {
        fail("GetCalls", error);
    }
    std::vector<std::string> names;
    sd_bus_message* m = reply.message;
    if (sd_bus_message_enter_container(m, 'a', "(tsav)") < 0) {
        throw std::runtime_error("logind stand-in: GetCalls reply unreadable");
    }
    while (sd_bus_message_enter_container(m, 'r', "tsav") > 0) {
        std::uint64_t when = 0;
        const char* name = nullptr;
        sd_bus_message_read(m, "ts", &when, &name);
        names.push_back(name);
        sd_bus_message_skip(m, "av");
        sd_bus_message_exit_container(m);
    }
    return names;
}

}  // namespace qn::testing::linux_host
