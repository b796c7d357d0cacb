#pragma once
// Receives the Manager's five distributed notifications. This build logs their arrival;
// acting on them (display streams, user messages) joins with the streaming and message
// work.

#include "app/OSX/QuintorUserAgent/DisplayStreamStateCallbacks.h"
#include "app/OSX/QuintorUserAgent/ExceptionHandlingCallbacks.h"
#include "platform/Foundation.h"

namespace qn::app::osx::qnuapp {

class QNMMessageObserver {
  public:
    // Given while use is allowed, nil when withheld.
    void setQnmProxy(platform::ProxyRef proxy) { m_qnmProxy = std::move(proxy); }
    const platform::ProxyRef& qnmProxy() const { return m_qnmProxy; }
    void setDisplayStreamStateDelegate(DisplayStreamStateCallbacks* delegate) {
        m_streamStateDelegate = delegate;
    }
    void setExceptioHandlingDelegate(ExceptionHandlingCallbacks* delegate) {
        m_exceptionDelegate = delegate;
    }
    DisplayStreamStateCallbacks* displayStreamStateDelegate() const {
        return m_streamStateDelegate;
    }
    ExceptionHandlingCallbacks* exceptioHandlingDelegate() const { return m_exceptionDelegate; }

    void observeNotification(const platform::NSNotification& notification);

  private:
    platform::ProxyRef m_qnmProxy;
    DisplayStreamStateCallbacks* m_streamStateDelegate = nullptr;
    ExceptionHandlingCallbacks* m_exceptionDelegate = nullptr;
};

}  // namespace qn::app::osx::qnuapp
