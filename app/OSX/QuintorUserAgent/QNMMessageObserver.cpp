#include "app/OSX/QuintorUserAgent/QNMMessageObserver.h"

#include <cstdio>

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "app/OSX/QuintorUserAgent/MessagePanel.h"
#include "app/OSX/QuintorUserAgent/ObjectFormat.h"
#include "platform/Backend.h"
#include "platform/ManagerProtocol.h"

namespace qn::app::osx::qnuapp {

using sys::Logger;

namespace {

std::string localized(const std::string& key) {
    return platform::foundation().localizedStringForKey(key, "", QNMMessageObserver::kStringsTable);
}

// A string of the userInfo; a missing key is a nil object.
ObjectArgument stringOf(const platform::Value& userInfo, const char* key) {
    const auto value = userInfo.get(key);
    if (!value.isString()) {
        return std::nullopt;
    }
    return value.stringValue();
}

// isEqualToString: on a possibly nil receiver: nil equals nothing.
bool equals(const ObjectArgument& string, const char* text) {
    return string.has_value() && *string == text;
}

}  // namespace

void QNMMessageObserver::observeNotification(const platform::NSNotification& notification) {
    const auto& name = notification.name;
    const auto& userInfo = notification.userInfo;
    if (name == platform::QNM_Notification_Sw_Update_Required) {
        QNUA_LOG(Logger::DEBUG) << "observeNotification: received " << name << " notification";
        showSoftwareUpgradeMessage(userInfo);
    } else if (name == platform::QNM_Notification_Monitor_Mode_Restricted) {
        QNUA_LOG(Logger::DEBUG) << "observeNotification: received " << name << " notification";
        showMonitorModeMessage(userInfo);
    } else if (name == platform::QNM_Notification_Start_Display_Stream) {
        QNUA_LOG(Logger::DEBUG) << "observeNotification: received " << name << " notification";
        startDisplayStream(userInfo);
    } else if (name == platform::QNM_Notification_Stop_Display_Stream) {
        QNUA_LOG(Logger::DEBUG) << "observeNotification: received " << name << " notification";
        stopDisplayStream(userInfo);
    } else if (name == platform::QNM_Notification_Release_Frame_Surface) {
        // Once a frame: kept out of the ordinary log.
        QNUA_LOG(Logger::VERBOSE) << "observeNotification: received " << name << " notification";
        releaseFrameSurface(userInfo);
    }
    // Any other name is ignored without a line.
}

void QNMMessageObserver::showSoftwareUpgradeMessage(const platform::Value& userInfo) {
    // Never deleted: the panel closes itself.
    auto* controller = MessagePanel::make();
    const auto device = stringOf(userInfo, platform::QNM_Notification_Devicekey);
    MessageText text = MessageText::plain(
        formatWithObjects(localized("IDS_SOFTWARE_UPGRADE_REQUIRED_PREFIX"), {device}));
    text.append(MessageText::hyperlink(kUpgradeHost, kUpgradeURL));
    text.append(MessageText::plain(localized("IDS_SOFTWARE_UPGRADE_REQUIRED_SUFFIX")));
    if (controller) {
        controller->showWindow_forTimeInterval(text, kMessageSeconds);
    }
}

void QNMMessageObserver::showMonitorModeMessage(const platform::Value& userInfo) {
    auto* controller = MessagePanel::make();
    const auto monitor1 =
        stringOf(userInfo, platform::QNM_Notification_Monitor_Mode_Restricted_Monitor1);
    const auto monitor2 =
        stringOf(userInfo, platform::QNM_Notification_Monitor_Mode_Restricted_Monitor2);
    // "%d" on unsigned values, as the message has always printed them.
    char resolution[32];
    std::snprintf(
        resolution, sizeof(resolution), "%dx%d",
        static_cast<int>(userInfo.get(platform::QNM_Notification_Monitor_Mode_Restricted_Hres)
                             .unsignedIntValue()),
        static_cast<int>(userInfo.get(platform::QNM_Notification_Monitor_Mode_Restricted_Vres)
                             .unsignedIntValue()));
    const ObjectArgument name = equals(monitor1, "") ? ObjectArgument("Unknown") : monitor1;
    std::string text;
    if (equals(monitor2, "") || equals(monitor2, "No Monitor")) {
        text = formatWithObjects(localized("IDS_MONITOR_MODE_RESTRICTED_OTHER_MONITOR"),
                                 {name, std::string(resolution)});
    } else {
        text = formatWithObjects(localized("IDS_MONITOR_MODE_RESTRICTED"),
                                 {name, std::string(resolution), monitor2});
    }
    const auto title = localized("IDS_MONITOR_MODE_RESTRICTED_TITLE");
    if (controller) {
        controller->showWindow_forTimeInterval_withTitle(MessageText::plain(text), kMessageSeconds,
                                                         title);
    }
}

void QNMMessageObserver::startDisplayStream(const platform::Value& userInfo) {
    if (m_delegate) {
        m_delegate->displayStreamStarting();
    } else {
        QNUA_LOG(Logger::ERROR)
            << "observeNotification: no delegate to notify about starting display stream.";
    }
    const std::int32_t displayId =
        userInfo.get(platform::QNM_Notification_Display_Stream_DisplayID).intValue();
    const std::int32_t frameBufferIndex =
        userInfo.get(platform::QNM_Notification_Display_Stream_FrameBufferIndex).intValue();
    // Read as 32 bits and widened with its sign.
    const std::int64_t token =
        userInfo.get(platform::QNM_Notification_Display_Stream_Token).intValue();
    m_displayStreamFrameUpdaterManager.startStream(
        static_cast<std::uint32_t>(displayId), static_cast<std::uint32_t>(frameBufferIndex), token);
}

void QNMMessageObserver::stopDisplayStream(const platform::Value& userInfo) {
    if (m_delegate) {
        m_delegate->displayStreamStopping();
    } else {
        QNUA_LOG(Logger::ERROR)
            << "observeNotification: no delegate to notify about stopping display stream.";
    }
    const std::int32_t displayId =
        userInfo.get(platform::QNM_Notification_Display_Stream_DisplayID).intValue();
    m_displayStreamFrameUpdaterManager.stopStream(static_cast<std::uint32_t>(displayId));
}

void QNMMessageObserver::releaseFrameSurface(const platform::Value& userInfo) {
    const std::int32_t displayId =
        userInfo.get(platform::QNM_Notification_Display_Stream_DisplayID).intValue();
    const std::int64_t address =
        userInfo.get(platform::QNM_Notification_Display_Stream_FrameSurfaceAddr).longLongValue();
    m_displayStreamFrameUpdaterManager.releaseFrameSurface(static_cast<std::uint32_t>(displayId),
                                                           static_cast<std::uint64_t>(address));
}

}  // namespace qn::app::osx::qnuapp
