#pragma once
// Streams one display to the Manager without copying a pixel: each finished frame stays
// in the surface the platform filled, the driver is told where that memory lies, and the
// Manager gets its address, stride and dirty rectangles. The Manager takes one frame at
// a time; while it is busy the newest frame waits in one reserve place, with the dirty
// rectangles of every frame it replaced merged into it.

#include <cstdint>
#include <memory>

#include "app/OSX/QuintorUserAgent/DisplayStreamFrameUpdater.h"
#include "app/OSX/QuintorUserAgent/ExceptionHandlingCallbacks.h"
#include "platform/Foundation.h"
#include "platform/IOSurface.h"
#include "platform/ManagerProtocol.h"
#include "platform/Quartz.h"
#include "sys/libutils/Instrumented.h"
#include "sys/libutils/Mutex.h"
#include "tk/libDriver/DriverControl.h"
#include "tk/libDriver/MemoryMapper.h"
#include "tk/quartz/ICGDisplayStream.h"

namespace qn::app::osx::qnuapp {

class DisplayStreamFrameUpdaterImpl : public tk::osxqnm::DisplayStreamFrameUpdater,
                                      public sys::instrumentation::Instrumented {
  public:
    using FrameStatus = tk::osx108::ICGDisplayStream::FrameStatus;

    // The factories belong to the caller and outlive the updater; the proxy is kept for
    // the updater's whole life, whatever becomes of the caller's.
    DisplayStreamFrameUpdaterImpl(platform::ProxyRef qnmProxy,
                                  ExceptionHandlingCallbacks* exceptionHandlingDelegate,
                                  tk::driver::DriverControlFactory* driverControlFactory,
                                  tk::driver::MemoryMapperFactory* memoryMapperFactory);
    // Gives back the frame in reserve and the frame still with the Manager (use count and
    // references): nobody can release them once the updater is gone. The driver is not
    // told to forget anything (the next start does that).
    ~DisplayStreamFrameUpdaterImpl() override;
    DisplayStreamFrameUpdaterImpl(const DisplayStreamFrameUpdaterImpl&) = delete;
    DisplayStreamFrameUpdaterImpl& operator=(const DisplayStreamFrameUpdaterImpl&) = delete;

    void start(std::uint32_t displayId, std::uint32_t frameBufferIndex,
               std::uint64_t token) override;
    void stop() override;
    bool isStarted() override { return m_displayStream != nullptr; }
    void releaseFrameSurface(std::uint64_t surfaceAddress) override;

    // The stream's handler, on the main queue.
    void frameAvailableHandler(FrameStatus status, std::uint64_t displayTime,
                               platform::IOSurfaceRef surface,
                               platform::CGDisplayStreamUpdateRef update);

  private:
    // The frame in reserve and the Manager's readiness, guarded by their mutex.
    struct Pending {
        sys::Mutex mutex;
        platform::CGDisplayStreamUpdateRef update = nullptr;
        platform::IOSurfaceRef surface = nullptr;
        bool ready = true;
    };
    // The only way to the pending block: holds its lock for the accessor's life.
    class PendingAccess {
      public:
        explicit PendingAccess(Pending& pending) : m_pending(pending) { m_pending.mutex.lock(); }
        ~PendingAccess() { m_pending.mutex.unlock(); }
        PendingAccess(const PendingAccess&) = delete;
        PendingAccess& operator=(const PendingAccess&) = delete;
        Pending* operator->() { return &m_pending; }

      private:
        Pending& m_pending;
    };

    void sendLastFrameInfo(PendingAccess& pending);
    platform::CGRect sendDirtyRects(platform::CGDisplayStreamUpdateRef update);
    void proxyFailed(const std::string& reason);
    static void deleteSelf(void* updater);
    // One use count and one reference of the surface, one of the update.
    static void giveBack(platform::IOSurfaceRef surface, platform::CGDisplayStreamUpdateRef update);

    platform::QNUAMessageHandlerProxy m_qnmProxy;
    ExceptionHandlingCallbacks* m_exceptionHandlingDelegate;
    std::uint32_t m_displayId = 0;
    std::unique_ptr<tk::osx108::ICGDisplayStream> m_displayStream;
    // A stream whose stopped status has come: kept only to be freed with the updater.
    std::unique_ptr<tk::osx108::ICGDisplayStream> m_stoppedStream;
    tk::driver::DriverControlFactory* m_driverControlFactory;
    tk::driver::MemoryMapperFactory* m_memoryMapperFactory;
    std::unique_ptr<tk::driver::MemoryMapper> m_memoryMapper;
    Pending m_pending;
    platform::CGDisplayStreamUpdateRef m_sentUpdate = nullptr;
    platform::IOSurfaceRef m_sentSurface = nullptr;
    std::uint64_t m_sentSurfaceAddress = 0;
    // The sent frame's use count and references are still held (until its release).
    bool m_sentHeld = false;
    std::uint64_t m_token = 0;
};

}  // namespace qn::app::osx::qnuapp
