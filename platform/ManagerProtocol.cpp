#include "platform/ManagerProtocol.h"

namespace qn::platform {

namespace {

using A = ManagerArgument;

constexpr const char* kStarted = "started:withSessionType:";
constexpr const char* kClosing = "closing";
constexpr const char* kDisplaysChangedSleepState = "displaysChangedSleepState";
constexpr const char* kOnDisplay =
    "onDisplay:reconfigurationWithFlags:andBounds:andFramebufferIndex:andRefreshRate:";
constexpr const char* kOnRectRefreshed = "onRectRefreshed:onDisplayID:";
constexpr const char* kOnRectMoved = "onRectMoved:byADelta:andLastFlag:";
constexpr const char* kSetUserZoomMode = "setUserZoomMode";
constexpr const char* kSetSleepMode = "setSleepMode:witUserZoom:";
constexpr const char* kSetPasswordRequired = "setPasswordRequiredSetting:";
constexpr const char* kSystemWillSleep = "systemWillSleep";
constexpr const char* kSystemWillWake = "systemWillWake";
constexpr const char* kUserWillLogout = "userWillLogout:";
constexpr const char* kUserWillLogin = "userWillLogin:";
constexpr const char* kFrameAvailable =
    "frameAvailable:andRect:andFrameSurfaceAddr:andByteStride:andToken:";

Value u32(std::uint32_t v) {
    return Value::number(static_cast<std::int64_t>(v));
}
Value u64(std::uint64_t v) {
    return Value::number(static_cast<std::int64_t>(v));
}
Value rect(const CGRect& r) {
    return Value::array({Value::number(r.origin.x), Value::number(r.origin.y),
                         Value::number(r.size.width), Value::number(r.size.height)});
}
Value delta(const CGScreenUpdateMoveDelta& d) {
    return Value::array({Value::number(static_cast<std::int64_t>(d.dX)),
                         Value::number(static_cast<std::int64_t>(d.dY))});
}

bool hasType(const Value& v, ManagerArgument type) {
    switch (type) {
        case A::UInt32:
            return v.isNumber() && !v.isFloat() && v.longLongValue() >= 0 &&
                   v.longLongValue() <= 0xFFFFFFFFll;
        case A::UInt64:
            return v.isNumber() && !v.isFloat();
        case A::Double:
            return v.isNumber();
        case A::Boolean:
            return v.isBoolean();
        case A::Rect:
            if (!v.isArray() || v.count() != 4) {
                return false;
            }
            for (const auto& e : v.arrayValue()) {
                if (!e.isNumber()) {
                    return false;
                }
            }
            return true;
        case A::Delta:
            return v.isArray() && v.count() == 2 && v.arrayValue()[0].isNumber() &&
                   v.arrayValue()[1].isNumber() && !v.arrayValue()[0].isFloat() &&
                   !v.arrayValue()[1].isFloat();
    }
    return false;
}

CGRect toRect(const Value& v) {
    const auto& a = v.arrayValue();
    return CGRectMake(a[0].doubleValue(), a[1].doubleValue(), a[2].doubleValue(),
                      a[3].doubleValue());
}
CGScreenUpdateMoveDelta toDelta(const Value& v) {
    return CGScreenUpdateMoveDelta{v.arrayValue()[0].intValue(), v.arrayValue()[1].intValue()};
}

}  // namespace

const std::vector<ManagerMethod>& managerMethods() {
    static const std::vector<ManagerMethod> methods{
        {kStarted, {A::UInt32, A::UInt32}},
        {kClosing, {}},
        {kDisplaysChangedSleepState, {}},
        {kOnDisplay, {A::UInt32, A::UInt32, A::Rect, A::UInt32, A::Double}},
        {kOnRectRefreshed, {A::Rect, A::UInt32}},
        {kOnRectMoved, {A::Rect, A::Delta, A::Boolean}},
        {kSetUserZoomMode, {}},
        {kSetSleepMode, {A::Boolean, A::Boolean}},
        {kSetPasswordRequired, {A::Boolean}},
        {kSystemWillSleep, {}},
        {kSystemWillWake, {}},
        {kUserWillLogout, {A::UInt32}},
        {kUserWillLogin, {A::UInt32}},
        {kFrameAvailable, {A::UInt32, A::Rect, A::UInt64, A::UInt32, A::UInt64}},
    };
    return methods;
}

const ManagerMethod* findManagerMethod(const std::string& selector) {
    for (const auto& m : managerMethods()) {
        if (selector == m.selector) {
            return &m;
        }
    }
    return nullptr;
}

bool isManagerCall(const std::string& selector, const std::vector<Value>& args) {
    const ManagerMethod* method = findManagerMethod(selector);
    if (!method || method->arguments.size() != args.size()) {
        return false;
    }
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (!hasType(args[i], method->arguments[i])) {
            return false;
        }
    }
    return true;
}

