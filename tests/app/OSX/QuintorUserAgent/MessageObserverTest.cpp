#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "app/OSX/QuintorUserAgent/MessageWindowRecorder.h"
#include "app/OSX/QuintorUserAgent/ObjectFormat.h"
#include "app/OSX/QuintorUserAgent/QNMMessageObserver.h"
#include "platform/StringsTable.h"
#include "tests/app/OSX/QuintorUserAgent/StreamTestSupport.h"

namespace qn::app::osx::qnuapp {
namespace {

using Lines = std::vector<std::string>;
using platform::Value;

std::map<std::string, std::string> shippedStrings() {
    const char* root = std::getenv("QN_TEST_SOURCE_DIR");
    std::ifstream file(std::string(root ? root : ".") + "/resources/QuintorUserAgent.strings");
    std::stringstream text;
    text << file.rdbuf();
    return platform::parseStringsTable(text.str());
}

struct StateCounter : DisplayStreamStateCallbacks {
    void displayStreamStarting() override { ++starting; }
    void displayStreamStopping() override { ++stopping; }
    int starting = 0;
    int stopping = 0;
};

class MessageObserver : public ::testing::Test {
  protected:
    MessageObserver() {
        strings = shippedStrings();
        for (const auto& [key, text] : strings) {
            agent.host().foundation().setLocalizedString("QuintorUserAgent", key, text);
        }
        observer.setQnmProxy(agent.proxy());
    }
    void post(const std::string& name, Value userInfo) {
        observer.observeNotification(platform::NSNotification{name, nullptr, std::move(userInfo)});
    }
    // A stream's start (and stop) for the test display on its adapter.
    static Value streamOfTheAdapter() {
        Value start = Value::dictionary();
        start.set(platform::QNM_Notification_Display_Stream_DisplayID,
                  Value::number(std::int64_t{testing::kDisplay}));
        start.set(platform::QNM_Notification_Display_Stream_FrameBufferIndex,
                  Value::number(std::int64_t{testing::kAdapter}));
        return start;
    }
    Value monitors(Value monitor1, Value monitor2) {
        Value info = Value::dictionary();
        if (!monitor1.isNull()) {
            info.set(platform::QNM_Notification_Monitor_Mode_Restricted_Monitor1, monitor1);
        }
        if (!monitor2.isNull()) {
            info.set(platform::QNM_Notification_Monitor_Mode_Restricted_Monitor2, monitor2);
        }
        info.set(platform::QNM_Notification_Monitor_Mode_Restricted_Hres,
                 Value::number(std::int64_t{1920}));
        info.set(platform::QNM_Notification_Monitor_Mode_Restricted_Vres,
                 Value::number(std::int64_t{1080}));
        return info;
    }
    std::string format(const std::string& key, std::vector<ObjectArgument> arguments) {
        return formatWithObjects(strings.at(key), arguments);
    }

