#pragma once
// The agent's one owner of the link to the Manager: makes and drops the proxy, lets the
// forwarding objects use it or not, says hello and goodbye, rebuilds the link after a
// failure, and reports the session's and the machine's events (heartbeat, sleep, wake,
// login, logout).

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "app/OSX/QuintorUserAgent/DisplayStreamStateCallbacks.h"
#include "app/OSX/QuintorUserAgent/ExceptionHandlingCallbacks.h"
#include "app/OSX/QuintorUserAgent/QNMMessageObserver.h"
#include "app/OSX/QuintorUserAgent/QuartzDisplayNotificationObserver.h"
#include "platform/Foundation.h"
#include "platform/LifetimeToken.h"
#include "platform/ManagerProtocol.h"
#include "platform/Registration.h"

namespace qn::app::osx::qnuapp {

// The local notification that asks for one heartbeat as soon as the run loop turns.
inline constexpr const char* updateClientImmediatlyNotification =
    "updateClientImmediatlyNotification";

class NotificationCommunicator : public DisplayStreamStateCallbacks,
                                 public ExceptionHandlingCallbacks {
  public:
    // init: null when the Manager's name cannot be reached. Without a window server the
    // process ends here with status 1.
    static std::unique_ptr<NotificationCommunicator> create();
    // Leaves the centres quietly; the logged teardown is release().
    ~NotificationCommunicator() override;
    NotificationCommunicator(const NotificationCommunicator&) = delete;
    NotificationCommunicator& operator=(const NotificationCommunicator&) = delete;

    // dealloc, as the last release runs it; the object is gone afterwards.
    static void release(std::unique_ptr<NotificationCommunicator> communicator);

    void postInitConfigurationInSession_asPreloginAgent(std::uint32_t userSessionId,
                                                        bool isPreloginSession);

    bool createQnmProxy();
    void destroyQnmProxy();
    void allowQnmProxyUse();
    void disallowQnmProxyUse();
    void sendStartMessage();
    void scheduleReconnection();
    void sendCloseMessage();
    void connectionDidDie(const platform::NSNotification* notification);

    void onProxyException() override;
    void displayStreamStarting() override;
    void displayStreamStopping() override;

    void heartbeat();
    bool userIsNotActive() const { return m_closing; }
    void setUpdateClientEndDate(std::optional<platform::NSDate> date);
    void systemWillSleep();
    void systemWillWake();
    void userWillLogIn();
    void userWillLogOut();

    const platform::ProxyRef& qnmProxy() const { return m_qnmProxy.proxy(); }
    void setQnmProxy(platform::ProxyRef proxy) {
        m_qnmProxy = platform::QNUAMessageHandlerProxy(std::move(proxy));
    }
    bool reconnectionScheduled() const { return m_reconnectionScheduled; }
    bool displaysAreAsleep() const { return m_displaysareasleep; }
    bool systemIsAsleep() const { return m_systemisasleep; }
    platform::NSDate updateClientEndDate() const { return m_updateClientEndDate; }
    QuartzDisplayNotificationObserver* quartzNotificationObserver() const {
        return m_quartzNotificationObserver.get();
    }
    QNMMessageObserver* qnmObserver() const { return m_qnmObserver.get(); }

  private:
    NotificationCommunicator();
    void dealloc();
    void removeObservers();
    // A callback that does nothing once this object is gone (timers keep no owner).
    template <typename Work>
    auto guarded(Work work);

    bool m_displaysareasleep = false;
    bool m_systemisasleep = false;
    platform::NSDate m_updateClientEndDate;
    bool m_closing = false;
    std::uint32_t m_userSessionId = 0;
    bool m_isPreloginSession = false;
    platform::QNUAMessageHandlerProxy m_qnmProxy;
    std::unique_ptr<QNMMessageObserver> m_qnmObserver;
    // The message observer's registrations on the distributed centre.
    std::vector<platform::Registration> m_qnmObservations;
    std::unique_ptr<QuartzDisplayNotificationObserver> m_quartzNotificationObserver;
    bool m_reconnectionScheduled = false;
    // This object's own registrations on the default and workspace centres.
    std::vector<platform::Registration> m_observations;
    platform::LifetimeToken m_lifetime;
};

}  // namespace qn::app::osx::qnuapp