bool decodeManagerCall(const std::string& selector, const std::vector<Value>& args,
                       QNUAMessageHandlerProtocol& t) {
    if (!isManagerCall(selector, args)) {
        return false;
    }
    const std::string& s = selector;
    if (s == kStarted) {
        t.started_withSessionType(args[0].unsignedIntValue(), args[1].unsignedIntValue());
    } else if (s == kClosing) {
        t.closing();
    } else if (s == kDisplaysChangedSleepState) {
        t.displaysChangedSleepState();
    } else if (s == kOnDisplay) {
        t.onDisplay_reconfigurationWithFlags_andBounds_andFramebufferIndex_andRefreshRate(
            args[0].unsignedIntValue(), args[1].unsignedIntValue(), toRect(args[2]),
            args[3].unsignedIntValue(), args[4].doubleValue());
    } else if (s == kOnRectRefreshed) {
        t.onRectRefreshed_onDisplayID(toRect(args[0]), args[1].unsignedIntValue());
    } else if (s == kOnRectMoved) {
        t.onRectMoved_byADelta_andLastFlag(toRect(args[0]), toDelta(args[1]), args[2].boolValue());
    } else if (s == kSetUserZoomMode) {
        t.setUserZoomMode();
    } else if (s == kSetSleepMode) {
        t.setSleepMode_witUserZoom(args[0].boolValue(), args[1].boolValue());
    } else if (s == kSetPasswordRequired) {
        t.setPasswordRequiredSetting(args[0].boolValue());
    } else if (s == kSystemWillSleep) {
        t.systemWillSleep();
    } else if (s == kSystemWillWake) {
        t.systemWillWake();
    } else if (s == kUserWillLogout) {
        t.userWillLogout(args[0].unsignedIntValue());
    } else if (s == kUserWillLogin) {
        t.userWillLogin(args[0].unsignedIntValue());
    } else {
        t.frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
            args[0].unsignedIntValue(), toRect(args[1]),
            static_cast<std::uint64_t>(args[2].longLongValue()), args[3].unsignedIntValue(),
            static_cast<std::uint64_t>(args[4].longLongValue()));
    }
    return true;
}

void QNUAMessageHandlerProxy::started_withSessionType(std::uint32_t sessionId,
                                                      std::uint32_t sessionType) {
    m_proxy.call(kStarted, {u32(sessionId), u32(sessionType)});
}
void QNUAMessageHandlerProxy::closing() {
    m_proxy.call(kClosing);
}
void QNUAMessageHandlerProxy::displaysChangedSleepState() {
    m_proxy.call(kDisplaysChangedSleepState);
}
void QNUAMessageHandlerProxy::
    onDisplay_reconfigurationWithFlags_andBounds_andFramebufferIndex_andRefreshRate(
        CGDirectDisplayID display, std::uint32_t flags, CGRect bounds,
        std::uint32_t framebufferIndex, double refreshRate) {
    m_proxy.call(kOnDisplay, {u32(display), u32(flags), rect(bounds), u32(framebufferIndex),
                              Value::number(refreshRate)});
}
void QNUAMessageHandlerProxy::onRectRefreshed_onDisplayID(CGRect r, CGDirectDisplayID display) {
    m_proxy.call(kOnRectRefreshed, {rect(r), u32(display)});
}
void QNUAMessageHandlerProxy::onRectMoved_byADelta_andLastFlag(CGRect r, CGScreenUpdateMoveDelta d,
                                                               bool lastFlag) {
    m_proxy.call(kOnRectMoved, {rect(r), delta(d), Value::boolean(lastFlag)});
}
void QNUAMessageHandlerProxy::setUserZoomMode() {
    m_proxy.call(kSetUserZoomMode);
}
void QNUAMessageHandlerProxy::setSleepMode_witUserZoom(bool displaysAsleep, bool userZoom) {
    m_proxy.call(kSetSleepMode, {Value::boolean(displaysAsleep), Value::boolean(userZoom)});
}
void QNUAMessageHandlerProxy::setPasswordRequiredSetting(bool required) {
    m_proxy.call(kSetPasswordRequired, {Value::boolean(required)});
}
void QNUAMessageHandlerProxy::systemWillSleep() {
    m_proxy.call(kSystemWillSleep);
}
void QNUAMessageHandlerProxy::systemWillWake() {
    m_proxy.call(kSystemWillWake);
}
void QNUAMessageHandlerProxy::userWillLogout(std::uint32_t sessionId) {
    m_proxy.call(kUserWillLogout, {u32(sessionId)});
}
void QNUAMessageHandlerProxy::userWillLogin(std::uint32_t sessionId) {
    m_proxy.call(kUserWillLogin, {u32(sessionId)});
}
void QNUAMessageHandlerProxy::frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
    CGDirectDisplayID display, CGRect r, std::uint64_t frameSurfaceAddr, std::uint32_t byteStride,
    std::uint64_t token) {
    m_proxy.call(kFrameAvailable,
                 {u32(display), rect(r), u64(frameSurfaceAddr), u32(byteStride), u64(token)});
}

const std::vector<ManagerNotification>& managerNotifications() {
    using T = Value::Type;
    static const std::vector<ManagerNotification> notifications{
        {QNM_Notification_Sw_Update_Required, {{QNM_Notification_Devicekey, T::String}}},
        {QNM_Notification_Monitor_Mode_Restricted,
         {{QNM_Notification_Monitor_Mode_Restricted_Monitor1, T::String},
          {QNM_Notification_Monitor_Mode_Restricted_Monitor2, T::String},
          {QNM_Notification_Monitor_Mode_Restricted_Hres, T::Number},
          {QNM_Notification_Monitor_Mode_Restricted_Vres, T::Number}}},
        {QNM_Notification_Start_Display_Stream,
         {{QNM_Notification_Display_Stream_DisplayID, T::Number},
          {QNM_Notification_Display_Stream_FrameBufferIndex, T::Number},
          {QNM_Notification_Display_Stream_Token, T::Number}}},
        {QNM_Notification_Stop_Display_Stream,
         {{QNM_Notification_Display_Stream_DisplayID, T::Number}}},
        {QNM_Notification_Release_Frame_Surface,
         {{QNM_Notification_Display_Stream_DisplayID, T::Number},
          {QNM_Notification_Display_Stream_FrameSurfaceAddr, T::Number}}},
    };
    return notifications;
}

}  // namespace qn::platform
