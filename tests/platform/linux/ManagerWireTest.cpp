#include "platform/linux/bus/ManagerWire.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "platform/linux/bus/BusHandles.h"

namespace qn::platform::linux_host {
namespace {

// Messages need a bus that has left its unset state; one end of a socket pair will do,
// nothing is ever sent.
class ManagerWireTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, m_fds), 0);
        ASSERT_GE(sd_bus_new(m_bus.receive()), 0);
        ASSERT_GE(sd_bus_set_fd(m_bus.get(), m_fds[0], m_fds[0]), 0);
        ASSERT_GE(sd_bus_start(m_bus.get()), 0);
    }
    void TearDown() override { close(m_fds[1]); }

    BusMessagePtr call(const std::string& member) {
        BusMessagePtr message;
        EXPECT_GE(sd_bus_message_new_method_call(m_bus.get(), message.receive(), ":1.1",
                                                 kManagerLocator.path, kManagerLocator.interface,
                                                 member.c_str()),
                  0);
        return message;
    }
    // Seals and rewinds, as the receiving end gets it.
    static void deliver(sd_bus_message* message) {
        ASSERT_GE(sd_bus_message_seal(message, 1, 0), 0);
        ASSERT_GE(sd_bus_message_rewind(message, true), 0);
    }

    int m_fds[2] = {-1, -1};
    BusPtr m_bus;
};

Value sample(ManagerArgument argument, int seed) {
    switch (argument) {
        case ManagerArgument::UInt32:
            return Value::number(std::int64_t{0xFFFFFFF0} + seed);
        case ManagerArgument::UInt64:
            return Value::number(std::int64_t{0x7FFFFFFF00000000} + seed);
        case ManagerArgument::Double:
            return Value::number(59.94 + seed);
        case ManagerArgument::Boolean:
            return Value::boolean(seed % 2 == 1);
        case ManagerArgument::Rect:
            return Value::array({Value::number(-1920.0), Value::number(0.5 + seed),
                                 Value::number(1920.0), Value::number(1080.0)});
        case ManagerArgument::Delta:
            return Value::array(
                {Value::number(std::int64_t{-3}), Value::number(std::int64_t{seed})});
    }
    return Value();
}

TEST_F(ManagerWireTest, EveryCallCrossesTheWireUnchanged) {
    ASSERT_EQ(managerMethods().size(), 14u);
    for (const auto& method : managerMethods()) {
        SCOPED_TRACE(method.selector);
        std::vector<Value> arguments;
        for (std::size_t i = 0; i < method.arguments.size(); ++i) {
            arguments.push_back(sample(method.arguments[i], static_cast<int>(i) + 1));
        }
        auto message = call(memberForSelector(method.selector));
        ASSERT_EQ(appendArguments(message.get(), method, arguments), 0);
        deliver(message.get());
        EXPECT_EQ(sd_bus_message_get_signature(message.get(), true), signatureOf(method));
        std::vector<Value> read;
        ASSERT_EQ(readArguments(message.get(), method, read), 0);
        EXPECT_EQ(read, arguments);
        EXPECT_TRUE(isManagerCall(method.selector, read));
    }
}

TEST_F(ManagerWireTest, ArgumentsOfTheWrongShapeAreRefused) {
    const ManagerMethod& started = *findManagerMethod("started:withSessionType:");
    auto message = call("started_withSessionType");
    EXPECT_EQ(appendArguments(message.get(), started, {Value::number(std::int64_t{1})}), -EINVAL);
    EXPECT_EQ(appendArguments(message.get(), started,
                              {Value::string("1"), Value::number(std::int64_t{0})}),
              -EINVAL);
    const ManagerMethod& refreshed = *findManagerMethod("onRectRefreshed:onDisplayID:");
    EXPECT_EQ(appendArguments(message.get(), refreshed,
                              {Value::array({Value::number(1.0)}), Value::number(std::int64_t{0})}),
              -EINVAL);
}

TEST_F(ManagerWireTest, ACallWithAnotherSignatureIsNotReadAsTheProtocols) {
    const ManagerMethod& login = *findManagerMethod("userWillLogin:");
    auto shortCall = call("userWillLogin");
    deliver(shortCall.get());
    std::vector<Value> read;
    EXPECT_LT(readArguments(shortCall.get(), login, read), 0);

    auto longCall = call("userWillLogin");
    ASSERT_GE(sd_bus_message_append(longCall.get(), "uu", 7u, 8u), 0);
    deliver(longCall.get());
    EXPECT_LT(readArguments(longCall.get(), login, read), 0);

    auto wrongType = call("userWillLogin");
    ASSERT_GE(sd_bus_message_append(wrongType.get(), "s", "7"), 0);
    deliver(wrongType.get());
    EXPECT_LT(readArguments(wrongType.get(), login, read), 0);
}

