#include "app/OSX/QuintorUserAgent/QuartzDisplayNotificationObserver.h"

#include <vector>

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "app/OSX/QuintorUserAgent/DisplayRegistryHelper.h"
#include "app/OSX/QuintorUserAgent/ManagerCall.h"
#include "platform/Backend.h"
#include "platform/Foundation.h"

namespace qn::app::osx::qnuapp {

using platform::CGDirectDisplayID;
using platform::CGDisplayChangeSummaryFlags;
using sys::Logger;

namespace {

constexpr CGDisplayChangeSummaryFlags kBegin = platform::kCGDisplayBeginConfigurationFlag;
constexpr CGDisplayChangeSummaryFlags kSetMode = platform::kCGDisplaySetModeFlag;
constexpr CGDisplayChangeSummaryFlags kAdd = platform::kCGDisplayAddFlag;
constexpr CGDisplayChangeSummaryFlags kRemove = platform::kCGDisplayRemoveFlag;
constexpr std::int64_t kUpdateDelayNanoseconds = 2000000000;

}  // namespace

QuartzDisplayNotificationObserver::QuartzDisplayNotificationObserver()
    : m_desktopModel(std::make_unique<DesktopModel>()),
      m_reconfigurationQueue("com.quintor.reconfigurationQueue", platform::DISPATCH_QUEUE_SERIAL) {}

QuartzDisplayNotificationObserver::~QuartzDisplayNotificationObserver() = default;

template <typename Call>
void QuartzDisplayNotificationObserver::forward(Call&& call) {
    if (const auto reason = tryManagerCall(call)) {
        QNUA_LOG(Logger::ERROR) << "Exception: " << Ascii{*reason};
        if (m_notificationCommunicator) {
            m_notificationCommunicator->onProxyException();
        }
    }
}

bool QuartzDisplayNotificationObserver::registerToQuartzDisplayNotifications() {
    QNUA_LOG(Logger::INFO) << "Registering QuartzDisplayNotification callbacks";
    if (!registerForDisplayReconfiguration()) {
        QNUA_LOG(Logger::ERROR) << "Unable to register for display reconfiguration notifications";
        return false;
    }
    if (!registerScreenUpdateNotifications()) {
        QNUA_LOG(Logger::ERROR) << "Unable to register for screen update notifications";
        return false;
    }
    return true;
}

void QuartzDisplayNotificationObserver::unregisterQuartzDisplayNotifications() {
    unregisterDisplayReconfiguration();
    unregisterScreenUpdateNotifications();
    QNUA_LOG(Logger::INFO) << "QuartzDisplayNotification callbacks unregistered";
}

bool QuartzDisplayNotificationObserver::registerForDisplayReconfiguration() {
    if (m_displayReconfigurationRegistration) {
        QNUA_LOG(Logger::INFO) << "Display reconfiguration callback already registered";
        return true;
    }
    const auto code = platform::quartz().CGDisplayRegisterReconfigurationCallback(
        &displayReconfigurationCallback, this);
    if (code != platform::kCGErrorSuccess) {
        QNUA_LOG(Logger::ERROR) << "Couldn't register display reconfiguration callback: " << code;
        return false;
    }
    m_displayReconfigurationRegistration = platform::Registration([this] {
        platform::quartz().CGDisplayRemoveReconfigurationCallback(&displayReconfigurationCallback,
                                                                  this);
    });
    return true;
}

void QuartzDisplayNotificationObserver::unregisterDisplayReconfiguration() {
    if (!m_displayReconfigurationRegistration) {
        QNUA_LOG(Logger::INFO)
            << "Display reconfiguration callback have not been registered. Nothing to unregister.";
        return;
    }
    m_displayReconfigurationRegistration.reset();
}

bool QuartzDisplayNotificationObserver::registerScreenUpdateNotifications() {
    if (m_screenUpdateRegistration) {
        QNUA_LOG(Logger::INFO) << "Screen update callbacks already registered";
        return true;
    }
    auto& quartz = platform::quartz();
    if (const auto code = quartz.CGRegisterScreenRefreshCallback(&screenRefreshCallback, this)) {
        QNUA_LOG(Logger::ERROR) << "Couldn't register refresh callback: " << code;
        return false;
    }
    if (const auto code = quartz.CGScreenRegisterMoveCallback(&screenMoveCallback, this)) {
        QNUA_LOG(Logger::ERROR) << "Couldn't register move callback: " << code;
        // The pair is all or nothing.
        quartz.CGUnregisterScreenRefreshCallback(&screenRefreshCallback, this);
        return false;
    }
    m_screenUpdateRegistration = platform::Registration([this] {
        auto& quartz = platform::quartz();
        quartz.CGUnregisterScreenRefreshCallback(&screenRefreshCallback, this);
        quartz.CGScreenUnregisterMoveCallback(&screenMoveCallback, this);
    });
    QNUA_LOG(Logger::INFO) << "Screen update callbacks have been registered";
    return true;
}

void QuartzDisplayNotificationObserver::unregisterScreenUpdateNotifications() {
    if (!m_screenUpdateRegistration) {
        QNUA_LOG(Logger::INFO)
            << "Screen update callbacks have not been registered. Nothing to unregister.";
        return;
    }
    m_screenUpdateRegistration.reset();
    QNUA_LOG(Logger::INFO) << "Screen update callbacks have been unregistered";
}

bool QuartzDisplayNotificationObserver::isToBeRemoved(const Display& display) const {
    return m_desktopModel->contains(display.id()) && !display.isOnline();
}

void QuartzDisplayNotificationObserver::reconfigurationDisplay_withFlags(
    CGDirectDisplayID id, CGDisplayChangeSummaryFlags flags) {
    QNUA_LOG(Logger::DEBUG) << "Display with id 0x" << std::hex << id
                            << " reconfigured with flags 0x" << flags;
    if ((flags & (platform::kCGDisplayAddFlag | platform::kCGDisplayRemoveFlag)) ==
        (platform::kCGDisplayAddFlag | platform::kCGDisplayRemoveFlag)) {
        QNUA_LOG(Logger::WARN) << "Both kCGDisplayAddFlag and kCGDisplayRemoveFlag flags set! "
                                  "Correction for Maveric already in code.";
    }
    if ((flags & (platform::kCGDisplayEnabledFlag | platform::kCGDisplayDisabledFlag)) ==
        (platform::kCGDisplayEnabledFlag | platform::kCGDisplayDisabledFlag)) {
        QNUA_LOG(Logger::ERROR)
            << "Both kCGDisplayEnabledFlag and kCGDisplayDisabledFlag flags set!";
    }
    if ((flags & (platform::kCGDisplayMirrorFlag | platform::kCGDisplayUnMirrorFlag)) ==
        (platform::kCGDisplayMirrorFlag | platform::kCGDisplayUnMirrorFlag)) {
        QNUA_LOG(Logger::ERROR)
            << "Both kCGDisplayMirrorFlag and kCGDisplayUnMirrorFlag flags set!";
    }
    if (flags & kBegin) {
        QNUA_LOG(Logger::DEBUG) << "ignoring event with flag kCGDisplayBeginConfigurationFlag";
        return;
    }
    const Display display(id);
    if (!display.isAccessible() && !isToBeRemoved(display)) {
        QNUA_LOG(Logger::WARN)
            << "Ignoring display reconfiguration callback as the display is not accessible";
        return;
    }
    const platform::CGRect bounds = platform::quartz().CGDisplayBounds(id);
    const std::uint32_t framebufferIndex = DisplayRegistryHelper::getFramebufferIndexForDisplay(id);
    if (!m_desktopModel->contains(id) && display.isOnline()) {
        m_desktopModel->add(id);
        flags |= kAdd;
        QNUA_LOG(Logger::DEBUG) << "Added display with id 0x" << std::hex << id;
    } else if (isToBeRemoved(display)) {
        m_desktopModel->remove(id);
        flags |= kRemove;
        QNUA_LOG(Logger::DEBUG) << "Removed display with id 0x" << std::hex << id;
    }
    QNUA_LOG(Logger::DEBUG) << "Display with id 0x" << std::hex << id << " online:" << std::dec
                            << (display.isOnline() ? 1 : 0);
    if (osReleaseNumber() >= 1300) {
        const bool online = display.isOnline();
        if ((flags & kRemove) && online) {
            flags &= ~kRemove;
            QNUA_LOG(Logger::DEBUG)
                << "Remove display with id 0x" << std::hex << id << " modified flags:" << flags;
        }
        if ((flags & kAdd) && !online) {
            flags &= ~kAdd;
            QNUA_LOG(Logger::DEBUG)
                << "Add display with id 0x" << std::hex << id << " modified flags:" << flags;
        }
    }
    const double rate = display.refreshRate();
    if (!m_qnmProxy) {
        return;
    }
    forward([&] {
        QNUA_LOG(Logger::DEBUG) << "Sending notification";
        m_qnmProxy.onDisplay_reconfigurationWithFlags_andBounds_andFramebufferIndex_andRefreshRate(
            id, flags, bounds, framebufferIndex, rate);
    });
}

void QuartzDisplayNotificationObserver::sendReconfigurationToOnlineDisplays() {
    CGDirectDisplayID ids[maxDisplays] = {};
    const std::uint32_t count = m_desktopModel->onlineDisplays(ids);
    for (std::uint32_t i = 0; i < count && i < maxDisplays; ++i) {
        reconfigurationDisplay_withFlags(ids[i], kAdd);
    }
}

void QuartzDisplayNotificationObserver::sendUpdateConfigurationToOnlineDisplaysOtherThan(
    CGDirectDisplayID id) {
    QNUA_LOG(Logger::DEBUG) << "sendUpdateConfigurationToOnlineDisplaysOtherThan" << std::hex << id;
    CGDirectDisplayID ids[maxDisplays] = {};
    const std::uint32_t count = m_desktopModel->onlineDisplays(ids);
    for (std::uint32_t i = 0; i < count && i < maxDisplays; ++i) {
        if (ids[i] != id) {
            QNUA_LOG(Logger::VERBOSE) << "Sending kCGDisplaySetModeFlag for id:" << ids[i];
            reconfigurationDisplay_withFlags(ids[i], kSetMode);
        }
    }
}

void QuartzDisplayNotificationObserver::refreshRects_withRectCount(const platform::CGRect* rects,
                                                                   std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
        const platform::CGRect& r = rects[i];
        QNUA_LOG(Logger::VERBOSE) << "Refresh rect X:" << r.origin.x << " Y:" << r.origin.y
                                  << " W:" << r.size.width << " H:" << r.size.height;
        if (!m_qnmProxy) {
            continue;
        }
        forward([&] { m_qnmProxy.onRectRefreshed_onDisplayID(r, 0); });
    }
}

