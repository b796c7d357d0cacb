#include "platform/ManagerProtocol.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "platform/sim/SimHost.h"

namespace qn::platform {
namespace {

// Writes each call it gets as one line of text, so that encode then decode can be
// compared with the call that was made.
class Recorder : public QNUAMessageHandlerProtocol {
  public:
    std::vector<std::string> lines;

    void started_withSessionType(std::uint32_t a, std::uint32_t b) override {
        add("started", a, b);
    }
    void closing() override { add("closing"); }
    void displaysChangedSleepState() override { add("displaysChangedSleepState"); }
    void onDisplay_reconfigurationWithFlags_andBounds_andFramebufferIndex_andRefreshRate(
        CGDirectDisplayID d, std::uint32_t f, CGRect r, std::uint32_t i, double rate) override {
        add("onDisplay", d, f, rect(r), i, rate);
    }
    void onRectRefreshed_onDisplayID(CGRect r, CGDirectDisplayID d) override {
        add("onRectRefreshed", rect(r), d);
    }
    void onRectMoved_byADelta_andLastFlag(CGRect r, CGScreenUpdateMoveDelta m, bool last) override {
        add("onRectMoved", rect(r), m.dX, m.dY, last);
    }
    void setUserZoomMode() override { add("setUserZoomMode"); }
    void setSleepMode_witUserZoom(bool a, bool z) override { add("setSleepMode", a, z); }
    void setPasswordRequiredSetting(bool r) override { add("setPasswordRequiredSetting", r); }
    void systemWillSleep() override { add("systemWillSleep"); }
    void systemWillWake() override { add("systemWillWake"); }
    void userWillLogout(std::uint32_t s) override { add("userWillLogout", s); }
    void userWillLogin(std::uint32_t s) override { add("userWillLogin", s); }
    void frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
        CGDirectDisplayID d, CGRect r, std::uint64_t a, std::uint32_t s, std::uint64_t t) override {
        add("frameAvailable", d, rect(r), a, s, t);
    }

  private:
    static std::string rect(const CGRect& r) {
        std::ostringstream out;
        out << r.origin.x << "," << r.origin.y << "," << r.size.width << "," << r.size.height;
        return out.str();
    }
    template <typename... Args>
    void add(const char* name, const Args&... args) {
        std::ostringstream out;
        out << name;
        ((out << " " << args), ...);
        lines.push_back(out.str());
    }
};

// Hands every call of the proxy straight to the decoder.
class Loopback : public NSDistantObject {
  public:
    explicit Loopback(QNUAMessageHandlerProtocol& target) : m_target(target) {}
    void invoke(const std::string& selector, const std::vector<Value>& arguments) override {
        selectors.push_back(selector);
        if (!decodeManagerCall(selector, arguments, m_target)) {
            throw ProxyException("not decoded: " + selector);
        }
    }
    void setProtocolForProxy(const std::string&) override {}
    const void* connectionForProxy() const override { return this; }
    std::vector<std::string> selectors;

  private:
    QNUAMessageHandlerProtocol& m_target;
};

TEST(ManagerProtocol, EveryMethodSurvivesTheWireWithItsArguments) {
    Recorder received;
    auto loopback = std::make_shared<Loopback>(received);
    QNUAMessageHandlerProxy proxy{ProxyRef(loopback)};
    const CGRect r = CGRectMake(1.5, -2, 1920, 1080);
    proxy.started_withSessionType(100000, 1);
    proxy.closing();
    proxy.displaysChangedSleepState();
    proxy.onDisplay_reconfigurationWithFlags_andBounds_andFramebufferIndex_andRefreshRate(
        0xFFFFFFFE, 16, r, 0xFFFFFFFF, 59.94);
    proxy.onRectRefreshed_onDisplayID(r, 0);
    proxy.onRectMoved_byADelta_andLastFlag(r, CGScreenUpdateMoveDelta{-3, 4}, false);
    proxy.setUserZoomMode();
    proxy.setSleepMode_witUserZoom(true, false);
    proxy.setPasswordRequiredSetting(true);
    proxy.systemWillSleep();
    proxy.systemWillWake();
    proxy.userWillLogout(7);
    proxy.userWillLogin(8);
    proxy.frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
        5, r, 0x7FFF00001000ull, 7680, 0x1122334455667788ull);