TEST(ManagerWireNames, MembersAreSelectorsJoinedByUnderscores) {
    EXPECT_EQ(memberForSelector("started:withSessionType:"), "started_withSessionType");
    EXPECT_EQ(memberForSelector("closing"), "closing");
    EXPECT_EQ(memberForSelector("setSleepMode:witUserZoom:"), "setSleepMode_witUserZoom");
    EXPECT_EQ(memberForSelector("userWillLogin:"), "userWillLogin");
    for (const auto& method : managerMethods()) {
        const std::string member = memberForSelector(method.selector);
        EXPECT_EQ(methodForMember(member), &method) << member;
        EXPECT_EQ(member.find(':'), std::string::npos);
    }
    EXPECT_EQ(methodForMember("started:withSessionType:"), nullptr);
    EXPECT_EQ(methodForMember("Started_withSessionType"), nullptr);
    EXPECT_EQ(
        signatureOf(*findManagerMethod(
            "onDisplay:reconfigurationWithFlags:andBounds:andFramebufferIndex:andRefreshRate:")),
        "uu(dddd)ud");
    EXPECT_EQ(signatureOf(*findManagerMethod("onRectMoved:byADelta:andLastFlag:")), "(dddd)(ii)b");
    EXPECT_EQ(signatureOf(*findManagerMethod(
                  "frameAvailable:andRect:andFrameSurfaceAddr:andByteStride:andToken:")),
              "u(dddd)tut");
}

TEST_F(ManagerWireTest, UserInfoKeepsEveryKindOfValue) {
    Value nested;
    nested.set("inner", Value::string("x"));
    Value userInfo;
    userInfo.set("QNM_Notification_Display_Stream_DisplayID",
                 Value::number(std::int64_t{724861232}));
    userInfo.set("QNM_Notification_Display_Stream_FrameSurfaceAddr",
                 Value::number(std::int64_t{0x7f0012345678}));
    userInfo.set("QNM_Notification_Devicekey", Value::string("Adapter 2"));
    userInfo.set("rate", Value::number(59.94));
    userInfo.set("flag", Value::boolean(true));
    userInfo.set("bytes", Value::data({0, 1, 255}));
    userInfo.set("list", Value::array({Value::number(std::int64_t{1}), Value::string("two")}));
    userInfo.set("nested", nested);

    BusMessagePtr signal;
    ASSERT_GE(sd_bus_message_new_signal(m_bus.get(), signal.receive(), kManagerLocator.path,
                                        kManagerLocator.interface,
                                        "QNM_Notification_Start_Display_Stream"),
              0);
    ASSERT_EQ(appendUserInfo(signal.get(), userInfo), 0);
    deliver(signal.get());
    EXPECT_STREQ(sd_bus_message_get_signature(signal.get(), true), "a{sv}");
    Value read;
    ASSERT_EQ(readUserInfo(signal.get(), read), 0);
    EXPECT_EQ(read, userInfo);
    EXPECT_TRUE(read.get("flag").isSameObject(kCFBooleanTrue()));
}

TEST_F(ManagerWireTest, UserInfoOfOtherSendersReadsIntegersOfEveryWidth) {
    BusMessagePtr signal;
    ASSERT_GE(sd_bus_message_new_signal(m_bus.get(), signal.receive(), kManagerLocator.path,
                                        kManagerLocator.interface,
                                        "QNM_Notification_Release_Frame_Surface"),
              0);
    ASSERT_GE(sd_bus_message_append(signal.get(), "a{sv}", 4, "u", "u", 4000000000u, "i", "i", -5,
                                    "t", "t", std::uint64_t{1} << 40, "y", "y", 7),
              0);
    deliver(signal.get());
    Value read;
    ASSERT_EQ(readUserInfo(signal.get(), read), 0);
    EXPECT_EQ(read.get("u").longLongValue(), 4000000000);
    EXPECT_EQ(read.get("i").intValue(), -5);
    EXPECT_EQ(read.get("t").longLongValue(), std::int64_t{1} << 40);
    EXPECT_EQ(read.get("y").intValue(), 7);
}

TEST(ManagerWireIntrospection, NamesEveryMemberWithItsSignature) {
    const std::string xml = managerIntrospectionXml();
    for (const auto& method : managerMethods()) {
        const std::string member = memberForSelector(method.selector);
        const std::string open = "<method name=\"" + member + "\"";
        const auto at = xml.find(open);
        ASSERT_NE(at, std::string::npos) << member;
        if (xml.compare(at + open.size(), 2, "/>") == 0) {
            EXPECT_EQ(signatureOf(method), "") << member;
            continue;
        }
        const auto end = xml.find("</method>", at);
        std::string types;
        for (auto arg = xml.find("type=\"", at); arg < end; arg = xml.find("type=\"", arg + 1)) {
            types += xml.substr(arg + 6, xml.find('"', arg + 6) - arg - 6);
        }
        EXPECT_EQ(types, signatureOf(method)) << member;
    }
    for (const auto& notification : managerNotifications()) {
        EXPECT_NE(xml.find(std::string("<signal name=\"") + notification.name + "\">"),
                  std::string::npos);
    }
}

// The protocol page is what a Manager's author reads: its document must be the one the
// link serves.
TEST(ManagerWireIntrospection, ProtocolPageShowsTheServedDocument) {
    const char* source = std::getenv("QN_TEST_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    std::ifstream file(std::string(source) + "/docs/protocol.md");
    ASSERT_TRUE(file) << "docs/protocol.md missing";
    std::stringstream page;
    page << file.rdbuf();
    EXPECT_NE(page.str().find(managerIntrospectionXml()), std::string::npos);
}

}  // namespace
}  // namespace qn::platform::linux_host