void QuartzDisplayNotificationObserver::updateMoveRects_withDelta_andWithRectCount(
    const platform::CGRect* rects, platform::CGScreenUpdateMoveDelta delta, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
        const platform::CGRect& r = rects[i];
        QNUA_LOG(Logger::VERBOSE) << "Update move rect X:" << r.origin.x << " Y:" << r.origin.y
                                  << " W:" << r.size.width << " H:" << r.size.height;
        if (!m_qnmProxy) {
            continue;
        }
        forward([&] { m_qnmProxy.onRectMoved_byADelta_andLastFlag(r, delta, false); });
    }
}

void QuartzDisplayNotificationObserver::displayReconfigurationCallback(
    CGDirectDisplayID display, CGDisplayChangeSummaryFlags flags, void* userInfo) {
    auto* observer = static_cast<QuartzDisplayNotificationObserver*>(userInfo);
    observer->reconfigurationDisplay_withFlags(display, flags);
    if (osReleaseNumber() < 1300) {
        return;
    }
    // The queue is only the delay: the report itself runs on the main thread.
    auto& dispatch = platform::dispatch();
    auto report = observer->m_lifetime.guard(*observer, [display](auto& alive) {
        alive.sendUpdateConfigurationToOnlineDisplaysOtherThan(display);
    });
    dispatch.dispatch_after(
        dispatch.dispatch_time(platform::DISPATCH_TIME_NOW, kUpdateDelayNanoseconds),
        observer->m_reconfigurationQueue.get(),
        [report] { platform::foundation().performSelectorOnMainThread(report, false); });
}

void QuartzDisplayNotificationObserver::screenRefreshCallback(std::uint32_t count,
                                                              const platform::CGRect* rects,
                                                              void* observer) {
    static_cast<QuartzDisplayNotificationObserver*>(observer)->refreshRects_withRectCount(rects,
                                                                                          count);
}

void QuartzDisplayNotificationObserver::screenMoveCallback(platform::CGScreenUpdateMoveDelta delta,
                                                           std::size_t count,
                                                           const platform::CGRect* rects,
                                                           void* observer) {
    static_cast<QuartzDisplayNotificationObserver*>(observer)
        ->updateMoveRects_withDelta_andWithRectCount(rects, delta,
                                                     static_cast<std::uint32_t>(count));
}

}  // namespace qn::app::osx::qnuapp
