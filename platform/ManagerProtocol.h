#pragma once
// The protocol between an agent and the Manager, as one C++ interface: the 14 calls of
// QNUAMessageHandlerProtocol with their argument types, and the 5 notification names
// the Manager broadcasts with their userInfo keys. The agent calls it through
// QNUAMessageHandlerProxy; the simulated Manager and the D-Bus link decode the wire form
// back into it with decodeManagerCall, so both ends read one table.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Foundation.h"
#include "platform/Quartz.h"
#include "platform/Value.h"

namespace qn::platform {

inline constexpr const char* kManagerRegisteredName = "com.quintor.QuintorManager";
inline constexpr const char* kManagerProtocolName = "QNUAMessageHandlerProtocol";

// The selectors are the method names, colons joined by '_'. None returns a value; each
// blocks until the Manager has processed it or throws ProxyException.
class QNUAMessageHandlerProtocol {
  public:
    virtual ~QNUAMessageHandlerProtocol() = default;
    // 1: session type 0 ordinary, 1 pre-login.
    virtual void started_withSessionType(std::uint32_t sessionId, std::uint32_t sessionType) = 0;
    // 2
    virtual void closing() = 0;
    // 3, declared only: no agent of this version calls it.
    virtual void displaysChangedSleepState() = 0;
    // 4
    virtual void onDisplay_reconfigurationWithFlags_andBounds_andFramebufferIndex_andRefreshRate(
        CGDirectDisplayID display, std::uint32_t flags, CGRect bounds,
        std::uint32_t framebufferIndex, double refreshRate) = 0;
    // 5
    virtual void onRectRefreshed_onDisplayID(CGRect rect, CGDirectDisplayID display) = 0;
    // 6
    virtual void onRectMoved_byADelta_andLastFlag(CGRect rect, CGScreenUpdateMoveDelta delta,
                                                  bool lastFlag) = 0;
    // 7, declared only.
    virtual void setUserZoomMode() = 0;
    // 8, spelled so on both ends.
    virtual void setSleepMode_witUserZoom(bool displaysAsleep, bool userZoom) = 0;
    // 9, declared only.
    virtual void setPasswordRequiredSetting(bool required) = 0;
    // 10
    virtual void systemWillSleep() = 0;
    // 11
    virtual void systemWillWake() = 0;
    // 12
    virtual void userWillLogout(std::uint32_t sessionId) = 0;
    // 13
    virtual void userWillLogin(std::uint32_t sessionId) = 0;
    // 14
    virtual void frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
        CGDirectDisplayID display, CGRect rect, std::uint64_t frameSurfaceAddr,
        std::uint32_t byteStride, std::uint64_t token) = 0;
};

// How an argument travels as a Value: UInt32 and UInt64 as integer numbers, Double as a
// floating-point number, Boolean as a boolean, Rect as an array of four numbers (x, y,
// width, height), Delta as an array of two integers (dX, dY).
enum class ManagerArgument { UInt32, UInt64, Double, Boolean, Rect, Delta };

struct ManagerMethod {
    const char* selector;  // the Objective-C selector, colons and all
    std::vector<ManagerArgument> arguments;
};

// The 14 methods in declared order.
const std::vector<ManagerMethod>& managerMethods();
// The method of the selector, or null.
const ManagerMethod* findManagerMethod(const std::string& selector);

// Whether the selector is one of the protocol's and the arguments have its types.
bool isManagerCall(const std::string& selector, const std::vector<Value>& arguments);

// Calls the matching method of `target` with the decoded arguments; false (and no call)
// when the selector is unknown or the arguments do not have the method's types.
bool decodeManagerCall(const std::string& selector, const std::vector<Value>& arguments,
                       QNUAMessageHandlerProtocol& target);