    EXPECT_EQ(received.lines,
              (std::vector<std::string>{
                  "started 100000 1", "closing", "displaysChangedSleepState",
                  "onDisplay 4294967294 16 1.5,-2,1920,1080 4294967295 59.94",
                  "onRectRefreshed 1.5,-2,1920,1080 0", "onRectMoved 1.5,-2,1920,1080 -3 4 0",
                  "setUserZoomMode", "setSleepMode 1 0", "setPasswordRequiredSetting 1",
                  "systemWillSleep", "systemWillWake", "userWillLogout 7", "userWillLogin 8",
                  "frameAvailable 5 1.5,-2,1920,1080 140733193392128 7680 1234605616436508552"}));
    // The wire names are the declared selectors, in declared order.
    ASSERT_EQ(managerMethods().size(), 14u);
    for (std::size_t i = 0; i < 14; ++i) {
        EXPECT_EQ(loopback->selectors[i], managerMethods()[i].selector);
    }
    EXPECT_EQ(std::string(managerMethods()[7].selector), "setSleepMode:witUserZoom:");
}

TEST(ManagerProtocol, CallsOutsideTheTableAreNotDecoded) {
    Recorder received;
    const Value rect4 = Value::array(
        {Value::number(0.0), Value::number(0.0), Value::number(1.0), Value::number(1.0)});
    const Value rect3 = Value::array({Value::number(0.0), Value::number(0.0), Value::number(1.0)});
    EXPECT_FALSE(decodeManagerCall("frobnicate", {}, received));
    EXPECT_FALSE(decodeManagerCall("closing", {Value::number(std::int64_t{1})}, received));
    EXPECT_FALSE(decodeManagerCall(
        "started:withSessionType:", {Value::string("100000"), Value::number(std::int64_t{0})},
        received));
    EXPECT_FALSE(decodeManagerCall("userWillLogin:", {Value::number(std::int64_t{-1})}, received));
    EXPECT_FALSE(decodeManagerCall("userWillLogin:", {Value::number(1.0)}, received));
    EXPECT_FALSE(decodeManagerCall(
        "onRectRefreshed:onDisplayID:", {rect3, Value::number(std::int64_t{0})}, received));
    EXPECT_FALSE(decodeManagerCall(
        "setSleepMode:witUserZoom:", {Value::number(std::int64_t{1}), Value::boolean(false)},
        received));
    EXPECT_TRUE(received.lines.empty());
    EXPECT_TRUE(decodeManagerCall(
        "onRectRefreshed:onDisplayID:", {rect4, Value::number(std::int64_t{0})}, received));
}

TEST(ManagerProtocol, NotificationsAreTheFiveWithTheirKeys) {
    const auto& n = managerNotifications();
    ASSERT_EQ(n.size(), 5u);
    EXPECT_EQ(std::string(n[0].name), QNM_Notification_Sw_Update_Required);
    EXPECT_EQ(std::string(n[4].name), QNM_Notification_Release_Frame_Surface);
    EXPECT_EQ(n[1].keys.size(), 4u);
    EXPECT_EQ(std::string(n[4].keys[1].key), QNM_Notification_Display_Stream_FrameSurfaceAddr);
}

TEST(ManagerProtocol, TheSimulatedManagerRefusesMalformedCallsOnceTheProtocolIsSet) {
    sim::SimHost host;
    host.manager().setRegistered(true);
    ProxyRef proxy = host.manager().lookUp(kManagerRegisteredName);
    // Before the protocol is set the proxy takes anything.
    EXPECT_NO_THROW(proxy.call("frobnicate"));
    proxy.setProtocolForProxy(kManagerProtocolName);
    EXPECT_THROW(proxy.call("frobnicate"), ProxyException);
    EXPECT_THROW(proxy.call("userWillLogin:", {Value::string("7")}), ProxyException);
    EXPECT_NO_THROW(QNUAMessageHandlerProxy(proxy).userWillLogin(7));
    EXPECT_EQ(host.manager().calls().back().name, "userWillLogin:");

    // An empty proxy is a message to nil.
    QNUAMessageHandlerProxy absent;
    EXPECT_NO_THROW(absent.closing());
}

}  // namespace
}  // namespace qn::platform
