#pragma once
// Receives the Manager's five distributed notifications: display stream start, stop and
// frame release go to the frame updaters (with the screen update callbacks handed over
// to the stream and back through the state delegate), and the two user messages are
// composed from the strings table and handed to the message panel.

#include "app/OSX/QuintorUserAgent/DisplayStreamFrameUpdaterManager.h"
#include "app/OSX/QuintorUserAgent/DisplayStreamStateCallbacks.h"
#include "app/OSX/QuintorUserAgent/ExceptionHandlingCallbacks.h"
#include "platform/Foundation.h"

namespace qn::app::osx::qnuapp {

class QNMMessageObserver {
  public:
    // The address behind the upgrade message's link, and the link's text.
    static constexpr const char* kUpgradeURL = "https://www.example.com/support/usb-display";
    static constexpr const char* kUpgradeHost = "www.example.com";
    static constexpr const char* kStringsTable = "QuintorUserAgent";
    static constexpr int kMessageSeconds = 15;

    // Given while use is allowed, nil when withheld; reaches streams started later.
    void setQnmProxy(platform::ProxyRef proxy) {
        m_displayStreamFrameUpdaterManager.setQnmProxy(std::move(proxy));
    }
    const platform::ProxyRef& qnmProxy() const {
        return m_displayStreamFrameUpdaterManager.qnmProxy();
    }
    // Not owned.
    void setDisplayStreamStateDelegate(DisplayStreamStateCallbacks* delegate) {
        m_delegate = delegate;
    }
    void setExceptioHandlingDelegate(ExceptionHandlingCallbacks* delegate) {
        m_exceptionDelegate = delegate;
        m_displayStreamFrameUpdaterManager.setExceptionHandlingDelegate(delegate);
    }
    DisplayStreamStateCallbacks* displayStreamStateDelegate() const { return m_delegate; }
    ExceptionHandlingCallbacks* exceptioHandlingDelegate() const { return m_exceptionDelegate; }
    const DisplayStreamFrameUpdaterManager& updaterManager() const {
        return m_displayStreamFrameUpdaterManager;
    }

    void observeNotification(const platform::NSNotification& notification);

  private:
    void showSoftwareUpgradeMessage(const platform::Value& userInfo);
    void showMonitorModeMessage(const platform::Value& userInfo);
    void startDisplayStream(const platform::Value& userInfo);
    void stopDisplayStream(const platform::Value& userInfo);
    void releaseFrameSurface(const platform::Value& userInfo);

    DisplayStreamFrameUpdaterManager m_displayStreamFrameUpdaterManager;
    DisplayStreamStateCallbacks* m_delegate = nullptr;
    ExceptionHandlingCallbacks* m_exceptionDelegate = nullptr;
};

}  // namespace qn::app::osx::qnuapp
