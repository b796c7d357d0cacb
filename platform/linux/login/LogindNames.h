#pragma once
// Where logind is on the system bus: its name, objects, interfaces and the error names
// the backend tells apart.

namespace qn::platform::linux_host::login {

struct LogindNames {
    static constexpr const char* service = "org.freedesktop.login1";
    static constexpr const char* managerPath = "/org/freedesktop/login1";
    static constexpr const char* managerInterface = "org.freedesktop.login1.Manager";
    static constexpr const char* sessionInterface = "org.freedesktop.login1.Session";
    static constexpr const char* userInterface = "org.freedesktop.login1.User";
    static constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";
    static constexpr const char* noSessionForPid = "org.freedesktop.login1.NoSessionForPID";
};

}  // namespace qn::platform::linux_host::login