    testing::StreamHost agent;
    std::map<std::string, std::string> strings;
    MessageWindowRecorder recorder;
    QNMMessageObserver observer;
};

TEST_F(MessageObserver, TheUpgradeMessageLinksToTheWebSiteBetweenItsTwoHalves) {
    Value info = Value::dictionary();
    info.set(platform::QNM_Notification_Devicekey, Value::string("Adapter 7"));
    post(platform::QNM_Notification_Sw_Update_Required, info);
    post(platform::QNM_Notification_Sw_Update_Required, info);
    // Two messages, two controllers: nothing closes the first.
    ASSERT_EQ(recorder.requests().size(), 2u);
    EXPECT_EQ(recorder.controllers(), 2u);
    const auto& request = recorder.requests()[0];
    EXPECT_EQ(request.title, "");
    EXPECT_EQ(request.interval, 15);
    ASSERT_EQ(request.message.runs.size(), 3u);
    EXPECT_EQ(request.message.runs[0].text,
              format("IDS_SOFTWARE_UPGRADE_REQUIRED_PREFIX", {"Adapter 7"}));
    EXPECT_NE(request.message.runs[0].text.find("Adapter 7"), std::string::npos);
    EXPECT_EQ(request.message.runs[0].link, "");
    EXPECT_EQ(request.message.runs[1].text, "www.example.com");
    EXPECT_EQ(request.message.runs[1].link, "https://www.example.com/support/usb-display");
    EXPECT_EQ(request.message.runs[2].text, strings.at("IDS_SOFTWARE_UPGRADE_REQUIRED_SUFFIX"));
    EXPECT_EQ(recorder.requests()[1].controller, 2u);
}

TEST_F(MessageObserver, TheMonitorMessageNamesOneOrTwoMonitors) {
    const std::string title = strings.at("IDS_MONITOR_MODE_RESTRICTED_TITLE");
    post(platform::QNM_Notification_Monitor_Mode_Restricted,
         monitors(Value::string(""), Value::string("No Monitor")));
    post(platform::QNM_Notification_Monitor_Mode_Restricted,
         monitors(Value::string("Left"), Value::string("")));
    post(platform::QNM_Notification_Monitor_Mode_Restricted,
         monitors(Value::string("Left"), Value::string("Right")));
    // Missing strings are nil objects: neither empty nor "No Monitor".
    post(platform::QNM_Notification_Monitor_Mode_Restricted, monitors(Value(), Value()));
    const auto& r = recorder.requests();
    ASSERT_EQ(r.size(), 4u);
    for (const auto& request : r) {
        EXPECT_EQ(request.title, title);
        EXPECT_EQ(request.interval, 15);
        ASSERT_EQ(request.message.runs.size(), 1u);
    }
    EXPECT_EQ(r[0].message.string(),
              format("IDS_MONITOR_MODE_RESTRICTED_OTHER_MONITOR", {"Unknown", "1920x1080"}));
    EXPECT_EQ(r[1].message.string(),
              format("IDS_MONITOR_MODE_RESTRICTED_OTHER_MONITOR", {"Left", "1920x1080"}));
    EXPECT_EQ(r[2].message.string(),
              format("IDS_MONITOR_MODE_RESTRICTED", {"Left", "1920x1080", "Right"}));
    EXPECT_EQ(r[3].message.string(),
              format("IDS_MONITOR_MODE_RESTRICTED", {"(null)", "1920x1080", "(null)"}));
}

TEST_F(MessageObserver, AKeyMissingFromTheTableShowsTheKey) {
    agent.host().foundation().setLocalizedString("QuintorUserAgent",
                                                 "IDS_MONITOR_MODE_RESTRICTED_TITLE",
                                                 "IDS_MONITOR_MODE_RESTRICTED_TITLE");
    post(platform::QNM_Notification_Monitor_Mode_Restricted, monitors(Value(), Value()));
    ASSERT_EQ(recorder.requests().size(), 1u);
    EXPECT_EQ(recorder.requests()[0].title, "IDS_MONITOR_MODE_RESTRICTED_TITLE");
}

TEST_F(MessageObserver, StreamCommandsTellTheDelegateAndReachTheUpdaters) {
    StateCounter state;
    observer.setDisplayStreamStateDelegate(&state);
    Value start = streamOfTheAdapter();
    // Read as a signed 32-bit value: the high bits are dropped and the sign widened.
    start.set(platform::QNM_Notification_Display_Stream_Token,
              Value::number(std::int64_t{0x1'FFFF'FFFE}));
    post(platform::QNM_Notification_Start_Display_Stream, start);
    EXPECT_EQ(state.starting, 1);
    agent.frames({{platform::CGRectMake(0, 0, 8, 8)}});
    const auto calls = agent.newManagerCalls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].arguments[4].longLongValue(), -2);

    auto& surface = *agent.stream().surfaces[0];
    Value release = Value::dictionary();
    release.set(platform::QNM_Notification_Display_Stream_DisplayID,
                Value::number(std::int64_t{testing::kDisplay}));
    release.set(platform::QNM_Notification_Display_Stream_FrameSurfaceAddr,
                Value::number(static_cast<std::int64_t>(testing::address(surface))));
    post(platform::QNM_Notification_Release_Frame_Surface, release);
    EXPECT_EQ(surface.useCount(), 0);
    EXPECT_EQ(state.stopping, 0);

    post(platform::QNM_Notification_Stop_Display_Stream, start);
    EXPECT_EQ(state.stopping, 1);
    EXPECT_EQ(observer.updaterManager().streamCount(), 0u);
    agent.host().runLoop().advance(1000);
}

