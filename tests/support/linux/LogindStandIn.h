#pragma once
// logind's stand-in for tests: python3-dbusmock's logind template on a PrivateBus, with
// what the template lacks (GetSessionByPID, GetUserByPID) added through the mock's own
// methods, and the announcements a test needs (PrepareForSleep, PrepareForShutdown,
// session property changes). Ready once it owns org.freedesktop.login1; stopped and
// reaped with the object.

#include <systemd/sd-bus.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/linux/PrivateBus.h"

namespace qn::testing::linux_host {

struct HeldInhibitor {
    std::string what, who, why, mode;
};

class LogindStandIn {
  public:
    static constexpr const char* kService = "org.freedesktop.login1";
    static constexpr const char* kManagerPath = "/org/freedesktop/login1";

    // Throws std::runtime_error when the stand-in does not come up.
    explicit LogindStandIn(const PrivateBus& bus);
    ~LogindStandIn();

    // The stand-in's control connection (also usable to watch the bus).
    sd_bus* control() const { return m_control.get(); }
    // The unique name the stand-in owns logind's name with.
    const std::string& uniqueName() const { return m_uniqueName; }

    // A session of the template ("Class" "user", "Type" "test"); its object path.
    std::string addSession(const std::string& id, std::uint32_t uid, const std::string& user,
                           bool active);
    // GetSessionByPID answers this path for every process.
    void answerSessionByPid(const std::string& sessionPath);
    // GetSessionByPID fails with NoSessionForPID, as it does for a systemd user service.
    void answerNoSessionForPid();
    // GetUserByPID answers this user (by uid); without it, it fails with NoUserForPID.
    void answerUserByPid(std::uint32_t uid);
    // The user's "Display" session (id and path; "" and "/" for none).
    void setUserDisplay(std::uint32_t uid, const std::string& sessionId,
                        const std::string& sessionPath);

    // Changes a session's property and announces it with PropertiesChanged.
    void setSessionActive(const std::string& sessionPath, bool active);
    void setSessionClass(const std::string& sessionPath, const std::string& sessionClass);

    // A PropertiesChanged of the session's Active alone, leaving the property as it is:
    // with a value, or (none) naming it as changed without one, as a service does for a
    // property whose value it does not send.
    void emitActiveChanged(const std::string& sessionPath, std::optional<bool> active);

    void emitPrepareForSleep(bool start);
    void emitPrepareForShutdown(bool start);

    // The delay and block locks the stand-in holds now.
    std::vector<HeldInhibitor> inhibitors();
    // Names of the methods called on the manager object, in order.
    std::vector<std::string> managerCalls();

    // Ends the stand-in (logind leaves the bus).
    void stop();
    const std::string& logPath() const { return m_logPath; }

  private:
    void mockCall(const char* path, const char* member, const char* types, ...);
    void addManagerMethod(const char* name, const char* in, const char* out,
                          const std::string& code);

    BusConnection m_control;
    std::string m_logPath;
    std::unique_ptr<test::ChildProcess> m_mock;
    std::string m_uniqueName;
};

}  // namespace qn::testing::linux_host
