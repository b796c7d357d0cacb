#pragma once
// Keeps one frame updater per streamed display and routes the Manager's start, stop and
// release commands to it by display id. The map does not own the updaters: each deletes
// itself once its stream has stopped, and the map only forgets it.

#include <cstdint>
#include <map>

#include "app/OSX/QuintorUserAgent/DisplayStreamFrameUpdaterImpl.h"
#include "app/OSX/QuintorUserAgent/ExceptionHandlingCallbacks.h"
#include "platform/Foundation.h"
#include "sys/libutils/Instrumented.h"
#include "tk/libDriver/DriverControl.h"
#include "tk/libDriver/MemoryMapper.h"

namespace qn::app::osx::qnuapp {

class DisplayStreamFrameUpdaterManager : public sys::instrumentation::Instrumented {
  public:
    DisplayStreamFrameUpdaterManager();
    // Stops every stream, lowest display id first; the updaters go with their stopped
    // status.
    ~DisplayStreamFrameUpdaterManager() override;
    DisplayStreamFrameUpdaterManager(const DisplayStreamFrameUpdaterManager&) = delete;
    DisplayStreamFrameUpdaterManager& operator=(const DisplayStreamFrameUpdaterManager&) = delete;

    void startStream(std::uint32_t displayId, std::uint32_t frameBufferIndex, std::int64_t token);
    void stopStream(std::uint32_t displayId);
    void releaseFrameSurface(std::uint32_t displayId, std::uint64_t surfaceAddress);
    // Reaches only updaters made from now on.
    void setQnmProxy(platform::ProxyRef proxy) { m_qnmProxy = std::move(proxy); }
    void setExceptionHandlingDelegate(ExceptionHandlingCallbacks* delegate) {
        m_exceptionHandlingDelegate = delegate;
    }

    const platform::ProxyRef& qnmProxy() const { return m_qnmProxy; }
    // The updater of a display, or null.
    DisplayStreamFrameUpdaterImpl* updater(std::uint32_t displayId) const;
    std::size_t streamCount() const { return m_displayStreamFrameUpdaters.size(); }

  private:
    platform::ProxyRef m_qnmProxy;
    ExceptionHandlingCallbacks* m_exceptionHandlingDelegate = nullptr;
    std::map<std::uint32_t, DisplayStreamFrameUpdaterImpl*> m_displayStreamFrameUpdaters;
    tk::driver::DriverControlFactory m_driverControlFactory;
    tk::driver::MemoryMapperFactory m_memoryMapperFactory;
};

}  // namespace qn::app::osx::qnuapp