TEST_F(MessageObserver, AnUnknownNameWritesNoLineAndTouchesNoStream) {
    StateCounter state;
    observer.setDisplayStreamStateDelegate(&state);
    Value start = streamOfTheAdapter();
    post(platform::QNM_Notification_Start_Display_Stream, start);
    // A frame with the Manager, which a release would give back.
    agent.frames({{platform::CGRectMake(0, 0, 8, 8)}});
    auto& stream = agent.stream();
    auto& surface = *stream.surfaces.at(0);
    ASSERT_EQ(surface.useCount(), 1);
    Value release = start;
    release.set(platform::QNM_Notification_Display_Stream_FrameSurfaceAddr,
                Value::number(static_cast<std::int64_t>(testing::address(surface))));
    agent.logger().setVerbosity(sys::Logger::VERBOSE, false);
    agent.newLines();
    agent.newManagerCalls();
    agent.newDriverCalls();

    // Names are matched whole and by case, whatever the user info carries.
    post("QNM_Notification_Unknown", start);
    post("qnm_notification_stop_display_stream", start);
    post(std::string(platform::QNM_Notification_Release_Frame_Surface) + " ", release);
    post("", release);
    EXPECT_TRUE(agent.newLines().empty());
    EXPECT_TRUE(agent.newManagerCalls().empty());
    EXPECT_TRUE(agent.newDriverCalls().empty());
    EXPECT_EQ(agent.host().quartz().streams().size(), 1u);
    EXPECT_TRUE(stream.running);
    EXPECT_EQ(stream.stopCalls, 0);
    EXPECT_EQ(surface.useCount(), 1);
    EXPECT_EQ(observer.updaterManager().streamCount(), 1u);
    EXPECT_EQ(state.starting, 1);
    EXPECT_EQ(state.stopping, 0);
    EXPECT_TRUE(recorder.requests().empty());

    post(platform::QNM_Notification_Stop_Display_Stream, start);
    agent.host().runLoop().advance(1000);
}

TEST_F(MessageObserver, WithoutADelegateTheStreamStartsAllTheSame) {
    Value start = Value::dictionary();
    start.set(platform::QNM_Notification_Display_Stream_DisplayID,
              Value::number(std::int64_t{testing::kDisplay}));
    agent.newLines();
    post(platform::QNM_Notification_Start_Display_Stream, start);
    post(platform::QNM_Notification_Stop_Display_Stream, start);
    EXPECT_EQ(agent.newLines(),
              (Lines{"DEBUG observeNotification: received QNM_Notification_Start_Display_Stream "
                     "notification",
                     "ERROR observeNotification: no delegate to notify about starting display "
                     "stream.",
                     "DEBUG DisplayStreamFrameUpdaterImpl::start for: 0x4280f80",
                     "DEBUG observeNotification: received QNM_Notification_Stop_Display_Stream "
                     "notification",
                     "ERROR observeNotification: no delegate to notify about stopping display "
                     "stream.",
                     "DEBUG DisplayStreamFrameUpdaterImpl::stop for: 0x4280f80"}));
    agent.host().runLoop().advance(1000);
    // A start without a display id is the programming error that ends the process.
    EXPECT_THROW(post(platform::QNM_Notification_Start_Display_Stream, Value::dictionary()),
                 platform::sim::SimAbort);
}

TEST(ObjectFormat, ObjectsFillThePlacesInOrderAndNilPrintsAsNull) {
    EXPECT_EQ(formatWithObjects("%@ at %@ (100%%)", {"A", "1x2"}), "A at 1x2 (100%)");
    EXPECT_EQ(formatWithObjects("%@ and %@", {std::nullopt}), "(null) and (null)");
    EXPECT_EQ(formatWithObjects("%d stays, 50% too", {"x"}), "%d stays, 50% too");
}

TEST(StringsTable, ReadsKeysTextsEscapesAndCommentsAndRejectsTheRest) {
    const auto table = platform::parseStringsTable(
        "/* a\n comment */\n\"A\" = \"one \\\"two\\\"\";\n// line\n\"B\"=\"x\\ny\";");
    EXPECT_EQ(table.at("A"), "one \"two\"");
    EXPECT_EQ(table.at("B"), "x\ny");
    EXPECT_EQ(table.size(), 2u);
    try {
        platform::parseStringsTable("\"A\" = \"1\";\n\n\"B\" \"2\";");
        FAIL() << "a missing '=' was accepted";
    } catch (const platform::StringsTableError& e) {
        EXPECT_EQ(e.line(), 3);
    }
    EXPECT_THROW(platform::parseStringsTable("\"A\" = \"1\";\"A\" = \"2\";"),
                 platform::StringsTableError);
    EXPECT_THROW(platform::parseStringsTable("\"A\" = \"1"), platform::StringsTableError);
    // The shipped table has every key the messages use.
    const auto shipped = shippedStrings();
    for (const char* key :
         {"IDS_SOFTWARE_UPGRADE_REQUIRED_PREFIX", "IDS_SOFTWARE_UPGRADE_REQUIRED_SUFFIX",
          "IDS_MONITOR_MODE_RESTRICTED_OTHER_MONITOR", "IDS_MONITOR_MODE_RESTRICTED",
          "IDS_MONITOR_MODE_RESTRICTED_TITLE"}) {
        EXPECT_EQ(shipped.count(key), 1u) << key;
    }
}

}  // namespace
}  // namespace qn::app::osx::qnuapp
