#include "app/OSX/QuintorUserAgent/NotificationCommunicator.h"

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "app/OSX/QuintorUserAgent/Display.h"
#include "app/OSX/QuintorUserAgent/ManagerCall.h"
#include "platform/AppKit.h"
#include "platform/Backend.h"
#include "platform/Observation.h"
#include "platform/Quartz.h"
#include "platform/System.h"

namespace qn::app::osx::qnuapp {

using sys::Logger;

namespace {

constexpr double kUpdateClientInterval = 60.0;
constexpr double kHeartbeatInterval = 2.0;
constexpr double kReconnectionInterval = 5.0;

}  // namespace

template <typename Work>
auto NotificationCommunicator::guarded(Work work) {
    return m_lifetime.guard(*this, [work](NotificationCommunicator& c, auto&&...) { work(c); });
}

NotificationCommunicator::NotificationCommunicator() = default;

std::unique_ptr<NotificationCommunicator> NotificationCommunicator::create() {
    std::unique_ptr<NotificationCommunicator> self(new NotificationCommunicator());
    QNUA_LOG(Logger::INFO) << "NotificationCommunicator init";
    self->m_closing = false;
    self->m_updateClientEndDate =
        platform::foundation().date().dateByAddingTimeInterval(kUpdateClientInterval);
    self->m_systemisasleep = false;
    if (platform::quartz().CGMainDisplayID() == 0) {
        QNUA_LOG(Logger::FATAL) << "Can't connect to Windowserver - exiting";
        platform::system().exit(1);
    }
    if (!self->createQnmProxy()) {
        release(std::move(self));
        return nullptr;
    }
    self->m_quartzNotificationObserver = std::make_unique<QuartzDisplayNotificationObserver>();
    self->m_quartzNotificationObserver->setNotificationCommunicator(self.get());
    platform::foundation().disableSuddenTermination();
    return self;
}

// The distributed registrations go before the message observer they call (members).
NotificationCommunicator::~NotificationCommunicator() = default;

void NotificationCommunicator::release(std::unique_ptr<NotificationCommunicator> communicator) {
    if (communicator) {
        communicator->dealloc();
    }
}

void NotificationCommunicator::removeObservers() {
    m_observations.clear();
}

void NotificationCommunicator::dealloc() {
    QNUA_LOG(Logger::DEBUG) << "dealloc";
    removeObservers();
    destroyQnmProxy();
    m_quartzNotificationObserver.reset();
}

bool NotificationCommunicator::createQnmProxy() {
    setQnmProxy(platform::foundation().rootProxyForConnectionWithRegisteredName(
        platform::kManagerRegisteredName, nullptr));
    if (!m_qnmProxy) {
        return false;
    }
    m_qnmProxy.proxy().setProtocolForProxy(platform::kManagerProtocolName);
    return true;
}

void NotificationCommunicator::destroyQnmProxy() {
    if (!m_qnmProxy) {
        return;
    }
    disallowQnmProxyUse();
    m_qnmProxy = platform::QNUAMessageHandlerProxy();
}

void NotificationCommunicator::allowQnmProxyUse() {
    QNUA_LOG(Logger::DEBUG) << "allowQnmProxyUse";
    if (m_quartzNotificationObserver) {
        m_quartzNotificationObserver->setQnmProxy(m_qnmProxy.proxy());
    }
    if (m_qnmObserver) {
        m_qnmObserver->setQnmProxy(m_qnmProxy.proxy());
    }
    if (m_quartzNotificationObserver) {
        // A failed registration is logged there; the link counts as open all the same.
        m_quartzNotificationObserver->registerToQuartzDisplayNotifications();
    }
}

void NotificationCommunicator::disallowQnmProxyUse() {
    QNUA_LOG(Logger::DEBUG) << "disallowQnmProxyUse";
    if (m_quartzNotificationObserver) {
        m_quartzNotificationObserver->unregisterQuartzDisplayNotifications();
        m_quartzNotificationObserver->setQnmProxy(platform::ProxyRef());
    }
    if (m_qnmObserver) {
        m_qnmObserver->setQnmProxy(platform::ProxyRef());
    }
}

void NotificationCommunicator::postInitConfigurationInSession_asPreloginAgent(
    std::uint32_t userSessionId, bool isPreloginSession) {
    m_userSessionId = userSessionId;
    m_isPreloginSession = isPreloginSession;

    auto& foundation = platform::foundation();
    auto& defaultCenter = foundation.defaultCenter();
    const auto observe = [this](platform::NSNotificationCenter& center, auto work, const char* name,
                                const void* object) {
        m_observations.push_back(platform::observe(center, this, guarded(work), name, object));
    };
    observe(
        defaultCenter, [](NotificationCommunicator& c) { c.heartbeat(); },
        updateClientImmediatlyNotification, this);

    auto& workspace = platform::appKit().workspaceNotificationCenter();
    observe(
        workspace, [](NotificationCommunicator& c) { c.userWillLogIn(); },
        platform::NSWorkspaceSessionDidBecomeActiveNotification, nullptr);
    observe(
        workspace, [](NotificationCommunicator& c) { c.userWillLogOut(); },
        platform::NSWorkspaceSessionDidResignActiveNotification, nullptr);
    observe(
        workspace, [](NotificationCommunicator& c) { c.systemWillSleep(); },
        platform::NSWorkspaceWillSleepNotification, nullptr);
    observe(
        workspace, [](NotificationCommunicator& c) { c.systemWillWake(); },
        platform::NSWorkspaceDidWakeNotification, nullptr);
    observe(
        workspace, [](NotificationCommunicator& c) { c.userWillLogOut(); },
        platform::NSWorkspaceWillPowerOffNotification, nullptr);

    foundation.defaultQueue().enqueueNotification(
        platform::NSNotification{updateClientImmediatlyNotification, this, platform::Value()},
        platform::NSPostASAP);

    auto& quartz = platform::quartz();
    m_displaysareasleep = quartz.CGDisplayIsAsleep(quartz.CGMainDisplayID()) != 0;

    // Not stored: the heartbeat goes on for the life of the process.
    foundation.scheduledTimerWithTimeInterval(
        kHeartbeatInterval, guarded([](NotificationCommunicator& c) { c.heartbeat(); }),
        platform::Value(), true);

    setUpdateClientEndDate(std::nullopt);

    m_qnmObserver = std::make_unique<QNMMessageObserver>();
    m_qnmObserver->setDisplayStreamStateDelegate(this);
    m_qnmObserver->setExceptioHandlingDelegate(this);

    auto* observer = m_qnmObserver.get();
    for (const auto& notification : platform::managerNotifications()) {
        m_qnmObservations.push_back(platform::observe(
            foundation.distributedCenter(), observer,
            [observer](const platform::NSNotification& n) { observer->observeNotification(n); },
            notification.name, nullptr));
    }

    // Made once, with the proxy of this moment as the filter: a later proxy is not
    // watched. The dependable road back to the Manager is onProxyException.
    m_observations.push_back(platform::observe(
        defaultCenter, this,
        m_lifetime.guard(
            *this,
            [](NotificationCommunicator& c, const platform::NSNotification& notification) {
                c.connectionDidDie(&notification);
            }),
        platform::NSConnectionDidDieNotification, m_qnmProxy.proxy().object()));

    allowQnmProxyUse();
    sendStartMessage();
    // With the report at the end of sendStartMessage every online display goes out
    // twice at start; the Manager wants the second one.
    m_quartzNotificationObserver->sendReconfigurationToOnlineDisplays();
}

void NotificationCommunicator::sendStartMessage() {
    if (const auto reason = tryManagerCall([&] {
            m_qnmProxy.started_withSessionType(m_userSessionId, m_isPreloginSession ? 1 : 0);
        })) {
        QNUA_LOG(Logger::ERROR) << Ascii{*reason};
    }
    // Also after a failure: the display reports meet the same dead proxy and start the
    // reconnection from there.
    if (m_quartzNotificationObserver) {
        m_quartzNotificationObserver->sendReconfigurationToOnlineDisplays();
    }
}

void NotificationCommunicator::onProxyException() {
    disallowQnmProxyUse();
    scheduleReconnection();
}

void NotificationCommunicator::scheduleReconnection() {
    if (m_reconnectionScheduled) {
        return;
    }
    m_reconnectionScheduled = true;
    platform::foundation().scheduledTimerWithTimeInterval(
        kReconnectionInterval,
        guarded([](NotificationCommunicator& c) { c.connectionDidDie(nullptr); }),
        platform::Value(), false);
}

void NotificationCommunicator::connectionDidDie(const platform::NSNotification*) {
    QNUA_LOG(Logger::DEBUG) << "Connection died";
    m_reconnectionScheduled = false;
    destroyQnmProxy();
    if (createQnmProxy()) {
        allowQnmProxyUse();
        sendStartMessage();
    } else {
        scheduleReconnection();
    }
}

void NotificationCommunicator::sendCloseMessage() {
    QNUA_LOG(Logger::INFO) << "Got quit signal - will forward to QNM";
    m_closing = true;
    if (const auto reason = tryManagerCall([&] { m_qnmProxy.closing(); })) {
        QNUA_LOG(Logger::ERROR) << Ascii{*reason};
    }
}

void NotificationCommunicator::displayStreamStarting() {
    if (m_quartzNotificationObserver) {
        m_quartzNotificationObserver->unregisterScreenUpdateNotifications();
    }
}

void NotificationCommunicator::displayStreamStopping() {
    if (m_quartzNotificationObserver) {
        m_quartzNotificationObserver->registerScreenUpdateNotifications();
    }
}

void NotificationCommunicator::heartbeat() {
    QNUA_LOG(Logger::VERBOSE) << "Heartbeat";
    if (userIsNotActive()) {
        QNUA_LOG(Logger::DEBUG) << "User is not active";
        return;
    }
    auto& quartz = platform::quartz();
    auto& system = platform::system();
    if (system.UAZoomEnabled()) {
        // The list is not used; the call is kept as the agent has always made it.
        platform::CGDirectDisplayID active[maxDisplays] = {};
        std::uint32_t count = 0;
        quartz.CGGetActiveDisplayList(maxDisplays, active, &count);
    }
    const platform::boolean_t asleep = quartz.CGDisplayIsAsleep(quartz.CGMainDisplayID());
    if ((asleep != 0) == m_displaysareasleep) {
        return;
    }
    QNUA_LOG(Logger::INFO) << "Displays changed sleepstate to: " << (asleep ? "sleep" : "awake");
    // Stored before the call, so that a failure is not retried at the next beat.
    m_displaysareasleep = asleep != 0;
    if (const auto reason = tryManagerCall(
            [&] { m_qnmProxy.setSleepMode_witUserZoom(asleep != 0, system.UAZoomEnabled()); })) {
        QNUA_LOG(Logger::ERROR) << Ascii{*reason};
    }
    setUpdateClientEndDate(std::nullopt);
}

void NotificationCommunicator::setUpdateClientEndDate(std::optional<platform::NSDate> date) {
    // Every call is also an immediate poll; the inner beat finds the state just stored
    // and ends the recursion.
    heartbeat();
    const platform::NSDate end = date.value_or(
        platform::foundation().date().dateByAddingTimeInterval(kUpdateClientInterval));
    if (m_updateClientEndDate < end) {
        m_updateClientEndDate = end;
    }
}

void NotificationCommunicator::systemWillSleep() {
    QNUA_LOG(Logger::INFO) << "System will sleep";
    m_systemisasleep = true;
    if (const auto reason = tryManagerCall([&] { m_qnmProxy.systemWillSleep(); })) {
        // This one line shows the reason object's address, not its text.
        QNUA_LOG(Logger::ERROR) << static_cast<const void*>(&*reason);
    }
}

void NotificationCommunicator::systemWillWake() {
    QNUA_LOG(Logger::INFO) << "System will wake";
    m_systemisasleep = false;
    // One poll before the Manager hears of the wake.
    setUpdateClientEndDate(std::nullopt);
    if (const auto reason = tryManagerCall([&] { m_qnmProxy.systemWillWake(); })) {
        QNUA_LOG(Logger::ERROR) << Ascii{*reason};
    }
}

void NotificationCommunicator::userWillLogIn() {
    QNUA_LOG(Logger::INFO) << "User " << m_userSessionId << " will log in";
    setUpdateClientEndDate(std::nullopt);
    if (const auto reason = tryManagerCall([&] { m_qnmProxy.userWillLogin(m_userSessionId); })) {
        QNUA_LOG(Logger::ERROR) << Ascii{*reason};
    }
    allowQnmProxyUse();
    m_quartzNotificationObserver->sendReconfigurationToOnlineDisplays();
}

void NotificationCommunicator::userWillLogOut() {
    QNUA_LOG(Logger::INFO) << "User " << m_userSessionId << " will log out";
    if (const auto reason = tryManagerCall([&] { m_qnmProxy.userWillLogout(m_userSessionId); })) {
        QNUA_LOG(Logger::ERROR) << Ascii{*reason};
    }
    disallowQnmProxyUse();
}

}  // namespace qn::app::osx::qnuapp