// The agent's side: each method is one synchronous call on the proxy. An empty proxy
// makes every call a silent no-op, as a message to nil.
class QNUAMessageHandlerProxy : public QNUAMessageHandlerProtocol {
  public:
    QNUAMessageHandlerProxy() = default;
    explicit QNUAMessageHandlerProxy(ProxyRef proxy) : m_proxy(std::move(proxy)) {}
    const ProxyRef& proxy() const { return m_proxy; }
    explicit operator bool() const { return static_cast<bool>(m_proxy); }

    void started_withSessionType(std::uint32_t sessionId, std::uint32_t sessionType) override;
    void closing() override;
    void displaysChangedSleepState() override;
    void onDisplay_reconfigurationWithFlags_andBounds_andFramebufferIndex_andRefreshRate(
        CGDirectDisplayID display, std::uint32_t flags, CGRect bounds,
        std::uint32_t framebufferIndex, double refreshRate) override;
    void onRectRefreshed_onDisplayID(CGRect rect, CGDirectDisplayID display) override;
    void onRectMoved_byADelta_andLastFlag(CGRect rect, CGScreenUpdateMoveDelta delta,
                                          bool lastFlag) override;
    void setUserZoomMode() override;
    void setSleepMode_witUserZoom(bool displaysAsleep, bool userZoom) override;
    void setPasswordRequiredSetting(bool required) override;
    void systemWillSleep() override;
    void systemWillWake() override;
    void userWillLogout(std::uint32_t sessionId) override;
    void userWillLogin(std::uint32_t sessionId) override;
    void frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
        CGDirectDisplayID display, CGRect rect, std::uint64_t frameSurfaceAddr,
        std::uint32_t byteStride, std::uint64_t token) override;

  private:
    ProxyRef m_proxy;
};

// Notifications from the Manager (distributed, object nil) and their userInfo keys.
inline constexpr const char* QNM_Notification_Sw_Update_Required =
    "QNM_Notification_Sw_Update_Required";
inline constexpr const char* QNM_Notification_Devicekey = "QNM_Notification_Devicekey";
inline constexpr const char* QNM_Notification_Monitor_Mode_Restricted =
    "QNM_Notification_Monitor_Mode_Restricted";
inline constexpr const char* QNM_Notification_Monitor_Mode_Restricted_Monitor1 =
    "QNM_Notification_Monitor_Mode_Restricted_Monitor1";
inline constexpr const char* QNM_Notification_Monitor_Mode_Restricted_Monitor2 =
    "QNM_Notification_Monitor_Mode_Restricted_Monitor2";
inline constexpr const char* QNM_Notification_Monitor_Mode_Restricted_Hres =
    "QNM_Notification_Monitor_Mode_Restricted_Hres";
inline constexpr const char* QNM_Notification_Monitor_Mode_Restricted_Vres =
    "QNM_Notification_Monitor_Mode_Restricted_Vres";
inline constexpr const char* QNM_Notification_Start_Display_Stream =
    "QNM_Notification_Start_Display_Stream";
inline constexpr const char* QNM_Notification_Stop_Display_Stream =
    "QNM_Notification_Stop_Display_Stream";
inline constexpr const char* QNM_Notification_Release_Frame_Surface =
    "QNM_Notification_Release_Frame_Surface";
inline constexpr const char* QNM_Notification_Display_Stream_DisplayID =
    "QNM_Notification_Display_Stream_DisplayID";
inline constexpr const char* QNM_Notification_Display_Stream_FrameBufferIndex =
    "QNM_Notification_Display_Stream_FrameBufferIndex";
inline constexpr const char* QNM_Notification_Display_Stream_Token =
    "QNM_Notification_Display_Stream_Token";
inline constexpr const char* QNM_Notification_Display_Stream_FrameSurfaceAddr =
    "QNM_Notification_Display_Stream_FrameSurfaceAddr";

struct ManagerNotification {
    const char* name;
    // userInfo keys with the type they are read as.
    struct Key {
        const char* key;
        Value::Type type;
    };
    std::vector<Key> keys;
};

// The 5 notifications, in the order the agent registers for them.
const std::vector<ManagerNotification>& managerNotifications();

}  // namespace qn::platform
