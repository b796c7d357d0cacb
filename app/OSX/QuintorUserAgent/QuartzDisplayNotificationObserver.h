#pragma once
// Receives Quartz's display reconfiguration, refresh and move callbacks, keeps the
// desktop model and tells the Manager, while the communicator allows it the proxy.

#include <cstdint>
#include <memory>

#include "app/OSX/QuintorUserAgent/DesktopModel.h"
#include "app/OSX/QuintorUserAgent/ExceptionHandlingCallbacks.h"
#include "platform/Dispatch.h"
#include "platform/LifetimeToken.h"
#include "platform/ManagerProtocol.h"
#include "platform/OwnedDispatchQueue.h"
#include "platform/Quartz.h"
#include "platform/Registration.h"

namespace qn::app::osx::qnuapp {

class QuartzDisplayNotificationObserver {
  public:
    QuartzDisplayNotificationObserver();
    // dealloc: frees the model and the queue; unregisters nothing.
    ~QuartzDisplayNotificationObserver();
    QuartzDisplayNotificationObserver(const QuartzDisplayNotificationObserver&) = delete;
    QuartzDisplayNotificationObserver& operator=(const QuartzDisplayNotificationObserver&) = delete;

    // A plain back pointer, not owned.
    void setNotificationCommunicator(ExceptionHandlingCallbacks* communicator) {
        m_notificationCommunicator = communicator;
    }
    void setQnmProxy(platform::ProxyRef proxy) {
        m_qnmProxy = platform::QNUAMessageHandlerProxy(std::move(proxy));
    }
    const platform::ProxyRef& qnmProxy() const { return m_qnmProxy.proxy(); }
    DesktopModel& desktopModel() { return *m_desktopModel; }

    bool registerToQuartzDisplayNotifications();
    void unregisterQuartzDisplayNotifications();
    bool registerForDisplayReconfiguration();
    void unregisterDisplayReconfiguration();
    bool registerScreenUpdateNotifications();
    void unregisterScreenUpdateNotifications();

    void reconfigurationDisplay_withFlags(platform::CGDirectDisplayID id,
                                          platform::CGDisplayChangeSummaryFlags flags);
    // Every online display through reconfigurationDisplay_withFlags with the add flag.
    void sendReconfigurationToOnlineDisplays();
    void sendUpdateConfigurationToOnlineDisplaysOtherThan(platform::CGDirectDisplayID id);
    bool isToBeRemoved(const Display& display) const;

    void refreshRects_withRectCount(const platform::CGRect* rects, std::uint32_t count);
    void updateMoveRects_withDelta_andWithRectCount(const platform::CGRect* rects,
                                                    platform::CGScreenUpdateMoveDelta delta,
                                                    std::uint32_t count);

  private:
    static void displayReconfigurationCallback(platform::CGDirectDisplayID display,
                                               platform::CGDisplayChangeSummaryFlags flags,
                                               void* observer);
    static void screenRefreshCallback(std::uint32_t count, const platform::CGRect* rects,
                                      void* observer);
    static void screenMoveCallback(platform::CGScreenUpdateMoveDelta delta, std::size_t count,
                                   const platform::CGRect* rects, void* observer);
    // Calls on the proxy; on failure the ERROR line and onProxyException.
    template <typename Call>
    void forward(Call&& call);

    platform::QNUAMessageHandlerProxy m_qnmProxy;
    ExceptionHandlingCallbacks* m_notificationCommunicator = nullptr;
    std::unique_ptr<DesktopModel> m_desktopModel;
    platform::OwnedDispatchQueue m_reconfigurationQueue;
    platform::Registration m_displayReconfigurationRegistration;
    platform::Registration m_screenUpdateRegistration;
    // Delayed work holds a watch of it: it does nothing once the observer is gone.
    platform::LifetimeToken m_lifetime;
};

}  // namespace qn::app::osx::qnuapp
